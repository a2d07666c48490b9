#include "nonlinear/solve.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>
#include <random>
#include <utility>

#include "core/error.h"
#include "engines/loader.h"
#include "engines/slp/session.h"
#include "nonlinear/answer.h"
#include "nonlinear/by_optimizer.h"
#include "nonlinear/interval.h"
#include "nonlinear/parameters.h"
#include "nonlinear/pieces.h"
#include "nonlinear/proof.h"
#include "nonlinear/ray.h"
#include "nonlinear/second_order.h"
#include "nonlinear/start.h"
#include "route/route.h"

namespace tvlo {

namespace {

using Clock = std::chrono::steady_clock;

// Relative, of stationarity and of complementary slackness.
constexpr double kOptimal = 1e-5;
// An objective that grows without bound must at least come to this where the engine says that it does.
constexpr double kUnbounded = 1e8;
// What lies so many times farther out than the start, or the origin, may be no optimum but a way to infinity.
constexpr double kFar = 1e6;
constexpr int kMostDescents = 4;
constexpr int64_t kKinkedIterations = 200;
constexpr double kMostFactorWork = 3e8;

// An answer to an iteration that no interrupt has.
constexpr int kStopStalled = -3;

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

class NonlinearSolver {
 public:
  NonlinearSolver(Problem& problem, const ControlValues& controls, const char* flags, const NlpOpener& open)
      : problem_(problem), model_(problem.model), controls_(controls), open_(open) {
    std::string rest = flags == nullptr ? "" : flags;
    std::erase(rest, 'g');
    relaxation_ = parseFlags(rest.c_str(), problem.controls).relaxation;
  }

  void run() {
    requireContinuous();
    old_ = std::move(solution().point);
    extend(old_, model_.rows(), model_.columns());
    const bool warm = solution().warm && problem_.controls.getInt(control::keepbasis) != 0 && oldFits();
    solution() = NonlinearSolution();
    program_ = &lifted_.emplace(model_);
    if (program_->hasKinks()) {
      across_.emplace(model_, Kinks::exact);
      if (across_->exactKinks().empty()) across_.reset();
    }
    convex_ = isConvex(*program_);
    program_->quadratic = program_->quadratic && convex_;  // engines take that for leave to skip safeguards
    announce();
    if (crossed()) {
      solution().status = NonlinearStatus::infeasible;
    } else {
      const bool lifted = program_->columns() > static_cast<int>(program_->modelColumns().size());
      const bool simple = program_->isLinear() || (program_->quadratic && lifted);
      if (!simple || controls_.getInt(slpcontrol::nlp_method) != 0 || !settledByOptimizer()) tryInTurn(warm);
      if (across_) lookAcrossKinks(warm);
      if (solution().status == NonlinearStatus::unfinished && provenInfeasible()) {
        solution().status = NonlinearStatus::infeasible;
        solution().stop = Stop::none;
      }
      if (solution().status == NonlinearStatus::unfinished) {
        problem_.say("No answer passed its check; the problem is left unfinished", MessageType::warning);
      }
    }
    finish();
  }

 private:
  NonlinearSolution& solution() { return problem_.solution.nonlinear; }
  const NonlinearSolution& solution() const { return problem_.solution.nonlinear; }
  double seconds() const { return std::chrono::duration<double>(Clock::now() - begin_).count(); }
  double secondsLeft() const {
    const double limit = problem_.controls.getDouble(control::timelimit);
    return limit >= TVLO_INFINITY ? limit : limit - seconds();
  }

  void requireContinuous() const {
    for (int j = 0; j < model_.columns(); ++j) {
      const char type = model_.columnTypes()[j];
      if (type == 'C' || (relaxation_ && (type == 'B' || type == 'I'))) continue;
      throw Error(TVLO_ERR_UNSUPPORTED,
                  format("Column %d is of type %c: nonlinear problems with columns that are not continuous can't be "
                         "solved yet",
                         j, type));
    }
  }

  // At kinks, which are gone across after that.
  bool mayStall() const { return across_.has_value() && program_->exactKinks().empty(); }

  bool oldFits() const {
    return old_.available && old_.x.size() == static_cast<size_t>(model_.columns()) &&
           old_.redcost.size() == old_.x.size() && old_.dual.size() == static_cast<size_t>(model_.rows());
  }

