// The nonlinear component's C interface.

#include "capi/attributes.h"
#include "capi/files.h"
#include "capi/lists.h"
#include "capi/tslp_guard.h"

using namespace tvlo;

namespace {

// The second list of controls.
bool ofLocalSolver(int id) { return id >= 13000; }

// "g" asks for the component itself; the rest is the file writer's.
std::string withoutG(const char* flags) {
  std::string rest = flags == nullptr ? "" : flags;
  std::erase(rest, 'g');
  return rest;
}

}  // namespace

int TSLPinit(void) {
  return guardGlobal([] { Environment::instance().startComponent(); });
}

int TSLPfree(void) {
  return guardGlobal([] { Environment::instance().stopComponent(); });
}

int TSLPcreateprob(TSLPprob* slp, TVLOprob* prob) {
  return guardGlobal([&] {
    requireArray(slp, 1, "handles");
    requireArray(prob, 1, "optimizer problems");
    *slp = nullptr;
    requireStarted();
    if (Environment::instance().typeName(*prob) != kOptimizerType) badArgument("The problem handle is not a live one");
    auto fresh = std::make_unique<tslp_prob_s>(*prob);
    Environment::instance().enroll(fresh.get(), kComponentType);
    *slp = fresh.release();
  });
}

int TSLPdestroyprob(TSLPprob slp) {
  return guardGlobal([&] {
    if (Environment::instance().typeName(slp) != kComponentType) badArgument("The problem handle is not a live one");
    if (slp->solving()) throw Error(TVLO_ERR_STATE, "The problem is being solved and can't be destroyed");
    Environment::instance().forget(slp, kComponentType);
    delete slp;
  });
}

int TSLPcopyprob(TSLPprob dest, TSLPprob src, const char* name) {
  if (!isAlive(src)) return reportBadHandle(src);
  return guardSlp(dest, [&] {
    const Model& source = src->problem().model;
    tvlo_prob_s& problem = dest->problem();
    requireIdle(problem);
    Model& model = problem.model;
    if (&model != &source) {
      if (model.rows() != source.rows() || model.columns() != source.columns()) {
        badArgument("Formulas of %d rows and %d columns can't be copied to a problem of %d and %d", source.rows(),
                    source.columns(), model.rows(), model.columns());
      }
      Formulas copy = source.formulas();
      model.formulas() = std::move(copy);
    }
    if (name != nullptr && *name != '\0') problem.model.setName(name);
  });
}

int TSLPcopycontrols(TSLPprob dest, TSLPprob src) {
  if (!isAlive(src)) return reportBadHandle(src);
  return guardSlp(dest, [&] { dest->copyControls(*src); });
}

int TSLPgetlasterror(TSLPprob slp, int* code, char* text) {
  if (!isAlive(slp)) return reportBadHandle(slp);
  if (code != nullptr) *code = slp->lastErrorCode;
  copyText(slp->lastError, text, TVLO_ERRORTEXT_MAX, nullptr);
  return TVLO_OK;
}

int TSLPsetcbmessage(TSLPprob slp, TVLOmessagefn handler, void* data) {
  return guardSlp(slp, [&] { slp->setMessageHandler(handler, data); });
}

int TSLPreadprob(TSLPprob slp, const char* filename, const char* flags) {
  return guardSlp(slp, [&] {
    requireIdle(slp->problem());
    readInto(slp->problem(), filename, withoutG(flags).c_str());
  });
}

int TSLPwriteprob(TSLPprob slp, const char* filename, const char* flags) {
  return guardSlp(slp, [&] { writeFrom(slp->problem(), filename, withoutG(flags).c_str()); });
}

int TSLPsetintcontrol(TSLPprob slp, int id, int value) {
  return guardSlp(slp, [&] { slp->setInt(id, value); });
}

int TSLPsetdblcontrol(TSLPprob slp, int id, double value) {
  return guardSlp(slp, [&] { slp->setDouble(id, value); });
}

int TSLPsetstrcontrol(TSLPprob slp, int id, const char* value) {
  return guardSlp(slp, [&] {
    requireArray(value, 1, "characters");
    slp->setString(id, value);
  });
}

int TSLPgetintcontrol(TSLPprob slp, int id, int* value) {
  return guardSlp(slp, [&] {
    requireArray(value, 1, "results");
    *value = narrowed(slp->getInt(id), id);
  });
}

int TSLPgetdblcontrol(TSLPprob slp, int id, double* value) {
  return guardSlp(slp, [&] {
    requireArray(value, 1, "results");
    *value = slp->getDouble(id);
  });
}

int TSLPgetstrcontrol(TSLPprob slp, int id, char* value, int maxbytes, int* nbytes) {
  return guardSlp(slp, [&] { copyText(slp->getString(id), value, maxbytes, nbytes); });
}

int TSLPgetintattrib(TSLPprob slp, int id, int* value) {
  return guardSlp(slp, [&] {
    requireArray(value, 1, "results");
    *value = narrowed(slp->intAttribute(id), id);
  });
}

int TSLPgetdblattrib(TSLPprob slp, int id, double* value) {
  return guardSlp(slp, [&] {
    requireArray(value, 1, "results");
    *value = slp->doubleAttribute(id);
  });
}

int TSLPgetstrattrib(TSLPprob slp, int id, char*, int, int*) {
  return guardSlp(slp, [&] { throw Error(TVLO_ERR_NAME, format("There is no string attribute %d", id)); });
}

int TSLPgetcalist(const int** ids, const char* const** names, const int** types) {
  return guardGlobal([&] {
    static const ParameterList list(componentControls(), componentAttributes(),
                                    [](int id) { return !ofLocalSolver(id); });
    list.give(ids, names, types);
  });
}

int TSLPgetKTRcalist(const int** ids, const char* const** names, const int** types) {
  return guardGlobal([&] {
    static const ParameterList list(componentControls(), componentAttributes(), ofLocalSolver);
    list.give(ids, names, types);
  });
}

int TSLPcontrolcode(int id, const char* name, int* flags) {
  return guardGlobal([&] {
    requireArray(flags, 1, "results");
    const auto find = [&](const auto& table) {
      const auto* const row = table.find(id);
      return row == nullptr && name != nullptr ? table.find(std::string_view(name)) : row;
    };
    if (const ControlRow* const control = find(componentControls())) {
      *flags = control->type | TSLP_FLAG_CONTROL;
    } else if (const AttributeRow* const attribute = find(componentAttributes())) {
      *flags = attribute->type;
    } else {
      throw Error(TVLO_ERR_NAME,
                  format("There is no control or attribute %d (%.100s)", id, name == nullptr ? "" : name));
    }
  });
}
