// Translation of an expression into linear coefficients and quadratic entries.
#pragma once

#include <vector>

#include "problem/registry.h"

namespace tavlo {

// Coefficients of one or several rows, or of the objective, appended in the order of the maps.
struct Coefficients {
  std::vector<int> column;
  std::vector<double> value;
  std::vector<int> qcolumn1, qcolumn2;
  std::vector<double> qvalue;
};

// Appends the coefficients of an expression and adds its constant to *constant. Quadratic entries come once for each
// unordered pair: in a row c*x*x as c and c*x*y as c/2, in the objective everything twice that. Zero coefficients of
// terms are left out. `finder` and `owner` (named in messages; null for the objective) are the caller's. 0, or -1 with
// ModelError: a variable that is not in the problem, a coefficient that is NaN or infinite, another kind of object.
int convertExpr(PyObject* expr, ColumnFinder& finder, PyObject* owner, bool objective, Coefficients* out,
                double* constant);

}  // namespace tavlo
