#include "quadratic/cone.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <map>

#include "core/check.h"
#include "quadratic/blocks.h"

namespace tvlo {

namespace {

constexpr int kMostColumns = 1000;  // of a block, whose eigenvectors are dense
constexpr double kRounding = 1e-12;

// An eigenvector of a block, of an eigenvalue that is not zero, in the columns of the model.
struct Axis {
  double value;
  double along;  // the linear part's share in it
  std::vector<std::pair<int, double>> terms;
};

// False where the form is too large, or where the linear part leads out of it but must not.
bool axesOf(const QuadraticSet& set, bool within, std::vector<Axis>& axes) {
  std::map<int, double> linear(set.linear.begin(), set.linear.end());
  const double factor = set.sign * (set.objective ? 0.5 : 1);
  for (const Block& block : blocksOf(*set.form)) {
    const Eigen::Index n = block.size();
    if (n > kMostColumns) return false;
    Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(n, n);
    Eigen::VectorXd part = Eigen::VectorXd::Zero(n);
    for (Eigen::Index i = 0; i < n; ++i) {
      matrix(i, i) = factor * block.diagonal[i];
      const auto found = linear.find(block.columns[i]);
      if (found == linear.end()) continue;
      part[i] = found->second;
      linear.erase(found);
    }
    for (const QuadraticEntry& e : block.off) {
      matrix(e.first, e.second) = matrix(e.second, e.first) = factor * e.value;
    }
    // By eigenvectors, as the matrix may be singular.
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> eigen(matrix);
    const double least = kRounding * std::max(eigen.eigenvalues().cwiseAbs().maxCoeff(), 1e-300);
    for (Eigen::Index k = 0; k < n; ++k) {
      const Eigen::VectorXd u = eigen.eigenvectors().col(k);
      Axis axis{eigen.eigenvalues()[k], u.dot(part), {}};
      if (std::abs(axis.value) <= least) {
        if (within && std::abs(axis.along) > 1e-9 * std::max(1e-300, part.norm())) return false;
        continue;
      }
      for (Eigen::Index i = 0; i < n; ++i) {
        if (std::abs(u[i]) > 1e-15) axis.terms.emplace_back(block.columns[i], u[i]);
      }
      axes.push_back(std::move(axis));
    }
  }
  return !within || std::all_of(linear.begin(), linear.end(), [](const auto& term) { return term.second == 0; });
}

Cone::Line lineOf(const Axis& axis, double factor, double constant) {
  Cone::Line line{constant, axis.terms};
  for (auto& term : line.terms) term.second *= factor;
  return line;
}

// Of a function of the axes that are convex: |Fx|^2 <= b - a'x.
Cone paraboloid(const QuadraticSet& set, const std::vector<Axis>& axes) {
  Cone cone;
  cone.root = std::sqrt(std::max(1.0, std::abs(set.side)));
  for (const double sign : {1.0, -1.0}) {
    Cone::Line line{(set.side / cone.root + sign * cone.root) / 2, set.linear};
    for (auto& term : line.terms) term.second *= -0.5 / cone.root;
    cone.lines.push_back(std::move(line));
  }
  for (const Axis& axis : axes) {
    if (axis.value > 0) cone.lines.push_back(lineOf(axis, std::sqrt(axis.value), 0));
  }
  return cone;
}

// 1 where the bounds of the columns keep the line from being negative, -1 from being positive, 0 neither.
int sideOf(const Model& model, const Cone::Line& line) {
  double least = line.constant, most = line.constant, size = std::abs(line.constant);
  for (const auto& [column, coef] : line.terms) {
    const Bounds range = relaxedBounds(model, column);
    const double low = coef > 0 ? range.lower : range.upper, high = coef > 0 ? range.upper : range.lower;
    least = std::abs(low) < TVLO_INFINITY ? least + coef * low : -TVLO_INFINITY;
    most = std::abs(high) < TVLO_INFINITY ? most + coef * high : TVLO_INFINITY;
    size = std::max(size, std::abs(coef));
  }
  if (least >= -kRounding * size) return 1;
  return most <= kRounding * size ? -1 : 0;
}

// Which half of a cone the columns' bounds leave: 1 where the negative axis's line is not negative.
int halfOf(const Model& model, const std::vector<Axis>& axes, const Axis& negative, const Cone::Line& line) {
  if (const int side = sideOf(model, line); side != 0) return side;
  // A column that is positive inside one half and negative inside the other, and nowhere zero but at the apex.
  for (const auto& [column, coef] : negative.terms) {
    double inverse = 0, centre = 0;
    for (const Axis& axis : axes) {
      for (const auto& [other, value] : axis.terms) {
        if (other != column) continue;
        inverse += value * value / axis.value;
        centre -= value * axis.along / (2 * axis.value);
      }
    }
    if (!(inverse < -kRounding * coef * coef / std::abs(negative.value))) continue;
    const int side = sideOf(model, {-centre, {{column, 1}}});
    if (side != 0) return coef > 0 ? side : -side;
  }
  return 0;
}

}  // namespace

std::optional<Cone> coneOf(const Model& model, const QuadraticSet& set, bool convex) {
  std::vector<Axis> axes;
  if (!axesOf(set, !convex, axes)) return std::nullopt;
  if (convex) return paraboloid(set, axes);

  // Completing the squares: sum of value*(u'x + along/(2*value))^2 <= rest.
  const Axis* negative = nullptr;
  double rest = set.side, size = std::abs(set.side);
  for (const Axis& axis : axes) {
    const double completed = axis.along * axis.along / (4 * axis.value);
    rest += completed;
    size = std::max(size, std::abs(completed));
    if (axis.value > 0) continue;
    if (negative != nullptr) return std::nullopt;
    negative = &axis;
  }
  if (negative == nullptr || rest > kRounding * size) return std::nullopt;
  const auto squared = [](const Axis& axis) {
    const double root = std::sqrt(std::abs(axis.value));
    return lineOf(axis, root, root * axis.along / (2 * axis.value));
  };
  Cone cone;
  cone.lines.push_back(squared(*negative));
  const int half = halfOf(model, axes, *negative, cone.lines[0]);
  if (half == 0) return std::nullopt;
  if (half < 0) {
    cone.lines[0].constant *= -1;
    for (auto& term : cone.lines[0].terms) term.second *= -1;
  }
  for (const Axis& axis : axes) {
    if (axis.value > 0) cone.lines.push_back(squared(axis));
  }
  if (rest < -kRounding * size) cone.lines.push_back({std::sqrt(-rest), {}});
  return cone;
}

std::optional<QuadraticSet> setOf(const Model& model, const RowQuadratic& row) {
  const Bounds bounds = model.rowBounds(row.row);
  const bool above = bounds.upper < TVLO_INFINITY;
  if (above == (bounds.lower > -TVLO_INFINITY)) return std::nullopt;
  QuadraticSet set;
  set.form = &row.form;
  set.sign = above ? 1 : -1;
  set.side = above ? bounds.upper : -bounds.lower;
  const SparseMatrix& matrix = model.byRows();
  for (int64_t k = matrix.start[row.row]; k < matrix.start[row.row + 1]; ++k) {
    if (matrix.value[k] != 0) set.linear.emplace_back(matrix.index[k], set.sign * matrix.value[k]);
  }
  return set;
}

bool isCone(const Model& model, const RowQuadratic& row) {
  const auto set = setOf(model, row);
  return set && coneOf(model, *set, false).has_value();
}

}  // namespace tvlo
