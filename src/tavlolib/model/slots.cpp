// The number slots of the modelling types: array rule, in-place shortcuts, and the way to the rules.
#include "model/arithmetic.h"
#include "module/errors.h"

namespace tavlo {

namespace {

// The text for an operand of no class, by operation and by the class of the other operand; null: the general one.
const char* invalidText(Op op, int kind) {
  static constexpr const char* kTexts[][4] = {
      // var, linterm, quadterm, expression
      {"Invalid operands in addition", "Invalid operands in sum", "Invalid operands in sum with quadratic term",
       "Invalid object in operation"},
      {"Invalid object in subtraction", "Invalid operands in sum", "Invalid operands in sum with quadratic term",
       "Invalid object in operation"},
      {"Invalid operands in multiplication", "Invalid operands in product of linear terms", nullptr,
       "Invalid object in operation"},
      {"Invalid operands in division", "Invalid operands in product of linear terms", nullptr, nullptr},
  };
  return op <= Op::div && kind >= kVar && kind <= kExpression ? kTexts[static_cast<int>(op)][kind - kVar] : nullptr;
}

bool valid(const Operand& a) { return a.kind >= kConstant && a.kind <= kNonlinear; }

PyObject* arrayExponent() { return modelError("Cannot obtain a power with a vector as an exponent"); }

PyObject* binary(Op op, int slot, PyObject* a, PyObject* b) {
  Operand x, y;
  if (!classify(b, &y)) return nullptr;
  if (y.kind == kArray) return handBack(op, a, b);
  return classify(a, &x) ? apply(op, slot, x, y) : nullptr;
}

PyObject* inPlace(Op op, int slot, PyObject* a, PyObject* b) {
  Operand x, y;
  if (!classify(b, &y)) return nullptr;
  if (y.kind == kArray) return handBack(op, a, b);
  return classify(a, &x) ? applyInPlace(op, slot, x, y) : nullptr;
}

PyObject* power(int slot, PyObject* a, PyObject* b, PyObject* modulus, bool in_place) {
  if (modulus != Py_None) return modelError("A power of an expression cannot have a modulus");
  return in_place ? inPlace(Op::pow, slot, a, b) : binary(Op::pow, slot, a, b);
}

PyObject* expressionInPlace(Op op, const Operand& a, const Operand& b) {
  switch (op) {
    case Op::add:
      return addInPlace(1, a, b);
    case Op::sub:
      return addInPlace(-1, a, b);
    case Op::mul:
      return multiplyInPlace(a, b);
    case Op::div:
      return divideInPlace(a, b);
    default:
      return apply(op, kExpression, a, b);
  }
}

template <Op op, int K>
PyObject* binarySlot(PyObject* a, PyObject* b) {
  return binary(op, K, a, b);
}
template <Op op, int K>
PyObject* inPlaceSlot(PyObject* a, PyObject* b) {
  return inPlace(op, K, a, b);
}
template <int K, bool in_place>
PyObject* powerSlot(PyObject* a, PyObject* b, PyObject* modulus) {
  return power(K, a, b, modulus, in_place);
}
PyObject* negativeSlot(PyObject* a) {
  Operand x;
  return classify(a, &x) ? negate(x) : nullptr;
}
PyObject* absoluteSlot(PyObject* a) {
  Operand x;
  return classify(a, &x) ? nonlinearUnsupported() : nullptr;
}

template <int K>
constexpr PyNumberMethods numbers() {
  PyNumberMethods n{};
  n.nb_add = binarySlot<Op::add, K>;
  n.nb_subtract = binarySlot<Op::sub, K>;
  n.nb_multiply = binarySlot<Op::mul, K>;
  n.nb_true_divide = binarySlot<Op::div, K>;
  n.nb_power = powerSlot<K, false>;
  n.nb_negative = negativeSlot;
  n.nb_absolute = absoluteSlot;
  n.nb_and = binarySlot<Op::land, K>;
  n.nb_or = binarySlot<Op::lor, K>;
  n.nb_inplace_add = inPlaceSlot<Op::add, K>;
  n.nb_inplace_subtract = inPlaceSlot<Op::sub, K>;
  n.nb_inplace_multiply = inPlaceSlot<Op::mul, K>;
  n.nb_inplace_true_divide = inPlaceSlot<Op::div, K>;
  n.nb_inplace_power = powerSlot<K, true>;
  n.nb_inplace_and = inPlaceSlot<Op::land, K>;
  n.nb_inplace_or = inPlaceSlot<Op::lor, K>;
  return n;
}

}  // namespace

PyNumberMethods varNumbers = numbers<kVar>(), lintermNumbers = numbers<kLinterm>(),
                quadtermNumbers = numbers<kQuadterm>(), expressionNumbers = numbers<kExpression>(),
                nonlinearNumbers = numbers<kNonlinear>();

bool refused(Op op, const Operand& a, const Operand& b) {
  if (valid(a) && valid(b)) return false;
  const Operand& culprit = valid(a) ? b : a;
  const char* text = invalidText(op, valid(a) ? a.kind : b.kind);
  if (text)
    modelError("%s", text);
  else
    invalidInOperation(culprit.o);
  return true;
}

PyObject* apply(Op op, int slot, const Operand& a, const Operand& b) {
  switch (op) {
    case Op::add:
      return addScaled(1, a, b);
    case Op::sub:
      return addScaled(-1, a, b);
    case Op::mul:
      return multiply(a, b);
    case Op::div:
      return divide(slot, a, b);
    case Op::pow:
      return raise(a, b);
    default:
      return refused(op, a, b) ? nullptr : nonlinearUnsupported();
  }
}

PyObject* applyInPlace(Op op, int slot, const Operand& a, const Operand& b) {
  double c;
  const bool number = b.kind == kConstant;
  if (op == Op::pow && number && (b.value == 0 || b.value == 1))
    return b.value == 1 ? newRef(a.o) : PyFloat_FromDouble(1.0);
  if (slot == kExpression) return expressionInPlace(op, a, b);
  if (slot == kNonlinear) return apply(op, slot, a, b);
  switch (op) {
    case Op::add:
    case Op::sub:
      if (number && b.value == 0) return newRef(a.o);
      break;
    case Op::mul:
      if (number && b.value == 1) return newRef(a.o);
      break;
    case Op::div:
      if (number ? (c = b.value, true) : slot != kVar && constantValue(b, &c)) {
        if (c == 1) return newRef(a.o);
        if (c == 0) return modelError("Division by zero");
      }
      break;
    default:
      break;
  }
  return apply(op, slot, a, b);
}

PyObject* handBack(Op op, PyObject* a, PyObject* b) {
  switch (op) {
    case Op::add:
      return PyNumber_Add(b, a);
    case Op::sub: {
      Ref array = Ref::borrow(b);
      // Negating an array of integers would wrap around, and of booleans fail.
      if (PyArray_Check(b) && (PyArray_ISINTEGER(reinterpret_cast<PyArrayObject*>(b)) ||
                               PyArray_ISBOOL(reinterpret_cast<PyArrayObject*>(b))))
        array =
            Ref::steal(PyArray_CastToType(reinterpret_cast<PyArrayObject*>(b), PyArray_DescrFromType(NPY_DOUBLE), 0));
      if (array) array = Ref::steal(PyNumber_Negative(array.get()));
      return array ? PyNumber_Add(array.get(), a) : nullptr;
    }
    case Op::mul:
      return PyNumber_Multiply(b, a);
    case Op::div: {
      Ref one = Ref::steal(PyFloat_FromDouble(1.0));
      Ref inverse = Ref::steal(one ? PyNumber_TrueDivide(one.get(), b) : nullptr);
      return inverse ? PyNumber_Multiply(inverse.get(), a) : nullptr;
    }
    case Op::pow:
      return arrayExponent();
    case Op::land:
      return PyNumber_And(b, a);
    default:
      return PyNumber_Or(b, a);
  }
}

PyObject* modelling_richcompare(PyObject* a, PyObject* b, int op) { return make_constraint(a, b, op); }

}  // namespace tavlo
