#include "route/solve.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>

#include "core/check.h"
#include "core/error.h"
#include "engines/watch.h"
#include "quadratic/convexity.h"
#include "route/claims.h"
#include "route/route.h"
#include "route/settle.h"
#include "route/settle_quadratic.h"

namespace tvlo {

namespace {

using Clock = std::chrono::steady_clock;

class Solver {
 public:
  Solver(Problem& problem, bool mip, bool prove, const Flags& flags, const SolveContext& context,
         const EngineOpener& open)
      : problem_(problem),
        model_(problem.model),
        mip_(mip),
        prove_(prove),
        flags_(flags),
        context_(context),
        case_{problem.controls, problem.model, context, open},
        open_(open) {}

  void run() {
    const bool search = mip_ && !flags_.relaxation && model_.hasEntities();
    content_ = contentOf(model_, search);
    std::vector<Attempt> attempts = routeOf(model_, content_, flags_.method);
    Basis start = std::move(problem_.solution.basis);
    PointValues last = std::move(problem_.solution.lp);
    extend(last, model_.rows(), model_.columns());
    problem_.solution = Solution();
    announce();
    if (quadratic()) {
      if (!requireConvex()) return finish(search);
      if (std::string_view(attempts[0].engine) == "cones" && !quadratic_->startsWithCones()) {
        std::rotate(attempts.begin(), attempts.begin() + 1, attempts.end());
      }
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
  double seconds() const { return std::chrono::duration<double>(Clock::now() - begin_).count(); }
  bool quadratic() const { return (content_ & kQuadratic) != 0; }
  bool quadraticRows() const { return (content_ & kQuadraticRows) != 0; }

  void announce() const {
    context_.say(format("%s with %d rows, %d columns, %lld coefficients, %d integer entities", className(content_),
                        model_.rows(), model_.columns(), static_cast<long long>(model_.nonzeros()), model_.entities()));
  }

  // Whether there was time to see that it is.
  bool requireConvex() {
    Watch watch([this] {
      if (const Stop why = context_.stop(); why != Stop::none) throw Stopped{why};
    });
    Convexity convexity;
    try {
      convexity = convexityOf(model_, watch);
    } catch (const Stopped& end) {
      Solution stopped;
      stopped.lpStatus = LpStatus::unfinished;
      stopped.stop = end.why;
      accumulate(std::move(stopped));
      return false;
    }
    if (convexity.nonconvex.empty()) {
      quadratic_.emplace(case_, quadraticRows(), convexity.cones);
      return true;
    }
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
    const bool warm = quadratic() && last.available && problem_.controls.getInt(control::keepbasis) != 0;
    Solution result;
    if (!warm || context_.stop() != Stop::none || !quadratic_->settleFrom(std::move(last), result)) return false;
    accumulate(std::move(result));
    return true;
  }

  void tryInTurn(const std::vector<Attempt>& attempts, bool search, const Basis& start) {
    const bool keep = !search && !quadratic() && problem_.controls.getInt(control::keepbasis) != 0;
    const bool without = problem_.controls.getInt(control::presolve) == 0;
    std::vector<Attempt> fromNothing;
    bool claimed = false;  // an optimum, by the attempt before
    for (size_t i = 0; i < attempts.size(); ++i) {
      const bool last = i + 1 == attempts.size();
      const auto repeats = [&](const Attempt& done) {
        return !without && std::string_view(done.engine) == attempts[i].engine && done.method == attempts[i].method &&
               done.withoutPresolve == attempts[i].withoutPresolve && done.scaled == attempts[i].scaled;
      };
      // A local solver's next try is another one: it asks for more exactness, or relaxes quadratic rows more.
      const bool other = quadraticRows() || (quadratic() && claimed);
      if (!other && problem_.session && std::any_of(fromNothing.begin(), fromNothing.end(), repeats)) continue;
      const bool fresh = !problem_.session || problem_.sessionEngine != attempts[i].engine;
      if (attempts[i].cold || (fresh && !(keep && !start.empty()))) fromNothing.push_back(attempts[i]);
      try {
        const auto again =
            std::count_if(attempts.begin(), attempts.begin() + static_cast<std::ptrdiff_t>(i),
                          [&](const Attempt& a) { return std::string_view(a.engine) == attempts[i].engine; });
        const SolveContext context = searches_.open() ? context_.within(searches_.budget(seconds())) : context_;
        Solution result =
            ask(attempts[i], search, static_cast<int>(again), keep && !attempts[i].cold ? &start : nullptr, context);
        claimed = result.lpStatus == LpStatus::optimal || result.mipStatus == MipStatus::optimal;
        const bool settled = settle(result, search);
        accumulate(std::move(result));
        if (settled) return;
        if (!stopped() && !last) {
          context_.say(claimed ? "The answer fails its check; solving again" : "No answer; solving again",
                       MessageType::warning);
        }
      } catch (const Error& error) {
        problem_.session.reset();
        if (error.code() != TVLO_ERR_ENGINE || last) throw;
        context_.say(format("%s; solving again", error.what()), MessageType::warning);
      } catch (...) {
        problem_.session.reset();
        throw;
      }
      if (stopped()) break;
    }
    if (Solution inexact = quadratic_ ? quadratic_->takeInexact() : Solution(); inexact.lp.available) {
      accumulate(std::move(inexact));
      return;
    }
    if (!search && !quadratic() && prove_ && !stopped()) {
      Solution result;
      result.lpStatus = linear_.prove();
      accumulate(std::move(result));
      if (problem_.solution.lpStatus != LpStatus::unfinished) return;
    }
    if (search && !stopped() && !problem_.solution.mip.available && searches_.noneRelaxed()) {
      problem_.solution.mipStatus = MipStatus::infeasible;
      return;
    }
    if (stopped()) return;
    context_.say("No answer passed its check; the problem is left unfinished", MessageType::warning);
  }

  Solution ask(const Attempt& attempt, bool search, int again, const Basis* start, const SolveContext& context) {
    if (!problem_.session || problem_.sessionEngine != attempt.engine) {
      problem_.session = open_(attempt.engine);
      problem_.sessionEngine = attempt.engine;
      model_.changes().rebuild = true;
    }
    request_ = SolveRequest();
    request_.mip = search;
    request_.again = again;
    request_.cold = attempt.cold || problem_.controls.getInt(control::keepbasis) == 0;
    // Where the first solve goes without presolve, the others go with it: they are to be of another kind.
    const bool without = problem_.controls.getInt(control::presolve) == 0;
    request_.withPresolve = without && attempt.cold && (search || !attempt.withoutPresolve);
    request_.withoutPresolve = attempt.withoutPresolve && !request_.withPresolve;
    request_.scaled = attempt.scaled;
    request_.method = attempt.method;
    request_.controls = &problem_.controls;
    request_.start = start != nullptr && !start->empty() ? start : nullptr;
    Solution result = context.ask(*problem_.session, model_, request_);
    (search ? result.lp : result.mip) = PointValues();  // nobody asked for that, nor checks it
    return result;
  }

  bool settle(Solution& result, bool search) {
    if (quadratic_) return quadratic_->settle(result);
    if (search) return searches_.settle(result);
    const LpStatus claim = result.lpStatus;
    if (claim != LpStatus::infeasible && claim != LpStatus::unbounded) return settleLp(case_, result);
    result.lp = PointValues();
    result.lpStatus = linear_.confirm(
        claim, [&](LpStatus what) { return context_.explain(*problem_.session, model_, request_, what); });
    return result.lpStatus != LpStatus::unfinished;
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
    const bool open = solution.lpStatus == LpStatus::unfinished || solution.mipStatus == MipStatus::noSolution ||
                      solution.mipStatus == MipStatus::solution;
    if (open && !stopped()) solution.stop = context_.stop();
  }

  void finish(bool search) {
    Solution& solution = problem_.solution;
    for (PointValues* const point : {&solution.lp, &solution.mip}) {
      if (!point->available) continue;
      point->objective = objectiveValue(model_, point->x);
      if (point->slack.empty()) setSlacks(model_, *point);
    }
    if (!search) statusOfRelaxation();
    if (solution.mipStatus == MipStatus::optimal && !search) solution.bestBound = solution.mip.objective;
    solution.seconds = seconds();
    report(search);
  }

  // What an LP says of the MIP: all where nothing is integer, that there is no solution where the LP has none.
  void statusOfRelaxation() {
    Solution& solution = problem_.solution;
    if (!mip_ && !model_.hasEntities()) return;
    const bool whole = !model_.hasEntities();
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
    if (search)
      text += format(", bound %.12g, %lld nodes", provenBound(solution, model_.sense()),
                     static_cast<long long>(solution.nodes));
    text += format(", %lld simplex iterations", static_cast<long long>(solution.simplexIterations));
    if (solution.barrierIterations > 0) {
      text += format(", %lld interior-point iterations", static_cast<long long>(solution.barrierIterations));
    }
    context_.say(format("Result: %s, %.2f s", text.c_str(), solution.seconds));
  }

  Problem& problem_;
  Model& model_;
  const bool mip_;
  const bool prove_;
  const Flags flags_;
  const SolveContext& context_;
  const Case case_;
  const EngineOpener& open_;
  unsigned content_ = 0;                          // route.h
  std::optional<QuadraticSettlement> quadratic_;  // of quadratic problems
  LinearClaims linear_{case_};
  SearchClaims searches_{case_};
  SolveRequest request_;  // of the last attempt
  const Clock::time_point begin_ = Clock::now();
};

}  // namespace

void solveWith(Problem& problem, const char* flags, bool mip, const EngineOpener& open) {
  const SolveContext context(problem);
  Solver(problem, mip, true, parseFlags(flags, problem.controls), context, open).run();
}

void solveLp(Problem& problem, const char* flags) { solveWith(problem, flags, false, openForRoute); }
void solveMip(Problem& problem, const char* flags) { solveWith(problem, flags, true, openForRoute); }

void solveAside(Problem& aside, const SolveContext& host, const EngineOpener& open, Aside how) {
  Solver(aside, how.search, how.prove, parseFlags("", aside.controls), host, open).run();
}

Solution solveAside(Model model, const ControlValues& controls, const SolveContext& host, const EngineOpener& open,
                    Aside how) {
  Problem aside;
  aside.controls.copyFrom(controls);
  aside.model = std::move(model);
  solveAside(aside, host, open, how);
  return std::move(aside.solution);
}

}  // namespace tvlo
