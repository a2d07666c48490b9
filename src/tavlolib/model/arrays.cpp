// Where modelling objects meet NumPy arrays and other sequences.
//
// The types carry `__array_ufunc__ = None`: NumPy's scalars and arrays then leave an operator with a bare modelling
// object to the object's own slot at once. So np.float64(2) * x costs little more than 2.0 * x, a comparison with a
// NumPy scalar is a constraint and no truth value, and an array on either side comes here, where the object is wrapped
// in an array of one element for NumPy to broadcast. A ufunc called by name, or in place, on a bare object is a
// TypeError.
#include "model/arithmetic.h"
#include "module/errors.h"

namespace tavlo {

namespace {

Ref wrapped(PyObject* o) {
  npy_intp none = 0;
  Ref array = Ref::steal(PyArray_SimpleNew(0, &none, NPY_OBJECT));
  if (!array) return array;
  auto* a = reinterpret_cast<PyArrayObject*>(array.get());
  return PyArray_SETITEM(a, static_cast<char*>(PyArray_DATA(a)), o) == 0 ? std::move(array) : Ref();
}

// As objects, times would be plain integers.
bool isTime(PyObject* array) {
  const int type = PyArray_TYPE(reinterpret_cast<PyArrayObject*>(array));
  return type == NPY_DATETIME || type == NPY_TIMEDELTA;
}

PyObject* interpret(Op op, PyObject* a, PyObject* b) {
  switch (op) {
    case Op::add:
      return PyNumber_Add(a, b);
    case Op::sub:
      return PyNumber_Subtract(a, b);
    case Op::mul:
      return PyNumber_Multiply(a, b);
    case Op::div:
      return PyNumber_TrueDivide(a, b);
    case Op::pow:
      return PyNumber_Power(a, b, Py_None);
    case Op::land:
      return PyNumber_And(a, b);
    default:
      return PyNumber_Or(a, b);
  }
}

// An array of real numbers as doubles, anything else as it is: integers would wrap around when negated, and short
// floats lose digits when inverted.
Ref asDoubles(PyObject* b) {
  auto* array = reinterpret_cast<PyArrayObject*>(b);
  const bool real = PyArray_Check(b) && (PyArray_ISINTEGER(array) || PyArray_ISBOOL(array) || PyArray_ISFLOAT(array));
  if (!real || PyArray_TYPE(array) == NPY_LONGDOUBLE) return Ref::borrow(b);
  return Ref::steal(PyArray_CastToType(array, PyArray_DescrFromType(NPY_DOUBLE), 0));
}

Ref negated(PyObject* b) {
  Ref values = asDoubles(b);
  return Ref::steal(values ? PyNumber_Negative(values.get()) : nullptr);
}

Ref inverse(PyObject* b) {
  Ref values = asDoubles(b), one = Ref::steal(PyFloat_FromDouble(1.0));
  return Ref::steal(values && one ? PyNumber_TrueDivide(one.get(), values.get()) : nullptr);
}

}  // namespace

PyObject* arrayOperation(Op op, PyObject* array, PyObject* b) {
  if (isTime(array)) return invalidInOperation(array);
  Ref operand = wrapped(b);
  return operand ? interpret(op, array, operand.get()) : nullptr;
}

PyObject* handBack(Op op, PyObject* a, PyObject* b) {
  if (op == Op::pow) return modelError("Cannot obtain a power with a vector as an exponent");
  const bool array = PyArray_Check(b);
  if (array && isTime(b)) return invalidInOperation(b);
  Ref first = op == Op::sub ? negated(b) : op == Op::div ? inverse(b) : Ref::borrow(b);
  Ref second = array ? wrapped(a) : Ref::borrow(a);
  if (!first || !second) return nullptr;
  return interpret(op == Op::sub ? Op::add : op == Op::div ? Op::mul : op, first.get(), second.get());
}

PyObject* compareArray(PyObject* array, PyObject* b, int op) {
  if (isTime(array)) return invalidInOperation(array);
  const char* name = op == Py_LE ? "less_equal" : op == Py_GE ? "greater_equal" : "equal";
  Ref numpy = Ref::steal(PyImport_ImportModule("numpy")), operand = wrapped(b);
  Ref ufunc = Ref::steal(numpy ? PyObject_GetAttrString(numpy.get(), name) : nullptr);
  if (!ufunc || !operand) return nullptr;
  // As objects: by default a comparison would ask each constraint for its truth value.
  Ref args = Ref::steal(PyTuple_Pack(2, array, operand.get()));
  Ref keywords = Ref::steal(Py_BuildValue("{sO}", "dtype", &PyBaseObject_Type));
  return args && keywords ? PyObject_Call(ufunc.get(), args.get(), keywords.get()) : nullptr;
}

int leaveArraysToSlots() {
  for (PyTypeObject* type :
       {&tavlo_varType, &tavlo_lintermType, &tavlo_quadtermType, &tavlo_expressionType, &tavlo_nonlinearType}) {
    if (PyDict_SetItemString(type->tp_dict, "__array_ufunc__", Py_None) != 0) return -1;
    PyType_Modified(type);
  }
  return 0;
}

}  // namespace tavlo
