// Newton steps on the optimality conditions of a convex quadratic problem, with the columns and rows that hold with
// equality guessed from a point and its duals, and the guess corrected by the signs that come out. From what an
// interior-point method found they lead to the point itself: bounds are met exactly, and what should be zero is. From
// the answer to a problem that has changed since they often lead to the new one.
#pragma once

#include "core/model.h"
#include "core/solution.h"

namespace tvlo {

// How far a point with duals is from optimal: the largest of its relative violations and of what is lost to
// complementarity, with no tolerance left out. Infinite where it has not the model's size.
double inexactness(const Model& model, const PointValues& point);

// `little`: of a large problem's point that is as exact as was asked for, columns are put on their bounds and no more.
enum class Effort { little, much };

// Improves x, dual and redcost, or leaves all as it was and returns false. A point that is changed is less inexact
// than before, or nearly exact. Takes at most the work of a few factorisations, and none where one takes too much.
bool sharpen(const Model& model, PointValues& point, Effort effort = Effort::much);

}  // namespace tvlo
