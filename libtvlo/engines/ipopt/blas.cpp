// What our copy of the BLAS takes from here instead of from the C library. When it is loaded, it starts a thread for
// each processor and registers a handler for forks that waits for them. A solve uses the thread that asked for it.
#include <cstdlib>
#include <cstring>

#include "tvlo/tvlo.h"

extern "C" {

// Called before any constructor of ours has run.
TVLO_API char* tvlo_ipopt_getenv(const char* name) noexcept {
  static char one[] = "1";
  return std::strcmp(name, "OPENBLAS_NUM_THREADS") == 0 ? one : std::getenv(name);
}

TVLO_API int tvlo_ipopt_atfork(void (*)(), void (*)(), void (*)(), void*) noexcept { return 0; }
}
