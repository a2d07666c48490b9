// Multiplication, division, powers and negation.
#include <utility>

#include "model/nonlinear.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

// c times a modelling object, by the rules for a number operand.
PyObject* scale(double c, const Operand& x) {
  switch (x.kind) {
    case kConstant:
      return PyFloat_FromDouble(c * x.value);
    case kVar:
      return var_copy(x.o, c);
    case kLinterm:
      return linterm_copy(c, x.o);
    case kQuadterm:
      return quadterm_copy(c, x.o);
    case kExpression:
      return expression_copy(x.o, c);
    default:
      return nonlin_copy(c, x.o);
  }
}

PyObject* quotient(PyObject* a, PyObject* b) { return nonlin_instantiate_binary(kNodeDivision, a, b); }

bool emptyLinear(const expression_s* e) { return linmap_size(e->linear) == 0; }
bool emptyQuadratic(const expression_s* e) { return quadmap_size(e->quadratic) == 0; }

// f*w times a linear expression.
PyObject* linearTimesExpression(double f, var_s* w, const expression_s* e) {
  auto r = BasicRef<expression_s>::steal(newExpression());
  if (!r) return nullptr;
  r->quadratic = quadmap_new();
  if (!r->quadratic) return modelError("Error multiplying expressions");
  return accumulateProduct(r.get(), f, w, e) == 0 ? r.releaseObject() : nullptr;
}

// The product of two expressions without quadratic entries.
PyObject* linearTimesLinear(const expression_s* a, const expression_s* b) {
  auto r = BasicRef<expression_s>::steal(newExpression());
  if (!r) return nullptr;
  r->constant = a->constant * b->constant;
  const expression_s* longer = linmap_size(a->linear) >= linmap_size(b->linear) ? a : b;
  const expression_s* shorter = longer == a ? b : a;
  for (const auto& [from, factor] : {std::pair{longer, shorter->constant}, std::pair{shorter, longer->constant}})
    if (factor != 0 && !linmap_each(from->linear, [&, f = factor](var_s* v, double c) {
          return expression_addToLinTerm(r.get(), v, f * c) == 0;
        }))
      return nullptr;
  if (!a->linear || !b->linear) return r.releaseObject();
  r->quadratic = quadmap_new();
  if (!r->quadratic) return modelError("Cannot create quadratic term in expression");
  const bool whole = linmap_each(a->linear, [&](var_s* u, double cu) {
    return cu == 0 || linmap_each(b->linear, [&](var_s* v, double cv) {
             return expression_addToQuadTerm(r.get(), u, v, cu * cv) == 0;
           });
  });
  return whole ? r.releaseObject() : nullptr;
}

PyObject* expressionTimesExpression(const Operand& a, const Operand& b) {
  const expression_s *x = a.expression(), *y = b.expression();
  const bool la = !emptyLinear(x), lb = !emptyLinear(y), qa = !emptyQuadratic(x), qb = !emptyQuadratic(y);
  if (!qa && !qb) return linearTimesLinear(x, y);
  if ((qa && (lb || qb)) || (la && qb)) return nonlin_mul(a, b);
  return qa ? expression_copy(a.o, y->constant) : expression_copy(b.o, x->constant);
}

PyObject* multiplyWithExpression(const Operand& a, const Operand& b) {
  double c;
  if (constantValue(a, &c)) return scale(c, b);
  if (constantValue(b, &c)) return scale(c, a);
  if (a.kind == kExpression && b.kind == kExpression) return expressionTimesExpression(a, b);
  const Operand &e = a.kind == kExpression ? a : b, &t = a.kind == kExpression ? b : a;
  if (!t.isLinear() || e.expression()->quadratic) return nonlin_mul(a, b);
  return linearTimesExpression(t.linearCoef(), t.linearVar(), e.expression());
}

PyObject* divideVar(const Operand& a, const Operand& b) {
  if (a.kind == kVar && b.kind == kConstant) {
    if (b.value == 0) return modelError("Division of variable by zero");
    return var_copy(a.o, b.value == 1 ? 1 : 1 / b.value);
  }
  if (a.kind == kVar && b.kind == kVar && sameVariable(a.var(), b.var())) return PyFloat_FromDouble(1.0);
  if (a.kind == kConstant && a.value == 0) return PyFloat_FromDouble(0.0);
  return quotient(a.o, b.o);
}

PyObject* divideLinterm(const Operand& a, const Operand& b) {
  double c;
  if (constantValue(b, &c)) {
    if (c == 0) return modelError("Division by zero");
    return linterm_fill(a.linearCoef() / c, a.linearVar());
  }
  if (a.isLinear() && b.isLinear() && sameVariable(a.linearVar(), b.linearVar())) {
    if (b.linearCoef() == 0) return modelError("Division by zero");
    return PyFloat_FromDouble(a.linearCoef() / b.linearCoef());
  }
  return quotient(a.o, b.o);
}

// A number or term over a variable.
PyObject* reduced(PyObject* numerator, var_s* denominator) {
  Ref above = Ref::steal(numerator);
  return above ? quotient(above.get(), reinterpret_cast<PyObject*>(denominator)) : nullptr;
}

PyObject* divideLinearByQuadterm(const Operand& a, const Operand& b) {
  const quadterm_s* q = b.quadterm();
  const double r = a.linearCoef() / q->coef;
  if (sameVariable(a.linearVar(), q->var1)) return reduced(PyFloat_FromDouble(r), q->var2);
  if (sameVariable(a.linearVar(), q->var2)) return reduced(PyFloat_FromDouble(r), q->var1);
  return quotient(a.o, b.o);
}