  void announce() const {
    problem_.say(
        format("Nonlinear problem with %d rows, %d columns, %lld linear coefficients, %zu operations in "
               "formulas, %zu first and %zu second derivatives",
               model_.rows(), model_.columns(), static_cast<long long>(model_.nonzeros()), program_->operations(),
               program_->jacobian.size(), program_->hessian.size()));
  }

  bool crossed() const {
    const double tolerance = problem_.controls.getDouble(control::feastol);
    for (int j = 0; j < program_->columns(); ++j) {
      const double lower = program_->columnLower[j];
      if (lower > program_->columnUpper[j] + tolerance * std::max(1.0, std::abs(lower))) return true;
    }
    return false;
  }

  // Whether there is nothing more to ask after that.
  bool settledByOptimizer() {
    const NlpResult result = askOptimizer();
    if (result.status == NlpStatus::unbounded) {  // with a proof
      solution().status = NonlinearStatus::unbounded;
      return true;
    }
    start_.assign(program_->columns(), 0);
    return settle(result) || solution().stop != Stop::none;
  }

  void tryInTurn(bool warm) {
    constexpr int kTries = 3;
    const auto wanted = static_cast<int>(controls_.getInt(slpcontrol::nlp_starts));
    const int tries = std::max(mayStall() ? 1 : kTries, wanted);
    int answers = 0;
    NonlinearSolution best;
    for (int attempt = warm ? -1 : 0; attempt < tries; ++attempt) {
      NlpPoint start;
      if (attempt < 0) {
        start = programPoint(*program_, old_);
      } else {
        start.x = startPoint(model_, *program_, problem_.controls.getInt(control::randomseed), attempt);
      }
      start_ = start.x;
      NlpResult result = attempt == 0 && !convex_ ? askMoving(start) : ask(start, attempt);
      if (result.status == NlpStatus::optimal && !convex_) {
        leaveStationary(result);
        if (isFinite(result) && isFar(result.point.x)) lookFurther(result);
      }
      const bool settled = settle(result);
      if (settled && solution().status == NonlinearStatus::locallyOptimal) {
        takeBetter(best);
        if (++answers < wanted && attempt + 1 < tries) continue;
        return;
      }
      const bool stopped = solution().stop != Stop::none;
      if (answers > 0 && solution().status != NonlinearStatus::unbounded) {
        takeBetter(best);
        if (stopped || attempt + 1 == tries) return;
        continue;
      }
      if (settled || stopped) return;
      if (attempt + 1 < tries) {
        problem_.say(format("No answer (%.*s); solving again from another start",
                            static_cast<int>(result.reason.size()), result.reason.data()),
                     MessageType::warning);
      }
    }
  }

  // Kinks that were left have a derivative to one side only: what stops there needn't be an optimum.
  void lookAcrossKinks(bool warm) {
    const NonlinearStatus status = solution().status;
    const bool optimal = status == NonlinearStatus::locallyOptimal;
    const bool hopeless = status == NonlinearStatus::infeasible || status == NonlinearStatus::unbounded;
    const bool stopped = solution().stop != Stop::none && solution().stop != Stop::iterationLimit;
    if (hopeless || stopped || !across_) return;
    program_ = &*across_;
    if (!optimal) {
      solution().stop = Stop::none;
      return tryInTurn(warm);
    }
    NonlinearSolution found = solution();
    NlpPoint start;
    start.x = programPoint(*program_, found.point).x;
    if (!piecesMeet(*program_, start.x)) return;
    const NlpResult result = ask(start, 0);
    start_ = std::move(start.x);
    settle(result);
    if (solution().status != NonlinearStatus::unbounded) takeBetter(found);
  }

  // Of local optima from several starts the best one stays, with the counts of all.
  void takeBetter(NonlinearSolution& best) {
    NonlinearSolution& now = solution();
    const bool improves = now.status == NonlinearStatus::locallyOptimal &&
                          (!best.point.available || model_.sense() * (now.point.objective - best.point.objective) < 0);
    if (improves) {
      best = now;
      return;
    }
    const int iterations = now.iterations;
    const double evaluation = now.evaluation;
    const Stop stop = now.stop;
    now = best;
    now.iterations = iterations;
    now.evaluation = evaluation;
    now.stop = stop;
  }

