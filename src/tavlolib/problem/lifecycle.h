// Creation of the solver side of a problem record, shared by the constructor and by copy().
#pragma once

#include "problem/problem.h"

namespace tavlo {

// Creates both solver problems and routes their log lines to the printers. 0, or -1 with an exception.
int createSolverProblems(problem_s* p);
// Whether the problem has integer entities, sets or general constraints: its results are those of the tree search.
// -1 with an exception.
int isMixedInteger(problem_s* p);
inline bool hasNonlinearContent(const problem_s* p) { return p->nlRowCount >= 1 || p->nlObjective; }

}  // namespace tavlo
