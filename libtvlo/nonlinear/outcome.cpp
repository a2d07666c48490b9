#include "nonlinear/outcome.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "core/error.h"
#include "nonlinear/interval.h"
#include "nonlinear/proof.h"
#include "nonlinear/ray.h"

namespace tvlo {

namespace {

// Relative, of stationarity and of complementary slackness.
constexpr double kOptimal = 1e-5;
// An objective that grows without bound must at least come to this where the engine says that it does.
constexpr double kUnbounded = 1e8;
constexpr double kFar = 1e6;
// Columns, rows and entries of derivatives.
constexpr size_t kSmall = 5000;

Stop stopOf(const NlpResult& result) {
  switch (result.stop) {
    case -1:
      return Stop::timeLimit;
    case -2:
      return Stop::iterationLimit;
    default:
      return result.stop > 0 ? static_cast<Stop>(result.stop) : Stop::none;
  }
}

// Not with users' functions, which needn't be able to take points far off.
bool leadsAway(Task& task, const std::vector<double>& from, const std::vector<double>& to) {
  if (task.solves.context().reason() != 0 || task.model.formulas().functions.size() > 0) return false;
  return fallsForever(task.model, task.program, from, to);
}

bool provenInfeasible(Task& task) {
  if (!task.hopeless) {
    task.hopeless = someRowIsOutOfReach(task.model, 10 * task.solves.feasibility()) ||
                    linearPartInfeasible(task.solves.problem(), task.solves.context());
  }
  return *task.hopeless;
}

void judgeInfeasible(Task& task, Outcome& outcome) {
  const bool feasible = outcome.check.primal <= task.solves.feasibility();
  outcome.status = feasible ? NonlinearStatus::unfinished : NonlinearStatus::locallyInfeasible;
  if (feasible || (!task.convex && !provenInfeasible(task))) return;
  outcome.status = NonlinearStatus::infeasible;
  outcome.point = PointValues();
}

void take(Task& task, Outcome& outcome, const NlpPoint& point) {
  outcome.point = modelPoint(task.model, task.program, point);
  outcome.check = checkAnswer(task.model, task.program, outcome.point, point);
}

// Rows hold only relative to the size of a point far out: there must be a feasible one nearer by, too.
void judgeUnbounded(Task& task, Outcome& outcome, const std::vector<double>& start) {
  NlpPoint near;
  near.x = start;
  take(task, outcome, near);
  if (outcome.check.primal > task.solves.feasibility()) {
    WithoutObjective rows(task.program);
    NlpResult found = task.solves.solveOnce(rows, near, {});
    outcome.stop = stopOf(found);
    if (task.isFinite(found)) near.x = std::move(found.point.x);
    take(task, outcome, near);
    if (found.status == NlpStatus::infeasible) return judgeInfeasible(task, outcome);
  }
  const bool feasible = outcome.check.primal <= task.solves.feasibility();
  outcome.status = feasible ? NonlinearStatus::unbounded : NonlinearStatus::unfinished;
  if (feasible) outcome.stop = Stop::none;
}

}  // namespace

bool Task::isFinite(const NlpResult& result) const {
  return result.point.x.size() == static_cast<size_t>(program.columns()) && allFinite(result.point.x);
}

AnswerCheck Task::check(const NlpResult& result) const {
  return checkAnswer(model, program, modelPoint(model, program, result.point), result.point);
}

bool Task::isFeasible(const NlpResult& result) const {
  return isFinite(result) && check(result).primal <= solves.feasibility();
}

bool Task::isSmall() const {
  const auto lines = static_cast<size_t>(program.columns()) + program.rows();
  return lines + program.jacobian.size() + program.hessian.size() <= kSmall;
}

bool isFar(const std::vector<double>& start, const std::vector<double>& x) {
  double near = 1, farthest = 0;
  for (const double value : start) near = std::max(near, std::abs(value));
  for (const double value : x) farthest = std::max(farthest, std::abs(value));
  return farthest > kFar * near;
}

Outcome judge(Task& task, const NlpResult& result, const std::vector<double>& start) {
  Outcome outcome;
  outcome.stop = stopOf(result);
  outcome.reason = result.reason;
  if (task.isFinite(result)) take(task, outcome, result.point);
  const AnswerCheck& check = outcome.check;
  const bool feasible = check.primal <= task.solves.feasibility();
  const bool answered = result.status == NlpStatus::optimal || result.status == NlpStatus::acceptable;
  // An engine that failed may have done so at an optimum that its own tolerances miss.
  const bool optimal = (answered || result.status == NlpStatus::failed) && feasible && check.dual <= kOptimal &&
                       check.complementarity <= kOptimal;
  const bool suspect = optimal ? !task.convex && isFar(start, result.point.x) : feasible;
  const bool diverges =
      result.status == NlpStatus::unbounded && task.model.sense() * outcome.point.objective < -kUnbounded;
  if (diverges || (suspect && leadsAway(task, start, result.point.x))) {
    judgeUnbounded(task, outcome, start);
  } else if (optimal) {
    outcome.status = task.convex ? NonlinearStatus::globallyOptimal : NonlinearStatus::locallyOptimal;
  } else if (result.status == NlpStatus::infeasible) {
    judgeInfeasible(task, outcome);
  } else if (answered) {
    task.solves.context().say(format("The answer fails its check: violation %.1e, dual %.1e, complementarity %.1e",
                                     check.primal, check.dual, check.complementarity),
                              MessageType::warning);
  }
  return outcome;
}

bool isBetter(const Task& task, const Outcome& one, const Outcome& other) {
  const auto rank = [&](const Outcome& outcome) {
    if (outcome.isProven()) return 0;
    if (outcome.isOptimal()) return 1;
    if (outcome.check.primal <= task.solves.feasibility()) return 2;
    return outcome.status == NonlinearStatus::locallyInfeasible ? 3 : 4;
  };
  const auto value = [&](const Outcome& outcome) {
    return outcome.isOptimal() ? task.model.sense() * outcome.point.objective : outcome.check.primal;
  };
  return std::tuple(rank(one), value(one)) < std::tuple(rank(other), value(other));
}

}  // namespace tvlo
