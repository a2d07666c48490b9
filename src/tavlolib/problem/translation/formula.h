// Nonlinear trees as the nonlinear component takes them: coefficients, each a column, a factor and a formula of tokens
// in reverse Polish order. Runs no Python code, except that of a signal's handler in a very large tree.
#pragma once

#include "model/nonlinear.h"
#include "problem/problem.h"
#include "pyutil/array.h"

namespace tavlo {

// Tokens of the node codes: type, and value (of the user functions it is the identifier instead).
extern const int32_t py_to_slp_op[kNodeCodes];
extern const int32_t py_to_slp_fun[kNodeCodes];

// Coefficients, one expression's after the other's. Rows are the caller's business.
struct Formulas {
  int64_t count = 0, ntok = 0;
  Array<int32_t> row, col, start, type;
  Array<double> factor, value;
};

// Appends factor * tree as one coefficient: of a product, the first variable (or linear term) and the numbers become
// the coefficient's column and factor. `row` is the constraint that it belongs to, null for the objective. False with
// an exception; then the formulas are as good as lost.
bool writeFormula(problem_s* p, PyObject* tree, double factor, PyObject* row, Formulas* out);

}  // namespace tavlo
