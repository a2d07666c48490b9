// addVariable and addConstraint.
#include "problem/entities/batch.h"

namespace tavlo {
namespace {

template <class Collector>
PyObject* collectLeaf(problem_s*, PyObject* leaf, void* data) {
  return static_cast<Collector*>(data)->add(leaf) == 0 ? Py_None : nullptr;
}

template <class Collector>
PyObject* addAll(PyObject* self, PyObject* args) {
  auto* p = reinterpret_cast<problem_s*>(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  Collector collector(p);
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(args); ++i)
    if (!forEachLeaf(p, PyTuple_GET_ITEM(args, i), collectLeaf<Collector>, &collector, kWalkDepth)) return nullptr;
  if (collector.commit() != 0) return nullptr;
  Py_RETURN_NONE;
}

PyObject* problem_addVariable(PyObject* self, PyObject* args) { return addAll<ColumnCollector>(self, args); }
PyObject* problem_addConstraint(PyObject* self, PyObject* args) { return addAll<RowCollector>(self, args); }

PyDoc_STRVAR(kAddVariableDoc, R"(addVariable($self, /, *args)
--

Purpose:
  Adds variables to the problem, as columns after those that it has, in the order given.

Synopsis:
  p.addVariable(x, y, ...)

Arguments:
  args   Variables, and lists, tuples, dictionaries (their values are meant), iterators, generators, NumPy arrays and
         other iterables of them, nested at will.

Example:
  x = [tavlo.var(ub=10) for _ in range(20)]
  y = {key: tavlo.var(vartype=tavlo.binary) for key in "abc"}
  p.addVariable(x, y)

Further information:
  Type, bounds, threshold and name are those at the time of the call; a name is cut to 150 bytes. A variable can
  belong to several problems, and to each once. A call that fails adds none of its variables. Code that runs while an
  argument is walked may itself add variables: these come first.

Related topics:
  problem.delVariable, problem.getVariable, var
)");

PyDoc_STRVAR(kAddConstraintDoc, R"(addConstraint($self, /, *args)
--

Purpose:
  Adds constraints to the problem, as rows after those that it has, in the order given.

Synopsis:
  p.addConstraint(c1, c2, ...)

Arguments:
  args   Constraints, and lists, tuples, dictionaries (their values are meant), iterators, generators, NumPy arrays
         and other iterables of them, nested at will.

Example:
  p.addConstraint(x + 2*y <= 10)
  p.addConstraint(tavlo.Sum(x[i]) == 1 for i in range(20))

Further information:
  A constraint is translated when it is reached, and its variables must belong to the problem by then. Many constraints
  in one call are added faster than each in a call of its own. A call that fails adds none of its constraints. Code
  that runs while an argument is walked may add variables and constraints, but not delete variables.

Related topics:
  problem.delConstraint, problem.getConstraint, constraint
)");

}  // namespace

const PyMethodDef* addMethods() {
  static const PyMethodDef methods[] = {
      {"addVariable", problem_addVariable, METH_VARARGS, kAddVariableDoc},
      {"addConstraint", problem_addConstraint, METH_VARARGS, kAddConstraintDoc},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}

}  // namespace tavlo
