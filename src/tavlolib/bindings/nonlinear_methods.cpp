// Methods of the problem that each stand for one function of the nonlinear component: variables, formulas, row status.
#include "bindings/methods.h"
#include "problem/problem.h"
#include "pyutil/array.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

problem_s* self_(PyObject* o) { return reinterpret_cast<problem_s*>(o); }

// An argument that may be None or left out: the address of its value, or null.
struct OptionalInt {
  int value = 0;
  const int* given = nullptr;
  bool read(PyObject* o) {
    if (!o || o == Py_None) return true;
    int64_t number = 0;
    if (!isSignedInteger(o, &number) || number < INT32_MIN || number > INT32_MAX) {
      PyErr_Format(PyExc_TypeError, "an integer is required, not %R", o);
      return false;
    }
    value = static_cast<int>(number);
    given = &value;
    return true;
  }
};
struct OptionalDouble {
  double value = 0;
  const double* given = nullptr;
  bool read(PyObject* o) {
    if (!o || o == Py_None) return true;
    value = PyFloat_AsDouble(o);
    given = &value;
    return value != -1.0 || !PyErr_Occurred();
  }
};

PyObject* result(problem_s* p, int code) {
  if (code != 0) return nonlinearFailed(p), nullptr;
  Py_RETURN_NONE;
}

PyObject* problem_chgvar(PyObject* self, PyObject* args, PyObject* kwargs) {
  problem_s* p = self_(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  static constexpr const char* kNames[] = {"col",       "detrow",  "initstepbound", "stepbound", "penalty",
                                           "damp",      "initial", "value",         "tolset",    "history",
                                           "converged", "vartype", nullptr};
  PyObject *col = nullptr, *row = nullptr, *number[6] = {}, *integer[4] = {};
  if (!ko_ParseTupleAndKeywords(args, kwargs, "|OOOOOOOOOOOO", kNames, nullptr, &col, &row, &number[0], &number[1],
                                &number[2], &number[3], &number[4], &number[5], &integer[0], &integer[1], &integer[2],
                                &integer[3]))
    return nullptr;
  if (!col || col == Py_None) return ko_PyErr_MissingArgs("col", nullptr), nullptr;
  OptionalDouble d[6];
  OptionalInt n[4];
  for (int i = 0; i < 6; ++i)
    if (!d[i].read(number[i])) return nullptr;
  for (int i = 0; i < 4; ++i)
    if (!n[i].read(integer[i])) return nullptr;
  int column = 0, detrow = -1;
  const bool determined = row && row != Py_None;
  if (ObjInt2int(col, p, &column, kColumn) != 0 || (determined && ObjInt2int(row, p, &detrow, kRow) != 0))
    return nullptr;
  if (checkProblemIsInitialized(p) != 0) return nullptr;  // the arguments' code may have released it
  return result(p, TSLPchgvar(p->slpprob, column, determined ? &detrow : nullptr, d[0].given, d[1].given, d[2].given,
                              d[3].given, d[4].given, d[5].given, n[0].given, n[1].given, n[2].given, n[3].given));
}

// A new list of n objects made by item(i).
template <class Item>
Ref listOf(int n, Item&& item) {
  Ref list = Ref::steal(PyList_New(n));
  for (int i = 0; list && i < n; ++i) {
    PyObject* o = item(i);
    if (!o) return {};
    PyList_SET_ITEM(list.get(), i, o);
  }
  return list;
}

PyObject* problem_getcoefformula(PyObject* self, PyObject* args, PyObject* kwargs) {
  problem_s* p = self_(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  static constexpr const char* kNames[] = {"row", "col", "parsed", "maxtypes", nullptr};
  static constexpr const char* kFormerNames[] = {"rowindex", "colindex", "parsed", "bufsize", nullptr};
  constexpr char kWrong[] = "Incorrect argument to getcoefformula or excessive buffersize";
  PyObject *row_object = nullptr, *col_object = nullptr;
  int parsed = 0, most = 0, row = 0, column = 0, count = 0;
  double factor = 0;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "OOii", kNames, kFormerNames, &row_object, &col_object, &parsed, &most) ||
      ObjInt2int(row_object, p, &row, kRow) != 0 || ObjInt2int(col_object, p, &column, kColumn) != 0 ||
      checkProblemIsInitialized(p) != 0)
    return nullptr;
  Array<int32_t> type;
  Array<double> value;
  if (most < 0) return interfaceError("%s", kWrong);
  if (!type.resize(static_cast<size_t>(most)) || !value.resize(static_cast<size_t>(most))) return nullptr;
  if (TSLPgetcoefformula(p->slpprob, row, column, &factor, parsed, most, &count, type.data(), value.data()) != 0)
    return count > most ? interfaceError("%s", kWrong) : (nonlinearFailed(p), nullptr);
  const Ref types = listOf(count, [&](int i) { return PyLong_FromLong(type[i]); });
  const Ref values = listOf(types ? count : 0, [&](int i) { return PyFloat_FromDouble(value[i]); });
  return types && values ? Py_BuildValue("(diOO)", factor, count, types.get(), values.get()) : nullptr;
}

