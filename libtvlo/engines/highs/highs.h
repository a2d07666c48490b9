// HiGHS's C interface under the names of our copy of the library, and how its failures become Errors. The only
// place that includes its headers.
#pragma once

#include <tvlo_highs.h>

#include "core/error.h"

namespace tvlo::highs {

// Warnings are fine: HiGHS warns where it drops zeros and where bounds cross.
inline void must(HighsInt status, const char* action) {
  if (status == kHighsStatusError) throw Error(TVLO_ERR_ENGINE, format("HiGHS could not %s", action));
}

}  // namespace tvlo::highs
