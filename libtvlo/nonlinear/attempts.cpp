#include "nonlinear/attempts.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "core/error.h"
#include "nonlinear/escape.h"
#include "nonlinear/start.h"

namespace tvlo {

namespace {

constexpr int64_t kKinkedIterations = 200;
constexpr int64_t kSmallIterations = 300;   // of one attempt, while others are left
constexpr int64_t kSecondIterations = 100;  // of a second look
constexpr double kWideBarrier = 1;          // keeps off the bounds for longer, where a better optimum may lie

struct Attempt {
  int start = 0;  // as startPoint() has it; -1: the last point
  Approach approach;
  const char* change = nullptr;  // what a retry changes, which is made for want of an answer only
  bool asGiven = false;          // the start is not moved off the bounds
  bool longer = false;           // only where an attempt's own limit of iterations has ended one
};

// Of the Hock-Schittkowski problems from random starts, 23 of 720 have no answer at first; the first change settles 11
// of them, the second one 2, other starts 6. Of 16 other classic problems it is 39 of 193, of which the first one
// settles all 27 that are feasible and the second one would 4.
std::vector<Attempt> attemptsFor(const Task& task, const Wish& wish) {
  std::vector<Attempt> attempts;
  if (wish.last != nullptr) attempts.push_back({-1, {.warm = true}});
  const bool small = task.isSmall();
  attempts.push_back({0, {.watched = !task.convex && small}});
  if (task.mayStall) {
    for (Attempt& attempt : attempts) attempt.approach.iterations = kKinkedIterations;
    for (int k = 1; k < wish.starts; ++k) attempts.push_back({k, {.adaptiveBarrier = true}});
    return attempts;
  }
  if (!task.solves.byLinearPrograms()) {
    if (small) attempts.push_back({0, {.unscaled = true}, "no scaling, the start as it was given", true});
    attempts.push_back({0, {.adaptiveBarrier = true}, "an adaptive barrier"});
  }
  const int starts = std::max(wish.starts, small || task.solves.byLinearPrograms() ? 3 : 2);
  for (int k = 1; k < starts; ++k) {
    attempts.push_back({k, {.adaptiveBarrier = true}, k < wish.starts ? nullptr : "another start"});
  }
  if (!small) return attempts;
  for (Attempt& attempt : attempts) attempt.approach.iterations = kSmallIterations;
  attempts.push_back({0, {}, "more iterations", false, true});
  return attempts;
}

// At the end of a solve bounds were relaxed, and a point that is put back within them may violate steep rows.
void solveWithinBounds(Task& task, const NlpPoint& start, Approach approach, NlpResult& result) {
  const bool answered = result.status == NlpStatus::optimal || result.status == NlpStatus::acceptable;
  if (!answered || !task.solves.relaxesBounds() || !task.isFinite(result) || task.isFeasible(result)) return;
  approach.exactBounds = true;
  for (const bool warm : {true, false}) {
    approach.warm = warm;
    NlpResult again = task.solves.solve(task.program, warm ? result.point : start, approach);
    if (!task.isFeasible(again) && again.stop == 0) continue;
    result = std::move(again);
    return;
  }
}

NlpPoint startOf(Task& task, const Wish& wish, const Attempt& attempt) {
  if (attempt.start < 0) return programPoint(task.program, *wish.last);
  NlpPoint start;
  start.x = startPoint(task.model, task.program, wish.seed, attempt.start, attempt.asGiven);
  return start;
}

// Not where users' functions make solves expensive.
bool deservesSecondLook(const Task& task, const Wish& wish, const Attempt& attempt) {
  return attempt.start == 0 && attempt.change == nullptr && wish.starts == 1 && !task.convex && !task.mayStall &&
         task.isSmall() && task.program.exactKinks().empty() && !task.solves.byLinearPrograms() &&
         task.model.formulas().functions.size() == 0;
}

}  // namespace

Outcome solveFrom(Task& task, const NlpPoint& start, const Approach& approach) {
  NlpResult result = task.solves.solve(task.program, start, approach);
  leaveStalled(task, start, result);
  solveWithinBounds(task, start, approach, result);
  if (!task.convex) leaveStationary(task, start.x, result);
  return judge(task, result, start.x);
}

Outcome solveInTurn(Task& task, const Wish& wish) {
  std::optional<Outcome> best;
  int answers = 0;
  Stop stop = Stop::none;
  const auto take = [&](Outcome outcome) {
    stop = outcome.stop;
    if (!best || isBetter(task, outcome, *best)) best = std::move(outcome);
  };
  // An attempt's own limit of iterations stops only that.
  bool stopped = false, limited = false;
  for (const Attempt& attempt : attemptsFor(task, wish)) {
    if (attempt.change != nullptr && answers > 0) continue;
    if (attempt.longer && !limited) continue;
    if (attempt.change != nullptr) {
      task.solves.context().say(format("No answer (%.*s); solving again with %s", static_cast<int>(best->reason.size()),
                                       best->reason.data(), attempt.change),
                                MessageType::warning);
    }
    const NlpPoint start = startOf(task, wish, attempt);
    take(solveFrom(task, start, attempt.approach));
    answers += best->isOptimal();
    const bool own = stop == Stop::iterationLimit && attempt.approach.iterations < task.solves.iterationLimit();
    stopped = stop != Stop::none && !own;
    limited = limited || own;
    if (answers == 1 && !stopped && deservesSecondLook(task, wish, attempt)) {
      take(solveFrom(task, start, {.barrier = kWideBarrier, .iterations = kSecondIterations}));
    }
    if (best->isProven() || stopped || answers >= wish.starts) break;
  }
  const bool complete = best->isProven() || (best->isOptimal() && !stopped);
  best->stop = complete ? Stop::none : stop;
  return std::move(*best);
}

}  // namespace tvlo
