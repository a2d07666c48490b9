// Problem handles: life, names, copies, messages, last error.
#include <cstring>

#include "capi/guard.h"

using namespace tvlo;

int TVLOcreateprob(TVLOprob* prob) {
  return guardGlobal([&] {
    requireArray(prob, 1, "handles");
    *prob = nullptr;
    requireStarted();
    auto fresh = std::make_unique<tvlo_prob_s>();
    Environment::instance().enroll(fresh.get(), kOptimizerType);
    *prob = fresh.release();
  });
}

int TVLOdestroyprob(TVLOprob prob) {
  return guardGlobal([&] {
    // The register, unlike the word in the handle, can be asked about memory that is gone.
    auto& environment = Environment::instance();
    if (prob == nullptr) badArgument("The problem handle is null");
    if (environment.typeName(prob) != kOptimizerType) badArgument("The problem handle is not a live one");
    if (prob->solving) throw Error(TVLO_ERR_STATE, "The problem is being solved and can't be destroyed");
    if (environment.forget(prob, kOptimizerType)) delete prob;
  });
}

int TVLOcopyprob(TVLOprob dest, TVLOprob src, const char* name) {
  if (!isAlive(src)) return reportBadHandle(src);
  return guardChange(dest, [&] {
    if (dest == src) badArgument("A problem can't be copied into itself");
    requireIdle(*src);
    src->settle();
    Model copy = src->model;
    if (name != nullptr) copy.setName(name);
    copy.changes().replaced();
    dest->model = std::move(copy);
    dest->replaced();
  });
}

int TVLOcopycontrols(TVLOprob dest, TVLOprob src) {
  if (!isAlive(src)) return reportBadHandle(src);
  return guardChange(dest, [&] { dest->controls.copyFrom(src->controls); });
}

int TVLOsetprobname(TVLOprob prob, const char* name) {
  return guardChange(prob, [&] {
    requireArray(name, 1, "characters");
    prob->model.setName(name);
  });
}

int TVLOgetprobname(TVLOprob prob, char* name) {
  return guard(prob, [&] {
    requireArray(name, 1, "characters");
    std::strcpy(name, prob->model.name().c_str());
  });
}

int TVLOgetlasterror(TVLOprob prob, char* text) {
  if (!isAlive(prob)) return reportBadHandle(prob);
  copyText(prob->lastError, text, TVLO_ERRORTEXT_MAX, nullptr);
  return TVLO_OK;
}

int TVLOaddcbmessage(TVLOprob prob, TVLOmessagefn handler, void* data, int priority) {
  return guardUnsettled(prob, [&] {
    if (handler == nullptr) badArgument("The message handler is missing");
    prob->messages.add(handler, data, priority);
  });
}

int TVLOremovecbmessage(TVLOprob prob, TVLOmessagefn handler, void* data) {
  return guardUnsettled(prob, [&] { prob->messages.remove(handler, data); });
}
