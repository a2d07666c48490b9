#include "capi/environment.h"

#include <cstring>

#include "capi/guard.h"
#include "core/messages.h"

namespace tvlo {

Environment& Environment::instance() {
  static auto* const environment = new Environment;  // outlives handles that are destroyed at the end of the process
  return *environment;
}

void Environment::start() {
  const std::lock_guard lock(mutex_);
  ++starts_;
}

void Environment::stop() {
  {
    const std::lock_guard lock(mutex_);
    if (starts_ == 0) throw Error(TVLO_ERR_STATE, "The library is not started");
    if (--starts_ > 0) return;
  }
  environmentMessages().remove(nullptr, nullptr);
}

void Environment::startComponent() {
  const std::lock_guard lock(mutex_);
  ++componentStarts_;
}

void Environment::stopComponent() {
  const std::lock_guard lock(mutex_);
  if (componentStarts_ == 0) throw Error(TVLO_ERR_STATE, "The nonlinear component is not started");
  --componentStarts_;
}

bool Environment::started() const {
  const std::lock_guard lock(mutex_);
  return starts_ > 0;
}

void Environment::enroll(const void* handle, const char* typeName) {
  const std::lock_guard lock(mutex_);
  handles_.emplace(handle, typeName);
}

bool Environment::forget(const void* handle, const char* typeName) noexcept {
  const std::lock_guard lock(mutex_);
  const auto at = handles_.find(handle);
  if (at == handles_.end() || at->second != typeName) return false;
  handles_.erase(at);
  return true;
}

const char* Environment::typeName(const void* handle) const {
  const std::lock_guard lock(mutex_);
  const auto at = handles_.find(handle);
  return at == handles_.end() ? nullptr : at->second;
}

LastError& lastGlobalError() noexcept {
  thread_local LastError last;
  return last;
}

}  // namespace tvlo

using namespace tvlo;

int TVLOinit(void) {
  return guardGlobal([] { Environment::instance().start(); });
}

int TVLOfree(void) {
  return guardGlobal([] { Environment::instance().stop(); });
}

// A start allocates nothing and opens nothing, so there is no failure to tell of.
int TVLOgetiniterror(char* text, int maxbytes) {
  return guardGlobal([&] { copyText("", text, maxbytes, nullptr); });
}

int TVLOgetversion(char* text) {
  return guardGlobal([&] {
    requireArray(text, 1, "characters");
    std::strcpy(text, TVLO_VERSION);
  });
}

int TVLOgetbanner(char* text) {
  return guardGlobal([&] {
    requireArray(text, 1, "characters");
    std::strcpy(text, "Tavlo solver library " TVLO_VERSION " (64-bit indices of coefficients, engines on demand)");
  });
}

// Neither this nor the problem's twin clears the error that it reads.
int TVLO_ge_getlasterror(int* code, char* text, int maxbytes, int* nbytes) {
  const LastError& last = lastGlobalError();
  if (code != nullptr) *code = last.code;
  copyText(last.text, text, maxbytes, nbytes);
  return TVLO_OK;
}

int TVLO_ge_addcbmsghandler(TVLOmessagefn handler, void* data, int priority) {
  return guardGlobal([&] {
    if (handler == nullptr) badArgument("The message handler is missing");
    requireStarted();
    environmentMessages().add(handler, data, priority);
  });
}

int TVLO_ge_removecbmsghandler(TVLOmessagefn handler, void* data) {
  return guardGlobal([&] { environmentMessages().remove(handler, data); });
}

// Message handlers ask for it, in between a caller's calls: where there is nothing to tell the last error stays.
int TVLOgetobjecttypename(void* object, const char** name) {
  const char* const type = Environment::instance().typeName(object);
  if (type != nullptr && name != nullptr) {
    *name = type;
    return TVLO_OK;
  }
  return guardGlobal([&] {
    requireArray(name, 1, "names");
    badArgument("The object is not a live handle");
  });
}
