#include "core/check.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tvlo {

namespace {

constexpr double kMostRounding = 1e-5;  // relative to the objective's gradient
constexpr double kRounding = 4 * std::numeric_limits<double>::epsilon();
constexpr double kWhole = std::numeric_limits<double>::infinity();

// A sum that keeps the rounding errors of its additions apart.
class Sum {
 public:
  explicit Sum(double first = 0) : sum_(first) {}
  void add(double term) {
    const double next = sum_ + term;
    const double added = next - sum_;
    rest_ += (sum_ - (next - added)) + (term - added);
    sum_ = next;
  }
  double value() const { return sum_ + rest_; }

 private:
  double sum_;
  double rest_ = 0;
};

double size(double bound) { return std::abs(bound) < TVLO_INFINITY ? std::max(1.0, std::abs(bound)) : 1.0; }

void raise(Violation& worst, double by, double scale) {
  if (std::isnan(by)) by = kWhole;
  worst.absolute = std::max(worst.absolute, by);
  worst.relative = std::max(worst.relative, by / scale);
}

void raiseOutside(Violation& worst, double value, Bounds bounds, double scale = 1) {
  if (bounds.lower > -TVLO_INFINITY) raise(worst, bounds.lower - value, std::max(scale, size(bounds.lower)));
  if (bounds.upper < TVLO_INFINITY) raise(worst, value - bounds.upper, std::max(scale, size(bounds.upper)));
  if (std::isnan(value)) raise(worst, value, 1);
}

void raiseColumn(Violation& worst, const Model& model, int column, double x, bool integrality) {
  const char type = model.columnTypes()[column];
  if (!integrality || type == 'C') {
    raiseOutside(worst, x, relaxedBounds(model, column));
    return;
  }
  if (type == 'S' || type == 'R') {
    const Violation zero{std::abs(x), std::abs(x)};
    Violation positive;
    raiseOutside(positive, x, {model.semiLower(column), model.upper()[column]});
    const bool atZero = zero.relative <= positive.relative || model.semiLower(column) > model.upper()[column];
    raise(worst, atZero ? zero.absolute : positive.absolute, 1);
    if (!atZero) worst.relative = std::max(worst.relative, positive.relative);
  } else {
    raiseOutside(worst, x, {model.lower()[column], model.upper()[column]});
  }
  const bool wholeAbove = type == 'P' && x >= model.limit(column);
  if (type != 'S' && !wholeAbove) raise(worst, std::abs(x - std::round(x)), 1);
}

// One reduced cost or dual `d` (as in minimisation) of something whose value should be at the bound that the sign
// of `d` asks for. Where there is no such bound, the columns could move by what `weight()` times `d` is worth.
template <class Weight>
void checkPair(DualCheck& check, Sum& lost, double d, double value, Bounds bounds, double scale, double dualScale,
               double tolerance, Weight weight) {
  const double bound = d > 0 ? bounds.lower : bounds.upper;
  const double size = std::abs(d);
  const bool finite = std::abs(bound) < TVLO_INFINITY;
  const double distance = finite ? std::abs(value - bound) : kWhole;
  check.violation = std::max(check.violation, std::min(size, distance));
  const double worth = finite ? size : size * weight();
  if (!(worth > tolerance)) {
    if (std::isnan(d)) check.infeasibility = kWhole;
    return;
  }
  if (!finite) {
    check.infeasibility = std::max(check.infeasibility, worth / dualScale);
  } else {
    const double allowed = tolerance * std::max({1.0, std::abs(bound), scale});
    if (!(distance <= allowed)) lost.add(size * (distance - allowed));
  }
}

bool sized(const Model& model, const std::vector<double>& x) { return x.size() == model.columnTypes().size(); }

// The gradient of the objective minus the duals times those of the rows. `largest` is of each column the largest
// derivative that a function has there, a quadratic one's as a whole: terms that cancel out must not hide what is
// left. Their rounding errors are in `rounding`.
struct Gradient {
  Gradient(const Model& model, const std::vector<double>& x, const std::vector<double>& dual)
      : value(model.objective()), largest(value.size()), rounding(value.size()), part_(value.size()) {
    for (size_t j = 0; j < value.size(); ++j) largest[j] = std::max(1.0, std::abs(value[j]));
    addForm(model.quadraticObjective(), true, 1, x);
    for (size_t j = 0; j < value.size(); ++j) most = std::max(most, std::abs(value[j]));
    const SparseMatrix& matrix = model.byRows();
    const auto linear = [&](int i, auto take) {
      for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) take(matrix.index[k], -dual[i] * matrix.value[k]);
    };
    for (int i = 0; i < model.rows(); ++i) {
      if (dual[i] == 0) continue;
      if (const QuadraticForm* const form = model.rowQuadratic(i)) {
        linear(i, [&](int column, double part) { collect(column, part); });
        addForm(*form, false, -dual[i], x);
        linear(i, [&](int column, double) { flush(column); });
      } else {
        linear(i, [&](int column, double part) { add(column, part); });
      }
    }
  }

  std::vector<double> value, largest, rounding;
  double most = 1;  // of the objective's own

 private:
  void add(int column, double part) {
    value[column] += part;
    rounding[column] += kRounding * std::abs(part);
    largest[column] = std::max(largest[column], std::abs(part));
  }
  void collect(int column, double term) {
    part_[column] += term;
    rounding[column] += kRounding * std::abs(term);
  }
  void flush(int column) {
    if (part_[column] != 0) add(column, part_[column]);
    part_[column] = 0;
  }
  void addForm(const QuadraticForm& form, bool objective, double factor, const std::vector<double>& x) {
    forEachTerm(form, objective, [&](int i, int j, double c) {
      collect(i, factor * c * x[j] * (i == j ? 2 : 1));
      if (i != j) collect(j, factor * c * x[i]);
    });
    for (const QuadraticEntry& e : form.entries()) {
      flush(e.first);
      flush(e.second);
    }
  }

