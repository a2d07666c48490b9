#include "nonlinear/second_order.h"

#include <Eigen/SparseCholesky>
#include <algorithm>
#include <cmath>
#include <random>

namespace tvlo {

namespace {

constexpr double kFlat = 1e-7;   // curvature that counts as none, relative to the largest second derivative
constexpr double kWeak = 1e-3;   // that is worth a look at what the third derivatives do, relative to what is usual
constexpr double kRows = 1e-10;  // keeps the matrix regular where rows depend on each other
constexpr double kSteps[] = {0.3, 0.1, 0.01};  // relative, of the column that moves most
constexpr double kGain = 1e-8;                 // of the Lagrangian, relative
constexpr int kInverseSteps = 3;

bool active(double multiplier, double value, double lower, double upper) {
  if (lower == upper) return true;
  return std::abs(multiplier) > std::min(std::abs(value - lower), std::abs(upper - value));
}

using Matrix = Eigen::SparseMatrix<double>;

// Second derivatives and active rows at a point.
class KktMatrix {
 public:
  // False where something has no value.
  bool build(NlpProgram& program, const NlpPoint& point, const std::vector<double>& multipliers) {
    std::vector<double> activity(program.rows()), jacobian(program.jacobian.size()), hessian(program.hessian.size());
    if (!program.constraints(point.x.data(), true, activity.data()) ||
        !program.jacobianValues(point.x.data(), false, jacobian.data()) ||
        !program.hessianValues(point.x.data(), false, program.sense, multipliers.data(), hessian.data())) {
      return false;
    }
    index_.assign(program.columns(), -1);
    std::vector<int> rowIndex(program.rows(), -1);
    for (int j = 0; j < program.columns(); ++j) {
      if (!active(point.redcost[j], point.x[j], program.columnLower[j], program.columnUpper[j])) index_[j] = columns_++;
    }
    int size = columns_;
    for (int i = 0; i < program.rows(); ++i) {
      if (active(point.dual[i], activity[i], program.rowLower[i], program.rowUpper[i])) rowIndex[i] = size++;
    }
    std::vector<Eigen::Triplet<double>> entries;
    entries.reserve(hessian.size() + jacobian.size() + size);
    for (size_t k = 0; k < hessian.size(); ++k) {
      const int i = index_[program.hessian.row[k]], j = index_[program.hessian.column[k]];
      if (i < 0 || j < 0) continue;
      entries.emplace_back(std::max(i, j), std::min(i, j), hessian[k]);
      largest_ = std::max(largest_, std::abs(hessian[k]));
    }
    double steepest = 0;
    for (size_t k = 0; k < jacobian.size(); ++k) {
      const int i = rowIndex[program.jacobian.row[k]], j = index_[program.jacobian.column[k]];
      if (i < 0 || j < 0) continue;
      entries.emplace_back(i, j, jacobian[k]);
      steepest = std::max(steepest, std::abs(jacobian[k]));
    }
    if (!std::isfinite(largest_) || !std::isfinite(steepest)) return false;
    for (int k = 0; k < columns_; ++k) entries.emplace_back(k, k, 0.0);
    for (int k = columns_; k < size; ++k) entries.emplace_back(k, k, -kRows * std::max(steepest, 1e-100));
    matrix_.resize(size, size);
    matrix_.setFromTriplets(entries.begin(), entries.end());
    factors_.analyzePattern(matrix_);
    return true;
  }

  int columns() const { return columns_; }  // that are not active
  double largest() const { return largest_; }
  // Whether, with shift added to the second derivatives, there are as many negative pivots as rows.
  bool positive(double shift) {
    Matrix shifted = matrix_;
    for (int j = 0; j < columns_; ++j) shifted.coeffRef(j, j) += shift;
    factors_.factorize(shifted);
    if (factors_.info() != Eigen::Success) return false;
    return (factors_.vectorD().array() < 0).count() == matrix_.rows() - columns_;
  }

  // A direction of nearly the least curvature along the active rows, by inverse iteration with the last factors; of all
  // columns.
  std::vector<double> weakest() const {
    Eigen::VectorXd step(matrix_.rows());
    std::mt19937 random(1);
    for (double& v : step) v = std::uniform_real_distribution<double>(0.5, 1)(random);
    for (int k = 0; k < kInverseSteps; ++k) {
      step.tail(matrix_.rows() - columns_).setZero();
      step = factors_.solve(step).eval();
      const double length = step.head(columns_).norm();
      if (!(length > 0) || !std::isfinite(length)) return {};
      step /= length;
    }
    std::vector<double> direction(index_.size(), 0);
    for (size_t j = 0; j < index_.size(); ++j) {
      if (index_[j] >= 0) direction[j] = step[index_[j]];
    }
    return direction;
  }

