#include "nonlinear/second_order.h"

#include <Eigen/SparseCholesky>
#include <algorithm>
#include <cmath>

namespace tvlo {

namespace {

constexpr double kFlat = 1e-7;   // curvature that counts as none, relative to the largest second derivative
constexpr double kRows = 1e-10;  // keeps the matrix regular where rows depend on each other

bool active(double multiplier, double value, double lower, double upper) {
  if (lower == upper) return true;
  return std::abs(multiplier) > std::min(std::abs(value - lower), std::abs(upper - value));
}

using Matrix = Eigen::SparseMatrix<double>;

// Of the matrix with shift added to the second derivatives: whether it has as many negative pivots as rows.
bool positive(Matrix matrix, int columns, double shift) {
  for (int j = 0; j < columns; ++j) matrix.coeffRef(j, j) += shift;
  const Eigen::SimplicialLDLT<Matrix, Eigen::Lower> factors(matrix);
  if (factors.info() != Eigen::Success) return false;
  return (factors.vectorD().array() < 0).count() == matrix.rows() - columns;
}

}  // namespace

SecondOrder secondOrder(NlpProgram& program, const NlpPoint& point) {
  std::vector<double> multipliers(program.rows());
  for (int i = 0; i < program.rows(); ++i) multipliers[i] = -program.sense * point.dual[i];
  std::vector<double> activity(program.rows()), jacobian(program.jacobian.size()), hessian(program.hessian.size());
  if (!program.constraints(point.x.data(), true, activity.data()) ||
      !program.jacobianValues(point.x.data(), false, jacobian.data()) ||
      !program.hessianValues(point.x.data(), false, program.sense, multipliers.data(), hessian.data())) {
    return SecondOrder::degenerate;
  }
  std::vector<int> place(program.columns(), -1), rowPlace(program.rows(), -1);
  int columns = 0;
  for (int j = 0; j < program.columns(); ++j) {
    if (!active(point.redcost[j], point.x[j], program.columnLower[j], program.columnUpper[j])) place[j] = columns++;
  }
  int size = columns;
  for (int i = 0; i < program.rows(); ++i) {
    if (active(point.dual[i], activity[i], program.rowLower[i], program.rowUpper[i])) rowPlace[i] = size++;
  }
  if (columns == 0) return SecondOrder::minimum;  // a vertex

  std::vector<Eigen::Triplet<double>> entries;
  entries.reserve(hessian.size() + jacobian.size() + size);
  double largest = 0;
  for (size_t k = 0; k < hessian.size(); ++k) {
    const int i = place[program.hessian.row[k]], j = place[program.hessian.column[k]];
    if (i < 0 || j < 0) continue;
    entries.emplace_back(std::max(i, j), std::min(i, j), hessian[k]);
    largest = std::max(largest, std::abs(hessian[k]));
  }
  double steepest = 0;
  for (size_t k = 0; k < jacobian.size(); ++k) {
    const int i = rowPlace[program.jacobian.row[k]], j = place[program.jacobian.column[k]];
    if (i < 0 || j < 0) continue;
    entries.emplace_back(i, j, jacobian[k]);
    steepest = std::max(steepest, std::abs(jacobian[k]));
  }
  if (!std::isfinite(largest) || !std::isfinite(steepest)) return SecondOrder::degenerate;
  for (int k = 0; k < columns; ++k) entries.emplace_back(k, k, 0.0);
  for (int k = columns; k < size; ++k) entries.emplace_back(k, k, -kRows * std::max(steepest, 1e-100));
  Matrix matrix(size, size);
  matrix.setFromTriplets(entries.begin(), entries.end());
  const double flat = kFlat * largest;
  if (largest > 0 && positive(matrix, columns, -flat)) return SecondOrder::minimum;
  return positive(std::move(matrix), columns, std::max(flat, 1e-100)) ? SecondOrder::degenerate : SecondOrder::descends;
}

}  // namespace tvlo
