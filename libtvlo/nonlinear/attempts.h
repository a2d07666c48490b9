// The order in which local solves of a program follow each other until one has an answer.
#pragma once

#include <cstdint>

#include "nonlinear/outcome.h"

namespace tvlo {

struct Wish {
  int starts = 1;                     // local optima from so many starts are compared
  int64_t seed = 0;                   // of the random ones
  const PointValues* last = nullptr;  // a primal-dual point of the model to start from
};

// Starts from the last point, then where the initial values say. What fails its check by the relaxation of bounds is
// asked again without; what fails altogether, by other settings and from other starts, more of them where a solve takes
// milliseconds, in which case a second look with a wider barrier is also taken at what succeeds. Of all that was found
// the best is told.
Outcome solveInTurn(Task& task, const Wish& wish);

// One solve from a point, judged.
Outcome solveFrom(Task& task, const NlpPoint& start, const Approach& approach);

}  // namespace tvlo