PyObject* problem_getrowstatus(PyObject* self, PyObject* args, PyObject* kwargs) {
  problem_s* p = self_(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  static constexpr const char* kNames[] = {"row", nullptr};
  static constexpr const char* kFormerNames[] = {"rowindex", nullptr};
  PyObject* object = nullptr;
  int row = 0, status = 0;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "O", kNames, kFormerNames, &object) ||
      ObjInt2int(object, p, &row, kRow) != 0 || checkProblemIsInitialized(p) != 0)
    return nullptr;
  if (TSLPgetrowstatus(p->slpprob, row, &status) != 0) return nonlinearFailed(p), nullptr;
  return PyLong_FromLong(status);
}

PyDoc_STRVAR(
    kChgvarDoc,
    R"(chgvar($self, /, col, detrow=None, initstepbound=None, stepbound=None, penalty=None, damp=None, initial=None, value=None, tolset=None, history=None, converged=None, vartype=None)
--

Purpose:
  Changes what the nonlinear component knows of a variable, such as the value that a solve starts from.

Synopsis:
  p.chgvar(col, initial=1.5)

Arguments:
  col             The variable, its name or its number.
  detrow          Constraint that determines the variable, or -1 for none.
  initstepbound   Step bound of the first iteration.
  stepbound       Step bound.
  penalty         Penalty of the step bound.
  damp            Damping factor.
  initial         Value that a solve starts from.
  value           Current value.
  tolset          Number of its tolerance set.
  history         History of its convergence.
  converged       Whether it counts as converged.
  vartype         Type bits.

Example:
  for v, start in zip(x, [1, 5, 5, 1]):
      p.chgvar(v, initial=start)

Further information:
  What is None or left out stays as it is.

Related topics:
  problem.solve, problem.nlpoptimize
)");

PyDoc_STRVAR(kGetcoefformulaDoc, R"(getcoefformula($self, /, row, col, parsed, maxtypes)
--

Purpose:
  The nonlinear coefficient of a column in a row: factor * column * formula.

Synopsis:
  factor, tokencount, type, value = p.getcoefformula(row, col, parsed, maxtypes)

Arguments:
  row        The constraint, its name or its number.
  col        The variable, its name or its number; -1 for the coefficient that multiplies no variable.
  parsed     1 for tokens in reverse Polish order, 0 for tokens in the order of writing.
  maxtypes   The most tokens that are wanted, the end token among them.

Related topics:
  problem.addConstraint, problem.getrowstatus
)");

PyDoc_STRVAR(kGetrowstatusDoc, R"(getrowstatus($self, /, row)
--

Purpose:
  Status bits of a row; 2048 marks the transfer row of a nonlinear objective.

Synopsis:
  status = p.getrowstatus(row)

Arguments:
  row   The constraint, its name or its number.

Related topics:
  problem.setObjective
)");

}  // namespace

const PyMethodDef* nonlinearMethods() {
  static const PyMethodDef methods[] = {
      {"chgvar", withKeywords(problem_chgvar), METH_VARARGS | METH_KEYWORDS, kChgvarDoc},
      {"getcoefformula", withKeywords(problem_getcoefformula), METH_VARARGS | METH_KEYWORDS, kGetcoefformulaDoc},
      {"getrowstatus", withKeywords(problem_getrowstatus), METH_VARARGS | METH_KEYWORDS, kGetrowstatusDoc},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}

}  // namespace tavlo
