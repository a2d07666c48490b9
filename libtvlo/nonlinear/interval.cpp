#include "nonlinear/interval.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "elementary/functions.h"
#include "nonlinear/token_stack.h"

namespace tvlo {

namespace {

constexpr double kInfinite = elementary::kInfinite;
constexpr Interval kWhole = {-kInfinite, kInfinite};
constexpr Interval kNothing = {kInfinite, -kInfinite};
constexpr double kRounding = 1e-14;  // a few units in the last place, also of the mathematical functions

// Outwards by what rounding may have done. What has no bound, or was no number, has none.
Interval outwards(double lower, double upper) {
  if (std::isnan(lower) || std::isnan(upper)) return kWhole;
  const auto room = [](double value) { return std::isinf(value) ? 0 : kRounding * std::abs(value); };
  return {lower - room(lower), upper + room(upper)};
}

double times(double a, double b) { return a == 0 || b == 0 ? 0 : a * b; }  // also where the other one is infinite

Interval product(Interval a, Interval b) {
  const auto [low, high] =
      std::minmax({times(a.lower, b.lower), times(a.lower, b.upper), times(a.upper, b.lower), times(a.upper, b.upper)});
  return outwards(low, high);
}

Interval sum(Interval a, Interval b) { return outwards(a.lower + b.lower, a.upper + b.upper); }
Interval negative(Interval a) { return {-a.upper, -a.lower}; }

Interval quotient(Interval a, Interval b) {
  if (b.lower == 0 && b.upper == 0) return kNothing;
  if (b.lower < 0 && b.upper > 0) return kWhole;
  const double low = b.upper == 0 ? -kInfinite : 1 / b.upper, high = b.lower == 0 ? kInfinite : 1 / b.lower;
  return product(a, outwards(low, high));
}

Interval distance(Interval a) {
  if (a.lower >= 0) return a;
  if (a.upper <= 0) return negative(a);
  return {0, std::max(-a.lower, a.upper)};
}

// Whether an interval lies beyond an end of a domain, by more than points may be off their bounds.
bool isOutside(Interval a, double least, double most) {
  constexpr double kRoom = 1e-5;
  const auto beyond = [](double by, double end) { return by > kRoom * std::max(1.0, std::abs(end)); };
  return beyond(least - a.upper, least) || beyond(a.lower - most, most);
}

// A function that grows over its domain. Infinite values at the domain's ends are values: max and min may go past them.
template <class F>
Interval growing(Interval a, double least, double most, F f) {
  if (isOutside(a, least, most)) return kNothing;
  const double lower = std::max(a.lower, least), upper = std::min(a.upper, most);
  if (lower > upper) return kWhole;  // by so little that it may be the points' tolerance
  return outwards(f(lower), f(upper));
}

Interval power(Interval a, Interval b) {
  const bool whole = b.lower == b.upper && b.lower == std::floor(b.lower);
  if (whole && b.lower >= 0) {
    const auto raised = [&](double t) { return std::pow(t, b.lower); };
    return std::fmod(b.lower, 2) == 0 ? growing(distance(a), 0, kInfinite, raised)
                                      : growing(a, -kInfinite, kInfinite, raised);
  }
  if (whole) {
    const Interval inverse = power(a, negative(b));
    return inverse.upper > 0 || inverse.lower < 0 ? quotient({1, 1}, inverse) : kWhole;  // of 0: infinite
  }
  if (std::floor(b.upper) < b.lower && isOutside(a, 0, kInfinite)) return kNothing;  // no whole exponent is among them
  if (a.lower < 0 && b.lower < b.upper) return kWhole;  // whole exponents may be among them
  a.lower = std::max(a.lower, 0.0);
  if (a.lower == 0 || std::isinf(a.upper) || std::isinf(b.lower) || std::isinf(b.upper)) return {0, kInfinite};
  const auto [low, high] = std::minmax(
      {std::pow(a.lower, b.lower), std::pow(a.lower, b.upper), std::pow(a.upper, b.lower), std::pow(a.upper, b.upper)});
  return outwards(low, high);
}

Interval sine(Interval a) {
  constexpr double kPi = std::numbers::pi;
  constexpr double kFar = 1e6;  // from where on periods can't be told apart well enough
  if (!(std::abs(a.lower) < kFar && std::abs(a.upper) < kFar)) return {-1, 1};
  const auto passes = [&](double peak) {  // peak + 2 k pi lies within, or nearly so
    return peak + 2 * kPi * std::ceil((a.lower - 1e-9 - peak) / (2 * kPi)) <= a.upper + 1e-9;
  };
  const auto [low, high] = std::minmax({std::sin(a.lower), std::sin(a.upper)});
  const Interval ends = outwards(low, high);
  return {passes(-kPi / 2) ? -1 : ends.lower, passes(kPi / 2) ? 1 : ends.upper};
}

// Of an operand. Quadratic parts of formulas are written as products, so squares of columns are told from others.
struct Range : Interval {
  int column = -1;  // that it is the range of
};

// The points stand last to first, y before x; the argument comes after them.
Interval piecewise(const Range* argument, size_t count) {
  const Interval a = argument[count - 1];
  const size_t points = count / 2;
  const auto x = [&](size_t k) { return argument[2 * (points - 1 - k) + 1].lower; };
  const auto y = [&](size_t k) { return argument[2 * (points - 1 - k)].lower; };
  if (std::isinf(a.lower) || std::isinf(a.upper) || points < 2) return kWhole;
  Interval found = {kInfinite, -kInfinite};
  const auto include = [&](double value) {
    found.lower = std::min(found.lower, value);
    found.upper = std::max(found.upper, value);
  };
  // Each piece between its ends; the first and the last one go on.
  for (size_t k = 0; k + 1 < points; ++k) {
    const double from = k == 0 ? a.lower : std::max(a.lower, x(k));
    const double to = k + 2 == points ? a.upper : std::min(a.upper, x(k + 1));
    if (from > to) continue;
    if (x(k) == x(k + 1)) {
      include(y(k));
      include(y(k + 1));
      continue;
    }
    const double slope = (y(k + 1) - y(k)) / (x(k + 1) - x(k));
    for (const double t : {from, to}) include(slope * (t - x(k)) + y(k));
  }
  return found.lower <= found.upper ? outwards(found.lower, found.upper) : kWhole;
}

// Of functions that turn: those without a case here have any value.
Interval turningRange(int function, Interval a) {
  switch (function) {
    case TSLP_FUNCTION_ABS:
      return distance(a);
    case TSLP_FUNCTION_SIN:
      return sine(a);
    case TSLP_FUNCTION_COS:
      return sine(sum(a, {std::numbers::pi / 2, std::numbers::pi / 2}));
    default:
      return kWhole;
  }
}

Interval functionRange(int function, const Range* argument, size_t count) {
  using namespace elementary;
  const Interval a = argument[0];
  const auto byTrend = [&](Trend trend, double least, double most, double (*f)(double)) {
    if (trend == Trend::turns) return turningRange(function, a);
    if (trend == Trend::grows) return growing(a, least, most, f);
    return negative(growing(a, least, most, [&](double t) { return -f(t); }));
  };
  switch (function) {
#define ELEMENTARY_FUNCTION(name, Node, node, TOKEN, formula, words, least, most, trend, ...) \
  case TSLP_FUNCTION_##TOKEN:                                                                 \
    return byTrend(Trend::trend, least, most, elementary::name);
#include "elementary/functions.def"
    case TSLP_FUNCTION_PWL:
      return piecewise(argument, count);
    case TSLP_FUNCTION_MIN:
    case TSLP_FUNCTION_MAX: {
      Interval found = a;
      const bool most = function == TSLP_FUNCTION_MAX;
      for (size_t k = 1; k < count; ++k) {
        const Interval other = argument[k];
        found.lower = most ? std::max(found.lower, other.lower) : std::min(found.lower, other.lower);
        found.upper = most ? std::max(found.upper, other.upper) : std::min(found.upper, other.upper);
      }
      return found;
    }
    default:
      return kWhole;
  }
}

Interval operatorRange(int code, Interval a, Interval b) {
  switch (code) {
    case TSLP_OPERATOR_POWER:
      return power(a, b);
    case TSLP_OPERATOR_TIMES:
      return product(a, b);
    case TSLP_OPERATOR_DIVIDE:
      return quotient(a, b);
    case TSLP_OPERATOR_PLUS:
      return sum(a, b);
    default:
      return sum(a, negative(b));
  }
}

struct Ranges {
  const std::vector<Interval>& columns;
  Range constant(double value) const { return {{value, value}}; }
  Range column(int j) const { return {columns[j], j}; }
  Range negative(const Range& a) const { return {tvlo::negative(a)}; }
  // What is nothing as an operand leaves nothing of the whole.
  Range binary(int code, const Range& a, const Range& b) const {
    if (a.isNothing() || b.isNothing()) return {kNothing};
    const bool square = code == TSLP_OPERATOR_TIMES && a.column >= 0 && a.column == b.column;
    return {square ? power(a, {2, 2}) : operatorRange(code, a, b)};
  }
  Range function(int code, const Range* argument, size_t count) const {
    return {anyIsNothing(argument, count) ? kNothing : functionRange(code, argument, count)};
  }
  Range user(int, const Range* argument, size_t count) const {
    return {anyIsNothing(argument, count) ? kNothing : kWhole};
  }
  static bool anyIsNothing(const Range* argument, size_t count) {
    return std::any_of(argument, argument + count, [](const Range& a) { return a.isNothing(); });
  }
};

}  // namespace

Interval rangeOf(TokenView run, const std::vector<Interval>& columns) { return runTokens<Range>(run, Ranges{columns}); }

bool someRowIsOutOfReach(const Model& model, double tolerance) {
  std::vector<Interval> columns(model.columns());
  for (int j = 0; j < model.columns(); ++j) {
    const double lower = model.lower()[j], upper = model.upper()[j];
    columns[j] = {lower <= -TVLO_INFINITY ? -kInfinite : lower, upper >= TVLO_INFINITY ? kInfinite : upper};
    if (columns[j].isNothing()) std::swap(columns[j].lower, columns[j].upper);  // crossed by rounding
  }
  std::vector<Interval> rows(model.rows(), {0, 0});
  std::vector<double> largest(model.rows(), 1);
  const auto add = [&](int row, Interval term) {
    rows[row] = sum(rows[row], term);
    for (const double end : {term.lower, term.upper}) {
      if (std::isfinite(end)) largest[row] = std::max(largest[row], std::abs(end));
    }
  };
  const auto scaled = [](double by, Interval a) { return product({by, by}, a); };
  const SparseMatrix& matrix = model.byRows();
  for (int i = 0; i < model.rows(); ++i) {
    for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) {
      add(i, scaled(matrix.value[k], columns[matrix.index[k]]));
    }
  }
  for (const RowQuadratic& q : model.quadraticRows()) {
    for (const QuadraticEntry& e : q.form.entries()) {
      add(q.row, e.first == e.second ? scaled(e.value, power(columns[e.first], {2, 2}))
                                     : scaled(2 * e.value, product(columns[e.first], columns[e.second])));
    }
  }
  const Formulas& formulas = model.formulas();
  for (const Formulas::Coefficient& coef : formulas.coefficients()) {
    if (!Formulas::isLive(coef)) continue;
    const Interval by = coef.column == kConstantColumn ? Interval{1, 1} : columns[coef.column];
    const Interval range = rangeOf(formulas.tokens(coef), columns);
    if (range.isNothing()) {
      if (coef.factor != 0 && model.rowTypes()[coef.row] != 'N') return true;
      continue;
    }
    add(coef.row, scaled(coef.factor, product(by, range)));
  }
  for (int i = 0; i < model.rows(); ++i) {
    const Bounds bounds = model.rowBounds(i);
    const double room = tolerance * largest[i];
    if (bounds.upper < TVLO_INFINITY && rows[i].lower > bounds.upper + room) return true;
    if (bounds.lower > -TVLO_INFINITY && rows[i].upper < bounds.lower - room) return true;
  }
  return false;
}

}  // namespace tvlo
