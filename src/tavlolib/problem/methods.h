// The methods of the problem type, as its method table wants them.
#pragma once

#include "problem/problem.h"

namespace tavlo {

// lifecycle.cpp
PyObject* problem_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);
int problem_init(PyObject* self, PyObject* args, PyObject* kwargs);
void problem_dealloc(PyObject* self);
PyObject* problem_reset(PyObject* self, PyObject* unused);
PyObject* problem_enter(PyObject* self, PyObject* unused);
PyObject* problem_exit(PyObject* self, PyObject* args);
// copy.cpp
PyObject* problem_copy(PyObject* self, PyObject* unused);
// files.cpp
PyObject* problem_name(PyObject* self, PyObject* unused);
PyObject* problem_str(PyObject* self);
PyObject* problem_read(PyObject* self, PyObject* args, PyObject* kwargs);
PyObject* problem_write(PyObject* self, PyObject* args, PyObject* kwargs);
// columns.cpp, rows.cpp, deletion.cpp, queries.cpp, objective.cpp
PyObject* problem_delVariable(PyObject* self, PyObject* args, PyObject* kwargs);
PyObject* problem_delConstraint(PyObject* self, PyObject* args, PyObject* kwargs);
PyObject* problem_getVariable(PyObject* self, PyObject* args, PyObject* kwargs);
PyObject* problem_getConstraint(PyObject* self, PyObject* args, PyObject* kwargs);
PyObject* problem_getSOS(PyObject* self, PyObject* args, PyObject* kwargs);
PyObject* problem_getIndex(PyObject* self, PyObject* object);
PyObject* problem_setObjective(PyObject* self, PyObject* args, PyObject* kwargs);
// solve.cpp, results.cpp, status.cpp
PyObject* problem_solve(PyObject* self, PyObject* args, PyObject* kwargs);
PyObject* problem_getSolution(PyObject* self, PyObject* args, PyObject* kwargs);
PyObject* problem_getDual(PyObject* self, PyObject* args);
PyObject* problem_getSlack(PyObject* self, PyObject* args);
PyObject* problem_getRCost(PyObject* self, PyObject* args);
PyObject* problem_getObjVal(PyObject* self, PyObject* unused);
PyObject* problem_getProbStatus(PyObject* self, PyObject* unused);
PyObject* problem_getProbStatusString(PyObject* self, PyObject* unused);
PyObject* problem_getOutputEnabled(PyObject* self, PyObject* unused);
PyObject* problem_setOutputEnabled(PyObject* self, PyObject* value);

}  // namespace tavlo
