#include "io/mps_ranges.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "io/numbers.h"

namespace tvlo {

namespace {

// A width that gives the sides back from this one, to readers that compute in doubles, too; empty where there is none.
std::string doubleWidth(double side, double other, double width) {
  const bool above = other > side;
  constexpr double kMost = std::numeric_limits<double>::max();
  for (const double w : {width, std::nextafter(width, 0.0), std::nextafter(width, kMost)}) {
    if ((above ? side + w : side - w) != other) continue;
    std::string text(Digits(w).view());
    if (mpsRangeEnd(side, text, above) == other) return text;
  }
  return {};
}

}  // namespace

double mpsRangeEnd(double side, std::string_view width, bool above) {
  if (!width.empty() && (width.front() == '-' || width.front() == '+')) width.remove_prefix(1);
  long double wide = 0;
  const auto [end, error] = std::from_chars(width.data(), width.data() + width.size(), wide);
  // Other spellings of numbers, and those out of range, as any number of the file is read.
  if (error != std::errc() || end != width.data() + width.size()) wide = parseNumber(width).value_or(0);
  return static_cast<double>(above ? side + wide : side - wide);
}

MpsRange mpsRange(const Model& model, int row) {
  const auto [lower, upper] = model.rowBounds(row);
  if (lower <= -TVLO_INFINITY) return {'L', upper, {}};
  if (std::string width = doubleWidth(upper, lower, model.range(row)); !width.empty()) return {'L', upper, width};
  if (std::string width = doubleWidth(upper, lower, upper - lower); !width.empty()) return {'L', upper, width};
  if (std::string width = doubleWidth(lower, upper, upper - lower); !width.empty()) return {'G', lower, width};
  // From the smaller side, as rounding the width must not reach the larger one's last bit.
  const bool above = std::abs(lower) < std::abs(upper);
  char digits[64];
  const auto end = std::to_chars(digits, digits + sizeof digits, static_cast<long double>(upper) - lower).ptr;
  return {above ? 'G' : 'L', above ? lower : upper, {digits, end}};
}

}  // namespace tvlo
