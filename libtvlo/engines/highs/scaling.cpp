#include "engines/highs/scaling.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tvlo::highs {

namespace {

constexpr int kPasses = 6;
constexpr int kMostExponent = 60;

// The extremes of the absolute values on each line, as what the geometric mean of both is made from.
struct Extremes {
  explicit Extremes(size_t lines) : least(lines, std::numeric_limits<double>::infinity()), most(lines, 0) {}
  void add(int line, double value) {
    least[line] = std::min(least[line], value);
    most[line] = std::max(most[line], value);
  }
  // The power of two that brings the mean nearest to 1.
  double factor(size_t line) const {
    if (most[line] == 0) return 1;
    const double exponent = -0.5 * (std::log2(least[line]) + std::log2(most[line]));
    return std::exp2(std::clamp(std::round(exponent), -1.0 * kMostExponent, 1.0 * kMostExponent));
  }
  std::vector<double> least, most;
};

template <class F>
void forEachCoefficient(SparseMatrix& matrix, F&& f) {
  for (int i = 0; i < matrix.lines(); ++i) {
    for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) f(i, matrix.index[k], matrix.value[k]);
  }
}

// Lower by powers of two until finite bounds stay well below infinity.
double tamed(double factor, const Model& model, int column) {
  constexpr double kFar = 1e17;
  for (const double bound : {model.lower()[column], model.upper()[column]}) {
    if (std::abs(bound) >= TVLO_INFINITY) continue;
    while (factor < 1 && std::abs(bound) / factor > std::max(kFar, std::abs(bound))) factor *= 2;
  }
  return factor;
}

}  // namespace

bool hasSmall(const SparseMatrix& rows, int first) {
  return std::any_of(rows.value.begin() + rows.start[first], rows.value.end(),
                     [](double value) { return std::abs(value) <= kSmallest; });
}

bool losesByDropping(const Model& model) {
  constexpr double kCounts = 1e-10;  // a thousandth of the usual tolerance
  const SparseMatrix& matrix = model.byRows();
  for (int64_t k = 0; k < matrix.nonzeros(); ++k) {
    const double coef = std::abs(matrix.value[k]);
    if (coef > kSmallest) continue;
    const int j = matrix.index[k];
    if (coef * std::max(std::abs(model.lower()[j]), std::abs(model.upper()[j])) > kCounts) return true;
  }
  return false;
}

double scale(SparseMatrix& matrix, const Model& model, const std::vector<bool>& free, std::vector<double>& row,
             std::vector<double>& column) {
  row.assign(matrix.lines(), 1);
  if (column.empty()) column.assign(free.size(), 1);
  for (int pass = 0; pass < kPasses; ++pass) {
    Extremes rows(row.size());
    forEachCoefficient(matrix, [&](int i, int, double value) { rows.add(i, std::abs(value)); });
    std::vector<double> byRow(row.size()), byColumn(free.size(), 1);
    for (size_t i = 0; i < row.size(); ++i) byRow[i] = rows.factor(i);
    Extremes columns(free.size());
    forEachCoefficient(matrix, [&](int i, int j, double value) { columns.add(j, std::abs(value) * byRow[i]); });
    for (size_t j = 0; j < free.size(); ++j) {
      if (free[j]) byColumn[j] = tamed(columns.factor(j) * column[j], model, static_cast<int>(j)) / column[j];
    }
    forEachCoefficient(matrix, [&](int i, int j, double& value) { value *= byRow[i] * byColumn[j]; });
    for (size_t i = 0; i < row.size(); ++i) row[i] *= byRow[i];
    for (size_t j = 0; j < free.size(); ++j) column[j] *= byColumn[j];
  }
  // Rows whose columns have to stay as they are may still have coefficients that are too small.
  double least = std::numeric_limits<double>::infinity();
  for (int i = 0; i < matrix.lines(); ++i) {
    double smallest = std::numeric_limits<double>::infinity();
    for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) {
      smallest = std::min(smallest, std::abs(matrix.value[k]));
    }
    double raise = 1;
    while (smallest * raise < kLeastKept * 2 && raise < 1e12) raise *= 2;
    row[i] *= raise;
    for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) matrix.value[k] *= raise;
    least = std::min(least, smallest * raise);
  }
  return least;
}

}  // namespace tvlo::highs
