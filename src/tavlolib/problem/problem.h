// The problem record and what its files share. Every method first checks checkProblemIsInitialized.
#pragma once

#include "model/maps.h"
#include "module/errors.h"
#include "pyutil/python.h"
#include "tvlo/tslp.h"
#include "tvlo/tvlo.h"

inline constexpr int kCallbackKinds = 40;

struct problem_s {
  PyObject_HEAD TVLOprob prob;  // null while the record is not initialised
  TSLPprob slpprob;
  PyObject *vars, *cons, *sets;  // position = solver index
  PyObject *controls, *attributes;
  tavlo::rowcolmap *varmap, *conmap, *sosmap;  // object index -> solver index
  PyObject* callbacks[kCallbackKinds];
  int32_t nlConstCol, nlRowCount, nlObjective;
  void* userFuncs;
  int32_t objAuxCol, objAuxRow;
  int32_t outputEnabled;
  problem_s *prevProblem, *nextProblem;  // chain of live problems
  PyObject* link;    // shared with the control and attribute objects, which may outlive the problem; may be null
  PyObject* module;  // keeps the module alive
  unsigned long solvingThread;  // the thread that runs a solve of this problem; 0 while none does
  int32_t releaseAfterSolve;    // its resources are to go when that solve returns
};

struct control_s {               // of the types control and attribute
  PyObject_HEAD PyObject* link;  // problem_s::link; null for the module-level object
  PyObject* dict;
};

namespace tavlo {

// lifecycle.cpp
// 0 when the solver handles are there and no other thread is solving the problem; else -1 with an exception.
int checkProblemIsInitialized(problem_s* p);
void problem_freeresources(problem_s* p);
int problem_applyDefaultControls(problem_s* p);

// controls.cpp: controls, attributes and their name tables
PyObject* ctrl_base(problem_s* p);
PyObject* attr_base(problem_s* p);
void ctrl_dropLink(problem_s* p);  // at the problem's deallocation: its controls and attributes forget it
int ctrl_attr_fill_typeobj(int withNonlinear);
int problem_setControl_single(problem_s* p, int code, int type, int kind, PyObject* value);
PyObject* problem_getInfo_single(problem_s* p, int code, int type, bool isControl, int kind);
// A control or attribute name in the tables' form (new reference), or null with ModelError.
PyObject* normalisedName(PyObject* name);
int getParType(int kind, int flags, int code, const char* name, int* outIsControl, int* outType);
extern PyMethodDef kControlMethods[];  // getControl, setControl, getAttrib; ends with an empty entry

// walker.cpp: nested lists, tuples, dictionaries, iterators and arrays
using LeafFn = PyObject* (*)(problem_s* p, PyObject* leaf, void* data);  // non-null marker (not owned) or null
PyObject* forEachLeaf(problem_s* p, PyObject* obj, LeafFn fn, void* data, int depth);
inline constexpr int kWalkDepth = 32;
enum LeafType {
  kLeafVar = 0,
  kLeafConstraint = 1,
  kLeafSos = 2,
  kLeafExpression = 3,
  kLeafString = 4,
  kLeafOther = -1
};
int leafType(PyObject* leaf);

// index.cpp
enum EntityKind { kRow = 0, kColumn = 1, kSet = 2, kColumnOrRow = 11 };
int ObjInt2int(PyObject* obj, problem_s* p, int* index, int kind);

// columns.cpp, rows.cpp: args is a tuple of objects and aggregates
PyObject* problem_addVariable(problem_s* p, PyObject* args);
PyObject* problem_addConstraint(problem_s* p, PyObject* args);

// objective.cpp
int setObjectiveTo(problem_s* p, PyObject* objective, int sense);  // 0, or -1 with an exception
int check_nl_unconstruct(problem_s* p);

}  // namespace tavlo
