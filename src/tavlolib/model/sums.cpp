// Addition and subtraction.
#include "model/nonlinear.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

PyObject* scaledTerm(double s, const Operand& a) {
  switch (a.kind) {
    case kVar:
      return var_copy(a.o, s);
    case kLinterm:
      return linterm_copy(s, a.o);
    default:
      return quadterm_copy(s, a.o);
  }
}

bool samePair(const quadterm_s* p, const quadterm_s* q) {
  return sameVariable(p->var1, q->var1) && sameVariable(p->var2, q->var2);
}

// Both numbers or terms. A term alone stays a term, two of the same kind on the same variables join, all else needs an
// expression.
PyObject* addTerms(double s, const Operand& a, const Operand& b) {
  if (a.kind == kConstant) {
    if (b.kind == kConstant) return PyFloat_FromDouble(a.value + s * b.value);
    if (a.value == 0 && b.kind != kVar) return scaledTerm(s, b);
  } else if (b.kind == kConstant) {
    if (b.value == 0) return scaledTerm(1, a);
  } else if (a.isLinear() && b.isLinear()) {
    if (sameVariable(a.linearVar(), b.linearVar()))
      return linterm_fill(a.linearCoef() + s * b.linearCoef(), a.linearVar());
  } else if (a.kind == kQuadterm && b.kind == kQuadterm && samePair(a.quadterm(), b.quadterm())) {
    return quadterm_fill(a.quadterm()->coef + s * b.quadterm()->coef, a.quadterm()->var1, a.quadterm()->var2);
  }
  auto r = BasicRef<expression_s>::steal(newExpression());
  if (r && accumulate(r.get(), 1, a) == 0 && accumulate(r.get(), s, b) == 0) return r.releaseObject();
  return a.kind <= kVar && b.kind <= kVar ? modelError("Could not allocate an object of type Variable") : nullptr;
}

int mergeExpression(expression_s* e, double s, const expression_s* b) {
  e->constant += s * b->constant;
  if (!linmap_each(b->linear, [&](var_s* v, double c) { return expression_addToLinTerm(e, v, s * c) == 0; })) return -1;
  return quadmap_each(b->quadratic,
                      [&](var_s* u, var_s* v, double c) { return expression_addToQuadTerm(e, u, v, s * c) == 0; })
             ? 0
             : -1;
}

}  // namespace

int accumulate(expression_s* e, double s, const Operand& b) {
  switch (b.kind) {
    case kConstant:
      e->constant += s * b.value;
      return 0;
    case kVar:
      return expression_addToLinTerm(e, b.var(), s);
    case kLinterm:
      return expression_addToLinTerm(e, b.linterm()->var, s * b.linterm()->coef);
    case kQuadterm:
      return expression_addToQuadTerm(e, b.quadterm()->var1, b.quadterm()->var2, s * b.quadterm()->coef);
    default:
      break;
  }
  if (b.expression() != e) return mergeExpression(e, s, b.expression());
  // The map that is walked must not be the one that changes.
  auto copy = BasicRef<expression_s>::steal(reinterpret_cast<expression_s*>(expression_copy(b.o, 1)));
  return copy ? mergeExpression(e, s, copy.get()) : -1;
}

PyObject* addScaled(double s, const Operand& a, const Operand& b) {
  if (refused(s > 0 ? Op::add : Op::sub, a, b)) return nullptr;
  if (a.kind == kNonlinear || b.kind == kNonlinear) return nonlin_alg_sum(s, a, b);
  if (a.kind != kExpression && b.kind != kExpression) return addTerms(s, a, b);
  const bool left = a.kind == kExpression;
  auto r = Ref::steal(left ? expression_copy(a.o, 1) : expression_copy(b.o, s));
  if (!r || accumulate(reinterpret_cast<expression_s*>(r.get()), left ? s : 1, left ? b : a) != 0) return nullptr;
  return r.release();
}

PyObject* addInPlace(double s, const Operand& a, const Operand& b) {
  if (refused(s > 0 ? Op::add : Op::sub, a, b)) return nullptr;
  if (a.kind == kNonlinear || b.kind == kNonlinear) return nonlin_alg_sum(s, a, b);
  if (a.kind == kExpression) return accumulate(a.expression(), s, b) == 0 ? newRef(a.o) : nullptr;
  double c;
  if (a.kind != kConstant && constantValue(b, &c)) {
    Operand number;
    number.kind = kConstant;
    number.value = s * c;
    return addTerms(1, a, number);
  }
  return addScaled(s, a, b);
}

}  // namespace tavlo
