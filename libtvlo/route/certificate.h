// Certificates that a linear problem has no optimum, recomputed from the model store in code that no engine shares.
// They are of the continuous relaxation where nothing else is said, and leave quadratic parts out: rows with one can't
// take part.
#pragma once

#include <vector>

#include "core/model.h"

namespace tvlo {

enum class Proof {
  none,
  bare,  // beyond rounding errors; there may be points within the tolerance
  clear  // also with every row and bound relaxed by the tolerance times its size
};

// What rows imply for the bounds of the columns, found by a bounded amount of work: every sum is wider by its rounding
// errors, every row by the tolerance times its size. With integrality: bounds of integers are whole.
struct ImpliedBounds {
  ImpliedBounds(const Model& model, bool integrality, double tolerance);
  std::vector<double> lower, upper;
  bool cross = false;  // beyond the tolerance: there is no point; the bounds are then not complete
};

// Whether these keep the objective of the relaxation from improving for ever.
bool boundsLimitObjective(const Model& model);

// Whether the sum of the rows by these multipliers, of either sign, contradicts the bounds. Columns without a bound
// must cancel out, up to the rounding errors of an engine, or have an implied one.
Proof provesInfeasible(const Model& model, const std::vector<double>& multipliers, const ImpliedBounds& implied,
                       double tolerance);

// Whether feasible points stay feasible along the direction and improve for ever.
bool provesUnbounded(const Model& model, const std::vector<double>& direction);

}  // namespace tvlo
