#include "nonlinear/evaluate.h"

#include <algorithm>
#include <cmath>

#include "elementary/functions.h"
#include "nonlinear/token_stack.h"
#include "nonlinear/user_sites.h"

namespace tvlo {

namespace {

double pwlOf(const double* argument, size_t count) {
  const double t = argument[count - 1];
  const size_t points = count / 2;
  // From the first point to the last: y_1 and x_1 stand last.
  const auto x = [&](size_t k) { return argument[2 * (points - 1 - k) + 1]; };
  const auto y = [&](size_t k) { return argument[2 * (points - 1 - k)]; };
  size_t right = 1;
  while (right + 1 < points && t >= x(right)) ++right;
  return elementary::Segment{x(right - 1), y(right - 1), x(right), y(right)}.at(t);
}

// None where an argument has none.
double extreme(const double* argument, size_t count, double sign) {
  double found = argument[0];
  for (size_t k = 1; k < count; ++k) {
    if (std::isnan(argument[k]) || sign * argument[k] > sign * found) found = argument[k];
    if (std::isnan(found)) break;
  }
  return found;
}

// Of an argument without a value no function has one.
double functionValue(int function, const double* argument, size_t count) {
  const double t = argument[0];
  if (std::isnan(t)) return t;
  switch (function) {
#define ELEMENTARY_FUNCTION(name, Node, node, TOKEN, ...) \
  case TSLP_FUNCTION_##TOKEN:                             \
    return elementary::name(t);
#include "elementary/functions.def"
    case TSLP_FUNCTION_MIN:
      return extreme(argument, count, -1);
    case TSLP_FUNCTION_MAX:
      return extreme(argument, count, 1);
    default:
      return pwlOf(argument, count);
  }
}

double operatorValue(int code, double a, double b) {
  if (std::isnan(a) || std::isnan(b) || (code == TSLP_OPERATOR_DIVIDE && b == 0)) return std::nan("");
  switch (code) {
#define ELEMENTARY_OPERATOR(name, Node, node, TOKEN, ...) \
  case TSLP_OPERATOR_##TOKEN:                             \
    return elementary::name(a, b);
#include "elementary/functions.def"
    default:
      return std::nan("");
  }
}

struct Evaluation {
  const double* x;
  const UserFunctions& functions;
  double constant(double value) const { return value; }
  double column(int j) const { return x[j]; }
  double negative(double a) const { return -a; }
  double binary(int code, double a, double b) const { return operatorValue(code, a, b); }
  double function(int code, const double* argument, size_t count) const { return functionValue(code, argument, count); }
  double user(int id, const double* argument, size_t) const { return callUser(*functions.find(id), argument, nullptr); }
};

void add(double term, double& value, double& largest) {
  value += term;
  largest = std::max(largest, std::abs(term));
}

}  // namespace

double evaluateFormula(TokenView run, const double* x, const UserFunctions& functions) {
  return runTokens<double>(run, Evaluation{x, functions});
}

NonlinearActivities::NonlinearActivities(const Model& model, const std::vector<double>& x)
    : value(model.rows()), largest(model.rows()) {
  const SparseMatrix& matrix = model.byRows();
  for (int i = 0; i < model.rows(); ++i) {
    for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) {
      add(matrix.value[k] * x[matrix.index[k]], value[i], largest[i]);
    }
  }
  for (const RowQuadratic& q : model.quadraticRows()) {
    for (const QuadraticEntry& e : q.form.entries()) {
      add((e.first == e.second ? 1 : 2) * e.value * x[e.first] * x[e.second], value[q.row], largest[q.row]);
    }
  }
  const Formulas& formulas = model.formulas();
  for (const Formulas::Coefficient& coef : formulas.coefficients()) {
    if (!Formulas::isLive(coef)) continue;
    const double by = coef.column == kConstantColumn ? 1 : x[coef.column];
    add(coef.factor * by * evaluateFormula(formulas.tokens(coef), x.data(), formulas.functions), value[coef.row],
        largest[coef.row]);
  }
}

double nonlinearObjective(const Model& model, const std::vector<double>& x) {
  double value = model.constant();
  for (int j = 0; j < model.columns(); ++j) value += model.objective()[j] * x[j];
  for (const QuadraticEntry& e : model.quadraticObjective().entries()) {
    value += (e.first == e.second ? 0.5 : 1) * e.value * x[e.first] * x[e.second];
  }
  return value;
}

}  // namespace tvlo
