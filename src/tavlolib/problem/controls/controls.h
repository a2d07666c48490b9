// Controls and attributes: name tables, values, and what their files share. ctrl_mutex guards the tables and
// defaults_mutex the module-level values. With either held, no Python code runs, nothing that could start a garbage
// collection is allocated, no library function is called and no exception is raised: such code could hand the
// interpreter lock to a thread that waits for the same mutex, or ask for it again on this one. So names are made
// ready before, and values are read and written after, the look-up.
#pragma once

#include "problem/problem.h"
#include "pyutil/ref.h"

namespace tavlo {

enum ParameterType { kUndefined = 0, kInteger = 1, kDouble = 2, kText = 3 };
enum ParameterKind { kOptimizerList = 0, kNonlinearList = 1, kLocalSolverList = 2 };

struct Parameter {  // an entry of a name table
  int code = 0;
  int type = kUndefined;
  int kind = kOptimizerList;
};

// ---- names.cpp ----
// Looks a name in the tables' form up; false, without an exception, when it is absent. The caller holds ctrl_mutex.
bool findParameterLocked(PyObject* table, PyObject* name, Parameter* out);
bool findParameter(PyObject* table, PyObject* name, Parameter* out);  // takes ctrl_mutex
// The parameter of an id in the optimizer's list. 0, or -1 with an exception.
int parameterById(PyObject* id, Parameter* out);
bool isParameterId(PyObject* obj);  // whether obj stands for an id, not a name

// ---- values.cpp ----
// A value through the getter of its kind and type: null with *code not 0 (the library failed) or 0 (a Python error).
PyObject* readParameter(TVLOprob prob, TSLPprob slp, const Parameter& parameter, bool isControl, int* code);
int check_setCtrl(int type, PyObject* value);  // 0, or -1 with ModelError

// ---- methods.cpp ----
PyObject* getAllCtrlAttr(problem_s* p, bool isControl);

}  // namespace tavlo
