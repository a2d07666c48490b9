#include "quadratic/convexity.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "core/text.h"
#include "linear/dense.h"
#include "linear/ldl.h"
#include "quadratic/cone.h"

namespace tvlo {

namespace {

constexpr double kNoise = 1e-11;
constexpr double kNegative = 1e-7;

// A connected block of the matrix, in numbers of its own.
struct Block {
  std::vector<double> diagonal;
  std::vector<QuadraticEntry> off;
  int size() const { return static_cast<int>(diagonal.size()); }
};

std::vector<Block> blocksOf(const QuadraticForm& form) {
  const auto& entries = form.entries();
  std::vector<int> columns;
  columns.reserve(2 * entries.size());
  for (const QuadraticEntry& e : entries) {
    if (columns.empty() || columns.back() != e.first) columns.push_back(e.first);
    if (e.first != e.second) columns.push_back(e.second);
  }
  std::sort(columns.begin(), columns.end());
  columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
  // Where the columns lie close together, a table is faster than a search.
  const int64_t range = static_cast<int64_t>(columns.back()) - columns.front() + 1;
  std::vector<int> table;
  if (range <= 8 * static_cast<int64_t>(entries.size())) {
    table.resize(range);
    for (size_t i = 0; i < columns.size(); ++i) table[columns[i] - columns.front()] = static_cast<int>(i);
  }
  const auto number = [&](int column) {
    if (!table.empty()) return table[column - columns.front()];
    return static_cast<int>(std::lower_bound(columns.begin(), columns.end(), column) - columns.begin());
  };

  std::vector<int> parent(columns.size());
  std::iota(parent.begin(), parent.end(), 0);
  const auto root = [&](int i) {
    while (parent[i] != i) i = parent[i] = parent[parent[i]];
    return i;
  };
  for (const QuadraticEntry& e : entries) {
    if (e.first != e.second) parent[root(number(e.first))] = root(number(e.second));
  }
  std::vector<Block> blocks;
  std::vector<int> blockOf(columns.size(), -1), place(columns.size());
  for (size_t i = 0; i < columns.size(); ++i) {
    int& block = blockOf[root(static_cast<int>(i))];
    if (block < 0) {
      block = static_cast<int>(blocks.size());
      blocks.emplace_back();
    }
    place[i] = blocks[block].size();
    blocks[block].diagonal.push_back(0);
  }
  for (const QuadraticEntry& e : entries) {
    const int first = number(e.first);
    Block& block = blocks[blockOf[root(first)]];
    if (e.first == e.second) {
      block.diagonal[place[first]] = e.value;
    } else {
      block.off.push_back({place[first], place[number(e.second)], e.value});
    }
  }
  return blocks;
}

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
    return eliminateColumns(n, n, matrix.data(), n, pivots.data(), true);
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
