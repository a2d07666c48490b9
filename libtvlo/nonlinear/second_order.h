// What the second-order conditions say of a stationary point.
#pragma once

#include "engines/nlp.h"

namespace tvlo {

enum class SecondOrder {
  minimum,     // the Lagrangian is strictly convex along the active rows and bounds
  degenerate,  // it is flat along some of them, or the factorisation says nothing
  descends     // it seems concave along some of them: a saddle, or an extremum of the wrong kind
};

struct Stationary {
  SecondOrder kind = SecondOrder::degenerate;
  // Of a point where the curvature is small in some direction: one a step away where the Lagrangian is smaller, as
  // beside an inflection point; empty when none was found.
  std::vector<double> lower;
};

// Of a primal-dual point that satisfies the first-order conditions, in a program that minimises or maximises. Rows and
// bounds count as active where their multiplier exceeds their slack. By the inertia of the KKT matrix: see J. Nocedal
// and S. J. Wright, Numerical Optimization, 2nd edition, theorem 16.3. The factorisation does not pivot, so of a large
// program with rows that hardly differ the answer is a suspicion only. `start` shows what large curvature is here.
Stationary examineStationary(NlpProgram& program, const NlpPoint& point, const std::vector<double>& start);

}  // namespace tvlo
