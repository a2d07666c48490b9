// Life of a problem: allocated, initialised, released, deallocated.
#include "problem/lifecycle.h"

#include <unistd.h>

#include "module/printers.h"
#include "module/start.h"
#include "problem/methods.h"
#include "problem/registry.h"
#include "pyutil/guard.h"
#include "pyutil/locks.h"

namespace tavlo {
namespace {

problem_s* record(PyObject* o) { return reinterpret_cast<problem_s*>(o); }

void link(problem_s* p) {
  p->nextProblem = tvl_py_env.problems;
  if (p->nextProblem) p->nextProblem->prevProblem = p;
  tvl_py_env.problems = p;
}

void unlink(problem_s* p) {
  if (p->prevProblem)
    p->prevProblem->nextProblem = p->nextProblem;
  else if (tvl_py_env.problems == p)
    tvl_py_env.problems = p->nextProblem;
  if (p->nextProblem) p->nextProblem->prevProblem = p->prevProblem;
}

// Control 8035 switches log lines off, so that the empty load says nothing.
int loadEmpty(problem_s* p, const char* name) {
  int log;
  if (TVLOgetintcontrol(p->prob, 8035, &log) != 0 || TVLOsetintcontrol(p->prob, 8035, 0) != 0) return -1;
  const int failed = TVLOloadlp(p->prob, name ? name : "noname", 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr);
  return failed || TVLOsetintcontrol(p->prob, 8035, log) != 0 ? -1 : 0;
}

// ---- the constructor's elements ----
class Elements {
 public:
  Elements(problem_s* p, int sense) : p_(p), sense_(sense) {}

  bool add(PyObject* element) {
    if (PyUnicode_Check(element) || PyBytes_Check(element)) return setName(element);
    Leaves leaves;
    const bool whole = leaves.collect(p_, element);
    if (checkProblemIsInitialized(p_) != 0) return false;
    if (leaves.size() == 0) {
      if (whole) return true;
      PyErr_Clear();
      return erroneous();
    }
    const int type = leafType(leaves[0]);
    const bool known = type == kLeafVar && leaves[0] == element && registryHas(element);
    if (type == kLeafExpression || known) return setObjective(element);
    if (type == kLeafString || type == kLeafOther) {
      PyErr_Clear();
      return erroneous();
    }
    if (!whole) return false;
    if (type == kLeafSos) return modelError("Special ordered sets cannot be added to a problem yet") != nullptr;
    Ref list = Ref::steal(PyTuple_New(static_cast<Py_ssize_t>(leaves.size())));
    if (!list) return false;
    for (size_t i = 0; i < leaves.size(); ++i)
      PyTuple_SET_ITEM(list.get(), static_cast<Py_ssize_t>(i), newRef(leaves[i]));
    Ref done =
        Ref::steal(type == kLeafVar ? problem_addVariable(p_, list.get()) : problem_addConstraint(p_, list.get()));
    return static_cast<bool>(done);
  }

 private:
  bool registryHas(PyObject* o) const {
    const Registry r = registryOf(p_, kColumn);
    return rowcolmap_has(*r.map, r.key(o));
  }

  bool setName(PyObject* name) {
    if (named_) return modelError("More than one string passed in problem declaration") != nullptr;
    named_ = true;
    PyObject* temp = nullptr;
    const char* text = pyStrToStr(name, nullptr, &temp);
    Ref holder = Ref::steal(temp);
    if (!text) return false;
    if (TVLOsetprobname(p_->prob, text) == 0) return true;
    return libraryError(p_) != nullptr;
  }

  bool setObjective(PyObject* element) {
    Ref objective = Ref::borrow(element);
    if (PyArray_Check(element)) {
      auto* array = reinterpret_cast<PyArrayObject*>(element);
      if (PyArray_SIZE(array) != 1)
        return modelError("Only one objective can be set, but a sequence or NumPy array of expressions was passed") !=
               nullptr;
      objective = Ref::steal(PyArray_GETITEM(array, static_cast<char*>(PyArray_DATA(array))));
      if (!objective) return false;
    }
    const int type = leafType(objective.get());
    if (type != kLeafVar && type != kLeafExpression)
      return modelError(
                 "Incorrect way of defining an objective function (it should not be in an aggregate structure)") !=
             nullptr;
    if (objectiveSet_) return modelError("At most one expression can be used as an objective function") != nullptr;
    objectiveSet_ = true;
    return setObjectiveTo(p_, objective.get(), sense_) == 0;
  }

  static bool erroneous() {
    return modelError(
               "Erroneous problem declaration; argument contained object that was not a variable, constraint, or "
               "expression") != nullptr;
  }

