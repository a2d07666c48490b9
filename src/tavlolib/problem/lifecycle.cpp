// Life of a problem record: allocation, solver problems, release, and the methods that go with it.
#include <atomic>
#include <cstring>
#include <new>
#include <utility>

#include "problem/problem.h"
#include "pyutil/array.h"
#include "pyutil/ref.h"
#include "runtime/printers.h"

namespace tavlo {
namespace {

constexpr int kStoppedByUser = 9;

problem_s* self_(PyObject* o) { return reinterpret_cast<problem_s*>(o); }

PyObject* replaced(PyObject*& field, PyObject* by) { return std::exchange(field, by); }

// Message handlers that copy a problem's log to sys.stdout; data is the problem_s, which outlives its registration.
int printForProblem(void* data, const char* text, int type) {
  // Written by the interpreter's thread while a solver thread reads it.
  std::atomic_ref<int32_t> enabled(static_cast<problem_s*>(data)->outputEnabled);
  return enabled.load(std::memory_order_relaxed) == 0 ? 0 : tvl_py_print_general(text, type < 0);
}

int tvl_py_print_prob(void*, void* data, const char* text, int, int type) { return printForProblem(data, text, type); }

int tvl_py_print_probNL(void*, void* data, const char* text, int, int type) {
  return printForProblem(data, text, type);
}

int installPrinters(problem_s* p) {
  return TVLOaddcbmessage(p->prob, tvl_py_print_prob, p, 1) != 0 ||
                 TSLPsetcbmessage(p->slpprob, tvl_py_print_probNL, p) != 0
             ? solverFailed(p)
             : 0;
}

void destroyHandles(problem_s* p) {
  TVLOprob prob = std::exchange(p->prob, nullptr);
  TSLPprob slp = std::exchange(p->slpprob, nullptr);
  if (prob) TVLOremovecbmessage(prob, tvl_py_print_prob, p);
  if (slp) TSLPdestroyprob(slp);
  if (prob) TVLOdestroyprob(prob);
}

void link(problem_s* p) {
  p->nextProblem = tvl_py_env.problems;
  if (p->nextProblem) p->nextProblem->prevProblem = p;
  tvl_py_env.problems = p;
}

void unlink(problem_s* p) {
  if (p->prevProblem)
    p->prevProblem->nextProblem = p->nextProblem;
  else
    tvl_py_env.problems = p->nextProblem;
  if (p->nextProblem) p->nextProblem->prevProblem = p->prevProblem;
}

int refuseUse(const problem_s* p) {
  solverError(p->use == Use::solving ? "The problem is being solved" : "The problem is being read or written");
  return -1;
}

}  // namespace

PyObject* selfOf(problem_s* p) { return reinterpret_cast<PyObject*>(p); }

void raiseProblemError(PyObject* problem) {
  const auto* p = reinterpret_cast<problem_s*>(problem);
  char text[TVLO_ERRORTEXT_MAX] = "";
  int code = 0;
  if (p->prob)
    TVLOgetlasterror(p->prob, text);
  else  // it could not be created: only the environment can say why
    TVLO_ge_getlasterror(&code, text, sizeof text, nullptr);
  if (!*text && p->slpprob && nlState() != 0) TSLPgetlasterror(p->slpprob, &code, text);
  raiseText(tpy_solver_exc, text, "Unidentified error associated with optimization problem");
}

void releaseProblems() {
  // From a record on, the first that is not being deallocated, which releases itself.
  const auto from = [](problem_s* p) {
    while (p && Py_REFCNT(reinterpret_cast<PyObject*>(p)) == 0) p = p->nextProblem;
    return BasicRef<problem_s>::borrow(p);
  };
  // What is released may run Python code, which may create and delete problems: the next record is held before this one
  // is let go, and the chain is walked again while there was one to release. Finalisers that always make another
  // problem must not keep it up for ever.
  constexpr int kMostWalks = 1000;
  bool found = true;
  for (int walk = 0; found && walk < kMostWalks; ++walk) {
    found = false;
    for (BasicRef<problem_s> p = from(tvl_py_env.problems); p; p = from(p->nextProblem)) {
      if (!p->prob || p->releaseWhenIdle) continue;
      found = true;
      problem_freeresources(p.get());
    }
  }
}

int solverFailed(problem_s* p) {
  setTvloErrIfNull(selfOf(p), nullptr);
  return -1;
}

int checkProblemIsInitialized(problem_s* p) {
  if (!p->prob || p->releaseWhenIdle) {
    modelError("Problem is not initialized");
    return -1;
  }
  if (p->use == Use::idle || (p->use == Use::solving && p->useThread == PyThread_get_thread_ident())) return 0;
  return refuseUse(p);
}

int nonlinearFailed(problem_s* p) {
  int code = 0;
  char text[TVLO_ERRORTEXT_MAX] = "";
  if (PyErr_Occurred()) return -1;
  TSLPgetlasterror(p->slpprob, &code, text);
  raiseText(tpy_solver_exc, text, "Unidentified error associated with the nonlinear problem");
  return -1;
}

InUse::InUse(problem_s* p, Use use) : p_(p), before_(p->use), before_thread_(p->useThread) {
  p->use = use;
  p->useThread = PyThread_get_thread_ident();
}

InUse::~InUse() {
  p_->use = before_;
  p_->useThread = before_thread_;
  if (before_ == Use::idle && std::exchange(p_->releaseWhenIdle, false)) problem_freeresources(p_);
}

// ---- allocation and release ----
PyObject* problem_new(PyTypeObject* type, PyObject*, PyObject*) {
  PyObject* self = type->tp_alloc(type, 0);
  if (!self) return nullptr;
  problem_s* p = self_(self);
  p->outputEnabled = 1;
  p->module = tvl_py_env.module;
  Py_XINCREF(p->module);
  link(p);
  return self;
}

int problem_createRegistry(problem_s* p) {
  BasicRef<registry_s> registry = newRegistry();
  if (!registry) return -1;
  p->shared = registry.release();
  Ref old_controls = Ref::steal(replaced(p->controls, ctrl_base(p)));
  Ref old_attributes = Ref::steal(replaced(p->attributes, attr_base(p)));
  p->solvedNonlinear = false;
  return p->controls && p->attributes ? 0 : -1;
}

int problem_createHandles(problem_s* p) {
  if (TVLOcreateprob(&p->prob) != 0) return solverFailed(p);
  if (TSLPcreateprob(&p->slpprob, &p->prob) != 0) return solverFailed(p);
  if (TSLPsetintcontrol(p->slpprob, TSLP_CONTROL_echolog, 0) != 0) return solverFailed(p);
  return installPrinters(p);
}

void problem_freeresources(problem_s* p) {
  if (p->use != Use::idle) {
    p->releaseWhenIdle = true;
    TVLOinterrupt(p->prob, kStoppedByUser);
    TSLPinterrupt(p->slpprob, kStoppedByUser);
    return;
  }
  destroyHandles(p);
  // Releasing the objects may run Python code, which finds the record empty.
  const Ref controls = Ref::steal(replaced(p->controls, newRef(Py_None)));
  const Ref attributes = Ref::steal(replaced(p->attributes, newRef(Py_None)));
  const auto shared = BasicRef<registry_s>::steal(std::exchange(p->shared, nullptr));
}

void problem_dealloc(PyObject* self) {
  problem_s* p = self_(self);
  PyObject_GC_UnTrack(self);
  problem_freeresources(p);
  Py_CLEAR(p->controls);
  Py_CLEAR(p->attributes);
  ctrl_dropLink(p);
  unlink(p);
  Ref module = Ref::steal(p->module);  // released last
  Py_TYPE(self)->tp_free(self);
}

int problem_traverse(PyObject* self, visitproc visit, void* arg) {
  Py_VISIT(self_(self)->shared);
  return 0;
}

// Of a problem that only its own objects or user functions refer to. It is not being solved: the method that does so
// holds it.
int problem_clear(PyObject* self) {
  problem_freeresources(self_(self));
  return 0;
}

// ---- methods ----
PyObject* problem_name(PyObject* self, PyObject*) {
  problem_s* p = self_(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  int length = 0;
  if (TVLOgetintattrib(p->prob, TVLO_ATTRIBUTE_probnamelength, &length) != 0) return solverFailed(p), nullptr;
  Array<char> name;
  if (!name.resize(static_cast<size_t>(length) + 1)) return nullptr;
  if (TVLOgetprobname(p->prob, name.data()) != 0) return solverFailed(p), nullptr;
  return PyUnicode_DecodeUTF8(name.data(), static_cast<Py_ssize_t>(std::strlen(name.data())), "replace");
}

PyObject* problem_reset(PyObject* self, PyObject*) {
  problem_s* p = self_(self);
  if (checkProblemIsInitialized(p) != 0 || (p->use != Use::idle && refuseUse(p) != 0)) return nullptr;
  Ref held = Ref::borrow(self), none = Ref::steal(PyTuple_New(0));
  if (!none) return nullptr;
  problem_freeresources(p);
  if (problem_init(self, none.get(), nullptr) != 0) return nullptr;
  Py_RETURN_NONE;
}

PyObject* problem_enter(PyObject* self, PyObject*) {
  return checkProblemIsInitialized(self_(self)) == 0 ? newRef(self) : nullptr;
}

PyObject* problem_exit(PyObject* self, PyObject*) {
  Ref held = Ref::borrow(self);
  problem_freeresources(self_(self));
  Py_RETURN_NONE;
}

}  // namespace tavlo
