// Copies of a problem.
#include "problem/problem.h"
#include "problem/translation/user_function.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

int fill(problem_s* to, const problem_s* from) {
  if (problem_createRegistry(to) != 0 || problem_createHandles(to) != 0 || problem_applyDefaultControls(to) != 0)
    return -1;
  if (TVLOcopyprob(to->prob, from->prob, "") != 0 || TSLPcopyprob(to->slpprob, from->slpprob, "") != 0 ||
      TVLOcopycontrols(to->prob, from->prob) != 0 || TSLPcopycontrols(to->slpprob, from->slpprob) != 0)
    return solverFailed(to);
  to->outputEnabled = from->outputEnabled;
  return to->registry().copyFrom(from->registry()) == 0 ? copyUserFunctions(to, from) : -1;
}

PyObject* problem_copy(PyObject* self, PyObject*) {
  auto* p = reinterpret_cast<problem_s*>(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  Ref copy = Ref::steal(problem_new(&tavlo_problemType, nullptr, nullptr));
  if (!copy) return nullptr;
  return fill(reinterpret_cast<problem_s*>(copy.get()), p) == 0 ? copy.release() : nullptr;
}

PyDoc_STRVAR(kCopyDoc, R"(copy($self, /)
--

Purpose:
  A copy of the problem: its model, its controls and its output switch, but not its solution.

Synopsis:
  p2 = p1.copy()

Further information:
  The copy has an empty name. Both problems hold the same variable and constraint objects, and call
  the same user functions.

Related topics:
  problem.reset, problem.write
)");

}  // namespace

const PyMethodDef* copyMethods() {
  static const PyMethodDef methods[] = {
      {"copy", problem_copy, METH_NOARGS, kCopyDoc},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}

}  // namespace tavlo
