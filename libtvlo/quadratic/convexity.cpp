#include "quadratic/convexity.h"

#include <algorithm>
#include <cmath>

#include "core/text.h"
#include "linear/dense.h"
#include "linear/ldl.h"
#include "quadratic/blocks.h"
#include "quadratic/cone.h"

namespace tvlo {

namespace {

constexpr double kNoise = 1e-11;
constexpr double kNegative = 1e-7;

// The largest entries of the rows.
std::vector<double> largestOf(const Block& block) {
  std::vector<double> largest(block.size());
  for (int i = 0; i < block.size(); ++i) largest[i] = std::abs(block.diagonal[i]);
  for (const QuadraticEntry& e : block.off) {
    for (const int i : {e.first, e.second}) largest[i] = std::max(largest[i], std::abs(e.value));
  }
  return largest;
}

// Whether sign times the block is positive semidefinite within the tolerances: the Cholesky factorisation of the
// shifted matrix exists just then.
bool semidefinite(const Block& block, double sign, const std::vector<double>& noise, Watch& watch) {
  const int n = block.size();
  std::vector<double> scale(n);
  for (int i = 0; i < n; ++i) {
    double diagonal = sign * block.diagonal[i];
    if (diagonal <= noise[i]) diagonal += noise[i];
    if (!(diagonal > 0)) return false;
    scale[i] = 1 / std::sqrt(diagonal);
  }
  const auto scaled = [&](const QuadraticEntry& e) { return sign * e.value * scale[e.first] * scale[e.second]; };
  constexpr double kDiagonal = 1 + kNegative;
  for (const QuadraticEntry& e : block.off) {
    if (!(std::abs(scaled(e)) <= kDiagonal)) return false;  // a minor of two
  }
  if (n <= 2) return true;
  if (n < 32) {
    std::vector<double> matrix(static_cast<size_t>(n) * n, 0), pivots(n);
    for (int i = 0; i < n; ++i) matrix[i * (n + 1)] = kDiagonal;
    for (const QuadraticEntry& e : block.off) {
      matrix[std::min(e.first, e.second) * n + std::max(e.first, e.second)] = scaled(e);
    }
    return eliminateColumns(n, n, matrix.data(), n, pivots.data(), true, nullptr);
  }
  std::vector<Eigen::Triplet<double>> triplets;
  triplets.reserve(block.off.size() + n);
  for (int i = 0; i < n; ++i) triplets.emplace_back(i, i, kDiagonal);
  for (const QuadraticEntry& e : block.off) {
    triplets.emplace_back(std::min(e.first, e.second), std::max(e.first, e.second), scaled(e));
  }
  UpperMatrix matrix(n, n);
  matrix.setFromTriplets(triplets.begin(), triplets.end());
  Ldl factors;
  factors.choose(matrix, watch);
  for (auto& t : triplets) {
    const int i = factors.position(t.row()), j = factors.position(t.col());
    t = {std::min(i, j), std::max(i, j), t.value()};
  }
  matrix.setFromTriplets(triplets.begin(), triplets.end());
  factors.analyse(matrix, watch);
  return factors.factorise(matrix, watch, true);
}

Curvature computed(const QuadraticForm& form, Watch& watch) {
  if (form.empty()) return Curvature::flat;
  const std::vector<Block> blocks = blocksOf(form);
  double largest = 0;
  for (const QuadraticEntry& e : form.entries()) largest = std::max(largest, std::abs(e.value));
  const double least = kNoise * std::min(1.0, largest);
  bool convex = true;
  bool concave = true;
  for (const Block& block : blocks) {
    std::vector<double> noise = largestOf(block);
    for (double& value : noise) value = std::max(least, kNoise * value);
    if (convex) convex = semidefinite(block, 1, noise, watch);
    if (concave) concave = semidefinite(block, -1, noise, watch);
    if (!convex && !concave) return Curvature::indefinite;
  }
  return convex && concave ? Curvature::flat : convex ? Curvature::convex : Curvature::concave;
}

}  // namespace

Curvature curvatureOf(const QuadraticForm& form, Watch& watch) {
  if (form.curvature() == Curvature::unknown) form.setCurvature(computed(form, watch));
  return form.curvature();
}

Curvature curvatureOf(const QuadraticForm& form) {
  Watch none;
  return curvatureOf(form, none);
}

Convexity convexityOf(const Model& model, Watch& watch) {
  Convexity result;
  const auto objective = curvatureOf(model.quadraticObjective(), watch);
  if (objective != Curvature::flat && objective != (model.sense() > 0 ? Curvature::convex : Curvature::concave)) {
    result.nonconvex = "the objective";
    return result;
  }
  for (const RowQuadratic& row : model.quadraticRows()) {
    const Curvature found = curvatureOf(row.form, watch);
    const Bounds bounds = model.rowBounds(row.row);
    const bool above = bounds.upper < TVLO_INFINITY && found != Curvature::convex;
    const bool below = bounds.lower > -TVLO_INFINITY && found != Curvature::concave;
    if (found == Curvature::flat || (!above && !below)) continue;
    if (!isCone(model, row)) {
      result.nonconvex = "row " + quoted(model.rowNames().get(row.row));
      return result;
    }
    result.cones = true;
  }
  return result;
}

}  // namespace tvlo