PyObject* divideQuadterms(const Operand& a, const Operand& b) {
  const quadterm_s *p = a.quadterm(), *q = b.quadterm();
  const double r = p->coef / q->coef;
  if (sameVariable(p->var2, q->var2)) {
    if (sameVariable(p->var1, q->var1)) return PyFloat_FromDouble(r);
    return reduced(linterm_fill(r, p->var1), q->var1);
  }
  if (sameVariable(p->var1, q->var1)) return reduced(linterm_fill(r, p->var2), q->var2);
  if (sameVariable(p->var1, q->var2)) return reduced(linterm_fill(r, p->var2), q->var1);
  if (sameVariable(p->var2, q->var1)) return reduced(linterm_fill(r, p->var1), q->var2);
  return quotient(a.o, b.o);
}

PyObject* divideQuadterm(const Operand& a, const Operand& b) {
  double c;
  if (constantValue(b, &c)) {
    if (c == 0) return modelError("Division by zero of a bilinear term");
    return quadterm_copy(1 / c, a.o);
  }
  if (b.kind == kQuadterm) {
    const quadterm_s* q = b.quadterm();
    if (q->coef == 0 && a.kind != kConstant)
      return modelError("Division by zero of a %s", a.kind == kVar       ? "variable"
                                                    : a.kind == kLinterm ? "linear term"
                                                                         : "bilinear term");
    if (a.kind == kQuadterm) return divideQuadterms(a, b);
    return a.isLinear() ? divideLinearByQuadterm(a, b) : quotient(a.o, b.o);
  }
  if (a.kind == kQuadterm && b.isLinear()) {
    const quadterm_s* q = a.quadterm();
    if (b.linearCoef() == 0) return modelError("Division by zero of a bilinear term");
    const double r = q->coef / b.linearCoef();
    if (sameVariable(b.linearVar(), q->var1)) return linterm_fill(r, q->var2);
    if (sameVariable(b.linearVar(), q->var2)) return linterm_fill(r, q->var1);
  }
  return quotient(a.o, b.o);
}

PyObject* divideExpression(const Operand& a, const Operand& b) {
  double c;
  if (a.kind != kExpression || !constantValue(b, &c)) return nonlin_div(a, b);
  if (c == 0) return modelError("Division by zero");
  return expression_copy(a.o, 1 / c);
}

}  // namespace

int accumulateProduct(expression_s* e, double f, var_s* w, const expression_s* x) {
  if (expression_addToLinTerm(e, w, f * x->constant) != 0) return -1;
  const auto add = [&](var_s* v, double c) { return expression_addToQuadTerm(e, w, v, f * c) == 0; };
  return linmap_each(x->linear, add) ? 0 : -1;
}

PyObject* multiply(const Operand& a, const Operand& b) {
  if (refused(Op::mul, a, b)) return nullptr;
  if (a.kind == kNonlinear || b.kind == kNonlinear) return nonlin_mul(a, b);
  if (a.kind == kConstant) return scale(a.value, b);
  if (b.kind == kConstant) return scale(b.value, a);
  if (a.kind == kExpression || b.kind == kExpression) return multiplyWithExpression(a, b);
  if (a.kind == kQuadterm || b.kind == kQuadterm) return nonlin_mul(a, b);
  return quadterm_fill(a.linearCoef() * b.linearCoef(), a.linearVar(), b.linearVar());
}

PyObject* divide(int slot, const Operand& a, const Operand& b) {
  if (refused(Op::div, a, b)) return nullptr;
  if (a.kind == kNonlinear || b.kind == kNonlinear) return nonlin_div(a, b);
  // A variable leaves a typed numerator, a linear term also a non-constant denominator, to the other class's rules.
  if (slot == kVar && a.kind > kVar) slot = a.kind;
  if (slot == kLinterm || slot == kQuadterm) {
    if (a.kind > slot) slot = a.kind;
    if (b.kind > slot && !isConstantExpression(b)) slot = b.kind;
  }
  switch (slot) {
    case kVar:
      return divideVar(a, b);
    case kLinterm:
      return divideLinterm(a, b);
    case kQuadterm:
      return divideQuadterm(a, b);
    default:
      return divideExpression(a, b);
  }
}

PyObject* raise(const Operand& a, const Operand& b) {
  if (refused(Op::pow, a, b)) return nullptr;
  if (a.kind == kNonlinear || a.kind == kConstant || b.kind != kConstant) return nonlin_pow(a, b);
  if (b.value == 0) return PyFloat_FromDouble(1.0);
  if (b.value == 1) return a.isLinear() ? newRef(a.o) : scale(1, a);
  if (b.value != 2 || a.kind == kQuadterm) return nonlin_pow(a, b);
  return multiply(a, a);
}

PyObject* negate(const Operand& a) { return scale(-1, a); }

void expression_scale(expression_s* e, double f) {
  e->constant *= f;
  linmap_scale(e->linear, f);
  quadmap_scale(e->quadratic, f);
}

PyObject* multiplyInPlace(const Operand& a, const Operand& b) {
  double c;
  if (b.kind == kInvalid || b.kind == kArray) return invalidInOperation(b.o);
  if (a.kind == kExpression && constantValue(b, &c)) {
    if (c == 0) return PyFloat_FromDouble(0.0);
    if (c != 1) expression_scale(a.expression(), c);
    return newRef(a.o);
  }
  return a.kind == kExpression || a.kind == kConstant ? multiply(a, b) : multiply(b, a);
}

PyObject* divideInPlace(const Operand& a, const Operand& b) {
  double c;
  if (a.kind != kExpression || !constantValue(b, &c)) return divide(kExpression, a, b);
  if (c == 0) return modelError("Division by zero");
  if (c != 1) expression_scale(a.expression(), 1 / c);
  return newRef(a.o);
}

}  // namespace tavlo
