#include "route/solve.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <numeric>

#include "core/check.h"
#include "core/error.h"
#include "quadratic/active_set.h"
#include "quadratic/convexity.h"
#include "quadratic/proof.h"
#include "route/route.h"

namespace tvlo {

namespace {

using Clock = std::chrono::steady_clock;

// Engines measure in scaled spaces and absolutely: an answer is wrong when it is off by more than this many times
// what was asked for.
constexpr double kSlack = 10;
constexpr double kExact = 1e-9;     // of quadratic problems' answers, which needs no improvement
constexpr double kAccurate = 1e-6;  // which is as good as was asked for

class Solver {
 public:
  Solver(Problem& problem, bool mip, const Flags& flags, const EngineOpener& open)
      : problem_(problem), model_(problem.model), mip_(mip), flags_(flags), open_(open) {}

  void run() {
    const bool search = mip_ && !flags_.relaxation && model_.hasIntegers();
    std::vector<Attempt> attempts = routeOf(model_, search, flags_.method);
    class_ = classOf(model_, search);
    Basis start = std::move(problem_.solution.basis);
    PointValues last = std::move(problem_.solution.lp);
    problem_.solution = Solution();
    announce();
    if (quadratic()) {
      requireConvex();
      // The engine that had the answer last starts from it.
      if (problem_.session && problem_.sessionEngine != attempts[0].engine) {
        const auto same = std::find_if(attempts.begin(), attempts.end(),
                                       [&](const Attempt& a) { return a.engine == problem_.sessionEngine; });
        if (same != attempts.end()) std::rotate(attempts.begin(), same, same + 1);
      }
    }
    if (!solveTrivially(search) && !solveFrom(std::move(last))) tryInTurn(attempts, search, start);
    finish(search);
  }

 private:
  enum class Existence { no, unknown, yes };

  double seconds() const { return std::chrono::duration<double>(Clock::now() - begin_).count(); }
  double secondsLeft() const {
    const double limit = problem_.controls.getDouble(control::timelimit);
    return limit >= TVLO_INFINITY ? limit : limit - seconds();
  }

  bool wantsLog() const {
    return problem_.controls.getInt(control::outputlog) != 0 &&
           !(problem_.messages.empty() && environmentMessages().empty());
  }

  bool quadratic() const { return class_ == ProblemClass::quadratic || class_ == ProblemClass::quadraticRows; }

  void announce() const {
    static constexpr const char* kClass[] = {"LP", "MIP", "QP", "QCQP"};
    problem_.say(format("%s with %d rows, %d columns, %lld coefficients, %d integer entities",
                        kClass[static_cast<int>(class_)], model_.rows(), model_.columns(),
                        static_cast<long long>(model_.nonzeros()), model_.entities()));
  }

