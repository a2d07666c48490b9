// The type-blind operators: any two objects, None standing for an empty accumulator.
#include "model/nonlinear.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

enum class None { copies, negates, operates };  // what a None on the left does

struct General {
  Op op;
  bool in_place;
  None left;
  bool right;  // whether a None on the right gives a
  binaryfunc fallback;
};

PyObject* interpreterPower(PyObject* a, PyObject* b) { return PyNumber_Power(a, b, Py_None); }
PyObject* interpreterInPlacePower(PyObject* a, PyObject* b) { return PyNumber_InPlacePower(a, b, Py_None); }

// Classes rank as their codes do: nonlinear, expression, quadterm, linterm, var.
int dominant(const Operand& a, const Operand& b) {
  const int x = a.isModelling() ? a.kind : kConstant, y = b.isModelling() ? b.kind : kConstant;
  return x > y ? x : y;
}

// Two numbers, one of them NumPy's: as doubles, since NumPy's own arithmetic would round or overflow in narrow types.
bool goesByDoubles(Op op, const Operand& x, const Operand& y) {
  return op != Op::land && op != Op::lor && x.kind == kConstant && y.kind == kConstant &&
         (PyArray_IsScalar(x.o, Generic) || PyArray_IsScalar(y.o, Generic));
}

// What the interpreter makes of arrays and other sequences, whose elements may be such again.
PyObject* fallBack(const General& g, PyObject* a, PyObject* b) {
  const Nested nested;
  return nested.tooDeep() ? nullptr : g.fallback(a, b);
}

PyObject* operate(const General& g, PyObject* a, PyObject* b) {
  if (a == Py_None && g.left != None::operates) return general_copy(g.left == None::copies ? 1 : -1, b);
  if (b == Py_None && g.right) return newRef(a);
  Operand x, y;
  if (!classify(a, &x) || !classify(b, &y)) return nullptr;
  if (goesByDoubles(g.op, x, y)) {
    Ref left = Ref::steal(PyFloat_FromDouble(x.value)), right = Ref::steal(PyFloat_FromDouble(y.value));
    return left && right ? g.fallback(left.get(), right.get()) : nullptr;
  }
  const int slot = dominant(x, y);
  if (x.kind == kArray || y.kind == kArray) return fallBack(g, a, b);
  if (slot == kConstant) return g.fallback(a, b);
  return g.in_place ? applyInPlace(g.op, slot, x, y) : apply(g.op, slot, x, y);
}

PyObject* copyArray(double f, PyObject* x) {
  Ref copy = Ref::steal(PyArray_Check(x) ? PyArray_NewCopy(reinterpret_cast<PyArrayObject*>(x), NPY_KEEPORDER)
                                         : PySequence_Repeat(x, 1));
  if (!copy || f == 1) return copy.release();
  Ref factor = Ref::steal(PyFloat_FromDouble(f));
  return factor ? PyNumber_Multiply(copy.get(), factor.get()) : nullptr;
}

}  // namespace

#define TAVLO_GENERAL(name, ...)                       \
  PyObject* general_##name(PyObject* a, PyObject* b) { \
    static constexpr General g{__VA_ARGS__};           \
    return operate(g, a, b);                           \
  }
TAVLO_GENERAL(add, Op::add, false, None::copies, true, PyNumber_Add)
TAVLO_GENERAL(sub, Op::sub, false, None::negates, true, PyNumber_Subtract)
TAVLO_GENERAL(mul, Op::mul, false, None::copies, true, PyNumber_Multiply)
TAVLO_GENERAL(div, Op::div, false, None::operates, true, PyNumber_TrueDivide)
TAVLO_GENERAL(pow, Op::pow, false, None::copies, true, interpreterPower)
TAVLO_GENERAL(and, Op::land, false, None::copies, false, PyNumber_And)
TAVLO_GENERAL(or, Op::lor, false, None::copies, false, PyNumber_Or)
TAVLO_GENERAL(iadd, Op::add, true, None::copies, true, PyNumber_InPlaceAdd)
TAVLO_GENERAL(isub, Op::sub, true, None::copies, true, PyNumber_InPlaceSubtract)
TAVLO_GENERAL(imul, Op::mul, true, None::copies, true, PyNumber_InPlaceMultiply)
TAVLO_GENERAL(idiv, Op::div, true, None::copies, true, PyNumber_InPlaceTrueDivide)
TAVLO_GENERAL(ipow, Op::pow, true, None::copies, false, interpreterInPlacePower)
TAVLO_GENERAL(iand, Op::land, true, None::copies, false, PyNumber_InPlaceAnd)
TAVLO_GENERAL(ior, Op::lor, true, None::copies, false, PyNumber_InPlaceOr)
#undef TAVLO_GENERAL

int general_absorb(PyObject* a, double s, PyObject* b) {
  Operand term;
  if (a == b) return 0;
  if (Py_TYPE(a) == &tavlo_expressionType) {
    if (!classify(b, &term)) return -1;
    if (term.kind == kInvalid || term.kind > kExpression) return 0;
    return accumulate(reinterpret_cast<expression_s*>(a), s, term) == 0 ? 1 : -1;
  }
  if (Py_TYPE(a) != &tavlo_nonlinearType || !isListNode(a, kNodeSum) || Py_REFCNT(asNode(a)->args) != 1) return 0;
  if (!classify(b, &term)) return -1;
  if (term.kind == kInvalid || term.kind > kNonlinear) return 0;
  return nonlin_addTo(asNode(a), s, term) == 0 ? 1 : -1;
}

PyObject* general_neg(PyObject* x) {
  Operand a;
  if (!classify(x, &a)) return nullptr;
  return a.isModelling() ? negate(a) : PyNumber_Negative(x);
}

PyObject* general_sqr(PyObject* x) {
  Operand a, two;
  Ref exponent = Ref::steal(PyFloat_FromDouble(2.0));
  if (!exponent || !classify(x, &a) || !classify(exponent.get(), &two)) return nullptr;
  return a.isModelling() ? raise(a, two) : PyNumber_Power(x, exponent.get(), Py_None);
}

PyObject* general_copy(double f, PyObject* x) {
  Operand a;
  if (!classify(x, &a)) return nullptr;
  switch (a.kind) {
    case kArray:
      return copyArray(f, x);
    case kConstant:
      return f == 1 ? newRef(x) : PyFloat_FromDouble(f * a.value);
    case kLinterm:
      return linterm_copy(f, x);
    case kVar:
      return var_copy(x, f);
    case kQuadterm:
      return quadterm_copy(f, x);
    case kExpression:
      return expression_copy(x, f);
    case kNonlinear:
      return nonlin_copy(f, x);
    default:
      return modelError("Invalid object being copied");
  }
}

}  // namespace tavlo
