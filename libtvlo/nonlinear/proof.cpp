#include "nonlinear/proof.h"

#include <algorithm>

#include "quadratic/convexity.h"
#include "route/solve.h"

namespace tvlo {

namespace {

// Second derivatives to be evaluated for a proof; more are not worth it.
constexpr double kMostWork = 1e8;

// The curvature of a function from its second derivatives, which are constant.
Curvature curvatureOf(const SparsePattern& pattern, const std::vector<double>& values) {
  std::vector<int> first, second;
  std::vector<double> value;
  for (size_t k = 0; k < values.size(); ++k) {
    if (values[k] == 0) continue;
    first.push_back(pattern.row[k]);
    second.push_back(pattern.column[k]);
    value.push_back(values[k]);
  }
  QuadraticForm form;
  form.add(static_cast<int64_t>(value.size()), first.data(), second.data(), value.data());
  return tvlo::curvatureOf(form);
}

bool curved(Curvature found, Curvature wanted) { return found == wanted || found == Curvature::flat; }

}  // namespace

bool isConvex(ModelProgram& program, const Checkpoint& checkpoint) {
  if (program.isLinear()) return true;
  if (!program.isQuadratic()) return false;
  const std::vector<int> rows = program.nonlinearRows();
  if (static_cast<double>(rows.size() + 1) * static_cast<double>(program.hessian.size()) > kMostWork) return false;
  checkpoint();
  const std::vector<double> x(program.columns(), 0.5);
  std::vector<double> multipliers(program.rows());
  std::vector<double> values(program.hessian.size());
  if (!program.hessianValues(x.data(), true, 1, multipliers.data(), values.data())) return false;
  const Curvature wanted = program.sense > 0 ? Curvature::convex : Curvature::concave;
  if (!curved(curvatureOf(program.hessian, values), wanted)) return false;
  for (const int row : rows) {
    checkpoint();
    multipliers[row] = 1;
    if (!program.hessianValues(x.data(), true, 0, multipliers.data(), values.data())) return false;
    multipliers[row] = 0;
    const Curvature found = curvatureOf(program.hessian, values);
    if (program.rowUpper[row] < TVLO_INFINITY && !curved(found, Curvature::convex)) return false;
    if (program.rowLower[row] > -TVLO_INFINITY && !curved(found, Curvature::concave)) return false;
  }
  return true;
}

bool linearPartInfeasible(const Problem& problem, const SolveContext& context) {
  Problem linear;
  linear.controls.copyFrom(problem.controls);
  Model& model = linear.model;
  model = problem.model;
  std::vector<bool> nonlinear(model.rows());
  for (const Formulas::Coefficient& coef : model.formulas().coefficients()) {
    if (Formulas::isLive(coef)) nonlinear[coef.row] = true;
  }
  for (const RowQuadratic& q : model.quadraticRows()) nonlinear[q.row] = true;
  std::vector<int> rows;
  for (int i = 0; i < model.rows(); ++i) {
    if (nonlinear[i]) rows.push_back(i);
  }
  if (static_cast<int>(rows.size()) == model.rows()) return false;
  std::vector<int> columns(model.columns());
  for (int j = 0; j < model.columns(); ++j) columns[j] = j;
  model.formulas() = Formulas();
  model.deleteRows(static_cast<int>(rows.size()), rows.data());
  std::vector<int> first, second;
  for (const QuadraticEntry& e : model.quadraticObjective().entries()) {
    first.push_back(e.first);
    second.push_back(e.second);
  }
  const std::vector<double> none(std::max(first.size(), columns.size()));
  model.setQuadraticObjective(static_cast<int64_t>(first.size()), first.data(), second.data(), none.data());
  model.setObjective(model.columns(), columns.data(), none.data());
  model.setColumnTypes(model.columns(), columns.data(), std::string(model.columns(), 'C').c_str());
  try {
    solveAside(linear, context);
  } catch (const Error&) {
    return false;  // no proof
  }
  return linear.solution.lpStatus == LpStatus::infeasible;
}

}  // namespace tvlo