 private:
  Matrix matrix_;
  Eigen::SimplicialLDLT<Matrix, Eigen::Lower> factors_;
  std::vector<int> index_;
  int columns_ = 0;
  double largest_ = 0;
};

// To be minimised, without what is constant along the rows; infinite where it has no value.
double lagrangian(NlpProgram& program, const std::vector<double>& x, const std::vector<double>& multipliers) {
  double value = 0;
  std::vector<double> activity(program.rows());
  if (!program.objective(x.data(), true, value) || !program.constraints(x.data(), false, activity.data())) {
    return HUGE_VAL;
  }
  value *= program.sense;
  for (size_t i = 0; i < activity.size(); ++i) value += multipliers[i] * activity[i];
  return std::isnan(value) ? HUGE_VAL : value;
}

// By the slope that stationarity leaves: of the Lagrangian, along a direction.
double slopeAlong(NlpProgram& program, const std::vector<double>& x, const std::vector<double>& direction,
                  const std::vector<double>& multipliers) {
  std::vector<double> gradient(x.size()), jacobian(program.jacobian.size());
  if (!program.gradient(x.data(), true, gradient.data()) || !program.jacobianValues(x.data(), false, jacobian.data())) {
    return HUGE_VAL;
  }
  double slope = 0;
  for (size_t j = 0; j < x.size(); ++j) slope += program.sense * gradient[j] * direction[j];
  for (size_t k = 0; k < jacobian.size(); ++k) {
    slope += multipliers[program.jacobian.row[k]] * jacobian[k] * direction[program.jacobian.column[k]];
  }
  return slope;
}

std::vector<double> lowerAlong(NlpProgram& program, const std::vector<double>& x, const std::vector<double>& direction,
                               const std::vector<double>& multipliers) {
  double length = 0;
  for (size_t j = 0; j < x.size(); ++j) {
    length = std::max(length, std::abs(direction[j]) / std::max(1.0, std::abs(x[j])));
  }
  if (length == 0) return {};
  const double here = lagrangian(program, x, multipliers);
  const double slope = std::abs(slopeAlong(program, x, direction, multipliers));
  std::vector<double> at(x.size());
  for (const double step : kSteps) {
    const double least = std::max(kGain * std::max(1.0, std::abs(here)), 10 * slope * step / length);
    for (const int sign : {1, -1}) {
      for (size_t j = 0; j < x.size(); ++j) {
        at[j] = std::clamp(x[j] + sign * step / length * direction[j], program.columnLower[j], program.columnUpper[j]);
      }
      if (lagrangian(program, at, multipliers) < here - least) return at;
    }
  }
  return {};
}

}  // namespace

Stationary examineStationary(NlpProgram& program, const NlpPoint& point, const std::vector<double>& start) {
  Stationary found;
  std::vector<double> multipliers(program.rows());
  for (int i = 0; i < program.rows(); ++i) multipliers[i] = -program.sense * point.dual[i];
  KktMatrix matrix;
  if (!matrix.build(program, point, multipliers)) return found;
  if (matrix.columns() == 0) {  // a vertex
    found.kind = SecondOrder::minimum;
    return found;
  }
  double usual = matrix.largest();
  std::vector<double> before(program.hessian.size());
  if (program.hessianValues(start.data(), true, program.sense, multipliers.data(), before.data())) {
    for (const double value : before) usual = std::max(usual, std::abs(value));
  }
  if (!std::isfinite(usual)) usual = matrix.largest();
  const double flat = kFlat * matrix.largest();
  if (usual > 0 && matrix.positive(-kWeak * usual)) {
    found.kind = SecondOrder::minimum;
    return found;
  }
  if (matrix.largest() > 0 && matrix.positive(-flat)) {
    found.kind = SecondOrder::minimum;
  } else if (!matrix.positive(std::max(flat, 1e-100))) {
    found.kind = SecondOrder::descends;
    return found;
  }
  const std::vector<double> direction = matrix.weakest();
  if (!direction.empty()) found.lower = lowerAlong(program, point.x, direction, multipliers);
  return found;
}

}  // namespace tvlo
