#include "engines/ipopt/session.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>

#include "core/error.h"
#include "engines/nlp_bounds.h"

namespace tvlo::ipopt {

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin) { return std::chrono::duration<double>(Clock::now() - begin).count(); }

// Of attempts with predictor-corrector steps, which do not notice that there is no feasible point, and of those from
// the last point of a quadratic program, which a start from nothing often overtakes.
constexpr int kPredictorLimit = 200;
constexpr int kWarmLimit = 10;

int paddingOf(const NlpProgram& program) {
  int equations = 0, free = 0;
  for (int i = 0; i < program.rows(); ++i) equations += program.rowLower[i] == program.rowUpper[i];
  for (int j = 0; j < program.columns(); ++j) free += program.columnLower[j] < program.columnUpper[j];
  return equations > 0 && free > 0 ? std::max(0, equations - free + 1) : 0;
}

double finite(double value) { return std::isfinite(value) ? value : 0; }

struct Verdict {
  NlpStatus status;
  const char* reason;
  int stop = 0;
};

// `nearly`: the last iterate was optimal within the acceptable tolerance.
Verdict verdictOn(ApplicationReturnStatus status, bool nearly, bool feasible) {
  const auto stuck = nearly ? NlpStatus::acceptable : NlpStatus::failed;
  switch (status) {
    case Solve_Succeeded:
      return {NlpStatus::optimal, "optimal"};
    case Feasible_Point_Found:
      return {NlpStatus::acceptable, "feasible point of a system of equations"};
    case Solved_To_Acceptable_Level:
      return {NlpStatus::acceptable, "solved to acceptable level"};
    case Infeasible_Problem_Detected:
      return {NlpStatus::infeasible, "converged to a point of local infeasibility"};
    case Diverging_Iterates:
      return {feasible ? NlpStatus::unbounded : NlpStatus::failed, "iterates diverge"};
    case User_Requested_Stop:
      return {NlpStatus::unfinished, "stopped on request"};
    case Maximum_Iterations_Exceeded:
      return {NlpStatus::unfinished, "iteration limit", -2};
    case Maximum_CpuTime_Exceeded:
    case Maximum_WallTime_Exceeded:
      return {NlpStatus::unfinished, "time limit", -1};
    case Search_Direction_Becomes_Too_Small:
      return {stuck, "search direction becomes too small"};
    case Restoration_Failed:
      return {stuck, "restoration of feasibility failed"};
    case Error_In_Step_Computation:
      return {stuck, "no search direction could be computed"};
    case Not_Enough_Degrees_Of_Freedom:
      return {NlpStatus::failed, "too few degrees of freedom"};
    case Invalid_Number_Detected:
      return {NlpStatus::failed, "a function or derivative is not a number"};
    case Unrecoverable_Exception:
      return {NlpStatus::failed, "unrecoverable exception"};
    case Insufficient_Memory:
      throw Error(TVLO_ERR_MEMORY, "Out of memory");
    default:
      throw Error(TVLO_ERR_ENGINE, format("Ipopt failed (status %d)", static_cast<int>(status)));
  }
}

// Puts what Ipopt relaxed back within the bounds. Whether anything moved.
bool clampToBounds(const NlpProgram& program, std::vector<double>& x) {
  bool moved = false;
  for (int j = 0; j < program.columns(); ++j) {
    const double inside = std::clamp(x[j], program.columnLower[j], program.columnUpper[j]);
    moved = moved || inside != x[j];
    x[j] = inside;
  }
  return moved;
}

