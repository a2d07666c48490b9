#include "io/numbers.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>

namespace tvlo {

namespace {

// Of a number out of a double's range: its decimal exponent tells which end.
double outOfRange(std::string_view text) {
  int64_t exponent = 0;
  int64_t magnitude = 0;  // position of the first nonzero digit
  bool point = false;
  bool found = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '.') {
      point = true;
    } else if (c == 'e' || c == 'E') {
      size_t from = i + 1;
      const bool negative = from < text.size() && text[from] == '-';
      if (from < text.size() && (text[from] == '-' || text[from] == '+')) ++from;
      for (; from < text.size(); ++from) exponent = std::min<int64_t>(exponent * 10 + (text[from] - '0'), 1LL << 40);
      if (negative) exponent = -exponent;
      break;
    } else {
      found |= c != '0';
      if (!point && found) ++magnitude;
      if (point && !found) --magnitude;
    }
  }
  return exponent + magnitude > 0 ? std::numeric_limits<double>::infinity() : 0;
}

}  // namespace

double scanNumber(std::string_view text, size_t& length) {
  double value = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  length = error == std::errc::invalid_argument ? 0 : static_cast<size_t>(stop - text.data());
  return error == std::errc::result_out_of_range ? outOfRange(text.substr(0, length)) : value;
}

std::optional<double> parseNumber(std::string_view text) {
  const bool negative = !text.empty() && text.front() == '-';
  if (negative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
  if (text.empty() || text.front() == '-') return std::nullopt;
  size_t length = 0;
  double value = scanNumber(text, length);
  if (length != 0 && length < text.size() && (text[length] == 'd' || text[length] == 'D') && text.size() < 400) {
    std::string usual(text);
    usual[length] = 'e';
    value = scanNumber(usual, length);
    if (length != usual.size()) return std::nullopt;
  } else if (length != text.size()) {
    return std::nullopt;
  }
  return negative ? -value : value;
}

Digits::Digits(double value) : size_(std::to_chars(text_, text_ + sizeof text_, value).ptr - text_) {}

}  // namespace tvlo