  std::vector<double> part_;  // of the form at hand; 0 in between
};

}  // namespace

Bounds relaxedBounds(const Model& model, int column) {
  const char type = model.columnTypes()[column];
  const double upper = model.upper()[column];
  if (type != 'S' && type != 'R') return {model.lower()[column], upper};
  const double lower = model.semiLower(column);
  if (lower > upper) return {0, 0};
  return {std::min(lower, 0.0), std::max(upper, 0.0)};
}

Activities::Activities(const Model& model, const std::vector<double>& x)
    : value(model.rowTypes().size()), largest(value.size()) {
  const SparseMatrix& matrix = model.byRows();
  for (size_t i = 0; i < value.size(); ++i) {
    Sum sum;
    double most = 0;
    for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) {
      const double term = matrix.value[k] * x[matrix.index[k]];
      sum.add(term);
      most = std::max(most, std::abs(term));
    }
    value[i] = sum.value();
    largest[i] = most;
  }
  for (const RowQuadratic& row : model.quadraticRows()) {
    Sum sum(value[row.row]);
    double& most = largest[row.row];
    forEachTerm(row.form, false, [&](int i, int j, double c) {
      const double term = c * x[i] * x[j];
      sum.add(term);
      most = std::max(most, std::abs(term));
    });
    value[row.row] = sum.value();
  }
}

double objectiveValue(const Model& model, const std::vector<double>& x) {
  Sum sum(model.constant());
  for (int j = 0; j < model.columns(); ++j) sum.add(model.objective()[j] * x[j]);
  forEachTerm(model.quadraticObjective(), true, [&](int i, int j, double c) { sum.add(c * x[i] * x[j]); });
  return sum.value();
}

double largestCoefficient(const SparseMatrix& matrix, int line) {
  double largest = 0;
  for (int64_t k = matrix.start[line]; k < matrix.start[line + 1]; ++k) {
    largest = std::max(largest, std::abs(matrix.value[k]));
  }
  return largest;
}

Violation primalViolation(const Model& model, const std::vector<double>& x, bool integrality) {
  if (!sized(model, x)) return {kWhole, kWhole};
  return primalViolation(model, x, Activities(model, x), integrality);
}

Violation primalViolation(const Model& model, const std::vector<double>& x, const Activities& rows, bool integrality) {
  Violation worst;
  for (int j = 0; j < model.columns(); ++j) raiseColumn(worst, model, j, x[j], integrality);
  for (int i = 0; i < model.rows(); ++i) {
    if (model.rowTypes()[i] == 'N') continue;
    raiseOutside(worst, rows.value[i], model.rowBounds(i), rows.largest[i]);
  }
  return worst;
}

DualCheck checkDuals(const Model& model, const std::vector<double>& x, const Activities& rows,
                     const std::vector<double>& dual, const std::vector<double>& redcost, double tolerance) {
  const auto n = static_cast<size_t>(model.columns());
  const auto m = static_cast<size_t>(model.rows());
  if (redcost.size() != n || dual.size() != m) return {kWhole, kWhole, kWhole, kWhole};
  const double sign = model.sense();
  DualCheck check;
  Sum lost;
  const Gradient reduced(model, x, dual);
  for (int i = 0; i < model.rows(); ++i) {
    if (dual[i] == 0) continue;
    checkPair(check, lost, sign * dual[i], rows.value[i], model.rowBounds(i), rows.largest[i], reduced.most, tolerance,
              [&] { return std::max(1.0, largestCoefficient(model.byRows(), i)); });
  }
  for (size_t j = 0; j < n; ++j) {
    const double off = std::abs(reduced.value[j] - redcost[j]);
    // Where rounding errors are large, be it of terms or of duals that cancel out, the point says nothing.
    const double size = std::max(reduced.most, std::abs(reduced.value[j]));
    const bool vague = !(reduced.rounding[j] <= kMostRounding * size);
    const double residual = std::max(0.0, off - reduced.rounding[j]) / reduced.largest[j];
    check.residual = vague || std::isnan(off) ? kWhole : std::max(check.residual, residual);
    if (redcost[j] == 0) continue;
    checkPair(check, lost, sign * redcost[j], x[j], relaxedBounds(model, static_cast<int>(j)), 1, reduced.most,
              tolerance, [] { return 1.0; });
  }
  const double gap = lost.value() / std::max(1.0, std::abs(objectiveValue(model, x)));
  check.gap = std::isnan(gap) ? kWhole : gap;
  return check;
}

std::vector<double> reducedCosts(const Model& model, const std::vector<double>& x, const std::vector<double>& dual) {
  return Gradient(model, x, dual).value;
}

double dualViolation(const Model& model, const std::vector<double>& dual, const std::vector<double>& redcost,
                     const std::vector<double>& x) {
  if (!sized(model, x) || dual.size() != model.rowTypes().size()) return kWhole;
  // Recomputed reduced costs, so that an error in those given shows as well.
  const std::vector<double> reduced = reducedCosts(model, x, dual);
  const Activities rows(model, x);
  const double given = checkDuals(model, x, rows, dual, redcost, 0).violation;
  return std::max(given, checkDuals(model, x, rows, dual, reduced, 0).violation);
}

}  // namespace tvlo
