// The problem record and what its files share. Every method first checks checkProblemIsInitialized.
//
// Threads: everything needs the interpreter lock. A solve releases it: until it ends, calls from other threads are
// refused. Python code that a call runs (generators, finalizers) may change the problem: the registry tells.
#pragma once

#include "model/objects.h"
#include "problem/registry.h"
#include "pyutil/python.h"
#include "runtime/errors.h"
#include "tvlo/tslp.h"
#include "tvlo/tvlo.h"

namespace tavlo {
enum class Use : int32_t { idle, solving, file };  // file: being read or written, refused to every other call
}  // namespace tavlo

struct problem_s {
  PyObject_HEAD TVLOprob prob;  // null while the record is not initialised
  TSLPprob slpprob;
  tavlo::registry_s* shared;  // null, too, while the record is not initialised
  PyObject *controls, *attributes;
  int32_t outputEnabled;
  problem_s *prevProblem, *nextProblem;  // chain of live problems
  PyObject* link;        // shared with the control and attribute objects, which may outlive the problem; may be null
  PyObject* module;      // which outlives all problems
  bool solvedNonlinear;  // by the last solve: that of the nonlinear component
  tavlo::Use use;
  unsigned long useThread;
  bool releaseWhenIdle;  // released by a call while it was being solved

  tavlo::Registry& registry() const { return shared->body; }
};

struct control_s {               // of the types control and attribute
  PyObject_HEAD PyObject* link;  // problem_s::link; null for the module-level object
  PyObject* dict;
};

namespace tavlo {

// lifecycle.cpp
int checkProblemIsInitialized(problem_s* p);  // also refuses a problem that another thread solves
inline bool isReady(const problem_s* p) { return p->prob && p->use == Use::idle; }
PyObject* problem_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);
int problem_init(PyObject* self, PyObject* args, PyObject* kwargs);
void problem_dealloc(PyObject* self);
int problem_traverse(PyObject* self, visitproc visit, void* arg);
int problem_clear(PyObject* self);
// Interrupts a running solve and leaves the release to its end.
void problem_freeresources(problem_s* p);
int problem_createHandles(problem_s* p);   // solver problems, settings and log handlers
int problem_createRegistry(problem_s* p);  // empty
int problem_applyDefaultControls(problem_s* p);
int solverFailed(problem_s* p);     // -1, with the solver's error or the one that is pending
int nonlinearFailed(problem_s* p);  // the same after a call of the nonlinear component
PyObject* selfOf(problem_s* p);
void raiseProblemError(PyObject* problem);  // with the last error of its solver objects
void releaseProblems();                     // the solver objects of every live problem

// A time during which the library works on the problem and may call Python code or run without the interpreter lock.
class InUse {
 public:
  InUse(problem_s* p, Use use);
  ~InUse();  // releases the problem when that was asked for meanwhile
  InUse(const InUse&) = delete;
  InUse& operator=(const InUse&) = delete;

 private:
  problem_s* p_;
  Use before_;
  unsigned long before_thread_;
};

// controls.cpp: controls, attributes and their name tables
PyObject* ctrl_base(problem_s* p);
PyObject* attr_base(problem_s* p);
void ctrl_dropLink(problem_s* p);  // at the problem's deallocation: its controls and attributes forget it
int ctrl_attr_fill_typeobj(int withNonlinear);
// Fills the control and attribute tables and switches the nonlinear component's post-solve on for new problems.
// withNonlinear: whether the nonlinear component is running already. 0, or -1 with an exception.
int fillControlTables(int withNonlinear);
int problem_setControl_single(problem_s* p, int code, int type, int kind, PyObject* value);
PyObject* problem_getInfo_single(problem_s* p, int code, int type, bool isControl, int kind);
// A control or attribute name in the tables' form (new reference), or null with ModelError.
PyObject* normalisedName(PyObject* name);
int getParType(int kind, int flags, int code, const char* name, int* outIsControl, int* outType);
extern PyMethodDef kControlMethods[];  // getControl, setControl, getAttrib; ends with an empty entry

// walker.cpp
using LeafFn = PyObject* (*)(problem_s* p, PyObject* leaf, void* data);  // non-null marker (not owned) or null
PyObject* forEachLeaf(problem_s* p, PyObject* obj, LeafFn fn, void* data, int depth);
inline constexpr int kWalkDepth = 32;
bool isAggregate(PyObject* obj);  // whether the walker opens it
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
inline int64_t columnOf(const problem_s* p, const var_s* v) { return p->registry().vars.find(varIndex(v)); }  // or -1
enum EntityKind { kRow = 0, kColumn = 1, kSet = 2, kColumnOrRow = 11 };
int ObjInt2int(PyObject* obj, problem_s* p, int* index, int kind);

// nonlinear.cpp
int refreshFormulas(problem_s* p);       // whether there are any, when rows have gone; 0, or -1 with an exception
int check_nl_unconstruct(problem_s* p);  // before a change of the model: takes away what a solve has built

// solve.cpp
int isMixedInteger(problem_s* p, bool* mixed);  // 0, or -1 with an exception
enum class Source { linear, mixed, nonlinear };
// Where results come from: the nonlinear component when the problem has nonlinear content or was last solved by it.
int sourceOf(problem_s* p, Source* source);  // 0, or -1 with an exception

// Methods, a file of its subject each.
PyObject* problem_name(PyObject* self, PyObject*);
PyObject* problem_reset(PyObject* self, PyObject*);
PyObject* problem_enter(PyObject* self, PyObject*);
PyObject* problem_exit(PyObject* self, PyObject* args);
// Tables that end with an empty entry. Functions, so that the type can be made before other files' data is ready.
using MethodTable = const PyMethodDef* (*)();
const PyMethodDef* copyMethods();
const PyMethodDef* fileMethods();
const PyMethodDef* addMethods();
const PyMethodDef* deletionMethods();
const PyMethodDef* queryMethods();
const PyMethodDef* objectiveMethods();
const PyMethodDef* solveMethods();
const PyMethodDef* resultMethods();
const PyMethodDef* statusMethods();
inline PyCFunction withKeywords(PyObject* (*method)(PyObject*, PyObject*, PyObject*)) {
  return reinterpret_cast<PyCFunction>(method);
}
PyObject* problem_setObjective(PyObject* self, PyObject* args, PyObject* kwargs);

}  // namespace tavlo
