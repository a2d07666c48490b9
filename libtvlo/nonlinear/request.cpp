#include "nonlinear/request.h"

#include <algorithm>
#include <cmath>

#include "nonlinear/by_optimizer.h"
#include "nonlinear/parameters.h"
#include "nonlinear/pieces.h"

namespace tvlo {

namespace {

// Whether the objective has hardly changed for a long time.
class StallWatch {
 public:
  bool stalls(int iteration, double objective) {
    if (iteration % kWindow != 0) return false;
    const bool still = iteration > kWindow && std::abs(objective - last_) < kChange * std::max(1.0, std::abs(last_));
    last_ = objective;
    return still;
  }

 private:
  static constexpr int kWindow = 100;
  static constexpr double kChange = 1e-5;
  double last_ = 0;
};

}  // namespace

bool LocalSolves::byLinearPrograms() const { return controls_.getInt(slpcontrol::nlp_method) == 1; }
double LocalSolves::feasibility() const { return controls_.getDouble(slpcontrol::nlp_feastol); }
bool LocalSolves::relaxesBounds() const {
  return !byLinearPrograms() && controls_.getDouble(slpcontrol::nlp_boundrelax) > 0;
}
int64_t LocalSolves::iterationLimit() const { return controls_.getInt(slpcontrol::nlp_iterlimit); }

NlpResult LocalSolves::solveOnce(NlpProgram& program, const NlpPoint& start, const Approach& approach) {
  ControlValues controls = controls_;
  controls.setInt(slpcontrol::nlp_iterlimit, std::min(approach.iterations, iterationLimit()));
  if (approach.adaptiveBarrier) controls.setInt(slpcontrol::nlp_mustrategy, 1);
  if (approach.unscaled) controls.setInt(slpcontrol::nlp_scaling, 0);
  if (approach.barrier > 0) controls.setDouble(slpcontrol::nlp_muinit, approach.barrier);
  NlpRequest request;
  request.warm = approach.warm;
  if (approach.exactBounds) request.relaxation = 0;
  request.secondsLeft = context_.secondsLeft();
  request.controls = &controls;
  if (context_.isHeard()) {
    request.log = [this](std::string_view line) { context_.say(line); };
  }
  request.interrupted = [this] { return context_.reason(); };
  StallWatch watch;
  request.iteration = [&](int iteration, double objective, double) {
    const int reason = context_.reason();
    return reason == 0 && approach.watched && watch.stalls(iteration, objective) ? kStopStalled : reason;
  };
  NlpResult result;
  engine = byLinearPrograms() ? "slp" : "ipopt";
  open_(engine)->solve(program, start, request, result);
  iterations += result.iterations;
  evaluation += result.evaluation;
  return result;
}

NlpResult LocalSolves::solve(ModelProgram& program, const NlpPoint& start, const Approach& approach) {
  if (program.exactKinks().empty()) return solveOnce(program, start, approach);
  const bool linear = program.isLinear() && !byLinearPrograms();
  return solveByPieces(program, start, feasibility(), [&](NlpProgram& chosen, const NlpPoint& from) {
    if (linear) {
      NlpResult result = solveByOptimizer(program);
      if (result.status != NlpStatus::infeasible && result.status != NlpStatus::failed) return result;
    }
    return solveOnce(chosen, from, approach);
  });
}

NlpResult LocalSolves::solveByOptimizer(ModelProgram& program) {
  NlpResult result = tvlo::solveByOptimizer(problem_, program, context_, engine);
  iterations += result.iterations;
  return result;
}

}  // namespace tvlo
