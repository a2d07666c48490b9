#include "quadratic/conic_model.h"

#include <algorithm>
#include <cmath>

#include "core/check.h"
#include "quadratic/blocks.h"
#include "quadratic/convexity.h"

namespace tvlo {

namespace {

constexpr double kTolerance = 1e-9;  // of the solves
constexpr double kFar = 1e7;         // of points that are not excluded
// Of a direction, relative to its size: by what it may be off, entries that are taken for zero, and its progress at
// least, relative to the costs, too. A progress of d may need no more than d^2 elsewhere, as along the edge of a cone.
constexpr double kAlong = 1e-9, kNothing = 1e-5, kLeastProgress = 1e-3;
// Of the cones' dense blocks: where all functions are convex, another method does without them.
constexpr int64_t kMostEntries = 20'000'000, kMostOfConvex = 100'000;

}  // namespace

std::optional<ConicModel> ConicModel::of(const Model& model) {
  ConicModel result(model);
  if (!result.build()) return std::nullopt;
  return result;
}

bool ConicModel::build() {
  const int n = model_.columns();
  const bool curved = !model_.quadraticObjective().empty();
  for (int j = 0; j < n; ++j) {
    const Bounds bounds = relaxedBounds(model_, j);
    // Bounds that cross within the tolerance meet half-way.
    if (bounds.lower >= bounds.upper) {
      addSide({-1, j, 0, bounds.lower / 2 + bounds.upper / 2});
      continue;
    }
    if (bounds.lower > -TVLO_INFINITY) addSide({-1, j, 1, bounds.lower});
    if (bounds.upper < TVLO_INFINITY) addSide({-1, j, -1, bounds.upper});
  }
  for (int i = 0; i < model_.rows(); ++i) {
    const Bounds bounds = model_.rowBounds(i);
    if (model_.rowQuadratic(i) != nullptr) continue;
    if (bounds.lower >= bounds.upper) {
      addSide({i, -1, 0, bounds.lower / 2 + bounds.upper / 2});
      continue;
    }
    if (bounds.lower > -TVLO_INFINITY) addSide({i, -1, 1, bounds.lower});
    if (bounds.upper < TVLO_INFINITY) addSide({i, -1, -1, bounds.upper});
  }
  // Cones that are no convex functions first: without any, the rest may not be worth its eigenvectors.
  for (const bool convex : {false, true}) {
    if (!addCones(convex)) return false;
  }
  if (curved) {
    const QuadraticSet set{&model_.quadraticObjective(), true, static_cast<double>(model_.sense()), {{n, -1}}, 0};
    if (!addCone(set, true, -1)) return false;
  }

  std::vector<Eigen::Triplet<double>> entries;
  std::vector<double> right;
  const SparseMatrix& matrix = model_.byRows();
  const auto append = [&](const Side& side) {
    // s = sign*(value - bound), or value = bound.
    const double factor = side.sign == 0 ? 1 : -side.sign;
    const auto at = static_cast<int>(right.size());
    right.push_back(factor * side.bound);
    if (side.column >= 0) {
      entries.emplace_back(at, side.column, factor);
      return;
    }
    for (int64_t k = matrix.start[side.row]; k < matrix.start[side.row + 1]; ++k) {
      entries.emplace_back(at, matrix.index[k], factor * matrix.value[k]);
    }
  };
  for (const Side& side : equal_) append(side);
  for (const Side& side : sides_) append(side);
  program_.zero = static_cast<int>(equal_.size());
  program_.sides = static_cast<int>(sides_.size());
  for (const auto& [row, cone] : cones_) {
    program_.cones.push_back(static_cast<int>(cone.lines.size()));
    for (const Cone::Line& line : cone.lines) {
      for (const auto& [column, coef] : line.terms) entries.emplace_back(static_cast<int>(right.size()), column, -coef);
      right.push_back(line.constant);
    }
  }
  const int columns = n + (curved ? 1 : 0);
  program_.A.resize(static_cast<Eigen::Index>(right.size()), columns);
  program_.A.setFromTriplets(entries.begin(), entries.end());
  program_.b = Eigen::Map<const Eigen::VectorXd>(right.data(), static_cast<Eigen::Index>(right.size()));
  program_.c = Eigen::VectorXd::Zero(columns);
  for (int j = 0; j < n; ++j) program_.c[j] = model_.sense() * model_.objective()[j];
  if (curved) program_.c[n] = 1;
  return true;
}

void ConicModel::addSide(const Side& side) { (side.sign == 0 ? equal_ : sides_).push_back(side); }

bool ConicModel::addCones(bool convex) {
  for (const RowQuadratic& row : model_.quadraticRows()) {
    const Bounds bounds = model_.rowBounds(row.row);
    if (bounds.lower <= -TVLO_INFINITY && bounds.upper >= TVLO_INFINITY) continue;
    const auto set = setOf(model_, row);
    if (!set) return false;
    const bool is = curvatureOf(row.form) == (set->sign > 0 ? Curvature::convex : Curvature::concave);
    if (is == convex && !addCone(*set, convex, row.row)) return false;
  }
  return true;
}

bool ConicModel::addCone(const QuadraticSet& set, bool convex, int row) {
  int64_t size = 2;
  for (const Block& block : blocksOf(*set.form)) size += block.size();
  entries_ += size * size;
  convex_ = convex_ && convex;
  if (entries_ > (convex_ ? kMostOfConvex : kMostEntries)) return false;
  std::optional<Cone> cone = coneOf(model_, set, convex);
  if (cone) cones_.emplace_back(row, std::move(*cone));
  return cone.has_value();
}

ConicProgram ConicModel::feasibility() const {
  ConicProgram result = program_;
  result.c.setZero();
  return result;
}

PointValues ConicModel::point(const ConicPoint& result) const {
  PointValues point;
  const double sense = model_.sense();
  point.x.assign(result.x.data(), result.x.data() + model_.columns());
  point.dual.assign(model_.rows(), 0);
  Eigen::Index at = 0;
  for (const auto* sides : {&equal_, &sides_}) {
    for (const Side& side : *sides) {
      const double z = result.z[at++];
      if (side.row >= 0) point.dual[side.row] += sense * (side.sign == 0 ? -z : side.sign * z);
    }
  }
  for (const auto& [row, cone] : cones_) {
    if (row >= 0) {
      const double z1 = cone.lines.size() > 1 ? result.z[at + 1] : 0;
      const double sign = model_.rowBounds(row).upper < TVLO_INFINITY ? 1 : -1;
      point.dual[row] = -sense * sign * cone.multiplier(result.z[at], z1, result.s[at]);
    }
    at += static_cast<Eigen::Index>(cone.lines.size());
  }
  point.available = result.x.allFinite() && result.z.allFinite();
  if (point.available) point.redcost = reducedCosts(model_, point.x, point.dual);
  return point;
}

bool ConicModel::excludes(Eigen::VectorXd z, double tolerance) const {
  if (!z.allFinite()) return false;
  // Into the cones.
  Eigen::Index at = program_.zero;
  for (Eigen::Index i = 0; i < program_.sides; ++i, ++at) z[at] = std::max(z[at], 0.0);
  for (const int size : program_.cones) {
    z[at] = std::max(z[at], z.segment(at + 1, size - 1).norm());
    at += size;
  }
  // For the s of a feasible x, 0 <= s'z = b'z - (A'z)'x.
  long double least = 0, allowed = 0;
  std::vector<long double> coef(program_.c.size(), 0);
  for (Eigen::Index i = 0; i < z.size(); ++i) {
    least -= static_cast<long double>(program_.b[i]) * z[i];
    allowed += tolerance * std::max(1.0, std::abs(program_.b[i])) * std::abs(z[i]);
  }
  for (Eigen::Index j = 0; j < program_.A.outerSize(); ++j) {
    for (Eigen::SparseMatrix<double>::InnerIterator entry(program_.A, j); entry; ++entry) {
      coef[j] += static_cast<long double>(entry.value()) * z[entry.row()];
    }
    double bound = kFar;
    if (j < model_.columns()) {
      const Bounds bounds = relaxedBounds(model_, static_cast<int>(j));
      bound = std::min(kFar, coef[j] > 0 ? std::max(-bounds.lower, -kFar) : std::max(bounds.upper, -kFar));
    }
    least -= std::abs(coef[j]) * bound;
  }
  return least > allowed;
}

bool ConicModel::improvesAlong(const Eigen::VectorXd& x) const {
  const double size = x.size() == 0 ? 0 : x.lpNorm<Eigen::Infinity>();
  if (!(size > 0) || !std::isfinite(size)) return false;
  const Eigen::VectorXd d = (x / size).unaryExpr([](double entry) { return std::abs(entry) <= kNothing ? 0 : entry; });
  const Eigen::VectorXd s = -(program_.A * d);
  if (!(program_.c.dot(d) < -kLeastProgress * std::max(1e-300, program_.c.lpNorm<Eigen::Infinity>()))) return false;
  Eigen::Index at = 0;
  for (; at < program_.zero; ++at) {
    if (std::abs(s[at]) > kAlong) return false;
  }
  for (Eigen::Index i = 0; i < program_.sides; ++i, ++at) {
    if (s[at] < -kAlong) return false;
  }
  for (const auto& [row, cone] : cones_) {
    const auto lines = static_cast<Eigen::Index>(cone.lines.size());
    // A paraboloid goes on along its axis only.
    const Eigen::Index others = cone.root > 0 ? 2 : 1;
    const double length = s.segment(at + others, lines - others).norm();
    if (length > kAlong + (cone.root > 0 ? 0 : s[at])) return false;
    if (cone.root > 0 && s[at] < -kAlong) return false;
    at += lines;
  }
  return true;
}

bool suitsCones(const Model& model) {
  constexpr int64_t kMost = 10'000;
  int64_t entries = 0;
  const auto add = [&](const QuadraticForm& form) {
    int64_t size = 2;
    for (const Block& block : blocksOf(form)) size += block.size();
    entries += size * size;
  };
  add(model.quadraticObjective());
  for (const RowQuadratic& row : model.quadraticRows()) {
    if (entries <= kMost) add(row.form);
  }
  return entries <= kMost;
}

LpStatus proveByCones(const Model& model, double tolerance, Watch& watch) {
  const auto cones = ConicModel::of(model);
  if (!cones) return LpStatus::unfinished;
  const ConicResult found = solveConic(cones->program(), kTolerance, watch);
  // Also where the method is not sure: what it has is tested here.
  if (cones->excludes(found.z, tolerance)) return LpStatus::infeasible;
  if (found.status == ConicStatus::optimal || !cones->improvesAlong(found.x)) return LpStatus::unfinished;
  const ConicResult inside = solveConic(cones->feasibility(), kTolerance, watch);
  if (cones->excludes(inside.z, tolerance)) return LpStatus::infeasible;
  const PointValues point = cones->point(inside);
  const bool feasible = primalViolation(model, point.x, false).relative <= tolerance;
  return feasible ? LpStatus::unbounded : LpStatus::unfinished;
}

}  // namespace tvlo
