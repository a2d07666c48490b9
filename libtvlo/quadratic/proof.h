// Linear problems that settle what an engine claims of a quadratic one.
#pragma once

#include "core/model.h"

namespace tvlo {

// The rows without a quadratic part and the bounds, with nothing to optimise: where it is infeasible, so is the
// problem.
Model linearRows(const Model& model);

// Directions in which a convex problem's feasible points go on for ever and no quadratic part changes, within the box
// [-1, 1]: a feasible problem is unbounded where one improves the objective.
Model recessionDirections(const Model& model);

// The rows and bounds with one more column, the last, which every inequality may be violated by, relative to its size;
// to be minimised. Where that is positive at the optimum, `model` is infeasible. Equations, ranges and second-order
// cones have to hold.
Model leastViolation(const Model& model);

}  // namespace tvlo
