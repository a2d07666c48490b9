// The number slots of the modelling types: array rule, in-place shortcuts, and the way to the rules.
#include "model/nonlinear.h"
#include "runtime/errors.h"

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
  const auto row = static_cast<size_t>(op), column = static_cast<size_t>(kind - kVar);
  return row < 4 && column < 4 ? kTexts[row][column] : nullptr;
}

int32_t logicalCode(Op op) { return op == Op::land ? kNodeAnd : kNodeOr; }

bool valid(const Operand& a) { return a.kind >= kConstant && a.kind <= kNonlinear; }

PyObject* binary(Op op, int slot, PyObject* a, PyObject* b) {
  Operand x, y;
  if (!classify(b, &y)) return nullptr;
  if (y.kind == kArray) return handBack(op, a, b);
  if (!classify(a, &x)) return nullptr;
  return x.kind == kArray && PyArray_Check(a) ? arrayOperation(op, a, b) : apply(op, slot, x, y);
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
  return classify(a, &x) ? nonlin_instantiate_unary(kNodeAbs, a) : nullptr;
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
      return refused(op, a, b) ? nullptr : nonlin_instantiate_binary_flatten(logicalCode(op), a.o, b.o);
  }
}

PyObject* applyInPlace(Op op, int slot, const Operand& a, const Operand& b) {
  double c;
  const bool number = b.kind == kConstant;
  if (op == Op::land || op == Op::lor)
    return refused(op, a, b) ? nullptr : nonlin_inplace_generic(logicalCode(op), a.o, b.o);
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

PyObject* modelling_richcompare(PyObject* a, PyObject* b, int op) { return make_constraint(a, b, op); }

}  // namespace tavlo
