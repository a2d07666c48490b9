#include "problem/translation/translate.h"

#include <cassert>
#include <cmath>
#include <utility>

#include "model/nonlinear.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

constexpr char kInLinterm[] = "Variable in linear term defining constraint has not been added to problem yet";
constexpr char kInQuadterm[] = "Variable in quadratic term defining constraint has not been added to problem yet";
constexpr char kInLinear[] = "Variable in linear part of constraint has not been added to problem yet";
constexpr char kInQuadratic[] = "Variable in quadratic part of constraint has not been added to problem yet";

struct Count {
  int64_t linear = 0, quadratic = 0;
};

// The counting pass over what is no tree: what the writing pass writes at most.
Count count(PyObject* expr, int kind) {
  switch (kind) {
    case kVar:
    case kLinterm:
      return {1, 0};
    case kQuadterm:
      return {0, 1};
    case kExpression: {
      const auto* e = reinterpret_cast<expression_s*>(expr);
      return {linmap_size(e->linear), quadmap_size(e->quadratic)};
    }
    default:
      return {};
  }
}

int kindOf(PyObject* expr) {
  return Py_TYPE(expr) == &tavlo_expressionType ? static_cast<int>(kExpression) : getExprTypeQuiet(expr);
}

// Writes m times an expression, m being 1 or -1; `invalid` is said of what is none. Room for linear and quadratic parts
// is made once for each; formulas, whose length no cheap walk tells, grow as they are written.
class Writer {
 public:
  Writer(problem_s* p, PyObject* row, Terms* terms) : p_(p), row_(row), t_(*terms) { t_.constant = 0; }

  bool write(PyObject* expr, int kind, double m, const char* invalid) {
    if (kind == kInvalid) return modelError("%s", invalid) != nullptr;
    if (kind == kNonlinear) return writeFormula(p_, expr, m, row_, &t_.formulas);
    m_ = m;
    const Count n = count(expr, kind);
    [[maybe_unused]] const auto [linear, quadratic] = std::pair{t_.nlin, t_.nquad};
    const bool written = reserve(n) && plain(expr, kind);
    assert(!written || (t_.nlin - linear <= n.linear && t_.nquad - quadratic <= n.quadratic));
    return written;
  }

  // A tree at the top: the members of a sum and the sides of a difference stand for themselves.
  bool split(PyObject* tree) {
    const int32_t code = asNode(tree)->code;
    if (code != kNodeSum && code != kNodeDifference) return write(tree, kNonlinear, 1, nullptr);
    Ref args = Ref::borrow(asNode(tree)->args);
    const bool sum = code == kNodeSum;
    if (sum && !PyList_Check(args.get())) return fail("Erroneous type for argument of sum") == 0;
    if (!sum && (!PyTuple_Check(args.get()) || PyTuple_GET_SIZE(args.get()) != 2))
      return fail("Erroneous type for argument of difference expression") == 0;
    for (Py_ssize_t i = 0; Ref member = operandAt(args.get(), i); ++i)
      if (!write(member.get(), kindOf(member.get()), !sum && i == 1 ? -1 : 1,
                 sum ? "Invalid expression in nonlinear sum" : "Invalid expression"))
        return false;
    return true;
  }

 private:
  bool linear(const var_s* v, double c, const char* missing) {
    const int64_t column = columnOf(p_, v);
    if (column < 0) return fail(missing) == 0;
    if (!std::isfinite(c)) return badCoefficient(c, v, nullptr);
    if (c == 0) return true;
    t_.colind[t_.nlin] = static_cast<int32_t>(column);
    t_.coef[t_.nlin++] = m_ * c;
    return true;
  }

  bool quadratic(const var_s* u, const var_s* v, double c, const char* missing) {
    const int64_t first = columnOf(p_, u), second = columnOf(p_, v);
    if (first < 0 || second < 0) return fail(missing) == 0;
    const double sent = (first == second ? 1.0 : 0.5) * (row_ ? 1.0 : 2.0) * m_ * c;
    if (!std::isfinite(sent)) return badCoefficient(c, u, v);
    if (sent == 0) return true;
    t_.qcol1[t_.nquad] = static_cast<int32_t>(first);
    t_.qcol2[t_.nquad] = static_cast<int32_t>(second);
    t_.qcoef[t_.nquad++] = sent;
    return true;
  }

  bool constant(double c) {
    t_.constant += m_ * c;
    if (std::isfinite(c)) return true;
    return row_ ? modelError("Constant of constraint %S is %s", row_, textOf(c))
                : modelError("Constant of the objective is %s", textOf(c));
  }

  bool plain(PyObject* expr, int kind) {
    switch (kind) {
      case kConstant: {
        double value = 0;
        return readConstant(expr, &value) && constant(value);
      }
      case kVar:
        return linear(reinterpret_cast<var_s*>(expr), 1, kInLinterm);
      case kLinterm: {
        const auto* t = reinterpret_cast<linterm_s*>(expr);
        return linear(t->var, t->coef, kInLinterm);
      }
      case kQuadterm: {
        const auto* q = reinterpret_cast<quadterm_s*>(expr);
        return quadratic(q->var1, q->var2, q->coef, kInQuadterm);
      }
      default: {
        const auto* e = reinterpret_cast<expression_s*>(expr);
        return constant(e->constant) &&
               linmap_each(e->linear, [&](var_s* v, double c) { return linear(v, c, kInLinear); }) &&
               quadmap_each(e->quadratic,
                            [&](var_s* u, var_s* v, double c) { return quadratic(u, v, c, kInQuadratic); });
      }
    }
  }

  bool reserve(const Count& n) {
    const auto lin = static_cast<size_t>(t_.nlin + n.linear), quad = static_cast<size_t>(t_.nquad + n.quadratic);
    return t_.colind.reserve(lin) && t_.coef.reserve(lin) &&
           (n.quadratic == 0 || (t_.qcol1.reserve(quad) && t_.qcol2.reserve(quad) && t_.qcoef.reserve(quad)));
  }

  static const char* textOf(double c) { return std::isnan(c) ? "NaN" : "infinite"; }
  bool badCoefficient(double c, const var_s* u, const var_s* v) {
    // The texts of names may run Python code that changes the expression, which must not be looked at after it.
    Ref first = Ref::borrow(reinterpret_cast<PyObject*>(const_cast<var_s*>(u)));
    Ref second = Ref::borrow(reinterpret_cast<PyObject*>(const_cast<var_s*>(v)));
    Ref term =
        Ref::steal(second ? PyUnicode_FromFormat("%S*%S", first.get(), second.get()) : PyObject_Str(first.get()));
    if (!term) return false;
    return row_ ? modelError("Coefficient of %U in constraint %S is %s", term.get(), row_, textOf(c))
                : modelError("Coefficient of %U in the objective is %s", term.get(), textOf(c));
  }

  problem_s* p_;
  PyObject* row_;
  Terms& t_;
  double m_ = 1;
};

}  // namespace

int convertExpr(problem_s* p, PyObject* expr, PyObject* row, Terms* terms) {
  if (!expr) return fail("Cannot convert expression");
  const int kind = kindOf(expr);
  Writer writer(p, row, terms);
  return (kind == kNonlinear ? writer.split(expr) : writer.write(expr, kind, 1, "Invalid expression")) ? 0 : -1;
}

}  // namespace tavlo