void runIpopt(Solve& solve, const NlpPoint& start, const Approach& approach, double secondsLeft, NlpResult& result) {
  NlpProgram& program = solve.program;
  const int columns = program.columns(), rows = program.rows();
  struct Free {
    void operator()(IpoptProblemInfo* problem) const { FreeIpoptProblem(problem); }
  };
  const std::unique_ptr<IpoptProblemInfo, Free> problem(createProblem(solve));
  if (problem == nullptr) throw Error(TVLO_ERR_ENGINE, "Ipopt could not take the problem");
  solve.settings = applyOptions(problem.get(), program, solve.request, approach);
  int limit = std::max(0, solve.settings.iterationLimit - solve.before);
  if (approach.predictor) limit = std::min(limit, kPredictorLimit);
  if (approach.warm && program.quadratic) limit = std::min(limit, kWarmLimit);
  setOption(problem.get(), "max_iter", limit);
  if (secondsLeft < TVLO_INFINITY) setOption(problem.get(), "max_wall_time", std::max(secondsLeft, 1e-6));

  const double sense = program.sense;
  std::vector<double> x = startWithin(program, start), activity(rows), multiplier(rows, 0);
  x.resize(solve.columns(), 0);
  std::vector<double> lower(x.size(), 0), upper(x.size(), 0);
  if (approach.warm) {
    for (int i = 0; i < rows; ++i) multiplier[i] = -sense * finite(start.dual[i]);
    for (int j = 0; j < columns; ++j) {
      const double cost = sense * finite(start.redcost[j]);
      lower[j] = std::max(cost, 0.0);
      upper[j] = std::max(-cost, 0.0);
    }
  }
  double value = 0;
  const ApplicationReturnStatus status = IpoptSolve(problem.get(), x.data(), activity.data(), &value, multiplier.data(),
                                                    lower.data(), upper.data(), &solve);
  result.iterations = solve.iterations;
  result.evaluation = solve.evaluation;
  result.regularised = solve.regularised;
  if (solve.failure) std::rethrow_exception(solve.failure);

  const double acceptable = solve.settings.acceptable;
  double size = 1;
  for (int j = 0; j < columns; ++j) size = std::max(size, std::abs(x[j]));
  const bool nearly = solve.infeasibility <= acceptable && solve.dualInfeasibility <= acceptable;
  const Verdict verdict = verdictOn(status, nearly, solve.infeasibility <= acceptable * size);
  result.status = verdict.status;
  result.reason = verdict.reason;
  result.stop = solve.stop != 0 ? solve.stop : verdict.stop;

  x.resize(columns);
  result.objective = sense * value;
  if (clampToBounds(program, x) && program.objective(x.data(), true, result.objective)) {
    program.constraints(x.data(), false, activity.data());
  }
  result.point.x = std::move(x);
  result.point.activity = std::move(activity);
  result.point.dual.resize(rows);
  result.point.redcost.resize(columns);
  for (int i = 0; i < rows; ++i) result.point.dual[i] = -sense * multiplier[i];
  for (int j = 0; j < columns; ++j) result.point.redcost[j] = sense * (lower[j] - upper[j]);
}

// Where nothing can vary: the only point, or the start, and whether it satisfies the rows.
void evaluateOnly(Solve& solve, const NlpPoint& start, NlpResult& result) {
  constexpr double kTolerance = 1e-8;
  NlpProgram& program = solve.program;
  NlpPoint& point = result.point;
  point.x = startWithin(program, start);
  point.activity.assign(program.rows(), 0);
  point.dual.assign(program.rows(), 0);
  point.redcost.assign(program.columns(), 0);
  if (!program.objective(point.x.data(), true, result.objective) || std::isnan(result.objective) ||
      !program.constraints(point.x.data(), false, point.activity.data()) ||
      !program.gradient(point.x.data(), false, point.redcost.data())) {
    result.reason = "a function can't be evaluated";
    return;
  }
  result.status = NlpStatus::optimal;
  result.reason = "no column can vary";
  for (int i = 0; i < program.rows(); ++i) {
    const double value = point.activity[i], tolerance = kTolerance * std::max(1.0, std::abs(value));
    if (value >= program.rowLower[i] - tolerance && value <= program.rowUpper[i] + tolerance) continue;
    result.status = NlpStatus::infeasible;
    result.reason = "no column can vary and a row is violated";
  }
}

}  // namespace

void Session::solve(NlpProgram& program, const NlpPoint& start, const NlpRequest& request, NlpResult& result) {
  const Clock::time_point begin = Clock::now();
  result = NlpResult();
  Solve solve{program, request};
  const struct Stopwatch {
    Clock::time_point since;
    NlpResult& result;
    ~Stopwatch() { result.seconds = secondsSince(since); }
  } stopwatch{begin, result};

  if (endsByBounds(program, result)) return;
  if (program.columnLower == program.columnUpper) {
    evaluateOnly(solve, start, result);
    return;
  }
  if (request.secondsLeft <= 0) {
    result.status = NlpStatus::unfinished;
    result.stop = -1;
    result.reason = "time limit";
    return;
  }

  solve.padding = paddingOf(program);
  const bool warm = request.warm && !start.x.empty() && start.dual.size() == program.rowLower.size() &&
                    start.redcost.size() == start.x.size();
  std::vector<Approach> approaches;
  if (warm) approaches.push_back({true, false});
  // Predictor-corrector steps may let duals grow that are not unique.
  if (program.quadratic && !request.exactDuals) approaches.push_back({false, true});
  approaches.push_back({false, false});
  for (const Approach& approach : approaches) {
    const bool limited = request.secondsLeft < TVLO_INFINITY;
    runIpopt(solve, start, approach, limited ? request.secondsLeft - secondsSince(begin) : TVLO_INFINITY, result);
    const bool solved = result.status == NlpStatus::optimal || result.status == NlpStatus::acceptable;
    const bool stopped = solve.stop != 0 || result.stop == -1 || result.iterations >= solve.settings.iterationLimit;
    if (solved || stopped) break;
    solve.before = solve.iterations;
  }
}

}  // namespace tvlo::ipopt