  // Where slopes fade with the distance, a way to infinity meets the tolerances at last. An optimum is worse twice as
  // far out.
  void lookFurther(NlpResult& result) {
    const std::vector<double>& x = result.point.x;
    if (check(result).reach <= kOptimal) return;
    const auto farthest =
        std::max_element(x.begin(), x.end(), [](double a, double b) { return std::abs(a) < std::abs(b); });
    const auto j = static_cast<size_t>(farthest - x.begin());
    const double beyond = 2 * x[j];
    std::vector<double>& bounds = beyond > 0 ? program_->columnLower : program_->columnUpper;
    if (beyond > program_->columnUpper[j] || beyond < program_->columnLower[j]) return;
    const double bound = std::exchange(bounds[j], beyond);
    NlpPoint start;
    start.x = x;
    start.x[j] = beyond;
    const NlpResult other = ask(start, 0);
    const double loss = model_.sense() * (other.objective - result.objective);
    const bool worse = other.status == NlpStatus::optimal && isFeasible(other) && loss > 0;
    bounds[j] = bound;
    if (worse) return;
    result.status = NlpStatus::unfinished;
    result.reason = "the objective goes on improving far out";
  }

  // A stationary point may be a saddle or an extremum of the wrong kind, which no solver leaves by itself where it
  // never moved, or had to bend what is not convex to the end; or an inflection point.
  void leaveStationary(NlpResult& result) {
    for (int k = 0; k < kMostDescents && isFinite(result); ++k) {
      const std::vector<double>& x = result.point.x;
      const bool stayed = std::equal(x.begin(), x.end(), start_.begin(), start_.end(), [](double a, double b) {
        return std::abs(a - b) <= 1e-8 * std::max(1.0, std::abs(b));
      });
      if (!stayed && !result.bent && !isCheap()) return;
      const Stationary found = examineStationary(*program_, result.point, start_);
      if (!found.lower.empty() && startedLower(result, found.lower)) continue;
      const bool suspect =
          found.kind == SecondOrder::descends ? stayed || result.bent : found.kind == SecondOrder::degenerate && stayed;
      if (!suspect || !stepsOff(result)) return;
    }
  }

  // To factorise, with the fill-in that the derivatives' density lets expect.
  bool isCheap() const {
    const double entries = static_cast<double>(program_->hessian.size() + program_->jacobian.size());
    return entries * entries <= kMostFactorWork * std::max(1, program_->columns());
  }

  bool stepsOff(NlpResult& result) {
    std::mt19937 random(1);
    std::vector<double> step(result.point.x.size());
    for (double& s : step) s = std::uniform_real_distribution<double>(-1, 1)(random) * 1e-2;
    for (const int sign : {1, -1}) {
      std::vector<double> start = result.point.x;
      for (size_t j = 0; j < step.size(); ++j) start[j] += sign * step[j] * std::max(1.0, std::abs(start[j]));
      if (startedLower(result, std::move(start))) return true;
    }
    return false;
  }

  // Whether a solve from there gave something better, which takes the result's place; or was stopped.
  bool startedLower(NlpResult& result, std::vector<double> from) {
    NlpPoint start;
    start.x = std::move(from);
    moveInside(*program_, start.x);
    program_->complete(start.x);
    NlpResult other = ask(start, 0);
    const double gain = model_.sense() * (result.objective - other.objective);
    const bool better = gain > 1e-9 * std::abs(result.objective) && isFeasible(other);
    const bool stopped = other.stop > 0 || other.stop == -1;
    if (!better && !stopped) return false;
    result = std::move(other);
    return true;
  }

  bool isFinite(const NlpResult& result) const {
    return result.point.x.size() == static_cast<size_t>(program_->columns()) && allFinite(result.point.x);
  }

  double feasibility() const { return controls_.getDouble(slpcontrol::nlp_feastol); }

  AnswerCheck check(const NlpResult& result) {
    return checkAnswer(model_, *program_, modelPoint(model_, *program_, result.point), result.point);
  }

  bool isFeasible(const NlpResult& result) { return isFinite(result) && check(result).primal <= feasibility(); }

  // Not with users' functions, which needn't be able to take points far off.
  bool leadsAway(const std::vector<double>& from, const std::vector<double>& to) {
    const Stop stop = solution().stop;
    if (stop == Stop::interrupt || stop == Stop::user || model_.formulas().functions.size() > 0) return false;
    return fallsForever(model_, *program_, from, to);
  }

  // Farther from the start than an optimum of a well-scaled problem would be.
  bool isFar(const std::vector<double>& x) const {
    double start = 1, farthest = 0;
    for (size_t j = 0; j < x.size(); ++j) {
      start = std::max(start, std::abs(start_[j]));
      farthest = std::max(farthest, std::abs(x[j]));
    }
    return farthest > kFar * start;
  }

