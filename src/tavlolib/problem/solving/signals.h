// While a solve runs, the interrupt signal takes its default action: the interpreter's handler would only be looked at
// after it. Counted over the process; needs the interpreter lock.
#pragma once

namespace tavlo {

void setSigIntHandler();
void resetSigIntHandler();

}  // namespace tavlo
