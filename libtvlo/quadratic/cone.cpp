#include "quadratic/cone.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <map>

#include "core/check.h"
#include "quadratic/convexity.h"

namespace tvlo {

namespace {

constexpr int kMostColumns = 1000;  // of a row; the factorisation is dense
constexpr double kRounding = 1e-12;

// What a minimiser of x'Px + p'x subtracts from it, -min; negative where there is none.
double depth(const QuadraticForm& form, double sign, const std::map<int, double>& linear) {
  std::vector<int> columns;
  for (const QuadraticEntry& e : form.entries()) {
    columns.push_back(e.first);
    columns.push_back(e.second);
  }
  std::sort(columns.begin(), columns.end());
  columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
  const auto n = static_cast<Eigen::Index>(columns.size());
  if (n > kMostColumns) return -1;
  const auto number = [&](int column) {
    return static_cast<Eigen::Index>(std::lower_bound(columns.begin(), columns.end(), column) - columns.begin());
  };
  Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(n, n);
  Eigen::VectorXd p = Eigen::VectorXd::Zero(n);
  for (const QuadraticEntry& e : form.entries()) {
    matrix(number(e.first), number(e.second)) = matrix(number(e.second), number(e.first)) = sign * e.value;
  }
  for (const auto& [column, coef] : linear) {
    if (!std::binary_search(columns.begin(), columns.end(), column)) return -1;
    p(number(column)) = sign * coef;
  }
  if (n == 0) return 0;
  // By eigenvectors, as the matrix may be singular.
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> eigen(matrix);
  const Eigen::VectorXd along = eigen.eigenvectors().transpose() * p;
  const double least = kRounding * std::max(eigen.eigenvalues().cwiseAbs().maxCoeff(), 0.0);
  double sum = 0;
  for (Eigen::Index k = 0; k < n; ++k) {
    const double value = eigen.eigenvalues()(k);
    if (value > least) {
      sum += along(k) * along(k) / (4 * value);
    } else if (std::abs(along(k)) > 1e-9 * std::max(1e-300, p.norm())) {
      return -1;
    }
  }
  return sum;
}

}  // namespace

bool isCone(const Model& model, const RowQuadratic& row) {
  const Bounds bounds = model.rowBounds(row.row);
  const bool above = bounds.upper < TVLO_INFINITY;
  if (above == (bounds.lower > -TVLO_INFINITY)) return false;
  const double sign = above ? 1 : -1;
  const double rhs = above ? bounds.upper : -bounds.lower;

  const QuadraticEntry* apex = nullptr;
  for (const QuadraticEntry& e : row.form.entries()) {
    if (e.first != e.second || sign * e.value >= 0) continue;
    if (apex != nullptr) return false;
    apex = &e;
  }
  if (apex == nullptr || row.form.entries().size() == 1) return false;
  const int r = apex->first;
  for (const QuadraticEntry& e : row.form.entries()) {
    if (e.first != e.second && (e.first == r || e.second == r)) return false;
  }
  QuadraticForm squares = row.form;
  const double zero = 0;
  squares.set(1, &r, &r, &zero);
  const Curvature found = curvatureOf(squares);
  if (found != Curvature::flat && found != (above ? Curvature::convex : Curvature::concave)) return false;

  std::map<int, double> linear;
  double w = 0;
  const SparseMatrix& matrix = model.byRows();
  for (int64_t k = matrix.start[row.row]; k < matrix.start[row.row + 1]; ++k) {
    if (matrix.index[k] == r) {
      w = sign * matrix.value[k];
    } else if (matrix.value[k] != 0) {
      linear[matrix.index[k]] = matrix.value[k];
    }
  }
  const double completed = depth(squares, sign, linear);
  if (completed < 0) return false;
  const double v = -sign * apex->value;
  const double s = w / (2 * v);
  const double scale = std::max({std::abs(rhs), completed, v * s * s});
  if (rhs + completed - v * s * s > kRounding * scale) return false;
  const Bounds range = relaxedBounds(model, r);
  const double slack = kRounding * std::max(1.0, std::abs(s));
  return range.lower >= s - slack || range.upper <= s + slack;
}

}  // namespace tvlo
