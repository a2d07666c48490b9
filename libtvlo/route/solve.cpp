#include "route/solve.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

#include "core/error.h"
#include "engines/loader.h"
#include "route/check.h"
#include "route/route.h"

namespace tvlo {

namespace {

using Clock = std::chrono::steady_clock;

// Engines measure in scaled spaces and absolutely: an answer is wrong when it is off by more than this many times
// what was asked for.
constexpr double kSlack = 10;

class Solver {
 public:
  Solver(Problem& problem, bool mip, const Flags& flags, const EngineOpener& open)
      : problem_(problem), model_(problem.model), mip_(mip), flags_(flags), open_(open) {}

  void run() {
    const bool search = mip_ && !flags_.relaxation && model_.hasIntegers();
    const std::vector<Attempt> attempts = routeOf(model_, search, flags_.method);
    Basis start = std::move(problem_.solution.basis);
    problem_.solution = Solution();
    announce(search);
    if (!solveTrivially(search)) tryInTurn(attempts, search, start);
    finish(search);
  }

 private:
  double seconds() const { return std::chrono::duration<double>(Clock::now() - begin_).count(); }
  double secondsLeft() const {
    const double limit = problem_.controls.getDouble(control::timelimit);
    return limit >= TVLO_INFINITY ? limit : limit - seconds();
  }

  bool wantsLog() const {
    return problem_.controls.getInt(control::outputlog) != 0 &&
           !(problem_.messages.empty() && environmentMessages().empty());
  }

  void announce(bool search) const {
    problem_.say(format("%s with %d rows, %d columns, %lld coefficients, %d integer entities", search ? "MIP" : "LP",
                        model_.rows(), model_.columns(), static_cast<long long>(model_.nonzeros()), model_.entities()));
  }

  // Models that need no engine: without columns, or with bounds that cross.
  bool solveTrivially(bool search) {
    Solution& solution = problem_.solution;
    const double tolerance = problem_.controls.getDouble(control::feastol);
    bool feasible = true;
    for (int j = 0; j < model_.columns() && feasible; ++j) {
      const char type = model_.columnTypes()[j];
      if (type == 'S' || type == 'R') continue;  // may be 0
      const double lower = model_.lower()[j];
      feasible = lower <= model_.upper()[j] + tolerance * std::max(1.0, std::abs(lower));
    }
    if (feasible) {
      if (model_.columns() > 0) return false;
      feasible = primalViolation(model_, {}, false).relative <= tolerance;
    }
    if (search) {
      solution.mipStatus = feasible ? MipStatus::optimal : MipStatus::infeasible;
    } else {
      solution.lpStatus = feasible ? LpStatus::optimal : LpStatus::infeasible;
    }
    if (!feasible) return true;
    PointValues& point = search ? solution.mip : solution.lp;
    point.available = true;
    if (!search) {
      point.dual.assign(model_.rows(), 0);
      solution.basis.row.assign(model_.rows(), 1);
    }
    if (search) solution.bestBound = model_.constant();
    return true;
  }

  void tryInTurn(const std::vector<Attempt>& attempts, bool search, const Basis& start) {
    const bool keep = !search && problem_.controls.getInt(control::keepbasis) != 0;
    const bool warm = problem_.session != nullptr || (keep && !start.empty());
    for (size_t i = 0; i < attempts.size(); ++i) {
      const bool last = i + 1 == attempts.size();
      const bool repeats =
          attempts[i].method == attempts[0].method && attempts[i].withoutPresolve == attempts[0].withoutPresolve;
      if (i > 0 && repeats && !warm && problem_.session) continue;  // the first started from nothing as well
      try {
        Solution result = ask(attempts[i], search, keep && !attempts[i].cold ? &start : nullptr);
        const bool claimed = result.lpStatus == LpStatus::optimal || result.mipStatus == MipStatus::optimal;
        const bool settled = search ? settleMip(result) : settleLp(result);
        accumulate(std::move(result));
        if (settled) return;
        if (!stopped() && !last) {
          problem_.say(claimed ? "The answer fails its check; solving again" : "No answer; solving again",
                       MessageType::warning);
        }
      } catch (const Error& error) {
        problem_.session.reset();
        if (error.code() != TVLO_ERR_ENGINE || last) throw;
        problem_.say(format("%s; solving again", error.what()), MessageType::warning);
      } catch (...) {
        problem_.session.reset();
        throw;
      }
      if (stopped()) return;
    }
    problem_.say("No answer passed its check; the problem is left unfinished", MessageType::warning);
  }

