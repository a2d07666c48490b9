// Classification of operands: what every operation of the modelling layer looks at first. Fast for the exact types.
// Internal to model/.
#pragma once

#include "model/objects.h"
#include "pyutil/ref.h"

namespace tavlo {

inline constexpr int kArray = 6;  // beyond ExprType: a NumPy array or another sequence

struct Operand {
  PyObject* o = nullptr;  // borrowed
  int kind = kInvalid;    // ExprType or kArray
  double value = 0;       // of a constant

  var_s* var() const { return reinterpret_cast<var_s*>(o); }
  linterm_s* linterm() const { return reinterpret_cast<linterm_s*>(o); }
  quadterm_s* quadterm() const { return reinterpret_cast<quadterm_s*>(o); }
  expression_s* expression() const { return reinterpret_cast<expression_s*>(o); }
  bool isModelling() const { return kind >= kVar && kind <= kNonlinear; }
  bool isLinear() const { return kind == kVar || kind == kLinterm; }
  // The variable and coefficient of a var or linterm.
  var_s* linearVar() const { return kind == kVar ? var() : linterm()->var; }
  double linearCoef() const { return kind == kVar ? 1.0 : linterm()->coef; }
};

bool classifyOther(PyObject* o, Operand* out);
bool notInitialized();  // false, with ModelError

// Fills *out. An object of no class is kInvalid without an exception; false, with an exception, for a modelling object
// whose constructor never ran and for an int beyond the doubles.
inline bool classify(PyObject* o, Operand* out) {
  out->o = o;
  PyTypeObject* type = Py_TYPE(o);
  if (type == &tavlo_varType) {
    out->kind = kVar;
    return varIndex(out->var()) != 0 || notInitialized();
  }
  if (type == &tavlo_lintermType) {
    out->kind = kLinterm;
    return out->linterm()->var || notInitialized();
  }
  if (type == &PyFloat_Type) {
    out->kind = kConstant;
    out->value = PyFloat_AS_DOUBLE(o);
    return true;
  }
  if (type == &tavlo_expressionType) {
    out->kind = kExpression;
    return true;
  }
  return classifyOther(o, out);
}

inline bool sameVariable(const var_s* a, const var_s* b) { return varIndex(a) == varIndex(b); }
inline bool isConstantExpression(const Operand& a) {
  return a.kind == kExpression && !a.expression()->linear && !a.expression()->quadratic;
}
// A number or a constant expression, and its value.
inline bool constantValue(const Operand& a, double* value) {
  if (a.kind == kConstant) {
    *value = a.value;
    return true;
  }
  if (!isConstantExpression(a)) return false;
  *value = a.expression()->constant;
  return true;
}

PyObject* invalidInOperation(PyObject* o);  // null, with ModelError "Invalid object in operation: <...>"

}  // namespace tavlo
