#include "engines/piqp/translate.h"

#include <cmath>
#include <limits>

#include "core/check.h"
#include "engines/engine.h"

namespace tvlo::piqp {

namespace {

using Triplets = std::vector<Eigen::Triplet<double>>;

// Infinite bounds as PIQP knows them.
double side(double bound) {
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  return bound >= TVLO_INFINITY ? kInfinite : bound <= -TVLO_INFINITY ? -kInfinite : bound;
}

Eigen::VectorXd vectorOf(const std::vector<double>& values) {
  return Eigen::Map<const Eigen::VectorXd>(values.data(), static_cast<Eigen::Index>(values.size()));
}

Matrix matrixOf(const Triplets& triplets, size_t rows, size_t columns) {
  Matrix matrix(static_cast<Eigen::Index>(rows), static_cast<Eigen::Index>(columns));
  matrix.setFromTriplets(triplets.begin(), triplets.end());
  return matrix;
}

}  // namespace

Program::Program(const Model& model) {
  const int n = model.columns();
  const double sign = model.sense();
  std::vector<int> number(n, -1);
  fixed.assign(n, 0);
  std::vector<double> costs, lows, highs, right;
  for (int j = 0; j < n; ++j) {
    const Bounds bounds = relaxedBounds(model, j);
    // Bounds that cross within the tolerance meet half-way.
    if (bounds.lower >= bounds.upper) {
      fixed[j] = bounds.lower / 2 + bounds.upper / 2;
      continue;
    }
    number[j] = static_cast<int>(column.size());
    column.push_back(j);
    costs.push_back(sign * model.objective()[j]);
    lows.push_back(side(bounds.lower));
    highs.push_back(side(bounds.upper));
  }
  columnLower = vectorOf(lows);
  columnUpper = vectorOf(highs);

  Triplets entries;
  for (const QuadraticEntry& e : model.quadraticObjective().entries()) {
    const int first = number[e.first], second = number[e.second];
    const double value = sign * e.value;
    if (first >= 0 && second >= 0) {
      entries.emplace_back(first, second, value);
    } else if (first >= 0) {
      costs[first] += value * fixed[e.second];
    } else if (second >= 0) {
      costs[second] += value * fixed[e.first];
    }
  }
  c = vectorOf(costs);
  P = matrixOf(entries, column.size(), column.size());

  lows.clear();
  highs.clear();
  Triplets equations, inequalities;
  const SparseMatrix& matrix = model.byRows();
  for (int i = 0; i < model.rows(); ++i) {
    const Bounds bounds = model.rowBounds(i);
    if (bounds.lower <= -TVLO_INFINITY && bounds.upper >= TVLO_INFINITY) continue;
    const bool equal = bounds.lower >= bounds.upper;
    Triplets& to = equal ? equations : inequalities;
    const size_t row = equal ? equation.size() : inequality.size();
    const size_t before = to.size();
    double moved = 0;
    for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) {
      const int j = matrix.index[k];
      if (number[j] >= 0) {
        to.emplace_back(static_cast<int>(row), number[j], matrix.value[k]);
      } else {
        moved += matrix.value[k] * fixed[j];
      }
    }
    if (to.size() == before) continue;  // our check looks at it
    if (equal) {
      equation.push_back(i);
      right.push_back(bounds.lower / 2 + bounds.upper / 2 - moved);
    } else {
      inequality.push_back(i);
      lows.push_back(side(bounds.lower) - moved);
      highs.push_back(side(bounds.upper) - moved);
    }
  }
  b = vectorOf(right);
  lower = vectorOf(lows);
  upper = vectorOf(highs);
  A = matrixOf(equations, equation.size(), column.size());
  G = matrixOf(inequalities, inequality.size(), column.size());
}

PointValues Program::point(const Model& model, const Eigen::VectorXd& x, const Eigen::VectorXd& equations,
                           const Eigen::VectorXd& inequalities) const {
  const double sign = model.sense();
  PointValues result;
  result.x = fixed;
  for (size_t k = 0; k < column.size(); ++k) result.x[column[k]] = x[static_cast<Eigen::Index>(k)];
  result.dual.assign(model.rows(), 0);
  for (size_t k = 0; k < equation.size(); ++k) {
    result.dual[equation[k]] = sign * equations[static_cast<Eigen::Index>(k)];
  }
  for (size_t k = 0; k < inequality.size(); ++k) {
    result.dual[inequality[k]] = sign * inequalities[static_cast<Eigen::Index>(k)];
  }
  result.available = allFinite(result.x) && allFinite(result.dual);
  // PIQP's own hold within its tolerance; these hold by definition.
  if (result.available) result.redcost = reducedCosts(model, result.x, result.dual);
  return result;
}

}  // namespace tvlo::piqp
