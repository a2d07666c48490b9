#include "capi/component.h"

#include <limits>

namespace tvlo {

Component::~Component() {
  if (connected_ && problemLives()) problem_->messages.remove(&Component::echo, this);
}

bool Component::problemLives() const { return Environment::instance().typeName(problem_) == kOptimizerType; }

tvlo_prob_s& Component::problem() const {
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
    problem().messages.add(&Component::echo, this, 0);
  } else {
    problem().messages.remove(&Component::echo, this);
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

int Component::intAttribute(int id) const {
  switch (id) {
    case slpattribute::nlrows:
      return problem().model.rows();
    case slpattribute::nlcols:
      return problem().model.columns();
    case slpattribute::constcol:
      return kConstantColumn;
    case slpattribute::nlcoefs:
      return static_cast<int>(problem().model.formulas().pairs().size());
    case slpattribute::nlconstraints:
      return static_cast<int>(problem().model.formulas().rowCount());
    case slpattribute::nlpstatus:
      return static_cast<int>(result().status);
    case slpattribute::nlpstatusbits:
      return constructed_ ? 1 : 0;
    case slpattribute::nlpiter:
      return result().iterations;
    case slpattribute::nlpstop:
      return static_cast<int>(result().stop);
    default:
      throw Error(TVLO_ERR_NAME, format("There is no integer attribute %d", id));
  }
}

double Component::doubleAttribute(int id) const {
  const auto ofPoint = [this](double value) {
    return result().point.available ? value : std::numeric_limits<double>::quiet_NaN();
  };
  switch (id) {
    case slpattribute::nlpobjval:
      return ofPoint(result().point.objective);
    case slpattribute::nlpprimalinfeas:
      return ofPoint(result().primalInfeasibility);
    case slpattribute::nlpdualinfeas:
      return ofPoint(result().dualInfeasibility);
    case slpattribute::nlptime:
      return result().seconds;
    case slpattribute::nlpevaltime:
      return result().evaluation;
    default:
      throw Error(TVLO_ERR_NAME, format("There is no double attribute %d", id));
  }
}

}  // namespace tvlo
