// Copies of a problem.
#include "problem/entities/column_table.h"
#include "problem/translation/user_function.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

int copyRegistry(problem_s* to, const problem_s* from) {
  for (PyObject* problem_s::* list : {&problem_s::vars, &problem_s::cons, &problem_s::sets})
    if (PyList_SetSlice(to->*list, 0, 0, from->*list) != 0) return -1;
  for (rowcolmap* problem_s::* map : {&problem_s::varmap, &problem_s::conmap, &problem_s::sosmap}) {
    rowcolmap_free(&(to->*map));
    if (rowcolmap_copy(&(to->*map), from->*map) != 0) return PyErr_NoMemory(), -1;
  }
  return 0;
}

int fill(problem_s* to, const problem_s* from) {
  if (problem_createRegistry(to) != 0 || problem_createHandles(to) != 0 || problem_applyDefaultControls(to) != 0)
    return -1;
  if (TVLOcopyprob(to->prob, from->prob, "") != 0 || TSLPcopyprob(to->slpprob, from->slpprob, "") != 0 ||
      TVLOcopycontrols(to->prob, from->prob) != 0 || TSLPcopycontrols(to->slpprob, from->slpprob) != 0)
    return solverFailed(to);
  if (userfuncmap_copy(&to->userFuncs, from->userFuncs) != 0) return -1;
  to->outputEnabled = from->outputEnabled;
  to->nlConstCol = from->nlConstCol;
  to->nlRowCount = from->nlRowCount;
  to->nlObjective = from->nlObjective;
  to->objAuxCol = from->objAuxCol;
  to->objAuxRow = from->objAuxRow;
  return copyRegistry(to, from);
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
