// Values of the elementary functions and operators, from functions.def. The extension module and the solver library
// share no other code: whoever evaluates a formula, for a number, an expression, a check or a solve, gets the same
// bits. Nothing but the standard library is included here.
#pragma once

#include <cmath>
#include <limits>

namespace elementary {

inline constexpr double kInfinite = std::numeric_limits<double>::infinity();
inline constexpr double kLn10 = 2.302585092994046;
inline constexpr double kTwoOverRootPi = 1.1283791670955126;

enum class Trend { grows, falls, turns };

// elementary::exp(x) and so on.
#define ELEMENTARY_FUNCTION(name, Node, node, TOKEN, formula, words, least, most, trend, value, first, second) \
  inline double name(double x) { return value; }
#include "elementary/functions.def"

// elementary::add(a, b) and so on; the one of negation takes two as well and ignores the second.
#define ELEMENTARY_OPERATOR(name, Node, node, TOKEN, sign, operands, precedence, members, value) \
  inline double name(double a, [[maybe_unused]] double b) { return value; }
#include "elementary/functions.def"

// A piecewise-linear function near a point: the segment from (x1, y1) to (x2, y2), which goes on beyond its ends.
struct Segment {
  double x1, y1, x2, y2;
  double slope() const { return (y2 - y1) / (x2 - x1); }
  double at(double t) const { return t < x2 ? slope() * (t - x1) + y1 : slope() * (t - x2) + y2; }
};

}  // namespace elementary
