// Module functions that make nonlinear nodes: the elementary functions, max, min and user.
#include "elementary/functions.h"

#include "model/nonlinear.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

double fold(int32_t code, double v) {
  switch (code) {
#define ELEMENTARY_FUNCTION(name, Node, ...) \
  case kNode##Node:                          \
    return elementary::name(v);
#include "elementary/functions.def"
    default:
      return v;
  }
}

// A copy of the array with the function applied to each element. Integers become doubles, which can hold the results.
PyObject* vector_compose_op(PyObject* module, PyObject* array, PyCFunction function) {
  if (!PyArray_CheckExact(array)) return modelError("Cannot iterate on sequence of arguments");
  const Nested nested;
  if (nested.tooDeep()) return nullptr;
  auto* in = reinterpret_cast<PyArrayObject*>(array);
  const bool whole = PyArray_ISINTEGER(in) || PyArray_ISBOOL(in);
  Ref copy = Ref::steal(whole ? PyArray_CastToType(in, PyArray_DescrFromType(NPY_DOUBLE), PyArray_ISFORTRAN(in))
                              : PyArray_NewCopy(in, NPY_KEEPORDER));
  Ref each = Ref::steal(copy ? PyArray_IterNew(copy.get()) : nullptr);
  if (!each) return PyErr_Occurred() ? nullptr : modelError("Cannot iterate on sequence of arguments");
  auto* out = reinterpret_cast<PyArrayObject*>(copy.get());
  auto* it = reinterpret_cast<PyArrayIterObject*>(each.get());
  while (PyArray_ITER_NOTDONE(it)) {
    char* at = static_cast<char*>(PyArray_ITER_DATA(it));
    Ref element = Ref::steal(PyArray_GETITEM(out, at));
    Ref value = Ref::steal(element ? function(module, element.get()) : nullptr);
    if (!value || PyArray_SETITEM(out, at, value.get()) != 0)
      return PyErr_Occurred() ? nullptr : modelError("Cannot iterate on sequence of arguments");
    PyArray_ITER_NEXT(it);
  }
  return copy.release();
}

// ---- max and min ----
// The pending exception becomes the cause of a ModelError; memory errors stay what they are.
PyObject* wrongArgument(const char* name) {
  if (PyErr_ExceptionMatches(PyExc_MemoryError)) return nullptr;
  PyObject *type, *cause, *trace;
  PyErr_Fetch(&type, &cause, &trace);
  PyErr_NormalizeException(&type, &cause, &trace);
  Ref owned_type = Ref::steal(type), owned_trace = Ref::steal(trace), owned_cause = Ref::steal(cause);
  modelError("Incorrect argument for tavlo.%s function", name);
  PyErr_Fetch(&type, &cause, &trace);
  PyErr_NormalizeException(&type, &cause, &trace);
  if (owned_cause && cause) PyException_SetCause(cause, owned_cause.release());
  PyErr_Restore(type, cause, trace);
  return nullptr;
}

// What the elements of an array are as a list, or the only element.
Ref unpackArray(PyArrayObject* array) {
  if (PyArray_NDIM(array) > 64)
    modelError("Array has far too many dimensions to be used in a nonlinear expression");
  else if (PyArray_SIZE(array) == 1)
    return Ref::steal(PyArray_GETITEM(array, static_cast<char*>(PyArray_DATA(array))));
  else if (PyArray_NDIM(array) != 1)
    modelError("Only a 1-dimensional array can be used in a nonlinear expression");
  else
    return Ref::steal(PyArray_ToList(array));
  return {};
}

// The operand list that a single argument stands for, or the one operand.
Ref unpack(PyObject* argument) {
  Ref operands;
  if (PyArray_Check(argument))
    operands = unpackArray(reinterpret_cast<PyArrayObject*>(argument));
  else if (PyList_Check(argument) || PyTuple_Check(argument) || !isArrayLike(argument))
    operands = Ref::borrow(argument);
  else
    operands = Ref::steal(PySequence_List(argument));
  if (!operands) return {};
  if (PyList_Check(operands.get()) || PyTuple_Check(operands.get())) {
    if (PySequence_Fast_GET_SIZE(operands.get()) != 1) return operands;
    operands = Ref::borrow(PySequence_Fast_GET_ITEM(operands.get(), 0));
  }
  if (getExprTypeQuiet(operands.get()) >= 0) return operands;
  modelError("Incorrect argument for expression");
  return {};
}

PyObject* extremum(int32_t code, const char* name, PyObject* args) {
  Ref operands = PyTuple_GET_SIZE(args) == 1 ? unpack(PyTuple_GET_ITEM(args, 0)) : Ref::borrow(args);
  if (!operands) return wrongArgument(name);
  const bool several = PyList_Check(operands.get()) || PyTuple_Check(operands.get());
  if (!several) return operands.release();
  if (PySequence_Fast_GET_SIZE(operands.get()) == 0)
    return modelError("The function tavlo.%s must have at least one argument", name);
  return nonlin_instantiate_nary(code, operands.get());
}

}  // namespace

template <int32_t code>
PyObject* tavlomod_function(PyObject* module, PyObject* arg) {
  if (PyArray_Check(arg)) return vector_compose_op(module, arg, tavlomod_function<code>);
  Operand a;
  if (!classify(arg, &a)) return nullptr;
  if (a.kind == kConstant) return PyFloat_FromDouble(fold(code, a.value));
  return nonlin_instantiate_unary(code, arg);
}
#define ELEMENTARY_FUNCTION(name, Node, ...) template PyObject* tavlomod_function<kNode##Node>(PyObject*, PyObject*);
#include "elementary/functions.def"

PyObject* tavlomod_max(PyObject*, PyObject* args) { return extremum(kNodeMax, "max", args); }
PyObject* tavlomod_min(PyObject*, PyObject* args) { return extremum(kNodeMin, "min", args); }

PyObject* tavlomod_user(PyObject*, PyObject* args, PyObject* kwargs) {
  static char derivatives_name[] = "derivatives";
  static char* names[] = {derivatives_name, nullptr};
  int derivatives = 0;
  Ref none = Ref::steal(PyTuple_New(0));
  if (!none || !PyArg_ParseTupleAndKeywords(none.get(), kwargs, "|$p:user", names, &derivatives)) return nullptr;
  if (PyTuple_GET_SIZE(args) == 0) return modelError("Insufficient number of arguments declared for operator");
  return nonlin_instantiate_nary(derivatives ? kNodeUserDerivatives : kNodeUser, args);
}

}  // namespace tavlo
