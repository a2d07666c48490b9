// Where modelling objects meet NumPy arrays and other sequences: the object is wrapped in an array of one element of
// our types for NumPy to broadcast, and NumPy then runs the loops that are registered for those types.
#include "model/arithmetic.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

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

// The interpreter's answer with the operands exchanged: sequences that are no arrays have none for most operations.
PyObject* exchanged(Op op, PyObject* a, PyObject* b) {
  if (op == Op::sub) {
    Ref negative = Ref::steal(PyNumber_Negative(b));
    return negative ? PyNumber_Add(negative.get(), a) : nullptr;
  }
  if (op == Op::div) {
    Ref one = Ref::steal(PyFloat_FromDouble(1.0)),
        inverse = Ref::steal(one ? PyNumber_TrueDivide(one.get(), b) : nullptr);
    return inverse ? PyNumber_Multiply(inverse.get(), a) : nullptr;
  }
  return interpret(op, b, a);
}

}  // namespace

thread_local int Nested::depth_ = 0;

bool Nested::tooDeep() const {
  constexpr int kLimit = 100;
  if (depth_ <= kLimit) return false;
  PyErr_SetString(PyExc_RecursionError, "Arrays are nested too deeply");
  return true;
}

Ref wrapInArray(PyObject* o) {
  PyArray_Descr* d = var_Check(o) ? tvl_py_env.npvar_descr : tvl_py_env.npexpr_descr;
  Py_INCREF(d);  // PyArray_Zeros takes it
  Ref array = Ref::steal(PyArray_Zeros(0, nullptr, d, 0));
  if (!array) return array;
  auto* a = reinterpret_cast<PyArrayObject*>(array.get());
  return PyArray_SETITEM(a, static_cast<char*>(PyArray_DATA(a)), o) == 0 ? std::move(array) : Ref();
}

PyObject* arrayOperation(Op op, PyObject* array, PyObject* b) {
  if (isTime(array)) return invalidInOperation(array);
  Ref operand = wrapInArray(b);
  return operand ? interpret(op, array, operand.get()) : nullptr;
}

PyObject* handBack(Op op, PyObject* a, PyObject* b) {
  if (op == Op::pow) return modelError("Cannot obtain a power with a vector as an exponent");
  if (!PyArray_Check(b)) return exchanged(op, a, b);
  if (isTime(b)) return invalidInOperation(b);
  Ref operand = wrapInArray(a);
  if (!operand) return nullptr;
  const bool commutes = op != Op::sub && op != Op::div;
  return commutes ? interpret(op, b, operand.get()) : interpret(op, operand.get(), b);
}

PyObject* compareArray(PyObject* array, PyObject* b, int op) {
  if (isTime(array)) return invalidInOperation(array);
  Ref operand = wrapInArray(b);
  const char* name = op == Py_LE ? "less_equal" : op == Py_GE ? "greater_equal" : "equal";
  Ref numpy = Ref::steal(PyImport_ImportModule("numpy"));
  Ref ufunc = Ref::steal(numpy ? PyObject_GetAttrString(numpy.get(), name) : nullptr);
  // Not by the comparison operator: NumPy before 1.25 would swallow the exceptions of ==.
  return operand && ufunc ? PyObject_CallFunctionObjArgs(ufunc.get(), array, operand.get(), nullptr) : nullptr;
}

}  // namespace tavlo
