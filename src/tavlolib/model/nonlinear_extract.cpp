// The linear and quadratic parts of nonlinear trees: what can be read off without any algebra beyond constant factors.
#include "model/nonlinear.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

struct Maps {  // only one of the two is wanted
  linmap* linear = nullptr;
  quadmap* quadratic = nullptr;

  explicit Maps(bool quad) { quad ? void(quadratic = quadmap_new()) : void(linear = linmap_new()); }
  Maps(const Maps&) = delete;
  Maps& operator=(const Maps&) = delete;
  ~Maps() {
    linmap_free(&linear);
    quadmap_free(&quadratic);
  }

  bool add(double c, var_s* v) { return !linear || linmap_add(c, linear, v) == 0 || PyErr_NoMemory(); }
  bool add(double c, var_s* u, var_s* v) {
    return !quadratic || quadmap_add(c, quadratic, u, v) == 0 || PyErr_NoMemory();
  }
};

bool collect(PyObject* o, double f, int budget, Maps& maps);

bool collectLeaf(const Operand& a, double f, Maps& maps) {
  if (a.isLinear()) return maps.add(f * a.linearCoef(), a.linearVar());
  if (a.kind == kQuadterm) return maps.add(f * a.quadterm()->coef, a.quadterm()->var1, a.quadterm()->var2);
  if (a.kind != kExpression) return true;
  const expression_s* e = a.expression();
  return (!maps.linear || linmap_each(e->linear, [&](var_s* v, double c) { return maps.add(f * c, v); })) &&
         (!maps.quadratic ||
          quadmap_each(e->quadratic, [&](var_s* u, var_s* v, double c) { return maps.add(f * c, u, v); }));
}

// The one member that is no number, when there is exactly one, with the product of the others.
bool collectProduct(PyObject* args, double f, int budget, Maps& maps) {
  Ref other;
  for (Py_ssize_t i = 0; Ref member = operandAt(args, i); ++i) {
    Operand a;
    double c;
    if (!classify(member.get(), &a)) return false;
    if (constantValue(a, &c)) {
      f *= c;
    } else {
      if (other) return true;
      std::swap(other, member);
    }
  }
  return !other || collect(other.get(), f, budget, maps);
}

bool collectPair(int32_t code, PyObject* args, double f, int budget, Maps& maps) {
  Ref a = operandAt(args, 0), b = operandAt(args, 1);
  Operand second;
  double c;
  if (!a || !b) return true;
  if (!classify(b.get(), &second)) return false;
  switch (code) {
    case kNodeDifference:
      return collect(a.get(), f, budget, maps) && collect(b.get(), -f, budget, maps);
    case kNodeDivision:
      return !constantValue(second, &c) || c == 0 || collect(a.get(), f / c, budget, maps);
    default:
      return !constantValue(second, &c) || c != 1 || collect(a.get(), f, budget, maps);
  }
}

bool collect(PyObject* o, double f, int budget, Maps& maps) {
  Operand a;
  if (budget < 1) return true;
  if (!classify(o, &a)) return false;
  if (a.kind != kNonlinear) return collectLeaf(a, f, maps);
  const nonlinear_s* n = asNode(o);
  Ref args = Ref::borrow(n->args);
  switch (n->code) {
    case kNodeSum:
      for (Py_ssize_t i = 0; Ref member = operandAt(args.get(), i); ++i)
        if (!collect(member.get(), f, budget - 1, maps)) return false;
      return true;
    case kNodeNegation:
      return collect(args.get(), -f, budget - 1, maps);
    case kNodeProduct:
      return collectProduct(args.get(), f, budget - 1, maps);
    case kNodeDifference:
    case kNodeDivision:
    case kNodePower:
      return collectPair(n->code, args.get(), f, budget - 1, maps);
    default:
      return true;
  }
}

}  // namespace

PyObject* nonlin_extractLinear(PyObject* self, PyObject*) {
  Maps maps(false);
  if (!maps.linear) return PyErr_NoMemory();
  return collect(self, 1, kDepthBudget, maps) ? convert_linmap_double_list(maps.linear) : nullptr;
}

PyObject* nonlin_extractQuadratic(PyObject* self, PyObject*) {
  Maps maps(true);
  if (!maps.quadratic) return PyErr_NoMemory();
  return collect(self, 1, kDepthBudget, maps) ? convert_quadmap_triple_list(maps.quadratic) : nullptr;
}

}  // namespace tavlo
