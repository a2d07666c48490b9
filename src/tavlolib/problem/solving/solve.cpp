// Solving: the entry of the library for the problem as it stands, without the interpreter lock.
#include <algorithm>
#include <cstring>

#include "problem/problem.h"
#include "problem/solving/signals.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

constexpr int kEntities[] = {1032, 1004, 1327, 1325};  // a problem with any of these is mixed-integer
constexpr int kLastNlpStatus = 6;
constexpr int kNonconvex = 8;
constexpr size_t kFlagBytes = 512;

int optimize(TVLOprob prob, TSLPprob slp, Source entry, const char* flags) {
  switch (entry) {
    case Source::linear:
      return TVLOlpoptimize(prob, flags);
    case Source::mixed:
      return TVLOmipoptimize(prob, flags);
    default:
      return TSLPnlpoptimize(slp, flags ? flags : "");
  }
}

int run(problem_s* p, Source entry, const char* flags) {
  const auto shared = BasicRef<registry_s>::borrow(p->shared);
  const InUse solving(p, Use::solving);
  TVLOprob prob = p->prob;
  TSLPprob slp = p->slpprob;
  p->solvedNonlinear = entry == Source::nonlinear;
  setSigIntHandler();
  int code = 0;
  {
    GilReleased released;
    code = optimize(prob, slp, entry, flags);
  }
  resetSigIntHandler();
  // Read before anything else clears it.
  if (!shared->body.failure.raise() && code != 0 && !PyErr_Occurred())
    entry == Source::nonlinear ? nonlinearFailed(p) : solverFailed(p);
  return code;
}

int explainFailure(problem_s* p, bool mixed) {
  int status = 0;
  if (TVLOgetintattrib(p->prob, mixed ? TVLO_ATTRIBUTE_mipstatus : TVLO_ATTRIBUTE_lpstatus, &status) == 0 &&
      status == kNonconvex) {
    PyErr_Clear();
    solverError(
        "The problem was determined to be nonconvex, and the optimizer cannot solve it. Call nlpoptimize() to find a "
        "solution using SLP");
  }
  return -1;
}

// The flags of a nonlinear solve: cut to what the component takes, with the letter g for integer entities.
int nonlinearFlags(const char* given, bool mixed, char (&flags)[kFlagBytes]) {
  const size_t length = given ? std::min(std::strlen(given), kFlagBytes - 1) : 0;
  std::memcpy(flags, given ? given : "", length);
  flags[length] = 0;
  if (!mixed || std::strchr(flags, 'g')) return 0;
  if (length > kFlagBytes - 2)
    return solverError("Problem is mixed integer but the flag string is full; cannot add 'g' to the flags"), -1;
  flags[length] = 'g';
  flags[length + 1] = 0;
  return 0;
}

int solve(problem_s* p, PyObject* flags, bool nonlinear) {
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
  char buffer[kFlagBytes];
  if (nonlinear) {
    if (nonlinearFlags(letters, mixed, buffer) != 0) return -1;
    letters = buffer;
  }
  // An interrupt that came before belongs to the interpreter's handler.
  if (PyErr_CheckSignals() != 0 || checkProblemIsInitialized(p) != 0) return -1;
  const int code = run(p, nonlinear ? Source::nonlinear : mixed ? Source::mixed : Source::linear, letters);
  if (!p->prob) {
    PyErr_Clear();
    solverError("The problem was released while it was being solved");
    return -1;
  }
  if (PyErr_Occurred()) return code != 0 && !nonlinear ? explainFailure(p, mixed) : -1;
  return 0;
}

PyObject* solveWith(PyObject* self, PyObject* args, PyObject* kwargs, bool always_nonlinear) {
  auto* p = reinterpret_cast<problem_s*>(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  TVLOexpectsolve(p->prob);  // before any other thread gets the interpreter
  static constexpr const char* kNames[] = {"flags", nullptr};
  PyObject* flags = nullptr;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "|O", kNames, nullptr, &flags)) return nullptr;
  Ref held = Ref::borrow(self), held_flags = Ref::borrow(flags);  // other threads may drop theirs
  if (refreshFormulas(p) != 0 || solve(p, flags, always_nonlinear || p->registry().isNonlinear()) != 0) return nullptr;
  Py_RETURN_NONE;
}

PyObject* problem_solve(PyObject* self, PyObject* args, PyObject* kwargs) {
  return solveWith(self, args, kwargs, false);
}
PyObject* problem_nlpoptimize(PyObject* self, PyObject* args, PyObject* kwargs) {
  return solveWith(self, args, kwargs, true);
}

PyDoc_STRVAR(kSolveDoc, R"(solve($self, /, flags=...)
--

Purpose:
  Solves the problem: a linear problem by the LP algorithms, a quadratic one by those for convex problems, one with
  integer variables by tree search, one with nonlinear expressions by the nonlinear component.

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
  refused to other threads until the solve ends. An exception that a user function raises stops the solve and comes
  out of it. A nonlinear solve finds a local optimum, from the variables' initial values. The interrupt signal takes its default action during a solve, which
  ends the process. A solve that a limit stops is no failure: see the status.

Related topics:
  problem.getProbStatus, problem.getSolution, problem.setControl, problem.nlpoptimize
)");

PyDoc_STRVAR(kNlpoptimizeDoc, R"(nlpoptimize($self, /, flags=...)
--

Purpose:
  Solves the problem by the nonlinear component, whatever it contains: a nonconvex quadratic problem too.

Synopsis:
  p.nlpoptimize(flags)

Arguments:
  flags   Letters, as for solve.

Example:
  p.setObjective(x*y)
  p.nlpoptimize()
  if p.getProbStatus() == tavlo.nlp_solution:
      print(p.getObjVal(), p.getSolution())

Further information:
  The queries tell this solve's results until the problem is solved in another way.

Related topics:
  problem.solve
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

int sourceOf(problem_s* p, Source* source) {
  bool mixed = false;
  *source = Source::nonlinear;
  if (refreshFormulas(p) != 0) return -1;
  if (p->registry().isNonlinear()) return 0;
  int status = 0;
  if (p->solvedNonlinear && TSLPgetintattrib(p->slpprob, TSLP_ATTRIBUTE_nlpstatus, &status) != 0)
    return nonlinearFailed(p);
  if (status >= 1 && status <= kLastNlpStatus) return 0;
  if (isMixedInteger(p, &mixed) != 0) return -1;
  *source = mixed ? Source::mixed : Source::linear;
  return 0;
}

const PyMethodDef* solveMethods() {
  static const PyMethodDef methods[] = {
      {"solve", withKeywords(problem_solve), METH_VARARGS | METH_KEYWORDS, kSolveDoc},
      {"nlpoptimize", withKeywords(problem_nlpoptimize), METH_VARARGS | METH_KEYWORDS, kNlpoptimizeDoc},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}

}  // namespace tavlo
