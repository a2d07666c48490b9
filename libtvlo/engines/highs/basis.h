// Statuses of rows and columns: HiGHS's codes 0 to 3 are those of Basis.
#pragma once

#include "engines/engine.h"

namespace tvlo::highs {

// Whether the solve makes use of request.start.
bool startsFromBasis(const SolveRequest& request);

// Moves what is nonbasic at a bound that there is not to one that there is. Sizes are the model's.
void fit(Basis& basis, const Model& model);

}  // namespace tvlo::highs
