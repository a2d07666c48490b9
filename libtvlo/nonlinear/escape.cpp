#include "nonlinear/escape.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

#include "nonlinear/second_order.h"
#include "nonlinear/start.h"

namespace tvlo {

namespace {

constexpr int kMostDescents = 4;
constexpr double kMostFactorWork = 3e8;
constexpr double kGain = 1e-9;     // of the objective, relative
constexpr double kFarther = 1e-5;  // of the objective as far out again, relative

// To factorise, with the fill-in that the derivatives' density lets expect.
bool isCheap(const NlpProgram& program) {
  const double entries = static_cast<double>(program.hessian.size() + program.jacobian.size());
  return entries * entries <= kMostFactorWork * std::max(1, program.columns());
}

// Whether a solve from there gave something better, which takes the result's place; or was stopped.
bool startedLower(Task& task, NlpResult& result, std::vector<double> from) {
  NlpPoint start;
  start.x = std::move(from);
  moveInside(task.program, start.x);
  task.program.complete(start.x);
  NlpResult other = task.solves.solve(task.program, start, {});
  const double gain = task.model.sense() * (result.objective - other.objective);
  const bool better = gain > kGain * std::abs(result.objective) && task.isFeasible(other);
  const bool stopped = other.stop > 0 || other.stop == -1;
  if (!better && !stopped) return false;
  result = std::move(other);
  return true;
}

bool stepsOff(Task& task, NlpResult& result) {
  std::mt19937 random(1);
  std::vector<double> step(result.point.x.size());
  for (double& s : step) s = std::uniform_real_distribution<double>(-1, 1)(random) * 1e-2;
  for (const int sign : {1, -1}) {
    std::vector<double> start = result.point.x;
    for (size_t j = 0; j < step.size(); ++j) start[j] += sign * step[j] * std::max(1.0, std::abs(start[j]));
    if (startedLower(task, result, std::move(start))) return true;
  }
  return false;
}

// Where slopes fade with the distance, a way to infinity meets the tolerances at last. An optimum is worse twice as
// far out.
void lookFarther(Task& task, NlpResult& result) {
  ModelProgram& program = task.program;
  const std::vector<double>& x = result.point.x;
  if (task.check(result).farther <= kFarther) return;
  const auto farthest =
      std::max_element(x.begin(), x.end(), [](double a, double b) { return std::abs(a) < std::abs(b); });
  const auto j = static_cast<size_t>(farthest - x.begin());
  const double beyond = 2 * x[j];
  std::vector<double>& bounds = beyond > 0 ? program.columnLower : program.columnUpper;
  if (beyond > program.columnUpper[j] || beyond < program.columnLower[j]) return;
  const double bound = std::exchange(bounds[j], beyond);
  NlpPoint start;
  start.x = x;
  start.x[j] = beyond;
  const NlpResult other = task.solves.solve(program, start, {});
  const double loss = task.model.sense() * (other.objective - result.objective);
  const bool worse = other.status == NlpStatus::optimal && task.isFeasible(other) && loss > 0;
  bounds[j] = bound;
  if (worse) return;
  result.status = NlpStatus::unfinished;
  result.reason = "the objective goes on improving far out";
}

bool isAt(const std::vector<double>& x, const std::vector<double>& start) {
  return std::equal(x.begin(), x.end(), start.begin(), start.end(),
                    [](double a, double b) { return std::abs(a - b) <= 1e-8 * std::max(1.0, std::abs(b)); });
}

}  // namespace

void leaveStationary(Task& task, const std::vector<double>& start, NlpResult& result) {
  for (int k = 0; k < kMostDescents && result.status == NlpStatus::optimal && task.isFinite(result); ++k) {
    const bool stayed = isAt(result.point.x, start);
    if (!task.isSmall() && !(stayed && isCheap(task.program))) break;
    const Stationary found = examineStationary(task.program, result.point, start);
    if (!found.lower.empty() && startedLower(task, result, found.lower)) continue;
    const bool suspect = found.kind == SecondOrder::descends ? stayed || result.regularised
                                                             : found.kind == SecondOrder::degenerate && stayed;
    if (!suspect || !stepsOff(task, result)) break;
  }
  if (result.status == NlpStatus::optimal && task.isFinite(result) && isFar(start, result.point.x)) {
    lookFarther(task, result);
  }
}

void leaveStalled(Task& task, const NlpPoint& start, NlpResult& result) {
  if (result.stop != kStopStalled) return;
  result.stop = 0;
  if (!task.isFinite(result) || !stepsOff(task, result)) result = task.solves.solve(task.program, start, {});
}

}  // namespace tvlo