  void requireConvex() {
    const Convexity convexity = convexityOf(model_);
    cones_ = convexity.cones;
    if (convexity.nonconvex.empty()) return;
    problem_.solution.lpStatus = LpStatus::nonconvex;
    if (mip_) problem_.solution.mipStatus = MipStatus::lpNotOptimal;
    throw Error(TVLO_ERR_UNSUPPORTED, "The problem is nonconvex: " + convexity.nonconvex + " is not convex");
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

  // A quadratic problem that was changed a little since it was solved: the last answer may lead to the new one.
  bool solveFrom(PointValues last) {
    if (!quadratic() || !last.available || problem_.controls.getInt(control::keepbasis) == 0 || secondsLeft() <= 0) {
      return false;
    }
    if (!sharpen(model_, last) || !(inexactness(model_, last) <= kExact)) return false;
    Solution result;
    result.lpStatus = LpStatus::optimal;
    result.lp = std::move(last);
    if (!settleLp(result)) return false;
    accumulate(std::move(result));
    return true;
  }

  void tryInTurn(const std::vector<Attempt>& attempts, bool search, const Basis& start) {
    const bool keep = !search && !quadratic() && problem_.controls.getInt(control::keepbasis) != 0;
    std::vector<Attempt> fromNothing;
    bool claimed = false;  // an optimum, by the attempt before
    for (size_t i = 0; i < attempts.size(); ++i) {
      const bool last = i + 1 == attempts.size();
      const auto repeats = [&](const Attempt& done) {
        return std::string_view(done.engine) == attempts[i].engine && done.method == attempts[i].method &&
               done.withoutPresolve == attempts[i].withoutPresolve;
      };
      // A local solver's next try is another one: it asks for more exactness, or relaxes quadratic rows more.
      const bool other = class_ == ProblemClass::quadraticRows || (quadratic() && claimed);
      if (!other && problem_.session && std::any_of(fromNothing.begin(), fromNothing.end(), repeats)) continue;
      const bool fresh = !problem_.session || problem_.sessionEngine != attempts[i].engine;
      if (attempts[i].cold || (fresh && !(keep && !start.empty()))) fromNothing.push_back(attempts[i]);
      try {
        const auto again =
            std::count_if(attempts.begin(), attempts.begin() + static_cast<std::ptrdiff_t>(i),
                          [&](const Attempt& a) { return std::string_view(a.engine) == attempts[i].engine; });
        Solution result =
            ask(attempts[i], search, static_cast<int>(again), keep && !attempts[i].cold ? &start : nullptr);
        claimed = result.lpStatus == LpStatus::optimal || result.mipStatus == MipStatus::optimal;
        const bool settled = search ? settleMip(result) : quadratic() ? settleQuadratic(result) : settleLp(result);
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
      if (stopped()) break;
    }
    if (quadratic() && inexact_.lp.available) {
      accumulate(std::move(inexact_));
      return;
    }
    if (stopped()) return;
    problem_.say("No answer passed its check; the problem is left unfinished", MessageType::warning);
  }

  Solution ask(const Attempt& attempt, bool search, int again, const Basis* start) {
    if (!problem_.session || problem_.sessionEngine != attempt.engine) {
      problem_.session = open_(attempt.engine);
      problem_.sessionEngine = attempt.engine;
      model_.changes().rebuild = true;
    }
    SolveRequest request;
    request.mip = search;
    request.again = again;
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

  double optimality() const { return kSlack * problem_.controls.getDouble(control::optimalitytol); }
  double feasibility() const { return kSlack * problem_.controls.getDouble(control::feastol); }

  // Whether the duals prove the point optimal. Fills the slacks.
  bool proven(PointValues& point) const {
    const double feasible = feasibility();
    const double optimal = optimality();
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
    if (result.lpStatus == LpStatus::optimal) {
      if (proven(point)) return true;
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
    if (point.available && !(primalViolation(model_, point.x, false).relative <= feasibility())) point = PointValues();
    return result.stop != Stop::none;
  }

  // The same for a convex quadratic problem, where what an engine says of the absence of an optimum needs a proof, and
  // what is proven within the tolerances only is kept in case that nothing better comes.
  bool settleQuadratic(Solution& result) {
    const LpStatus claim = result.lpStatus;
    if (claim == LpStatus::infeasible || claim == LpStatus::unbounded) return settleClaim(result, claim);
    if (result.lp.available && result.stop == Stop::none) {
      // An interior-point method ends near its answer, also where it doubts that, or another one off by its tolerances.
      PointValues sharp = result.lp;
      const bool near = result.barrierIterations > 0 || inexactness(model_, sharp) > kExact;
      if (near && sharpen(model_, sharp) && proven(sharp)) {
        result.lp = std::move(sharp);
        result.lpStatus = LpStatus::optimal;
      }
    }
    if (result.stop != Stop::none) return settleLp(result);
    if (result.lpStatus != LpStatus::optimal || !settleLp(result)) return settleClaim(result, LpStatus::unfinished);
    const double off = inexactness(model_, result.lp);
    if (class_ == ProblemClass::quadratic || off <= kAccurate) return true;
    if (off < inexactnessOf_) {
      inexact_.lpStatus = LpStatus::optimal;  // its iterations have been counted
      inexact_.lp = result.lp;
      inexactnessOf_ = off;
    }
    result.lpStatus = LpStatus::unfinished;
    result.lp = PointValues();
    return false;
  }

  // `result` has the point that the engine ended with, if any.
  bool settleClaim(Solution& result, LpStatus claim) {
    const double feasible = feasibility();
    const bool away = result.lp.available && primalViolation(model_, result.lp.x, false).relative > feasible;
    result.lp = PointValues();
    result.basis = Basis();
    result.lpStatus = LpStatus::unfinished;
    if (claim == LpStatus::unfinished && searched_) return false;
    searched_ = true;
    const LpStatus rows = solveAside(linearRows(model_), "highs", result).lpStatus;
    if (rows == LpStatus::infeasible) result.lpStatus = LpStatus::infeasible;
    if (rows != LpStatus::optimal) return result.lpStatus != LpStatus::unfinished;
    Existence points = Existence::yes;
    if (class_ == ProblemClass::quadraticRows) points = feasiblePoints(result);
    // Where the rows are convex functions, a point where the violation is least proves that there is none without.
    const bool none =
        points == Existence::no || (points == Existence::unknown && claim == LpStatus::infeasible && away);
    if (none && !cones_) {
      result.lpStatus = LpStatus::infeasible;
    } else if (points == Existence::yes && improvesForEver(result)) {
      result.lpStatus = LpStatus::unbounded;
    }
    return result.lpStatus != LpStatus::unfinished;
  }

  // A problem that helps to settle this one, by an engine of its own; a linear one a second time without presolve where
  // that says nothing. Only a point that holds its rows counts.
  Solution solveAside(const Model& aside, const char* engine, Solution& result) {
    Solution found;
    if (result.stop != Stop::none) return found;
    SolveRequest request;
    request.controls = &problem_.controls;
    request.interrupted = [this] { return problem_.interruptReason.load(std::memory_order_relaxed); };
    bool sound = false;
    for (const bool again : {false, true}) {
      found = Solution();
      request.withoutPresolve = again;
      request.secondsLeft = secondsLeft();
      open_(engine)->solve(aside, request, found);
      result.stop = found.stop;
      sound = found.lp.available && primalViolation(aside, found.lp.x, false).relative <= feasibility();
      if (found.lpStatus == LpStatus::optimal && !sound) found.lpStatus = LpStatus::unfinished;
      const bool linear = aside.quadraticRows().empty();
      if (found.lpStatus != LpStatus::unfinished || found.stop != Stop::none || !linear) break;
    }
    found.lp.available = sound;
    return found;
  }

  bool improvesForEver(Solution& result) {
    Model cone = recessionDirections(model_);
    double largest = 0;
    for (const double cost : cone.objective()) largest = std::max(largest, std::abs(cost));
    const Solution ray = solveAside(cone, "highs", result);
    return ray.lp.available && cone.sense() * objectiveValue(cone, ray.lp.x) < -1e-6 * largest;
  }

  Existence feasiblePoints(Solution& result) {
    if (existence_ != Existence::unknown || result.stop != Stop::none) return existence_;
    const Model model = leastViolation(model_);
    const Solution least = solveAside(model, "ipopt", result);
    if (!least.lp.available) return Existence::unknown;
    PointValues point = least.lp;
    point.x.resize(model_.columns());
    if (primalViolation(model_, point.x, false).relative <= feasibility()) return existence_ = Existence::yes;
    // What complementarity leaves open may be less than the violation.
    const double optimal = optimality();
    const DualCheck check =
        checkDuals(model, least.lp.x, Activities(model, least.lp.x), least.lp.dual, least.lp.redcost, 0);
    const double violation = least.lp.x.back();
    const bool sound = check.residual <= optimal && check.infeasibility <= optimal;
    if (sound && violation - check.gap * std::max(1.0, violation) > feasibility()) existence_ = Existence::no;
    return existence_;
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
  ProblemClass class_ = ProblemClass::lp;
  bool cones_ = false;
  Existence existence_ = Existence::unknown;  // of points that hold quadratic rows
  Solution inexact_;                          // proven within the tolerances; the one of the least inexactness
  double inexactnessOf_ = std::numeric_limits<double>::infinity();
  bool searched_ = false;  // for a proof that there is no optimum, whatever an engine says
  const EngineOpener& open_;
  const Clock::time_point begin_ = Clock::now();
};

}  // namespace

void solveWith(Problem& problem, const char* flags, bool mip, const EngineOpener& open) {
  Solver(problem, mip, parseFlags(flags, problem.controls), open).run();
}

void solveLp(Problem& problem, const char* flags) { solveWith(problem, flags, false, openForRoute); }
void solveMip(Problem& problem, const char* flags) { solveWith(problem, flags, true, openForRoute); }

}  // namespace tvlo
