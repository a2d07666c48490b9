// What can be proven of a nonlinear problem beyond what a local solver tells.
#pragma once

#include "engines/context.h"
#include "nonlinear/checkpoint.h"
#include "nonlinear/program.h"

namespace tvlo {

// Whether every function is linear or quadratic and convex where it has to be, so that a local optimum is a global
// one. False where that can't be told at a reasonable cost. The checkpoint is asked before each function's test.
bool isConvex(ModelProgram& program, const Checkpoint& checkpoint);

// Whether the bounds and the rows without formulas and quadratic parts contradict each other, by an LP solve.
bool linearPartInfeasible(const Problem& problem, const SolveContext& context);

}  // namespace tvlo
