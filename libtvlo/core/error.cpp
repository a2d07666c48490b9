#include "core/error.h"

#include <cstdarg>
#include <cstdio>

namespace tvlo {

namespace {

std::string formatList(const char* fmt, va_list args) {
  va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, fmt, args);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, fmt, again);
  va_end(again);
  return text;
}

}  // namespace

std::string format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string text = formatList(fmt, args);
  va_end(args);
  return text;
}

void badArgument(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string text = formatList(fmt, args);
  va_end(args);
  throw Error(TVLO_ERR_ARGUMENT, text);
}

}  // namespace tvlo