  Solution ask(const Attempt& attempt, bool search, const Basis* start) {
    if (!problem_.session || problem_.sessionEngine != attempt.engine) {
      problem_.session = open_(attempt.engine);
      problem_.sessionEngine = attempt.engine;
      model_.changes().rebuild = true;
    }
    SolveRequest request;
    request.mip = search;
    request.cold = attempt.cold || problem_.controls.getInt(control::keepbasis) == 0;
    request.withoutPresolve = attempt.withoutPresolve;
    request.method = attempt.method;
    request.secondsLeft = secondsLeft();
    request.controls = &problem_.controls;
    request.start = start != nullptr && !start->empty() ? start : nullptr;
    request.interrupted = [this] { return problem_.interruptReason.load(std::memory_order_relaxed); };
    if (wantsLog()) request.log = [this](std::string_view line) { problem_.say(line); };
    Solution result;
    problem_.session->solve(model_, request, result);
    model_.changes().synchronised(model_.rows(), model_.columns());
    if (result.stop == Stop::interrupt) {
      const int reason = problem_.interruptReason.load(std::memory_order_relaxed);
      if (reason != 0) result.stop = static_cast<Stop>(reason);
    }
    return result;
  }

  // Whether the duals prove the point optimal. Fills the slacks.
  bool proven(PointValues& point, double feasible, double optimal) const {
    if (static_cast<int>(point.x.size()) != model_.columns()) return false;
    const Activities rows(model_, point.x);
    if (!(primalViolation(model_, point.x, rows, false).relative <= feasible)) return false;
    const DualCheck check = checkDuals(model_, point.x, rows, point.dual, point.redcost, std::max(feasible, optimal));
    setSlacks(point, rows);
    return check.residual <= optimal && check.infeasibility <= optimal && check.gap <= std::max(optimal, 1e-6);
  }

  void setSlacks(PointValues& point, const Activities& rows) const {
    point.slack = model_.rhs();
    for (size_t i = 0; i < point.slack.size(); ++i) point.slack[i] -= rows.value[i];
  }

  // Whether there is nothing more to ask.
  bool settleLp(Solution& result) const {
    PointValues& point = result.lp;
    const double feasible = kSlack * problem_.controls.getDouble(control::feastol);
    const double optimal = kSlack * problem_.controls.getDouble(control::optimalitytol);
    if (result.lpStatus == LpStatus::optimal) {
      if (proven(point, feasible, optimal)) return true;
      result.lpStatus = LpStatus::unfinished;
      point = PointValues();
      result.basis = Basis();
      return false;
    }
    if (result.lpStatus == LpStatus::infeasible || result.lpStatus == LpStatus::unbounded) {
      point = PointValues();
      return true;
    }
    // The point of a solve that was stopped counts where it is feasible.
    if (point.available && !(primalViolation(model_, point.x, false).relative <= feasible)) point = PointValues();
    return result.stop != Stop::none;
  }

  bool settleMip(Solution& result) const {
    PointValues& point = result.mip;
    const double feasible =
        std::max(kSlack * problem_.controls.getDouble(control::feastol), problem_.controls.getDouble(control::miptol));
    if (point.available) roundIntegers(point.x, feasible);
    const bool sound = point.available && primalViolation(model_, point.x, true).relative <= feasible * (1 + 1e-9);
    if (point.available && !sound) point = PointValues();
    switch (result.mipStatus) {
      case MipStatus::infeasible:
      case MipStatus::unbounded:
        point = PointValues();
        return true;
      case MipStatus::optimal:
        if (sound && boundHolds(result)) return true;
        result.mipStatus = sound ? MipStatus::solution : MipStatus::noSolution;
        return false;
      default:
        result.mipStatus = sound ? MipStatus::solution : MipStatus::noSolution;
        return result.stop != Stop::none;
    }
  }

  // An optimal value must be as close to the proven bound as the controls ask.
  bool boundHolds(const Solution& result) const {
    const double value = objectiveValue(model_, result.mip.x);
    const double gap = model_.sense() * (value - result.bestBound);
    const double allowed = std::max({problem_.controls.getDouble(control::mipabsstop),
                                     problem_.controls.getDouble(control::miprelstop) * std::abs(value),
                                     1e-6 * std::max(1.0, std::abs(value))});
    return gap <= allowed * (1 + 1e-6);
  }

  // Searches leave integers as 0.9999998. The point with whole numbers is as good unless it breaks a row.
  void roundIntegers(std::vector<double>& x, double feasible) const {
    if (static_cast<int>(x.size()) != model_.columns()) return;
    std::vector<double> rounded = x;
    for (int j = 0; j < model_.columns(); ++j) {
      const char type = model_.columnTypes()[j];
      const double nearest = std::round(x[j]);
      if (type == 'B' || type == 'I' || type == 'R') {
        if (std::abs(x[j] - nearest) <= feasible) rounded[j] = nearest + 0.0;  // no negative zero
      } else if (type == 'S' && std::abs(x[j]) <= feasible && model_.semiLower(j) > feasible) {
        rounded[j] = 0;
      }
    }
    if (rounded != x && primalViolation(model_, rounded, true).relative <= feasible) x = std::move(rounded);
  }

