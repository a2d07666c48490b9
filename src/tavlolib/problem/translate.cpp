#include "problem/translate.h"

#include <cmath>

#include "problem/column_table.h"
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

// The counting pass: what the writing pass writes at most.
int count(PyObject* expr, int kind, Count* out) {
  switch (kind) {
    case kConstant:
      return 0;
    case kVar:
    case kLinterm:
      out->linear = 1;
      return 0;
    case kQuadterm:
      out->quadratic = 1;
      return 0;
    case kExpression: {
      const auto* e = reinterpret_cast<expression_s*>(expr);
      out->linear = linmap_size(e->linear);
      out->quadratic = quadmap_size(e->quadratic);
      return 0;
    }
    case kNonlinear:
      return fail("Nonlinear expressions are not supported yet");
    default:
      return fail("Invalid expression");
  }
}

// The writing pass, into arrays that have room.
class Writer {
 public:
  Writer(problem_s* p, PyObject* row, Terms* terms) : p_(p), row_(row), t_(*terms) { t_.constant = 0; }

  bool linear(const var_s* v, double c, const char* missing) {
    const int64_t column = columnOf(p_, v);
    if (column < 0) return fail(missing) == 0;
    if (!std::isfinite(c)) return badCoefficient(c, v, nullptr);
    if (c == 0) return true;
    t_.colind[t_.nlin] = static_cast<int32_t>(column);
    t_.coef[t_.nlin++] = c;
    return true;
  }

  bool quadratic(const var_s* u, const var_s* v, double c, const char* missing) {
    const int64_t first = columnOf(p_, u), second = columnOf(p_, v);
    if (first < 0 || second < 0) return fail(missing) == 0;
    const double sent = (first == second ? 1.0 : 0.5) * (row_ ? 1.0 : 2.0) * c;
    if (!std::isfinite(sent)) return badCoefficient(c, u, v);
    if (sent == 0) return true;
    t_.qcol1[t_.nquad] = static_cast<int32_t>(first);
    t_.qcol2[t_.nquad] = static_cast<int32_t>(second);
    t_.qcoef[t_.nquad++] = sent;
    return true;
  }

  bool constant(double c) {
    t_.constant = c;
    if (std::isfinite(c)) return true;
    return row_ ? modelError("Constant of constraint %S is %s", row_, textOf(c))
                : modelError("Constant of the objective is %s", textOf(c));
  }

  bool write(PyObject* expr, int kind) {
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

 private:
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
};

bool reserve(Terms* t, const Count& n) {
  const auto lin = static_cast<size_t>(t->nlin + n.linear), quad = static_cast<size_t>(t->nquad + n.quadratic);
  return t->colind.reserve(lin) && t->coef.reserve(lin) &&
         (n.quadratic == 0 || (t->qcol1.reserve(quad) && t->qcol2.reserve(quad) && t->qcoef.reserve(quad)));
}

}  // namespace

int convertExpr(problem_s* p, PyObject* expr, PyObject* row, Terms* terms) {
  if (!expr) return fail("Cannot convert expression");
  const int kind = Py_TYPE(expr) == &tavlo_expressionType ? static_cast<int>(kExpression) : getExprTypeQuiet(expr);
  Count n;
  if (count(expr, kind, &n) != 0 || !reserve(terms, n)) return -1;
  return Writer(p, row, terms).write(expr, kind) ? 0 : -1;
}

}  // namespace tavlo