  problem_s* p_;
  int sense_;
  bool named_ = false, objectiveSet_ = false;
};

int addElements(problem_s* p, PyObject* args, int sense) {
  Elements elements(p, sense);
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(args); ++i)
    if (!elements.add(PyTuple_GET_ITEM(args, i))) return -1;
  return 0;
}

int build(problem_s* p, PyObject* args, const char* name, int sense) {
  if (turnTVLOon(0) != 0 || createRegistry(p) != 0) return -1;
  p->nlConstCol = p->objAuxCol = p->objAuxRow = -1;
  p->nlRowCount = p->nlObjective = 0;
  Py_XSETREF(p->controls, ctrl_base(p));
  Py_XSETREF(p->attributes, attr_base(p));
  if (!p->controls || !p->attributes || createSolverProblems(p) != 0) return -1;
  if (loadEmpty(p, name) != 0) {
    libraryError(p);
    return -1;
  }
  if (problem_applyDefaultControls(p) != 0) return -1;
  return guarded([&]() -> int { return addElements(p, args, sense); });
}

// Ends a solve that another thread runs, so that its problem can go; false when this thread itself runs it.
bool endSolve(problem_s* p) {
  while (p->solvingThread) {
    if (p->solvingThread == PyThread_get_thread_ident()) return false;
    TVLOinterrupt(p->prob, 9);
    GilReleased released;
    usleep(1000);
  }
  return true;
}

}  // namespace

int checkProblemIsInitialized(problem_s* p) {
  if (!p->prob) {
    modelError("Problem is not initialized");
    return -1;
  }
  if (p->solvingThread && p->solvingThread != PyThread_get_thread_ident()) {
    solverError("Problem is being solved by another thread");
    return -1;
  }
  return 0;
}

int createSolverProblems(problem_s* p) {
  if (TVLOcreateprob(&p->prob) == 0 && TSLPcreateprob(&p->slpprob, &p->prob) == 0 &&
      TSLPsetintcontrol(p->slpprob, 12415, 0) == 0 && TVLOaddcbmessage(p->prob, tvl_py_print_prob, p, 1) == 0 &&
      TSLPsetcbmessage(p->slpprob, tvl_py_print_probNL, p) == 0)
    return 0;
  libraryError(p);
  return -1;
}

int isMixedInteger(problem_s* p) {
  for (int id : {1032, 1004, 1327, 1325}) {
    int count;
    if (intAttribute(p, id, &count) != 0) return -1;
    if (count) return 1;
  }
  return 0;
}

PyObject* problem_new(PyTypeObject* type, PyObject*, PyObject*) {
  PyObject* self = type->tp_alloc(type, 0);
  if (!self) return nullptr;
  problem_s* p = record(self);
  p->nlConstCol = p->objAuxCol = p->objAuxRow = -1;
  p->outputEnabled = 1;
  Py_XINCREF(tvl_py_env.module);
  p->module = tvl_py_env.module;
  link(p);
  return self;
}

int problem_init(PyObject* self, PyObject* args, PyObject* kwargs) {
  static const char* const names[] = {"elements", "name", "sense", nullptr};
  problem_s* p = record(self);
  const char* name = nullptr;
  double placeholder;
  long sense = 1;
  Ref one = Ref::steal(Py_BuildValue("(d)", 0.0));
  if (!one || !ko_ParseTupleAndKeywords(one.get(), kwargs, "d|$sl", names, nullptr, &placeholder, &name, &sense))
    return -1;
  if (p->prob) {
    modelError("Problem is already initialized");
    return -1;
  }
  if (sense != 1 && sense != -1) {
    modelError("Invalid optimization sense");
    return -1;
  }
  if (build(p, args, name, static_cast<int>(sense)) == 0) return 0;
  libraryError(p);
  ErrorStash failure;
  problem_freeresources(p);
  return -1;
}

void problem_freeresources(problem_s* p) {
  if (!endSolve(p)) {
    p->releaseAfterSolve = 1;
    TVLOinterrupt(p->prob, 9);
    return;
  }
  TVLOprob prob = std::exchange(p->prob, nullptr);
  TSLPprob slp = std::exchange(p->slpprob, nullptr);
  if (prob) TVLOremovecbmessage(prob, tvl_py_print_prob, p);
  if (slp) TSLPdestroyprob(slp);
  if (prob) TVLOdestroyprob(prob);
  for (PyObject*& slot : p->callbacks) Py_CLEAR(slot);
  Py_XSETREF(p->controls, newRef(Py_None));
  Py_XSETREF(p->attributes, newRef(Py_None));
  releaseRegistry(p);
}

void problem_dealloc(PyObject* self) {
  problem_s* p = record(self);
  ErrorStash pending;  // the deallocation may run code
  problem_freeresources(p);
  Py_CLEAR(p->controls);
  Py_CLEAR(p->attributes);
  ctrl_dropLink(p);
  unlink(p);
  Ref module = Ref::steal(p->module);
  Py_TYPE(self)->tp_free(self);
}

PyObject* problem_reset(PyObject* self, PyObject*) {
  problem_s* p = record(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  if (p->solvingThread) return solverError("Problem cannot be reset while it is being solved");
  Ref none = Ref::steal(PyTuple_New(0));
  if (!none) return nullptr;
  problem_freeresources(p);
  return problem_init(self, none.get(), nullptr) == 0 ? newRef(Py_None) : nullptr;
}

PyObject* problem_enter(PyObject* self, PyObject*) { return newRef(self); }

PyObject* problem_exit(PyObject* self, PyObject*) {
  problem_freeresources(record(self));
  return newRef(Py_None);
}

}  // namespace tavlo
