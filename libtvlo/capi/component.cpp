#include "capi/component.h"

#include <limits>

#include "capi/attribute_getters.h"

namespace tvlo {

Component::~Component() {
  if (connected_ && problemLives()) problem_->messages.remove(&Component::echo, this);
}

tvlo_prob_s& Component::problem() const {
  unsettled().settle();
  return *problem_;
}

tvlo_prob_s& Component::unsettled() const {
  if (!problemLives()) throw Error(TVLO_ERR_STATE, "The optimizer problem of this nonlinear problem is gone");
  return *problem_;
}

int Component::echo(void*, void* component, const char* text, int length, int type) {
  auto* const self = static_cast<Component*>(component);
  const TVLOmessagefn handler = self->handler_;
  return handler == nullptr ? 0 : handler(self, self->handlerData_, text, length, type);
}

void Component::setMessageHandler(TVLOmessagefn handler, void* data) {
  handlerData_ = data;
  handler_ = handler;
  connect();
}

void Component::connect() {
  const bool wanted = handler_ != nullptr && controls_.getInt(slpcontrol::echolog) != 0;
  if (wanted == connected_) return;
  if (wanted) {
    unsettled().messages.add(&Component::echo, this, 0);
  } else {
    unsettled().messages.remove(&Component::echo, this);
  }
  connected_ = wanted;
}

void Component::setInt(int id, int64_t value) {
  controls_.setInt(id, value);
  if (id == slpcontrol::echolog) connect();
}

void Component::setDouble(int id, double value) {
  if (id == slpcontrol::objsense) {
    if (value != 1 && value != -1) badArgument("Control objsense must be 1 or -1, not %g", value);
    requireIdle(problem());
    problem().model.setSense(static_cast<int>(value));
  } else {
    controls_.setDouble(id, value);
  }
}

double Component::getDouble(int id) const {
  return id == slpcontrol::objsense ? problem().model.sense() : controls_.getDouble(id);
}

// The objective sense belongs to the model and goes with that.
void Component::copyControls(const Component& source) {
  controls_.copyFrom(source.controls_);
  connect();
}

namespace {

template <class T>
AttributeValue whole(T value) {
  return static_cast<int64_t>(value);
}

double ofPoint(const Component& component, double value) {
  return component.result().point.available ? value : std::numeric_limits<double>::quiet_NaN();
}

namespace getters {

AttributeValue nlrows(const Component& c) { return whole(c.problem().model.rows()); }
AttributeValue nlcols(const Component& c) { return whole(c.problem().model.columns()); }
AttributeValue constcol(const Component&) { return whole(kConstantColumn); }
AttributeValue nlcoefs(const Component& c) { return whole(c.problem().model.formulas().pairs().size()); }
AttributeValue nlconstraints(const Component& c) { return whole(c.problem().model.formulas().rowCount()); }
AttributeValue nlpstatus(const Component& c) { return whole(c.result().status); }
AttributeValue nlpstatusbits(const Component& c) { return whole(c.constructed()); }
AttributeValue nlpobjval(const Component& c) { return ofPoint(c, c.result().point.objective); }
AttributeValue nlpiter(const Component& c) { return whole(c.result().iterations); }
AttributeValue nlpprimalinfeas(const Component& c) { return ofPoint(c, c.result().primalInfeasibility); }
AttributeValue nlpdualinfeas(const Component& c) { return ofPoint(c, c.result().dualInfeasibility); }
AttributeValue nlptime(const Component& c) { return c.result().seconds; }
AttributeValue nlpevaltime(const Component& c) { return c.result().evaluation; }
AttributeValue nlpstop(const Component& c) { return whole(c.result().stop); }

}  // namespace getters

template <class T>
T valueOf(const Component& component, int id) {
  static const Table<AttributeGetter<Component>> table({
#define TVLO_ATTRIBUTE(id, name, ...) {id, #name, getters::name},
#include "tvlo/tslp_attributes.def"
#undef TVLO_ATTRIBUTE
  });
  return attributeOf<T>(component, table, id);
}

}  // namespace

int64_t Component::intAttribute(int id) const { return valueOf<int64_t>(*this, id); }
double Component::doubleAttribute(int id) const { return valueOf<double>(*this, id); }

}  // namespace tvlo
