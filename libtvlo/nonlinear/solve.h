// Solving nonlinear problems locally. Every answer is checked against the model store before it is called optimal; one
// that fails is asked for again from other starts, and what still fails is reported as unfinished.
//
// A solve starts from the primal-dual point of the last one where that ended at an optimum, control `keepbasis` is on
// and no initial value was given since. Else each column starts at its initial value where it has one, else at the
// point of its bounds that is nearest to 0; the local solver moves that off the bounds.
#pragma once

#include "core/problem.h"
#include "nonlinear/request.h"

namespace tvlo {

// Fills problem.solution.nonlinear and throws Error. `controls` are the component's. Flags: g, which changes nothing
// here; l, binary and integer columns count as continuous ones, and an
// optimum at which one is fractional leaves the problem unfinished; those of the optimizer that name an algorithm
// concern linear problems and change nothing here. A request to stop that is still standing from before must have been
// cleared.
void solveNonlinear(Problem& problem, const ControlValues& controls, const char* flags);

// The same with engines from elsewhere.
void solveNonlinearWith(Problem& problem, const ControlValues& controls, const char* flags, const NlpOpener& open);

}  // namespace tvlo
