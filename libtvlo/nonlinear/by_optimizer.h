// Nonlinear problems that turn out linear or convex quadratic, such as those whose only other functions are max, min
// and abs in convex places: the optimizer solves them, and proves it where they have no optimum.
#pragma once

#include "engines/context.h"
#include "engines/nlp.h"
#include "nonlinear/program.h"

namespace tvlo {

// For a program with isLinear(), or one that is `quadratic` and convex. Stops with the problem's interrupts and logs to
// its handlers; the problem's controls apply. The point is empty where there is none; status `failed`: the
// optimizer has no answer. Leaves the name of the engine that it asked last.
NlpResult solveByOptimizer(const Problem& problem, ModelProgram& program, const SolveContext& context,
                           std::string& engine);

}  // namespace tvlo
