// Solving a problem by the engines of its route.
#pragma once

#include "core/problem.h"

namespace tvlo {

// Both fill problem.solution and throw Error. Flags are those of TVLOlpoptimize and TVLOmipoptimize.
void solveLp(Problem& problem, const char* flags);
void solveMip(Problem& problem, const char* flags);

}  // namespace tvlo
