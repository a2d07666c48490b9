// What the second-order conditions say of a stationary point.
#pragma once

#include "engines/nlp.h"

namespace tvlo {

enum class SecondOrder {
  minimum,     // the Lagrangian is strictly convex along the active rows and bounds
  degenerate,  // it is flat along some of them, or the factorisation says nothing
  descends     // it seems concave along some of them: a saddle, or an extremum of the wrong kind
};

// Of a primal-dual point that satisfies the first-order conditions, in a program that minimises or maximises. Rows and
// bounds count as active where their multiplier exceeds their slack. By the inertia of the KKT matrix: see J. Nocedal
// and S. J. Wright, Numerical Optimization, 2nd edition, theorem 16.3. The factorisation does not pivot, so of a large
// program with rows that hardly differ the answer is a suspicion only.
SecondOrder secondOrder(NlpProgram& program, const NlpPoint& point);

}  // namespace tvlo