  NlpResult ask(const NlpPoint& start, int attempt) {
    const NlpAsk one = [&](NlpProgram& program, const NlpPoint& from) { return ask(program, from, attempt); };
    if (program_->exactKinks().empty()) return one(*program_, start);
    if (!program_->isLinear() || controls_.getInt(slpcontrol::nlp_method) != 0) {
      return solveByPieces(*program_, start, feasibility(), one);
    }
    return solveByPieces(*program_, start, feasibility(), [&](NlpProgram& program, const NlpPoint& from) {
      NlpResult result = askOptimizer();
      if (result.status == NlpStatus::infeasible || result.status == NlpStatus::failed) return one(program, from);
      return result;
    });
  }

  // Where a solve creeps, as beside a saddle that symmetry keeps it to, another starts a step off.
  NlpResult askMoving(const NlpPoint& start) {
    watching_ = true;
    NlpResult result = ask(start, 0);
    watching_ = false;
    if (result.stop != kStopStalled) return result;
    result.stop = 0;
    return isFinite(result) && stepsOff(result) ? result : ask(start, 0);
  }

  NlpResult askOptimizer() {
    NlpResult result = solveByOptimizer(problem_, *program_, secondsLeft(), solution().engine);
    solution().iterations += result.iterations;
    return result;
  }

  NlpResult ask(NlpProgram& program, const NlpPoint& start, int attempt) {
    NlpRequest request;
    request.warm = attempt < 0;
    request.secondsLeft = secondsLeft();
    ControlValues controls = controls_;
    if (attempt > 0) controls.setInt(slpcontrol::nlp_mustrategy, 1);
    if (mayStall()) {
      controls.setInt(slpcontrol::nlp_iterlimit,
                      std::min(kKinkedIterations, controls.getInt(slpcontrol::nlp_iterlimit)));
    }
    request.controls = &controls;
    if (problem_.isHeard()) {
      request.log = [this](std::string_view line) { problem_.say(line); };
    }
    request.interrupted = [this] { return problem_.interruptReason.load(std::memory_order_relaxed); };
    StallWatch watch;
    request.iteration = [&](int iteration, double objective, double) {
      const int reason = problem_.interruptReason.load(std::memory_order_relaxed);
      return reason == 0 && watching_ && watch.stalls(iteration, objective) ? kStopStalled : reason;
    };
    NlpResult result;
    const char* const method = controls_.getInt(slpcontrol::nlp_method) == 1 ? "slp" : "ipopt";
    solution().engine = method;
    open_(method)->solve(program, start, request, result);
    solution().iterations += result.iterations;
    solution().evaluation += result.evaluation;
    return result;
  }

  // Takes over what a solve left. Whether there is nothing more to ask.
  bool settle(const NlpResult& result) {
    const bool finite = isFinite(result);
    if (result.stop != 0) {
      solution().stop = result.stop == -1   ? Stop::timeLimit
                        : result.stop == -2 ? Stop::iterationLimit
                                            : static_cast<Stop>(result.stop);
    }
    AnswerCheck check{TVLO_INFINITY, TVLO_INFINITY, TVLO_INFINITY, TVLO_INFINITY};
    PointValues whole;
    if (finite) {
      whole = modelPoint(model_, *program_, result.point);
      check = checkAnswer(model_, *program_, whole, result.point);
    }
    const bool feasible = check.primal <= feasibility();
    // An engine that failed may have done so at an optimum that its own tolerances miss.
    const bool claimed = result.status == NlpStatus::optimal || result.status == NlpStatus::acceptable ||
                         result.status == NlpStatus::failed;
    const bool optimal = claimed && feasible && check.dual <= kOptimal && check.complementarity <= kOptimal;
    const bool suspect = optimal ? !convex_ && isFar(result.point.x) : feasible;
    const bool away = suspect && leadsAway(start_, result.point.x);
    if (away || (result.status == NlpStatus::unbounded && model_.sense() * whole.objective < -kUnbounded)) {
      return settleUnbounded(std::move(whole), check);
    }
    if (optimal) {
      keep(convex_ ? NonlinearStatus::globallyOptimal : NonlinearStatus::locallyOptimal, std::move(whole), check);
      solution().warm = true;
      return true;
    }
    switch (result.status) {
      case NlpStatus::optimal:
      case NlpStatus::acceptable:
        problem_.say(format("The answer fails its check: violation %.1e, dual %.1e, complementarity %.1e", check.primal,
                            check.dual, check.complementarity),
                     MessageType::warning);
        keep(NonlinearStatus::unfinished, std::move(whole), check);
        return false;
      case NlpStatus::infeasible:
        return settleInfeasible(std::move(whole), check);
      default:
        keep(NonlinearStatus::unfinished, std::move(whole), check);
        return result.status == NlpStatus::unfinished && solution().stop != Stop::none;
    }
  }

