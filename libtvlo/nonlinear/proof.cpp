#include "nonlinear/proof.h"

#include <algorithm>

#include "route/solve.h"

namespace tvlo {

bool isConvex(const Model&, ModelProgram& program) { return program.isLinear(); }

bool linearPartInfeasible(const Problem& problem, double secondsLeft) {
  Problem linear;
  linear.controls.copyFrom(problem.controls);
  if (secondsLeft < TVLO_INFINITY) linear.controls.setDouble(control::timelimit, std::max(secondsLeft, 0.0));
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
    solveLp(linear, "");
  } catch (const Error&) {
    return false;  // no proof
  }
  return linear.solution.lpStatus == LpStatus::infeasible;
}

}  // namespace tvlo
