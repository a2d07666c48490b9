// The module function evaluate: values of objects at a dictionary, at a list of values by column, or at a problem's
// solution.
#include <climits>

#include "problem/entities/convert.h"
#include "problem/solving/solution.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

int columnCount(problem_s* p, int* n) {
  if (p->registry().isNonlinear() && nlState() != 0)
    return TSLPgetintattrib(p->slpprob, TSLP_ATTRIBUTE_nlcols, n) == 0 ? 0 : nonlinearFailed(p);
  return TVLOgetintattrib(p->prob, TVLO_ATTRIBUTE_originalcols, n) == 0 ? 0 : solverFailed(p);
}

bool valueInDictionary(void* context, var_s* v, double* out) {
  auto* dict = static_cast<PyObject*>(context);
  Ref value;
  if (PyObject* found = PyDict_GetItemWithError(dict, reinterpret_cast<PyObject*>(v))) value = Ref::borrow(found);
  if (!value) return !PyErr_Occurred() && modelError("Variable has no value");
  *out = PyFloat_AsDouble(value.get());
  return *out != -1.0 || !PyErr_Occurred();
}

int takeValues(problem_s* p, PyObject* values, Values* out) {
  bool present = false;
  out->epoch = p->registry().vars.epoch();
  if (columnCount(p, &out->n) != 0) return -1;
  int64_t length = out->n;
  return conv_obj2arr(p, &length, values, &out->at, &present);
}

bool isValueList(PyObject* o) {
  return PyList_Check(o) || (PyArray_Check(o) && PyArray_NDIM(reinterpret_cast<PyArrayObject*>(o)) == 1);
}

PyObject* evaluateAtColumns(PyObject* args, problem_s* p, PyObject* values) {
  Solution at{p, {}};
  if (checkProblemIsInitialized(p) != 0 || (values ? takeValues(p, values, &at.values) : fetchSolution(p, &at.values)))
    return nullptr;
  return evaluateArguments(args, {valueOfVariable, &at});
}

PyObject* evaluateWith(PyObject* args, PyObject* problem, PyObject* solution) {
  if (!problem && !solution)
    return interfaceError(
        "tavlo.evaluate() requires at least one of the two arguments \"solution\" and \"problem\".\nSee the "
        "documentation of tavlo.evaluate for details.");
  if (PyTuple_GET_SIZE(args) == 0) return interfaceError("tavlo.evaluate() requires one or more objects to evaluate");
  if (problem && !PyObject_TypeCheck(problem, &tavlo_problemType))
    return interfaceError("Argument \"problem\" must be an tavlo.problem object");
  if (solution && PyDict_Check(solution)) return evaluateArguments(args, {valueInDictionary, solution});
  if (solution && !isValueList(solution))
    return interfaceError(
        "Argument \"solution\" must be a dictionary, a list, or a one-dimensional NumPy array.\nSee the "
        "documentation for tavlo.evaluate");
  if (!problem)
    return interfaceError("Argument \"problem\" is necessary when passing a list or NumPy array of variable values");
  return evaluateAtColumns(args, reinterpret_cast<problem_s*>(problem), solution);
}

PyObject* unlessNone(PyObject* o) { return o == Py_None ? nullptr : o; }

}  // namespace

PyObject* tavlomod_evaluate(PyObject*, PyObject* args, PyObject* kwargs) {
  static constexpr const char* kNames[] = {"expressions", "problem", "solution", nullptr};
  PyObject *expressions = nullptr, *problem = Py_None, *solution = Py_None;
  Ref placeholder = Ref::steal(Py_BuildValue("(O)", Py_None));
  if (!placeholder ||
      !ko_ParseTupleAndKeywords(placeholder.get(), kwargs, "O|OO", kNames, nullptr, &expressions, &problem, &solution))
    return nullptr;
  Ref kept_problem = Ref::borrow(unlessNone(problem)), kept_solution = Ref::borrow(unlessNone(solution));
  PyObject* result = evaluateWith(args, kept_problem.get(), kept_solution.get());
  setTvloErrIfNull(
      kept_problem && PyObject_TypeCheck(kept_problem.get(), &tavlo_problemType) ? kept_problem.get() : nullptr,
      result);
  return result;
}

}  // namespace tavlo
