#include "engines/highs/session.h"

#include <algorithm>
#include <cmath>

#include "engines/highs/basis.h"
#include "engines/highs/workers.h"

namespace tvlo::highs {

namespace {

// Without coefficients that count nothing is known of the absence of an optimum.
LpStatus lpStatusOf(HighsInt status, bool dropped) {
  if (dropped && status != kHighsModelStatusOptimal) return LpStatus::unfinished;
  switch (status) {
    case kHighsModelStatusOptimal:
    case kHighsModelStatusModelEmpty:
      return LpStatus::optimal;
    case kHighsModelStatusInfeasible:
      return LpStatus::infeasible;
    case kHighsModelStatusUnbounded:
    case kHighsModelStatusUnboundedOrInfeasible:
      return LpStatus::unbounded;
    default:
      return LpStatus::unfinished;
  }
}

constexpr HighsInt kMemoryLimit = 18;  // of HiGHS's enumeration; its C interface has no name for it
constexpr HighsInt kOwnInterrupt = 19;

}  // namespace

Session::Session() : owner_(Highs_create()), highs_(owner_.get()), options_(highs_) {
  if (highs_ == nullptr) throw Error(TVLO_ERR_ENGINE, "HiGHS could not start");
  options_.set("log_to_console", false);
  output(false);
  options_.set("large_matrix_value", 1e100);  // the model's coefficients count, also very large ones
  // The active-set method for quadratic objectives gets slower with the cube of that dimension; others are quick there.
  options_.set("qp_nullspace_limit", 300);
  options_.set("mip_ipm_solver", "ipx");  // the other one is in a library that is not part of us
  must(Highs_setCallback(highs_, onEvent, this), "set its callback");
  for (const HighsInt event : {kHighsCallbackSimplexInterrupt, kHighsCallbackIpmInterrupt, kHighsCallbackMipInterrupt,
                               kHighsCallbackMipImprovingSolution}) {
    must(Highs_startCallback(highs_, event), "start a callback");
  }
}

Session::~Session() = default;

Session::Solve Session::begin(const Model& model, const SolveRequest& request, Solution& result) const {
  const bool limited = request.secondsLeft < 1e9;
  const std::chrono::duration<double> wait(limited ? std::max(request.secondsLeft, 0.0) : 0);
  return {model, request, result, Clock::now() + std::chrono::duration_cast<Clock::duration>(wait), limited};
}

void Session::solve(const Model& model, const SolveRequest& request, Solution& result) {
  Solve solve = begin(model, request, result);
  const Current current{*this};
  now_ = &solve;

  options_.apply(request, model);
  bool again = synchronise(model, request);
  options_.apply(request, model);  // retiring lines changes the method
  again = again || options_.changed() || !ended_ || request.cold;
  if (!again && startsFromBasis(request)) again = !(*request.start == last_);
  if (again) {
    ended_ = false;
    shown_ = {};
    if (request.mip) {
      forget();  // what an LP left would be taken for a start of the search
    } else {
      place(model, request);
    }
    listen();
    status_ = run();
    if (request.mip && !capped_.empty()) status_ = settleCaps(status_);
    status_ = centre(status_);
    improvements_ = solve.improvements;
    options_.settle();
    ended_ = stopOf(status_) == Stop::none && status_ != kHighsModelStatusUnknown;
  }
  if (request.mip) {
    extractMip();
  } else {
    extractLp();
  }
}

void Session::forget() {
  must(Highs_clearSolver(highs_), "forget its last solution");
  basisKnown_ = false;
}

void Session::setLimit() {
  constexpr double kForEver = 1e7;
  now_->limit = kForEver;
  if (now_->limited) {
    now_->limit = std::clamp(std::chrono::duration<double>(now_->deadline - Clock::now()).count(), 0.0, kForEver);
  }
  must(Highs_zeroAllClocks(highs_), "reset its clocks");  // its limit counts over all runs of an instance
  must(Highs_setDoubleOptionValue(highs_, "time_limit", now_->limit), "set its time limit");
}

HighsInt Session::run() {
  setLimit();
  {
    const Workers workers(now_->request.controls->getInt(control::threads));
    const Running running(*this);
    Highs_run(highs_);  // its result says no more than the status
  }
  flushLog();
  if (now_->failure) std::rethrow_exception(now_->failure);
  Solution& result = now_->result;
  result.simplexIterations += integer("simplex_iteration_count") + integer("crossover_iteration_count") +
                              (hasHessian_ ? integer("qp_iteration_count") : 0);
  result.barrierIterations += integer("ipm_iteration_count");
  basisKnown_ = !now_->request.mip && integer("basis_validity") == kHighsBasisValidityValid;
  if (now_->request.mip) {
    int64_t nodes = 0;
    if (Highs_getInt64InfoValue(highs_, "mip_node_count", &nodes) == kHighsStatusOk)
      result.nodes += std::max<int64_t>(nodes, 0);
  }
  const HighsInt status = Highs_getModelStatus(highs_);
  if (status == kMemoryLimit) throw Error(TVLO_ERR_MEMORY, "Out of memory");
  // It gave up without a word, or came to a limit that is there because the method may go on for ever.
  const bool limited = status == kHighsModelStatusIterationLimit;
  if ((limited && !reachedLimit()) || status == kHighsModelStatusNotset) return kHighsModelStatusUnknown;
  if (status == kHighsModelStatusLoadError || status == kHighsModelStatusModelError) {
    throw Error(TVLO_ERR_ENGINE, format("HiGHS refused the model (status %d)", status));
  }
  return status;
}

// Whether a limit on iterations that the last run came to is the caller's.
bool Session::reachedLimit() const {
  const ControlValues& controls = *now_->request.controls;
  return !hasHessian_ && (integer("simplex_iteration_count") >= controls.getInt(control::lpiterlimit) ||
                          integer("ipm_iteration_count") >= controls.getInt(control::bariterlimit));
}

// Columns without an upper bound were given one. What was found holds where none of them is near it; that
// nothing was found holds where it does without the condition on them too. Otherwise a larger one is tried.
HighsInt Session::settleCaps(HighsInt status) {
  constexpr double kLargestCap = 1e9;
  const Model& model = now_->model;
  bool open = false;  // whether the search without their condition was done
  for (;;) {
    if (status == kHighsModelStatusOptimal) {
      PointValues point;
      readPoint(point, false);
      const bool near = std::any_of(capped_.begin(), capped_.end(),
                                    [&](int j) { return std::abs(point.x[j]) > 0.999 * std::max(cap_, 1e5); });
      if (!near) {
        if (now_->request.log) {
          now_->request.log(format("Semi-continuous columns without an upper bound were searched up to %g", cap_));
        }
        return status;
      }
    } else if (status != kHighsModelStatusInfeasible) {
      return status;
    } else if (!open) {
      open = true;
      pass(model, Semi::open, cap_);
      const HighsInt without = run();
      if (without == kHighsModelStatusInfeasible || stopOf(without) != Stop::none) return without;
      pass(model, Semi::native, cap_);
    }
    const bool integers =
        std::any_of(capped_.begin(), capped_.end(), [&](int j) { return model.columnTypes()[j] == 'R'; });
    if (integers || cap_ * 100 > kLargestCap) return kHighsModelStatusUnknown;
    pass(model, Semi::native, cap_ * 100);
    status = run();
  }
}

// HiGHS adds a multiple of |x|^2 to a quadratic objective, without which its method is slow or fails, and with which
// the point is off by that much. The same around the point that it found, by linear costs, takes the error away: a step
// of the proximal-point method.
HighsInt Session::centre(HighsInt status) {
  centred_ = PointValues();
  if (!hasHessian_ || status != kHighsModelStatusOptimal) return status;
  constexpr int kMostSteps = 5;
  const Model& model = now_->model;
  const double tolerance = 0.1 * now_->request.controls->getDouble(control::optimalitytol);
  double weight = 0;
  must(Highs_getDoubleOptionValue(highs_, "qp_regularization_value", &weight), "tell an option");
  std::vector<double> cost(model.columns()), around(model.columns(), 0);
  PointValues point;
  readPoint(point, true);
  for (int step = 0; step < kMostSteps; ++step) {
    double off = 0;
    for (size_t j = 0; j < around.size(); ++j) {
      off = std::max(off, weight * std::abs(point.x[j] - around[j]));
      around[j] = point.x[j];
      cost[j] = this->cost(model, static_cast<int>(j)) - weight * around[j];
    }
    if (off <= tolerance) break;
    held_ = false;
    must(Highs_changeColsCostByRange(highs_, 0, model.columns() - 1, cost.data()), "change costs");
    if (run() != kHighsModelStatusOptimal) break;
    readPoint(point, true);
  }
  centred_ = std::move(point);
  centred_.available = true;
  if (held_) return status;
  for (int j = 0; j < model.columns(); ++j) cost[j] = this->cost(model, j);
  must(Highs_changeColsCostByRange(highs_, 0, model.columns() - 1, cost.data()), "change costs");
  held_ = true;
  return status;
}

// Counts and states are 0 where a run has none; HiGHS then says -1 or nothing at all.
int Session::integer(const char* info) const {
  HighsInt value = 0;
  return Highs_getIntInfoValue(highs_, info, &value) == kHighsStatusOk ? std::max(value, 0) : 0;
}

double Session::real(const char* info) const {
  double value = 0;
  return Highs_getDoubleInfoValue(highs_, info, &value) == kHighsStatusOk ? value : 0;
}

Stop Session::stopOf(HighsInt status) const {
  switch (status) {
    case kHighsModelStatusTimeLimit:
      return now_->stop != Stop::none ? now_->stop : Stop::timeLimit;
    case kHighsModelStatusIterationLimit:
      return Stop::iterationLimit;
    case kHighsModelStatusInterrupt:
    case kOwnInterrupt:
      return now_->stop != Stop::none ? now_->stop : Stop::interrupt;
    case kHighsModelStatusSolutionLimit: {
      const int64_t most = now_->request.controls->getInt(control::maxmipsol);
      return most > 0 && now_->improvements >= most ? Stop::solutions : Stop::nodeLimit;
    }
    default:
      return Stop::none;
  }
}

void Session::readPoint(PointValues& point, bool duals) const {
  const int rows = Highs_getNumRow(highs_);
  point.x.resize(Highs_getNumCol(highs_));
  if (duals) {
    point.redcost.resize(point.x.size());
    point.dual.resize(rows);
  }
  must(Highs_getSolution(highs_, point.x.data(), duals ? point.redcost.data() : nullptr, nullptr,
                         duals ? point.dual.data() : nullptr),
       "give its solution");
  if (duals && mirrored_) {
    for (std::vector<double>* const values : {&point.redcost, &point.dual}) {
      for (double& value : *values) value = -value;
    }
  }
  for (size_t j = 0; j < factors_.size(); ++j) point.x[j] *= factors_[j];
  if (!duals) return;
  for (size_t j = 0; j < factors_.size(); ++j) point.redcost[j] /= factors_[j];
  for (size_t i = 0; i < rowFactors_.size(); ++i) point.dual[i] *= rowFactors_[i];
}

void Session::extractLp() {
  Solution& result = now_->result;
  result.lpStatus = lpStatusOf(status_, dropped_);
  result.stop = stopOf(status_);
  const bool optimal = result.lpStatus == LpStatus::optimal;
  if (centred_.available) {
    result.lp = centred_;
  } else if (optimal || (result.lpStatus == LpStatus::unfinished && integer("primal_solution_status") != 0)) {
    readPoint(result.lp, optimal);
    result.lp.available = true;
  }
  if (basisKnown_) {
    result.basis = basis();
    fit(result.basis, now_->model);
  }
  last_ = result.basis;
}

void Session::extractMip() {
  Solution& result = now_->result;
  result.stop = stopOf(status_);
  result.mipSolutions = improvements_;
  const bool feasible = integer("primal_solution_status") == kHighsSolutionStatusFeasible;
  switch (lpStatusOf(status_, dropped_)) {
    case LpStatus::optimal:
      result.mipStatus = dropped_ ? MipStatus::solution : MipStatus::optimal;
      break;
    case LpStatus::infeasible:
      result.mipStatus = MipStatus::infeasible;
      return;
    case LpStatus::unbounded:
      result.mipStatus = MipStatus::unbounded;
      break;
    default:
      result.mipStatus = feasible ? MipStatus::solution : MipStatus::noSolution;
  }
  // A model whose semi-continuous columns all reach to 0 is an LP to HiGHS.
  result.bestBound = real(discrete_ ? "mip_dual_bound" : "objective_function_value");
  if (!feasible) return;
  readPoint(result.mip, false);
  result.mip.available = true;
}

}  // namespace tvlo::highs
