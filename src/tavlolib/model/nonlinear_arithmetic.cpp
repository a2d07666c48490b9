// Arithmetic of nonlinear nodes. Sums are kept flat, with at most one member that is no node.
#include "model/nonlinear.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

bool isSum(const Operand& a) { return a.kind == kNonlinear && isListNode(a.o, kNodeSum); }
bool isNumber(PyObject* o) {
  double value;
  return readConstant(o, &value);
}

PyObject* newSum() {
  Ref sum = Ref::steal(nonlin_base());
  if (!sum) return nullptr;
  asNode(sum.get())->code = kNodeSum;
  asNode(sum.get())->args = PyList_New(0);
  return asNode(sum.get())->args ? sum.release() : nullptr;
}

// A number among the members stays the last, where a comparison finds it.
int appendNode(nonlinear_s* sum, double s, PyObject* node) {
  Ref member = s == 1 ? Ref::borrow(node) : Ref::steal(nonlin_copy(s, node));
  PyObject* list = sum->args;
  if (!member) return -1;
  const Py_ssize_t last = PyList_GET_SIZE(list) - 1;
  if (sum->mixed < 0 || sum->mixed != last || !isNumber(PyList_GET_ITEM(list, last)))
    return PyList_Append(list, member.get());
  if (PyList_Insert(list, last, member.get()) != 0) return -1;
  ++sum->mixed;
  return 0;
}

int moveToEnd(nonlinear_s* sum) {
  Ref member = operandAt(sum->args, sum->mixed);
  if (PyList_SetSlice(sum->args, sum->mixed, sum->mixed + 1, nullptr) != 0) return -1;
  sum->mixed = static_cast<int32_t>(PyList_GET_SIZE(sum->args));
  return PyList_Append(sum->args, member.get());
}

// Adds what is no node: to the one such member, or as that member.
int addPlain(nonlinear_s* sum, double s, const Operand& b) {
  PyObject* list = sum->args;
  if (b.kind == kConstant && b.value == 0) return 0;
  if (sum->mixed < 0 || sum->mixed >= PyList_GET_SIZE(list)) {
    Ref member = Ref::steal(general_copy(s, b.o));
    if (!member || PyList_GET_SIZE(list) >= INT32_MAX || PyList_Append(list, member.get()) != 0) return -1;
    sum->mixed = static_cast<int32_t>(PyList_GET_SIZE(list) - 1);
    return 0;
  }
  PyObject* member = PyList_GET_ITEM(list, sum->mixed);
  Operand a;
  if (!classify(member, &a)) return -1;
  // An expression that only this list has is as good as a new one.
  if (Py_TYPE(member) == &tavlo_expressionType && Py_REFCNT(member) == 1) return accumulate(a.expression(), s, b);
  Ref merged = Ref::steal(addScaled(s, a, b));
  if (!merged) return -1;
  const bool number = isNumber(merged.get());
  if (PyList_SetItem(list, sum->mixed, merged.release()) != 0) return -1;
  return number && sum->mixed + 1 < PyList_GET_SIZE(list) ? moveToEnd(sum) : 0;
}

}  // namespace

int nonlin_addTo(nonlinear_s* sum, double s, const Operand& b) {
  if (b.kind == kInvalid || b.kind == kArray) return invalidInOperation(b.o), -1;
  if (b.kind != kNonlinear) return addPlain(sum, s, b);
  if (!isSum(b)) return appendNode(sum, s, b.o);
  for (Py_ssize_t i = 0; Ref member = operandAt(asNode(b.o)->args, i); ++i) {
    Operand m;
    if (!classify(member.get(), &m)) return -1;
    if (m.kind == kInvalid || m.kind == kArray) return invalidInOperation(m.o), -1;  // put there from outside
    if ((m.kind == kNonlinear ? appendNode(sum, s, m.o) : addPlain(sum, s, m)) != 0) return -1;
  }
  return 0;
}

PyObject* nonlin_alg_sum(double s, const Operand& a, const Operand& b) {
  if (b.kind == kConstant && b.value == 0) return general_copy(1, a.o);
  if (a.kind == kConstant && a.value == 0) return general_copy(s, b.o);
  if (s < 0 && !isSum(a)) return nonlin_instantiate_binary(kNodeDifference, a.o, b.o);
  Ref sum = Ref::steal(isSum(a) ? nonlin_copy(1, a.o) : newSum());
  if (!sum || (!isSum(a) && nonlin_addTo(asNode(sum.get()), 1, a) != 0) || nonlin_addTo(asNode(sum.get()), s, b) != 0)
    return nullptr;
  return sum.release();
}

PyObject* nonlin_mul(const Operand& a, const Operand& b) {
  double c;
  for (const auto& [factor, other] : {std::pair{&a, &b}, std::pair{&b, &a}}) {
    if (!constantValue(*factor, &c)) continue;
    if (c == 0) return PyFloat_FromDouble(0.0);
    if (c == 1) return general_copy(1, other->o);
    if (c == -1) return nonlin_instantiate_unary(kNodeNegation, other->o);
    if (factor->kind == kExpression) return general_copy(c, other->o);
  }
  return nonlin_instantiate_binary(kNodeProduct, a.o, b.o);
}

int nonlin_multiplyTo(nonlinear_s* product, const Operand& b) {
  return b.kind == kConstant && b.value == 1 ? 0 : PyList_Append(product->args, b.o);
}

PyObject* nonlin_div(const Operand& a, const Operand& b) {
  double c;
  if (constantValue(a, &c) && c == 0) return PyFloat_FromDouble(0.0);
  if (constantValue(b, &c) && c == 0) return modelError("Division by zero");
  if (constantValue(b, &c) && c == 1) return general_copy(1, a.o);
  return nonlin_instantiate_binary(kNodeDivision, a.o, b.o);
}

PyObject* nonlin_pow(const Operand& a, const Operand& b) {
  if (a.kind == kConstant && a.value == 1) return PyFloat_FromDouble(1.0);
  if (b.kind == kConstant && b.value == 0) return PyFloat_FromDouble(1.0);
  if (b.kind == kConstant && b.value == 1) return general_copy(1, a.o);
  return nonlin_instantiate_binary(kNodePower, a.o, b.o);
}

}  // namespace tavlo
