// Translation of expressions into the solver's form: linear coefficients, quadratic entries and formulas. Runs no
// Python code unless it fails, except that of a signal's handler in a very large tree.
#pragma once

#include "model/objects.h"
#include "problem/translation/formula.h"
#include "pyutil/array.h"

namespace tavlo {

// Coefficients by column, one expression after the other. Quadratic entries: one for each unordered pair; in rows c*x*x
// is c and c*x*y is c/2, in the objective 2c and c. Zero coefficients are left out.
struct Terms {
  int64_t nlin = 0, nquad = 0;
  double constant = 0;  // of the last expression
  Array<int32_t> colind, qcol1, qcol2;
  Array<double> coef, qcoef;
  Formulas formulas;
};

// Appends an expression of the problem's variables. `row` is the constraint that it belongs to, null for the objective.
// 0, or -1 with ModelError: then the terms are as good as lost.
int convertExpr(problem_s* p, PyObject* expr, PyObject* row, Terms* terms);

}  // namespace tavlo
