// Rows that are no convex functions but have convex sets of solutions: second-order cones.
#pragma once

#include "core/model.h"

namespace tvlo {

// Whether a row with one side reads q(x) <= v*(r - s)^2 + c after completing the squares, where q is a sum of squares
// without r, v > 0, c <= 0 (up to 1e-12 of its terms), and the bounds of column r keep it on one side of s.
bool isCone(const Model& model, const RowQuadratic& row);

}  // namespace tvlo
