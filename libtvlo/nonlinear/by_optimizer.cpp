#include "nonlinear/by_optimizer.h"

#include "route/solve.h"

namespace tvlo {

namespace {

char typeOf(double lower, double upper) {
  if (lower <= -TVLO_INFINITY) return upper >= TVLO_INFINITY ? 'N' : 'L';
  if (upper >= TVLO_INFINITY) return 'G';
  return lower == upper ? 'E' : 'R';
}

// False where a function has no value at the origin.
bool build(ModelProgram& program, Model& model) {
  const int columns = program.columns(), rows = program.rows();
  const std::vector<double> origin(columns, 0);
  double constant = 0;
  std::vector<double> cost(columns), activity(rows), value(program.jacobian.size()), curvature(program.hessian.size());
  const std::vector<double> multipliers(rows, 0);
  if (!program.objective(origin.data(), true, constant) || !program.gradient(origin.data(), false, cost.data()) ||
      !program.constraints(origin.data(), false, activity.data()) ||
      !program.jacobianValues(origin.data(), false, value.data()) ||
      !program.hessianValues(origin.data(), false, 1, multipliers.data(), curvature.data())) {
    return false;
  }
  ColumnBatch variables;
  variables.count = columns;
  variables.obj = cost.data();
  variables.lb = program.columnLower.data();
  variables.ub = program.columnUpper.data();
  model.addColumns(variables);
  const int none = -1;
  const double minus = -constant;
  model.setObjective(1, &none, &minus);
  model.setQuadraticObjective(static_cast<int64_t>(curvature.size()), program.hessian.row.data(),
                              program.hessian.column.data(), curvature.data());
  model.setSense(program.sense);

  std::vector<char> type(rows);
  std::vector<double> rhs(rows), lower(rows);
  for (int i = 0; i < rows; ++i) {
    type[i] = typeOf(program.rowLower[i], program.rowUpper[i]);
    if (type[i] == 'R') lower[i] = program.rowLower[i] - activity[i];
    if (type[i] != 'N') rhs[i] = (type[i] == 'G' ? program.rowLower[i] : program.rowUpper[i]) - activity[i];
  }
  const std::vector<int64_t> start(rows, 0);
  RowBatch batch;
  batch.count = rows;
  batch.type = type.data();
  batch.rhs = rhs.data();
  batch.lower = lower.data();
  batch.start = start.data();
  model.addRows(batch);
  model.setCoefficients(static_cast<int64_t>(value.size()), program.jacobian.row.data(), program.jacobian.column.data(),
                        value.data());
  return true;
}

NlpStatus statusOf(LpStatus status) {
  switch (status) {
    case LpStatus::optimal:
      return NlpStatus::optimal;
    case LpStatus::infeasible:
      return NlpStatus::infeasible;
    case LpStatus::unbounded:
      return NlpStatus::unbounded;
    default:
      return NlpStatus::failed;
  }
}

}  // namespace

NlpResult solveByOptimizer(const Problem& problem, ModelProgram& program, const SolveContext& context,
                           std::string& engine) {
  NlpResult result;
  result.reason = "no answer of the optimizer";
  Problem linear;
  linear.controls.copyFrom(problem.controls);
  if (!build(program, linear.model)) return result;
  solveAside(linear, context);

  engine = linear.sessionEngine;
  Solution& solution = linear.solution;
  result.status = statusOf(solution.lpStatus);
  result.iterations = static_cast<int>(solution.simplexIterations + solution.barrierIterations);
  result.stop = solution.stop == Stop::timeLimit        ? -1
                : solution.stop == Stop::iterationLimit ? -2
                                                        : static_cast<int>(solution.stop);
  if (result.stop != 0) result.status = NlpStatus::unfinished;
  if (!solution.lp.available) return result;
  result.objective = solution.lp.objective;
  result.point.x = std::move(solution.lp.x);
  result.point.dual = std::move(solution.lp.dual);
  result.point.redcost = std::move(solution.lp.redcost);
  return result;
}

}  // namespace tvlo
