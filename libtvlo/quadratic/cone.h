// Sets {x : x'Qx + a'x <= b} as second-order cones: those of convex functions and others that are convex as sets only.
#pragma once

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "core/model.h"

namespace tvlo {

// The x for which line[0] is at least the length of the others. Each is an affine function.
struct Cone {
  struct Line {
    double constant = 0;
    std::vector<std::pair<int, double>> terms;  // columns and coefficients
  };
  std::vector<Line> lines;
  // The multiplier of the function that belongs to one of the cone, z, at a point where the first line has the value
  // s0.
  double multiplier(double z0, double z1, double s0) const {
    return root > 0 ? (z0 + z1) / (2 * root) : z0 / (2 * std::max(s0, 1e-300));
  }
  double root = 0;  // 0, or the first two lines are (b - a'x)/root + root and - root, halved
};

struct QuadraticSet {
  const QuadraticForm* form = nullptr;  // x'Qx, of the objective x'Qx/2
  bool objective = false;
  double sign = 1;  // of the form
  std::vector<std::pair<int, double>> linear;
  double side = 0;
};

// `convex`: the function is known to be convex, up to rounding. Else the set has to be one half of a cone or of a
// hyperboloid of two sheets, in which the columns' bounds keep it, up to 1e-12 of its terms. None where it is not, or
// is too large to tell.
std::optional<Cone> coneOf(const Model& model, const QuadraticSet& set, bool convex);

// Of a row with one side; nothing is known of its sides at infinity.
std::optional<QuadraticSet> setOf(const Model& model, const RowQuadratic& row);

// Whether a row with one side is convex as a set.
bool isCone(const Model& model, const RowQuadratic& row);

}  // namespace tvlo
