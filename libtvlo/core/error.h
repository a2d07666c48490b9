// How libtvlo fails inside: an Error is thrown and becomes a code and a last-error text at the C border
// (capi/guard.h). No other exception type is thrown on purpose.
#pragma once

#include <stdexcept>
#include <string>

#include "tvlo/tvlo.h"

namespace tvlo {

// Engines throw it too: its type must be the same one in every shared object.
class __attribute__((visibility("default"))) Error : public std::runtime_error {
 public:
  Error(int code, const std::string& text) : std::runtime_error(text), code_(code) {}
  int code() const { return code_; }

 private:
  int code_;
};

// printf-style text for messages.
std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
// Throws an Error with TVLO_ERR_ARGUMENT and such a text.
[[noreturn]] void badArgument(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

}  // namespace tvlo
