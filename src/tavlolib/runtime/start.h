// Start and stop of the solver library beyond what env.h offers to everyone.
#pragma once

#include "runtime/env.h"

namespace tavlo {

bool libraryIsStarted();

}  // namespace tavlo
