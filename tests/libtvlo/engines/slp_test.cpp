#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <thread>

#include "engines/loader.h"
#include "engines/slp/session.h"
#include "nlp_examples.h"
#include "nonlinear/parameters.h"

namespace tvlo {
namespace {

using namespace examples;

std::unique_ptr<NlpSession> open() {
  return openSlp([] { return openEngine("highs"); });
}

NlpResult solve(Example& program, const NlpRequest& request = {}) {
  NlpResult result;
  open()->solve(program, program.start(), request, result);
  return result;
}

TEST(Slp, SolvesInBothSensesAndGivesDualsInTheLibrarysSigns) {
  for (const int sense : {1, -1}) {
    Hs071 program(sense);
    const NlpResult result = solve(program);
    ASSERT_EQ(result.status, NlpStatus::optimal) << result.reason;
    EXPECT_NEAR(result.objective, sense * Hs071::kOptimum, 1e-6);
    EXPECT_NEAR(result.point.activity[1], 40, 1e-7);
    EXPECT_NEAR(result.point.dual[0], sense * 0.55229366, 1e-4);
    EXPECT_NEAR(result.point.dual[1], sense * -0.16146857, 1e-4);
    EXPECT_NEAR(result.point.redcost[0], sense * 1.0878712, 1e-4);
  }
}

// max x + y in the lens of two discs, whose corner (0, 1.2) or so is a vertex: x >= 0 and one circle.
TEST(Slp, ConvergesFastToVertices) {
  Example program({0, -5}, {5, 5}, {-kInf, -kInf}, {1, 4});
  program.sense = -1;
  program.x0 = {3, -2};
  program.f = [](const double* x) { return x[1] - 2 * x[0]; };
  program.df = [](const double*) { return Vector{-2, 1}; };
  program.g = [](const double* x) {
    return Vector{x[0] * x[0] + x[1] * x[1], (x[0] - 1) * (x[0] - 1) + (x[1] + 1) * (x[1] + 1)};
  };
  program.dg = [](const double* x) { return Vector{2 * x[0], 2 * x[1], 2 * (x[0] - 1), 2 * (x[1] + 1)}; };
  const NlpResult result = solve(program);
  ASSERT_EQ(result.status, NlpStatus::optimal) << result.reason;
  const double y = std::sqrt(3) - 1;  // on the second circle at x = 0
  EXPECT_NEAR(result.point.x[0], 0, 1e-10);
  EXPECT_NEAR(result.point.x[1], y, 1e-8);
  EXPECT_NEAR(result.point.dual[1], 1 / (2 * (y + 1)), 1e-6);
  EXPECT_NEAR(result.point.dual[0], 0, 1e-9);
  EXPECT_LE(result.iterations, 12);
}

TEST(Slp, SolvesALinearProgramInTheFirstStepsAndAQuadraticOneSlowly) {
  Linear lp({3, 2}, {0, 0}, {1, 1, 1, 3}, {0, 0}, {3, kInf}, {-kInf, -kInf}, {4, 7});
  lp.sense = -1;
  NlpResult result = solve(lp);
  ASSERT_EQ(result.status, NlpStatus::optimal) << result.reason;
  EXPECT_NEAR(result.objective, 11, 1e-8);
  EXPECT_NEAR(result.point.dual[0], 2, 1e-8);
  EXPECT_NEAR(result.point.redcost[0], 1, 1e-8);
  EXPECT_LE(result.iterations, 5);

  // min x^2 + y^2 + 3z^2 - 2x - 4y: x + y + z = 1, -2 <= x - y <= 2; the range row is binding nowhere.
  Linear qp({-2, -4, 0}, {2, 2, 6}, {1, 1, 1, 1, -1, 0}, Vector(3, -kInf), Vector(3, kInf), {1, -2}, {1, 2});
  result = solve(qp);
  ASSERT_EQ(result.status, NlpStatus::optimal) << result.reason << " after " << result.iterations;
  const double y = -12.0 / 7;  // rate at which the optimum changes: 2x - 2 = 2y - 4 = 6z = y
  EXPECT_NEAR(result.point.dual[0], y, 1e-5);
  EXPECT_NEAR(result.point.x[2], y / 6, 1e-5);
  EXPECT_NEAR(result.point.dual[1], 0, 1e-5);
}

// First-order steps get nowhere in a narrow curved valley. It must not call that optimal.
TEST(Slp, IsHonestWhereItDoesNotConverge) {
  Example valley({-5, -5}, {5, 5});
  valley.x0 = {-1.2, 1};
  valley.f = [](const double* x) { return 1e6 * std::pow(x[1] - x[0] * x[0], 2) + std::pow(1 - x[0], 2); };
  valley.df = [](const double* x) {
    return Vector{-4e6 * x[0] * (x[1] - x[0] * x[0]) - 2 * (1 - x[0]), 2e6 * (x[1] - x[0] * x[0])};
  };
  ControlValues values(componentControls());
  values.setInt(slpcontrol::nlp_iterlimit, 50);
  NlpRequest request;
  request.controls = &values;
  const NlpResult result = solve(valley, request);
  EXPECT_EQ(result.status, NlpStatus::unfinished) << result.reason;
  EXPECT_LE(result.iterations, 50);
}

TEST(Slp, TellsInfeasibleAndUnboundedApart) {
  Example apart({-kInf, -kInf}, {kInf, kInf}, {-kInf, 3}, {1, kInf});
  apart.f = [](const double* x) { return x[0]; };
  apart.df = [](const double*) { return Vector{1, 0}; };
  apart.g = [](const double* x) { return Vector{x[0] * x[0] + x[1] * x[1], x[0] + x[1]}; };
  apart.dg = [](const double* x) { return Vector{2 * x[0], 2 * x[1], 1, 1}; };
  EXPECT_EQ(solve(apart).status, NlpStatus::infeasible);
  Linear contradiction({1, 1}, {0, 0}, {1, 1, 1, 1}, {-kInf, -kInf}, {kInf, kInf}, {1, -kInf}, {kInf, -1});
  EXPECT_EQ(solve(contradiction).status, NlpStatus::infeasible);
  contradiction.columnLower[0] = kInf;
  EXPECT_EQ(solve(contradiction).status, NlpStatus::infeasible);

  Linear falling({1, 0}, {0, 1}, {1, -1}, {-kInf, -kInf}, {kInf, kInf}, {-kInf}, {1});
  EXPECT_EQ(solve(falling).status, NlpStatus::unbounded);
  Linear empty({}, {}, {}, {}, {}, {-1}, {1});
  EXPECT_EQ(solve(empty).status, NlpStatus::optimal);
  empty.rowLower[0] = 0.5;
  EXPECT_EQ(solve(empty).status, NlpStatus::infeasible);
}

TEST(Slp, ShortensStepsThatLeaveTheDomainAndPassesExceptionsOn) {
  Example program({-kInf}, {kInf});
  program.x0 = {5};
  program.f = [](const double* x) { return std::log(x[0]) + 1 / x[0]; };
  program.df = [](const double* x) { return Vector{1 / x[0] - 1 / (x[0] * x[0])}; };
  program.defined = [](const double* x) { return x[0] > 0.5; };
  const NlpResult result = solve(program);
  EXPECT_EQ(result.status, NlpStatus::optimal) << result.reason;
  EXPECT_NEAR(result.point.x[0], 1, 1e-5);
  program.x0 = {-1};
  EXPECT_EQ(solve(program).status, NlpStatus::failed);
  program.x0 = {5};
  program.defined = [&](const double*) -> bool {
    return program.evaluations < 3 ? true : throw std::domain_error("in mid-run");
  };
  program.evaluations = 0;
  EXPECT_THROW(solve(program), std::domain_error);
}

TEST(Slp, StopsOnRequestAndAtLimits) {
  Hs071 program;
  NlpRequest request;
  int calls = 0, lines = 0;
  request.iteration = [&](int iteration, double, double) {
    EXPECT_EQ(iteration, calls++);
    return iteration == 3 ? 7 : 0;
  };
  request.log = [&](std::string_view) { ++lines; };
  NlpResult result = solve(program, request);
  EXPECT_EQ(result.status, NlpStatus::unfinished);
  EXPECT_EQ(result.stop, 7);
  EXPECT_EQ(lines, 5) << "a head and a line for each iteration";
  NlpRequest limited;
  limited.secondsLeft = 0.05;
  program.defined = [](const double*) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return true;
  };
  result = solve(program, limited);
  EXPECT_EQ(result.stop, -1);
  EXPECT_LT(result.seconds, 0.5);
}

// Linear programs that would take for ever, but for what their requests say.
class Endless final : public EngineSession {
 public:
  void solve(const Model&, const SolveRequest& request, Solution& result) override {
    for (int polls = 0; polls < 1000; ++polls) {
      result.stop = request.interrupted && request.interrupted() != 0 ? Stop::interrupt
                    : request.secondsLeft <= 0                        ? Stop::timeLimit
                                                                      : Stop::none;
      if (result.stop != Stop::none) return;
      if (request.secondsLeft < TVLO_INFINITY) {  // the limit is the engine's own matter
        result.stop = Stop::timeLimit;
        return;
      }
    }
    FAIL() << "neither limit nor interrupt";
  }
};

TEST(Slp, PassesInterruptsAndLimitsToItsLinearPrograms) {
  Hs071 program;
  NlpRequest request;
  int polls = 0;
  request.interrupted = [&] { return ++polls > 100 ? 7 : 0; };
  NlpResult result;
  openSlp([] { return std::make_unique<Endless>(); })->solve(program, program.start(), request, result);
  EXPECT_EQ(result.status, NlpStatus::unfinished);
  EXPECT_EQ(result.stop, 7) << "with its reason";
  EXPECT_EQ(result.iterations, 0);
  NlpRequest limited;
  limited.secondsLeft = 1000;
  openSlp([] { return std::make_unique<Endless>(); })->solve(program, program.start(), limited, result);
  EXPECT_EQ(result.stop, -1);
}

// One session for programs of different shapes, and from the solution of the other method.
TEST(Slp, IsInterchangeableWithTheEngine) {
  const std::unique_ptr<NlpSession> slp = open(), ipopt = openNlpEngine("ipopt");
  Hs071 program;
  NlpResult first, again;
  ipopt->solve(program, program.start(), {}, first);
  NlpRequest warm;
  warm.warm = true;
  slp->solve(program, first.point, warm, again);
  EXPECT_EQ(again.status, NlpStatus::optimal) << again.reason;
  EXPECT_NEAR(again.objective, first.objective, 1e-6);
  Linear other({-1}, {0}, {2}, {0}, {kInf}, {-kInf}, {6});
  slp->solve(other, other.start(), {}, again);
  EXPECT_NEAR(again.objective, -3, 1e-8);
}

}  // namespace
}  // namespace tvlo