  bool stopped() const { return problem_.solution.stop != Stop::none; }

  void accumulate(Solution result) {
    Solution& solution = problem_.solution;
    result.simplexIterations += solution.simplexIterations;
    result.barrierIterations += solution.barrierIterations;
    result.nodes += solution.nodes;
    if (result.mipStatus == MipStatus::noSolution && solution.mip.available) {  // of an earlier attempt
      result.mip = std::move(solution.mip);
      result.mipStatus = MipStatus::solution;
    }
    solution = std::move(result);
    if (!stopped()) {
      const int reason = problem_.interruptReason.load(std::memory_order_relaxed);
      const bool open = solution.lpStatus == LpStatus::unfinished || solution.mipStatus == MipStatus::noSolution ||
                        solution.mipStatus == MipStatus::solution;
      if (open && reason != 0) solution.stop = static_cast<Stop>(reason);
      if (open && reason == 0 && secondsLeft() <= 0) solution.stop = Stop::timeLimit;
    }
  }

  void finish(bool search) {
    Solution& solution = problem_.solution;
    for (PointValues* const point : {&solution.lp, &solution.mip}) {
      if (!point->available) continue;
      point->objective = objectiveValue(model_, point->x);
      if (point->slack.empty()) setSlacks(*point, Activities(model_, point->x));
    }
    if (!search) statusOfRelaxation();
    if (solution.mipStatus == MipStatus::optimal && !search) solution.bestBound = solution.mip.objective;
    solution.seconds = seconds();
    report(search);
  }

  // What an LP says of the MIP: all where nothing is integer, that there is no solution where the LP has none.
  void statusOfRelaxation() {
    Solution& solution = problem_.solution;
    if (!mip_ && !model_.hasIntegers()) return;
    const bool whole = !model_.hasIntegers();
    switch (solution.lpStatus) {
      case LpStatus::optimal:
        solution.mipStatus = whole ? MipStatus::optimal : MipStatus::lpOptimal;
        break;
      case LpStatus::infeasible:
        solution.mipStatus = MipStatus::infeasible;
        break;
      case LpStatus::unbounded:
        solution.mipStatus = whole ? MipStatus::unbounded : MipStatus::lpNotOptimal;
        break;
      default:
        solution.mipStatus = !whole                  ? MipStatus::lpNotOptimal
                             : solution.lp.available ? MipStatus::solution
                                                     : MipStatus::noSolution;
    }
    if (!whole || !solution.lp.available) return;
    solution.mip = solution.lp;
    solution.mip.dual.clear();
    solution.mip.redcost.clear();
    solution.mipSolutions = 1;
  }

  void report(bool search) const {
    static constexpr const char* kLp[] = {"unstarted",  "optimal",   "infeasible",          "cut off",
                                          "unfinished", "unbounded", "cut off in the dual", "unsolved",
                                          "nonconvex"};
    static constexpr const char* kMip[] = {"not loaded",        "relaxation not solved",
                                           "relaxation solved", "no solution found",
                                           "solution found",    "infeasible",
                                           "optimal",           "unbounded"};
    const Solution& solution = problem_.solution;
    const PointValues& point = search ? solution.mip : solution.lp;
    std::string text = search ? kMip[static_cast<int>(solution.mipStatus)] : kLp[static_cast<int>(solution.lpStatus)];
    if (point.available) text += format(", objective %.12g", point.objective);
    if (search) text += format(", bound %.12g, %lld nodes", solution.bestBound, static_cast<long long>(solution.nodes));
    text += format(", %lld simplex iterations", static_cast<long long>(solution.simplexIterations));
    if (solution.barrierIterations > 0) {
      text += format(", %lld interior-point iterations", static_cast<long long>(solution.barrierIterations));
    }
    problem_.say(format("Result: %s, %.2f s", text.c_str(), solution.seconds));
  }

  Problem& problem_;
  Model& model_;
  const bool mip_;
  const Flags flags_;
  const EngineOpener& open_;
  const Clock::time_point begin_ = Clock::now();
};

}  // namespace

void solveWith(Problem& problem, const char* flags, bool mip, const EngineOpener& open) {
  Solver(problem, mip, parseFlags(flags, problem.controls), open).run();
}

void solveLp(Problem& problem, const char* flags) { solveWith(problem, flags, false, openEngine); }
void solveMip(Problem& problem, const char* flags) { solveWith(problem, flags, true, openEngine); }

}  // namespace tvlo
