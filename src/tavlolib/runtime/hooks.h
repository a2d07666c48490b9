// What the runtime asks of the layers above it. The module's initialisation fills this in before anything else runs.
#pragma once

#include "pyutil/python.h"

namespace tavlo {

struct Hooks {
  void (*raiseProblemError)(PyObject* problem);  // SolverError with the last error of a problem's solver objects
  int (*fillControlTables)(int withNonlinear);   // 0, or -1 with an exception
  void (*releaseProblems)();                     // the solver objects of every live problem
};
extern Hooks hooks;

}  // namespace tavlo
