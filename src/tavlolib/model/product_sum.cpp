#include "model/product_sum.h"

#include "model/nonlinear.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

bool isTerm(const Operand& a) { return a.kind != kInvalid && a.kind != kArray; }
bool invalid(const Operand& a, const Operand& b) { return invalidInOperation(isTerm(a) ? b.o : a.o) != nullptr; }
// An expression that times a variable is quadratic.
bool isLinearExpression(const Operand& a) {
  return a.kind == kExpression && quadmap_size(a.expression()->quadratic) == 0;
}

}  // namespace

expression_s* ProductSum::newlyMade() {
  expression_ = BasicRef<expression_s>::steal(newExpression());
  if (!expression_) modelError("Out of memory when creating expression");
  return expression_.get();
}

bool ProductSum::addObject(double c, PyObject* o) {
  Operand a;
  return classify(o, &a) && (isTerm(a) ? addOperand(c, a) : invalid(a, a));
}

bool ProductSum::addOperand(double c, const Operand& a) {
  if (a.kind == kConstant) {
    numbers_ = true;
    constant_ += c * a.value;
    return true;
  }
  if (a.kind != kNonlinear) return expression() && (c == 0 || accumulate(expression_.get(), c, a) == 0);
  if (c == 0) return expression() != nullptr;
  Ref node = Ref::steal(nonlin_copy(c, a.o));
  return node && addNode(node.get());
}

bool ProductSum::add(PyObject* x, PyObject* y) {
  Operand a, b;
  if (!classify(x, &a) || !classify(y, &b)) return false;
  if (!isTerm(a) || !isTerm(b)) return invalid(a, b);
  if (a.isLinear() && b.isLinear())
    return expression() && expression_addToQuadTerm(expression_.get(), a.linearVar(), b.linearVar(),
                                                    a.linearCoef() * b.linearCoef()) == 0;
  double c;
  if (constantValue(a, &c)) return addOperand(c, b);
  if (constantValue(b, &c)) return addOperand(c, a);
  const Operand &linear = a.isLinear() ? a : b, &other = a.isLinear() ? b : a;
  if (linear.isLinear() && isLinearExpression(other))
    return expression() &&
           accumulateProduct(expression_.get(), linear.linearCoef(), linear.linearVar(), other.expression()) == 0;
  Ref product = Ref::steal(multiply(a, b));
  return product && addObject(1, product.get());
}

// The first product may be what an operand refers to as well, so it is copied before the second is added.
bool ProductSum::addNode(PyObject* node) {
  Operand b;
  if (!classify(node, &b)) return false;
  if (sum_is_ours_) return nonlin_addTo(asNode(nodes_.get()), 1, b) == 0;
  Operand a;
  if (!nodes_) {
    nodes_ = Ref::borrow(node);
    return true;
  }
  if (!classify(nodes_.get(), &a)) return false;
  nodes_ = Ref::steal(nonlin_alg_sum(1, a, b));
  sum_is_ours_ = static_cast<bool>(nodes_);
  return sum_is_ours_;
}

PyObject* ProductSum::result() {
  if (!expression_ && !nodes_ && numbers_) return PyFloat_FromDouble(constant_);
  if (!expression()) return nullptr;
  expression_->constant += constant_;
  Ref plain = Ref::steal(expression_.releaseObject());
  Ref nodes = std::move(nodes_);
  const auto* e = reinterpret_cast<expression_s*>(plain.get());
  *this = ProductSum();
  if (!nodes) return plain.release();
  if (e->constant == 0 && linmap_size(e->linear) == 0 && quadmap_size(e->quadratic) == 0) return nodes.release();
  Operand a, b;
  return classify(nodes.get(), &a) && classify(plain.get(), &b) ? nonlin_alg_sum(1, a, b) : nullptr;
}

}  // namespace tavlo
