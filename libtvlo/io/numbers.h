// Numbers in text, independent of the locale. What is written reads back as the same value.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tvlo {

// The unsigned number that a text starts with, and its length in `length`, 0 when there is none. A value too large
// for a double is infinite, one too small is 0.
double scanNumber(std::string_view text, size_t& length);

// A text that is a number and nothing else: a sign, digits, an exponent (also with D), inf, infinity, nan.
std::optional<double> parseNumber(std::string_view text);

// The shortest form that reads back exactly.
class Digits {
 public:
  explicit Digits(double value);
  std::string_view view() const { return {text_, size_}; }

 private:
  char text_[32];
  size_t size_;
};
inline void appendNumber(std::string& text, double value) { text += Digits(value).view(); }

}  // namespace tvlo
