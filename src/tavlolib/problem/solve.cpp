// Solving: the optimizer's entry for the problem as it stands, without the interpreter lock.
#include "problem/problem.h"
#include "problem/signals.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

constexpr int kEntities[] = {1032, 1004, 1327, 1325};  // a problem with any of these is mixed-integer
constexpr int kLpStatus = 1010, kMipStatus = 1011;
constexpr int kNonconvex = 8;

int run(problem_s* p, bool mixed, const char* flags) {
  const InUse solving(p, Use::solving);
  TVLOprob prob = p->prob;
  setSigIntHandler();
  int code = 0;
  {
    GilReleased released;
    code = mixed ? TVLOmipoptimize(prob, flags) : TVLOlpoptimize(prob, flags);
  }
  resetSigIntHandler();
  // Read before anything else clears it.
  if (code != 0 && !PyErr_Occurred()) solverFailed(p);
  return code;
}

int explainFailure(problem_s* p, bool mixed) {
  int status = 0;
  if (TVLOgetintattrib(p->prob, mixed ? kMipStatus : kLpStatus, &status) == 0 && status == kNonconvex) {
    PyErr_Clear();
    solverError(
        "The problem was determined to be nonconvex, and the optimizer cannot solve it. Call nlpoptimize() to find a "
        "solution using SLP");
  }
  return -1;
}

int solve(problem_s* p, PyObject* flags) {
  bool mixed = false;
  if (isMixedInteger(p, &mixed) != 0) return -1;
  if (flags && !PyUnicode_Check(flags) && !PyBytes_Check(flags)) {
    interfaceError("The optional 'flags' parameter should be a string");
    return -1;
  }
  PyObject* temporary = nullptr;
  const char* letters = flags ? pyStrToStr(flags, nullptr, &temporary) : nullptr;
  Ref owner = Ref::steal(temporary);
  if (flags && !letters) return -1;
  // An interrupt that came before belongs to the interpreter's handler.
  if (PyErr_CheckSignals() != 0 || checkProblemIsInitialized(p) != 0) return -1;
  const int code = run(p, mixed, letters);
  if (!p->prob) {
    PyErr_Clear();
    solverError("The problem was released while it was being solved");
    return -1;
  }
  if (PyErr_Occurred()) return code != 0 ? explainFailure(p, mixed) : -1;
  return 0;
}

PyObject* problem_solve(PyObject* self, PyObject* args, PyObject* kwargs) {
  auto* p = reinterpret_cast<problem_s*>(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  static constexpr const char* kNames[] = {"flags", nullptr};
  PyObject* flags = nullptr;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "|O", kNames, nullptr, &flags)) return nullptr;
  Ref held = Ref::borrow(self), held_flags = Ref::borrow(flags);  // other threads may drop theirs
  if (solve(p, flags) != 0) return nullptr;
  Py_RETURN_NONE;
}

PyDoc_STRVAR(kSolveDoc, R"(solve($self, /, flags=...)
--

Purpose:
  Solves the problem: a linear problem by the LP algorithms, one with integer variables by tree search.

Synopsis:
  p.solve(flags)

Arguments:
  flags   Letters: "p" primal simplex, "d" dual simplex, "b" interior point, "c" interior point without crossover,
          "f" first-order method; "l" stops after the continuous relaxation of a problem with integer variables.

Example:
  p.solve()
  if p.attributes.lpstatus == tavlo.lp_optimal:
      print(p.getObjVal(), p.getSolution())

Further information:
  The interpreter lock is released: other threads run, and other problems can be solved, meanwhile. This problem is
  refused to other threads until the solve ends. The interrupt signal takes its default action during a solve, which
  ends the process. A solve that a limit stops is no failure: see the status.

Related topics:
  problem.getProbStatus, problem.getSolution, problem.setControl
)");

}  // namespace

int isMixedInteger(problem_s* p, bool* mixed) {
  *mixed = false;
  for (int id : kEntities) {
    int number = 0;
    if (TVLOgetintattrib(p->prob, id, &number) != 0) return solverFailed(p);
    *mixed = *mixed || number != 0;
  }
  return 0;
}

const PyMethodDef* solveMethods() {
  static const PyMethodDef methods[] = {
      {"solve", withKeywords(problem_solve), METH_VARARGS | METH_KEYWORDS, kSolveDoc},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}

}  // namespace tavlo
