#include "quadratic/session.h"

#include <algorithm>
#include <cmath>

#include "core/check.h"
#include "quadratic/program.h"

namespace tvlo {

namespace {

// Where the objective has gone beyond this, the problem is as good as unbounded, and waiting for the solver to say so
// takes long.
constexpr double kDiverged = 1e20;
constexpr int kStopDiverged = -100;  // no reason of an interrupt
constexpr int kStopLong = -101;
constexpr int kMostIterations = 1000;  // of a convex problem's some 20

// Sets without an inside have no bounded duals; the more they are relaxed, the smaller are those that are found, and
// the farther from the optimum are they.
struct Try {
  bool exact;
  double relaxation;  // where rows are quadratic
};
constexpr Try kTries[] = {{false, 0}, {true, 1e-12}, {true, 1e-8}};

LpStatus lpStatusOf(NlpStatus status) {
  switch (status) {
    case NlpStatus::optimal:
    case NlpStatus::acceptable:
      return LpStatus::optimal;
    case NlpStatus::infeasible:
      return LpStatus::infeasible;
    case NlpStatus::unbounded:
      return LpStatus::unbounded;
    default:
      return LpStatus::unfinished;
  }
}

Stop stopOf(const NlpResult& result, const ControlValues& controls) {
  if (result.status != NlpStatus::unfinished) return Stop::none;
  switch (result.stop) {
    case -1:
      return Stop::timeLimit;
    case -2:  // the solver has one of its own, too
      return result.iterations >= controls.getInt(control::bariterlimit) ? Stop::iterationLimit : Stop::none;
    case kStopDiverged:
    case kStopLong:
      return Stop::none;
    default:
      return Stop::interrupt;
  }
}

}  // namespace

void QuadraticSession::solve(const Model& model, const SolveRequest& request, Solution& result) {
  const bool unchanged = model.changes().none(model.rows(), model.columns());
  if (unchanged && !request.cold && settled_.lpStatus != LpStatus::unstarted) {
    result = settled_;
    return;
  }
  settled_ = Solution();

  QuadraticProgram program(model);
  if (!program.emptyRowsHold(request.controls->getDouble(control::feastol))) {
    result.lpStatus = LpStatus::infeasible;
    return;
  }
  const auto columns = static_cast<size_t>(model.columns());
  const bool sized = last_.x.size() == columns && last_.dual.size() == model.rowTypes().size();
  NlpRequest nlp;
  nlp.warm = sized && !request.cold;
  nlp.secondsLeft = request.secondsLeft;
  const Try& how = kTries[std::min<size_t>(request.again, std::size(kTries) - 1)];
  ControlValues controls = *request.controls;
  if (how.exact) {
    constexpr double kLeast = 1e-12;  // of that control's range
    controls.setDouble(control::barriergaptol, std::max(kLeast, 0.01 * controls.getDouble(control::barriergaptol)));
  }
  nlp.exactDuals = how.exact;
  if (!program.quadratic) nlp.relaxation = how.relaxation;
  nlp.controls = &controls;
  nlp.log = request.log;
  nlp.iteration = [&](int iteration, double objective, double) {
    if (iteration > kMostIterations) return kStopLong;
    if (!(std::abs(objective) < kDiverged)) return kStopDiverged;
    return request.interrupted ? request.interrupted() : 0;
  };
  NlpPoint start;
  if (nlp.warm) {
    start = {last_.x, {}, program.toProgram(last_.dual), last_.redcost};
  } else {
    start.x.reserve(columns);
    for (size_t j = 0; j < columns; ++j) {
      start.x.push_back(std::clamp(0.0, program.columnLower[j], program.columnUpper[j]));
    }
  }
  NlpResult found;
  solver_->solve(program, start, nlp, found);

  const bool diverged = found.status == NlpStatus::unfinished && found.stop == kStopDiverged;
  result.lpStatus = diverged ? LpStatus::unbounded : lpStatusOf(found.status);
  result.stop = stopOf(found, *request.controls);
  result.barrierIterations = found.iterations;
  if (found.point.x.size() != columns) return;
  result.lp.available = true;
  result.lp.x = std::move(found.point.x);
  result.lp.dual = program.toModel(found.point.dual);
  // The engine's own hold within its tolerance; these hold by definition.
  result.lp.redcost = reducedCosts(model, result.lp.x, result.lp.dual);
  if (result.lpStatus != LpStatus::optimal) return;
  last_ = {result.lp.x, {}, result.lp.dual, result.lp.redcost};
  settled_ = result;
}

}  // namespace tvlo
