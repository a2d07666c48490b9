// Checks of a point against the model store.
#pragma once

#include <vector>

#include "core/model.h"

namespace tvlo {

struct Violation {
  double absolute = 0, relative = 0;
};
Violation primalViolation(const Model& model, const std::vector<double>& x, bool integrality);
double dualViolation(const Model& model, const std::vector<double>& dual, const std::vector<double>& redcost,
                     const std::vector<double>& x);

}  // namespace tvlo
