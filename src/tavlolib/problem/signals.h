// The interrupt signal around a solve: while any solve runs, SIGINT has the default action of the process. Calls nest,
// and need the interpreter lock.
#pragma once

namespace tavlo {

void setSigIntHandler();
void resetSigIntHandler();

}  // namespace tavlo
