// Values of a problem's rows or columns, and the evaluation of objects at them.
#pragma once

#include "problem/problem.h"
#include "pyutil/array.h"

namespace tavlo {

struct Values {
  Array<double> at;
  int n = 0;
  bool rows = false;
  uint64_t epoch = 0;   // of the registry's entries when the values were taken: their order since then is another
  bool solved = false;  // of the last solve: NaN stands for what was added after it
};

struct Solution {
  problem_s* p;
  Values values;  // by column
};

inline const Entries& entriesOf(const problem_s* p, const Values& values) {
  return values.rows ? p->registry().cons : p->registry().vars;
}
// The value at an index within the range; SolverError for what the solve has never seen. 0, or -1 with an exception.
int valueAt(problem_s* p, const Values& values, int64_t index, double* out);
int fetchSolution(problem_s* p, Values* out);  // of the last solve; 0, or -1 with an exception
// For a ValueSource; the context is a Solution.
bool valueOfVariable(void* context, var_s* v, double* out);

PyObject* tavlomod_evaluate(PyObject* module, PyObject* args, PyObject* kwargs);

}  // namespace tavlo
