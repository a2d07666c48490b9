// Start and stop of the solver library beyond what env.h offers to everyone.
#pragma once

#include "module/env.h"

namespace tavlo {

bool libraryIsStarted();

// Fills the control and attribute tables and switches the nonlinear component's post-solve on for new problems.
// withNonlinear: whether the nonlinear component is running already. 0, or -1 with an exception.
int fillControlTables(int withNonlinear);

}  // namespace tavlo
