#include "model/operand.h"

#include <cmath>

#include "model/text.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

enum class Number { no, yes, overflow };

Number readInt(PyObject* obj, double* value) {
  const double v = PyLong_AsDouble(obj);
  if (v == -1.0 && PyErr_Occurred()) return Number::overflow;
  *value = v;
  return Number::yes;
}

bool readNumpyInteger(PyObject* obj, int64_t* value) {
  if (PyArray_IsScalar(obj, Long))
    *value = PyArrayScalar_VAL(obj, Long);
  else if (PyArray_IsScalar(obj, LongLong))
    *value = PyArrayScalar_VAL(obj, LongLong);
  else if (PyArray_IsScalar(obj, Int))
    *value = PyArrayScalar_VAL(obj, Int);
  else if (PyArray_IsScalar(obj, Short))
    *value = PyArrayScalar_VAL(obj, Short);
  else if (PyArray_IsScalar(obj, Byte))
    *value = PyArrayScalar_VAL(obj, Byte);
  else
    return false;
  return true;
}

// By NumPy's own conversion: a subclass may have another.
Number readHalf(PyObject* obj, double* value) {
  Ref number = Ref::steal(PyHalfArrType_Type.tp_as_number->nb_float(obj));
  if (!number) return Number::overflow;
  *value = PyFloat_AS_DOUBLE(number.get());
  return Number::yes;
}

// The value of a number; on overflow the interpreter's exception is pending.
Number readNumber(PyObject* obj, double* value) {
  if (PyFloat_Check(obj)) {
    *value = PyFloat_AS_DOUBLE(obj);
    return Number::yes;
  }
  if (PyLong_Check(obj)) return readInt(obj, value);
  int64_t integer;
  if (!PyArray_IsScalar(obj, Generic) || PyArray_IsScalar(obj, LongLong)) return Number::no;
  if (readNumpyInteger(obj, &integer))
    *value = static_cast<double>(integer);
  else if (PyArray_IsScalar(obj, Float))
    *value = PyArrayScalar_VAL(obj, Float);
  else if (PyArray_IsScalar(obj, Half))
    return readHalf(obj, value);
  else
    return Number::no;
  return Number::yes;
}

// The kind of a modelling object, or kInvalid.
int modellingKind(PyObject* obj) {
  const PyTypeObject* type = Py_TYPE(obj);
  if (type == &tavlo_varType) return kVar;
  if (type == &tavlo_lintermType) return kLinterm;
  if (type == &tavlo_expressionType) return kExpression;
  if (type == &PyFloat_Type || type == &PyLong_Type) return kInvalid;
  if (expression_Check(obj)) return kExpression;
  if (linterm_Check(obj)) return kLinterm;
  if (var_Check(obj)) return kVar;
  if (nonlinear_Check(obj)) return kNonlinear;
  if (quadterm_Check(obj)) return kQuadterm;
  return kInvalid;
}

bool isInitialized(PyObject* obj, int kind) {
  switch (kind) {
    case kVar:
      return varIndex(reinterpret_cast<var_s*>(obj)) != 0;
    case kLinterm:
      return reinterpret_cast<linterm_s*>(obj)->var != nullptr;
    case kQuadterm:
      return reinterpret_cast<quadterm_s*>(obj)->var1 && reinterpret_cast<quadterm_s*>(obj)->var2;
    case kNonlinear:
      return reinterpret_cast<nonlinear_s*>(obj)->args != nullptr;
    default:
      return true;
  }
}

bool isSequence(PyObject* obj) { return PyArray_Check(obj) || PySequence_Check(obj); }

}  // namespace

bool notInitialized() {
  modelError("Variable is not initialized");
  return false;
}

// Modelling objects and numbers come before the sequence test, so that a subclass of either with __getitem__ is not
// handed to itself forever.
bool classifyOther(PyObject* o, Operand* out) {
  out->o = o;
  out->kind = modellingKind(o);
  if (out->kind != kInvalid) return isInitialized(o, out->kind) || notInitialized();
  switch (readNumber(o, &out->value)) {
    case Number::yes:
      out->kind = kConstant;
      return true;
    case Number::overflow:
      return false;
    case Number::no:
      break;
  }
  if (isSequence(o)) out->kind = kArray;
  return true;
}

PyObject* invalidInOperation(PyObject* o) {
  return o ? modelError("Invalid object in operation: <%S>", o)
           : modelError("Invalid object in operation: <%s>", "NULL");
}

int checkVarIsInitialized(PyObject* x) {
  return varIndex(reinterpret_cast<var_s*>(x)) != 0 || notInitialized() ? 0 : -1;
}

int getExprType(PyObject* obj) {
  Operand a;
  if (!obj) return invalidInOperation(nullptr), -1;
  if (!classify(obj, &a)) return -1;
  if (a.kind == kInvalid || a.kind == kArray) return invalidInOperation(obj), -1;
  return a.kind;
}

int getExprTypeQuiet(PyObject* obj) {
  if (!obj) return kInvalid;
  const int kind = modellingKind(obj);
  if (kind != kInvalid) return isInitialized(obj, kind) ? kind : kInvalid;
  double value;
  return readConstant(obj, &value) ? kConstant : kInvalid;
}

bool readConstant(PyObject* obj, double* value) {
  const Number n = readNumber(obj, value);
  if (n == Number::overflow) PyErr_Clear();
  return n == Number::yes;
}

bool holdsObjects(PyArrayObject* array) {
  const PyTypeObject* const type = PyArray_DESCR(array)->typeobj;
  return PyArray_ISOBJECT(array) || type == &tavlo_varType || type == &tavlo_expressionType;
}

bool isArrayLike(PyObject* obj) { return modellingKind(obj) == kInvalid && isSequence(obj); }

bool isSignedInteger(PyObject* obj, int64_t* value) {
  if (PyLong_Check(obj)) {
    int overflow = 0;
    const long long v = PyLong_AsLongLongAndOverflow(obj, &overflow);
    *value = overflow > 0 ? INT64_MAX : overflow < 0 ? INT64_MIN : v;
    return overflow == 0;
  }
  return readNumpyInteger(obj, value);
}

bool isObjectConst(PyObject* obj, int* kind, double* value) {
  double v;
  int k = kConstant;
  if (expression_Check(obj)) {
    const auto* e = reinterpret_cast<expression_s*>(obj);
    if (e->linear || e->quadratic) return false;
    k = kExpression;
    v = e->constant;
  } else if (!readConstant(obj, &v)) {
    return false;
  }
  if (kind) *kind = k;
  if (value) *value = v;
  return true;
}

}  // namespace tavlo
