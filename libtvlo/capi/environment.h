// The global environment: the count of starts, the register of live handles and, for each thread, the last error of
// what it called that has no problem. Any thread may use it.
#pragma once

#include <mutex>
#include <string>
#include <unordered_map>

namespace tvlo {

class Environment {
 public:
  static Environment& instance();

  void start();
  void stop();  // the last stop drops the message handlers; throws Error when nothing was started
  void startComponent();
  void stopComponent();  // of the nonlinear component
  bool started() const;

  // `typeName` must live for ever.
  void enroll(const void* handle, const char* typeName);
  bool forget(const void* handle, const char* typeName) noexcept;  // whether it was a live handle of that type
  const char* typeName(const void* handle) const;                  // null when it is no live handle

 private:
  Environment() = default;
  mutable std::mutex mutex_;
  int starts_ = 0, componentStarts_ = 0;
  std::unordered_map<const void*, const char*> handles_;
};

struct LastError {
  int code = 0;
  std::string text;
};
LastError& lastGlobalError() noexcept;  // the calling thread's

}  // namespace tvlo
