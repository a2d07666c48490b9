#include "problem/translate.h"

#include <cmath>

namespace tavlo {
namespace {

class Converter {
 public:
  Converter(ColumnFinder& finder, PyObject* owner, bool objective, Coefficients* out)
      : finder_(finder), owner_(owner), objective_(objective), out_(out) {}

  bool linear(const var_s* v, double c, const char* missing) {
    if (!std::isfinite(c)) return notFinite(c);
    const int column = columnOf(v, missing);
    if (column < 0) return false;
    out_->column.push_back(column);
    out_->value.push_back(c);
    return true;
  }

  bool quadratic(const var_s* u, const var_s* v, double c, const char* missing) {
    if (!std::isfinite(c)) return notFinite(c);
    const int first = columnOf(u, missing), second = columnOf(v, missing);
    if (first < 0 || second < 0) return false;
    if (c == 0) return true;
    out_->qcolumn1.push_back(first);
    out_->qcolumn2.push_back(second);
    out_->qvalue.push_back(c * (first == second ? 1.0 : 0.5) * (objective_ ? 2.0 : 1.0));
    return true;
  }

  bool constant(double c, double* sum) {
    if (!std::isfinite(c)) return notFinite(c);
    *sum += c;
    return true;
  }

  bool expression(const expression_s* e, double* sum) {
    if (!constant(e->constant, sum)) return false;
    const size_t more = static_cast<size_t>(linmap_size(e->linear));
    if (out_->column.capacity() < out_->column.size() + more) {
      out_->column.reserve(2 * out_->column.size() + more);
      out_->value.reserve(2 * out_->value.size() + more);
    }
    return linmap_each(e->linear,
                       [&](var_s* v, double c) {
                         return linear(v, c, "Variable in linear part of constraint has not been added to problem yet");
                       }) &&
           quadmap_each(e->quadratic, [&](var_s* u, var_s* v, double c) {
             return quadratic(u, v, c, "Variable in quadratic part of constraint has not been added to problem yet");
           });
  }

 private:
  int columnOf(const var_s* v, const char* missing) {
    const int column = v ? finder_.find(v) : -1;
    if (column < 0) modelError("%s", missing);
    return column;
  }

  bool notFinite(double c) {
    const char* what = std::isnan(c) ? "NaN" : "infinite";
    if (owner_)
      modelError("A coefficient of constraint %S is %s", owner_, what);
    else
      modelError("A coefficient of the objective is %s", what);
    return false;
  }

  ColumnFinder& finder_;
  PyObject* owner_;
  bool objective_;
  Coefficients* out_;
};

bool convert(Converter& c, PyObject* expr, double* constant) {
  double value;
  if (readConstant(expr, &value)) return c.constant(value, constant);
  switch (getExprTypeQuiet(expr)) {
    case kVar:
      return c.linear(reinterpret_cast<var_s*>(expr), 1.0,
                      "Variable in linear term defining constraint has not been added to problem yet");
    case kLinterm: {
      const auto* t = reinterpret_cast<linterm_s*>(expr);
      return t->coef == 0 ||
             c.linear(t->var, t->coef, "Variable in linear term defining constraint has not been added to problem yet");
    }
    case kQuadterm: {
      const auto* q = reinterpret_cast<quadterm_s*>(expr);
      return c.quadratic(q->var1, q->var2, q->coef,
                         "Variable in quadratic term defining constraint has not been added to problem yet");
    }
    case kExpression:
      return c.expression(reinterpret_cast<expression_s*>(expr), constant);
    case kNonlinear:
      modelError("Nonlinear expressions are not supported yet");
      return false;
    default:
      modelError("Invalid expression");
      return false;
  }
}

}  // namespace

int convertExpr(PyObject* expr, ColumnFinder& finder, PyObject* owner, bool objective, Coefficients* out,
                double* constant) {
  if (!expr) {
    modelError("Cannot convert expression");
    return -1;
  }
  Converter converter(finder, owner, objective, out);
  return convert(converter, expr, constant) ? 0 : -1;
}

}  // namespace tavlo