  bool provenInfeasible() const { return someRowIsOutOfReach(model_, 10 * feasibility()); }

  bool settleInfeasible(PointValues whole, const AnswerCheck& check) {
    keep(NonlinearStatus::locallyInfeasible, std::move(whole), check);
    if (!convex_ && !provenInfeasible() && !linearPartInfeasible(problem_, secondsLeft())) return false;
    solution().status = NonlinearStatus::infeasible;
    return true;
  }

  // Rows hold only relative to the size of a point far out: there must be a feasible one nearer by, too.
  bool settleUnbounded(PointValues whole, const AnswerCheck& check) {
    NlpPoint near;
    near.x = start_;
    PointValues nearby = modelPoint(model_, *program_, near);
    AnswerCheck nearCheck = checkAnswer(model_, *program_, nearby, near);
    if (nearCheck.primal > feasibility()) {
      WithoutObjective rows(*program_);
      NlpResult found = ask(rows, near, 0);
      if (!isFinite(found)) found.point.x = start_;
      near.x = found.point.x;
      nearby = modelPoint(model_, *program_, near);
      nearCheck = checkAnswer(model_, *program_, nearby, near);
      if (found.status == NlpStatus::infeasible) return settleInfeasible(std::move(nearby), nearCheck);
    }
    if (nearCheck.primal > feasibility()) {
      keep(NonlinearStatus::unfinished, std::move(nearby), nearCheck);
      return false;
    }
    solution().stop = Stop::none;
    keep(NonlinearStatus::unbounded, std::move(whole), check);
    return true;
  }

  // Of several answers that are none the most feasible point stays.
  void keep(NonlinearStatus status, PointValues whole, const AnswerCheck& check) {
    NonlinearSolution& s = solution();
    const bool settled = status == NonlinearStatus::locallyOptimal || status == NonlinearStatus::globallyOptimal ||
                         status == NonlinearStatus::unbounded;
    s.status = status;
    if (!settled && s.point.available && !(check.primal < s.primalInfeasibility)) return;
    s.point = std::move(whole);
    s.primalInfeasibility = check.primal;
    s.dualInfeasibility = std::max(check.dual, check.complementarity);
  }

  void finish() {
    static constexpr const char* kStatus[] = {"not started",        "locally optimal", "globally optimal",
                                              "locally infeasible", "infeasible",      "unbounded",
                                              "unfinished"};
    NonlinearSolution& s = solution();
    problem_.solution.seconds = s.seconds = seconds();
    problem_.solution.stop = s.stop;
    std::string text = kStatus[static_cast<int>(s.status)];
    if (s.point.available) text += format(", objective %.12g", s.point.objective);
    problem_.say(format("Result: %s, %d iterations, %.2f s, of that %.2f s in functions and derivatives", text.c_str(),
                        s.iterations, s.seconds, s.evaluation));
  }

  Problem& problem_;
  Model& model_;
  const ControlValues& controls_;
  const NlpOpener& open_;
  bool relaxation_ = false;
  bool convex_ = false;                          // proven
  std::vector<double> start_;                    // of the last result
  std::optional<ModelProgram> lifted_, across_;  // the latter with all kinks taken out, where some are left else
  ModelProgram* program_ = nullptr;              // one of these
  bool watching_ = false;                        // for stalls
  PointValues old_;
  const Clock::time_point begin_ = Clock::now();
};

}  // namespace

void solveNonlinearWith(Problem& problem, const ControlValues& controls, const char* flags, const NlpOpener& open) {
  NonlinearSolver(problem, controls, flags, open).run();
}

void solveNonlinear(Problem& problem, const ControlValues& controls, const char* flags) {
  solveNonlinearWith(problem, controls, flags, [](const std::string& name) {
    return name == "slp" ? openSlp([] { return openEngine("highs"); }) : openNlpEngine(name);
  });
}

}  // namespace tvlo
