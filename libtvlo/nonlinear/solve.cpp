#include "nonlinear/solve.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "core/error.h"
#include "engines/loader.h"
#include "engines/slp/session.h"
#include "nonlinear/attempts.h"
#include "nonlinear/checkpoint.h"
#include "nonlinear/interval.h"
#include "nonlinear/parameters.h"
#include "nonlinear/pieces.h"
#include "nonlinear/proof.h"
#include "route/route.h"

namespace tvlo {

namespace {

using Clock = std::chrono::steady_clock;

void requireContinuous(const Model& model, bool relaxation) {
  for (int j = 0; j < model.columns(); ++j) {
    const char type = model.columnTypes()[j];
    if (type == 'C' || (relaxation && (type == 'B' || type == 'I'))) continue;
    throw Error(TVLO_ERR_UNSUPPORTED,
                format("Column %d is of type %c: nonlinear problems with columns that are not continuous can't be "
                       "solved yet",
                       j, type));
  }
}

bool isRelaxation(const Problem& problem, const char* flags) {
  std::string rest = flags == nullptr ? "" : flags;
  std::erase(rest, 'g');
  return parseFlags(rest.c_str(), problem.controls).relaxation;
}

bool isIntegral(const Model& model, const std::vector<double>& x, double tolerance) {
  for (int j = 0; j < model.columns(); ++j) {
    if (model.columnTypes()[j] != 'C' && std::abs(x[j] - std::round(x[j])) > tolerance) return false;
  }
  return true;
}

// An optimum of a relaxation is none of the problem where it is fractional.
void judgeRelaxation(const Problem& problem, const SolveContext& context, Outcome& outcome) {
  const double tolerance = problem.controls.getDouble(control::miptol);
  if (problem.model.entities() == 0 || !(outcome.isOptimal() || outcome.status == NonlinearStatus::unbounded)) return;
  if (outcome.isOptimal() && isIntegral(problem.model, outcome.point.x, tolerance)) return;
  context.say(outcome.isOptimal() ? "The relaxation is solved; its optimum is fractional"
                                  : "The relaxation is unbounded");
  outcome.status = NonlinearStatus::unfinished;
}

bool fits(const PointValues& point, const Model& model) {
  return point.available && point.x.size() == static_cast<size_t>(model.columns()) &&
         point.redcost.size() == point.x.size() && point.dual.size() == static_cast<size_t>(model.rows());
}

void announce(const Model& model, const ModelProgram& program, const SolveContext& context) {
  context.say(
      format("Nonlinear problem with %d rows, %d columns, %lld linear coefficients, %zu operations in "
             "formulas, %zu first and %zu second derivatives",
             model.rows(), model.columns(), static_cast<long long>(model.nonzeros()), program.operations(),
             program.jacobian.size(), program.hessian.size()));
}

bool boundsCross(const NlpProgram& program, double tolerance) {
  for (int j = 0; j < program.columns(); ++j) {
    const double lower = program.columnLower[j];
    if (lower > program.columnUpper[j] + tolerance * std::max(1.0, std::abs(lower))) return true;
  }
  return false;
}

// Nothing where the optimizer leaves something to ask.
std::optional<Outcome> settledByOptimizer(Task& task) {
  const NlpResult result = task.solves.solveByOptimizer(task.program);
  Outcome outcome;
  if (result.status == NlpStatus::unbounded) {  // with a proof
    outcome.status = NonlinearStatus::unbounded;
    return outcome;
  }
  outcome = judge(task, result, std::vector<double>(task.program.columns(), 0));
  if (outcome.isOptimal() || outcome.isProven() || outcome.stop != Stop::none) return outcome;
  return std::nullopt;
}

// Kinks that were left have a derivative to one side only: what stops there needn't be an optimum.
Outcome lookAcrossKinks(Task& task, const Wish& wish, Outcome found) {
  if (!found.isOptimal()) return solveInTurn(task, wish);
  NlpPoint start;
  start.x = programPoint(task.program, found.point).x;
  if (!piecesMeet(task.program, start.x)) return found;
  Outcome other = solveFrom(task, start, {});
  return isBetter(task, other, found) ? std::move(other) : std::move(found);
}

Outcome solveModel(LocalSolves& solves, const Wish& wish) {
  const Problem& problem = solves.problem();
  const Model& model = problem.model;
  const Checkpoint checkpoint = checkpointOf(solves.context());
  ModelProgram lifted(model, Kinks::lifted, checkpoint);
  std::optional<ModelProgram> across;  // with all kinks taken out, where some are left else
  if (lifted.hasKinks()) {
    across.emplace(model, Kinks::exact, checkpoint);
    if (across->exactKinks().empty()) across.reset();
  }
  Task task{solves, model, lifted};
  task.convex = isConvex(lifted, checkpoint);
  task.mayStall = across.has_value();
  lifted.quadratic = lifted.quadratic && task.convex;  // engines take that for leave to skip safeguards
  announce(model, lifted, solves.context());
  Outcome outcome;
  if (boundsCross(lifted, problem.controls.getDouble(control::feastol))) {
    outcome.status = NonlinearStatus::infeasible;
    return outcome;
  }
  const bool hasLifted = lifted.columns() > static_cast<int>(lifted.modelColumns().size());
  const bool simple = lifted.isLinear() || (lifted.quadratic && hasLifted);
  std::optional<Outcome> settled;
  if (simple && !solves.byLinearPrograms()) settled = settledByOptimizer(task);
  outcome = settled ? std::move(*settled) : solveInTurn(task, wish);
  const bool stopped = outcome.stop != Stop::none && outcome.stop != Stop::iterationLimit;
  const bool hopeless = outcome.status == NonlinearStatus::infeasible || outcome.status == NonlinearStatus::unbounded;
  if (across && !stopped && !hopeless) {
    Task exact{solves, model, *across};
    outcome = lookAcrossKinks(exact, wish, std::move(outcome));
  }
  if (outcome.status == NonlinearStatus::unfinished && someRowIsOutOfReach(model, 10 * solves.feasibility())) {
    outcome = Outcome();
    outcome.status = NonlinearStatus::infeasible;
  }
  if (outcome.status == NonlinearStatus::unfinished) {
    solves.context().say("No answer passed its check; the problem is left unfinished", MessageType::warning);
  }
  return outcome;
}

void report(const NonlinearSolution& solution, const SolveContext& context) {
  static constexpr const char* kStatus[] = {"not started", "locally optimal", "globally optimal", "locally infeasible",
                                            "infeasible",  "unbounded",       "unfinished"};
  std::string text = kStatus[static_cast<int>(solution.status)];
  if (solution.point.available) text += format(", objective %.12g", solution.point.objective);
  context.say(format("Result: %s, %d iterations, %.2f s, of that %.2f s in functions and derivatives", text.c_str(),
                     solution.iterations, solution.seconds, solution.evaluation));
}

}  // namespace

void solveNonlinearWith(Problem& problem, const ControlValues& controls, const char* flags, const NlpOpener& open) {
  const Clock::time_point begin = Clock::now();
  const bool relaxation = isRelaxation(problem, flags);
  requireContinuous(problem.model, relaxation);
  NonlinearSolution& solution = problem.solution.nonlinear;
  PointValues last = std::move(solution.point);
  extend(last, problem.model.rows(), problem.model.columns());
  const bool warm = solution.warm && problem.controls.getInt(control::keepbasis) != 0 && fits(last, problem.model);
  solution = NonlinearSolution();

  LocalSolves solves(problem, controls, open);
  Wish wish;
  wish.starts = static_cast<int>(controls.getInt(slpcontrol::nlp_starts));
  wish.seed = problem.controls.getInt(control::randomseed);
  if (warm) wish.last = &last;
  Outcome outcome;
  try {
    outcome = solveModel(solves, wish);
  } catch (const Stopped& stopped) {  // before there was anything to solve
    outcome.stop = stopped.reason;
  }
  solution.warm = outcome.isOptimal();
  if (relaxation) judgeRelaxation(problem, solves.context(), outcome);
  solution.status = outcome.status;
  solution.point = std::move(outcome.point);
  if (solution.point.available) {
    solution.primalInfeasibility = outcome.check.primal;
    solution.dualInfeasibility = std::max(outcome.check.dual, outcome.check.complementarity);
  }
  solution.iterations = solves.iterations;
  solution.evaluation = solves.evaluation;
  solution.engine = solves.engine;
  problem.solution.stop = solution.stop = outcome.stop;
  problem.solution.seconds = solution.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  report(solution, solves.context());
}

void solveNonlinear(Problem& problem, const ControlValues& controls, const char* flags) {
  solveNonlinearWith(problem, controls, flags, [](const std::string& name) {
    return name == "slp" ? openSlp([] { return openEngine("highs"); }) : openNlpEngine(name);
  });
}

}  // namespace tvlo
