// Copies of problems. The modelling objects are shared, not duplicated.
#include "problem/lifecycle.h"
#include "problem/methods.h"
#include "problem/registry.h"

namespace tavlo {
namespace {

int copyRegistry(problem_s* to, problem_s* from) {
  for (EntityKind kind : {kRow, kColumn, kSet}) {
    const Registry source = registryOf(from, kind), target = registryOf(to, kind);
    *target.list = PyList_GetSlice(*source.list, 0, PyList_GET_SIZE(*source.list));
    if (!*target.list) return -1;
    if (rowcolmap_copy(target.map, *source.map) != 0) {
      PyErr_NoMemory();
      return -1;
    }
  }
  return 0;
}

int copySolverProblems(problem_s* to, problem_s* from) {
  char name[1] = "";
  if (TVLOcopyprob(to->prob, from->prob, name) == 0 && TSLPcopyprob(to->slpprob, from->slpprob, name) == 0 &&
      TVLOcopycontrols(to->prob, from->prob) == 0 && TSLPcopycontrols(to->slpprob, from->slpprob) == 0)
    return 0;
  libraryError(to);
  return -1;
}

}  // namespace

PyObject* problem_copy(PyObject* self, PyObject*) {
  auto* from = reinterpret_cast<problem_s*>(self);
  if (checkProblemIsInitialized(from) != 0) return nullptr;
  Ref copy = Ref::steal(problem_new(&tavlo_problemType, nullptr, nullptr));
  if (!copy) return nullptr;
  auto* to = reinterpret_cast<problem_s*>(copy.get());
  to->outputEnabled = from->outputEnabled;
  if (createSolverProblems(to) != 0 || problem_applyDefaultControls(to) != 0 || copySolverProblems(to, from) != 0)
    return nullptr;
  to->controls = ctrl_base(to);
  to->attributes = attr_base(to);
  if (!to->controls || !to->attributes || copyRegistry(to, from) != 0) return nullptr;
  return copy.release();
}

}  // namespace tavlo
