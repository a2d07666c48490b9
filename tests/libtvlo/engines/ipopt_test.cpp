#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "core/error.h"
#include "engines/loader.h"
#include "nlp_examples.h"
#include "nonlinear/parameters.h"

namespace tvlo {
namespace {

using namespace examples;

NlpResult solve(NlpProgram& program, const NlpPoint& start, const NlpRequest& request = {}) {
  NlpResult result;
  openNlpEngine("ipopt")->solve(program, start, request, result);
  return result;
}
NlpResult solve(Example& program, const NlpRequest& request = {}) { return solve(program, program.start(), request); }

// First-order conditions in the signs of tvlo.h, for both senses.
void expectStationary(Example& program, const NlpResult& result) {
  const NlpPoint& p = result.point;
  const Vector gradient = program.df(p.x.data()), jacobian = program.dg(p.x.data());
  const int n = program.columns();
  for (int j = 0; j < n; ++j) {
    double cost = gradient[j];
    for (int i = 0; i < program.rows(); ++i) cost -= p.dual[i] * jacobian[i * n + j];
    EXPECT_NEAR(p.redcost[j], cost, 1e-5) << "column " << j;
    const bool atLower = p.x[j]<program.columnLower[j] + 1e-5, atUpper = p.x[j]> program.columnUpper[j] - 1e-5;
    EXPECT_TRUE(atUpper || program.sense * cost >= -1e-5) << "column " << j;
    EXPECT_TRUE(atLower || program.sense * cost <= 1e-5) << "column " << j;
  }
}

TEST(Ipopt, SolvesInBothSensesAndGivesDualsInTheLibrarysSigns) {
  for (const int sense : {1, -1}) {
    Hs071 program(sense);
    const NlpResult result = solve(program);
    ASSERT_EQ(result.status, NlpStatus::optimal) << result.reason;
    EXPECT_NEAR(result.objective, sense * Hs071::kOptimum, 1e-6);
    EXPECT_NEAR(result.point.activity[0], 25, 1e-6);
    EXPECT_NEAR(result.point.dual[0], sense * 0.55229366, 1e-5);
    EXPECT_NEAR(result.point.dual[1], sense * -0.16146857, 1e-5);
    EXPECT_NEAR(result.point.redcost[0], sense * 1.0878712, 1e-5);
    expectStationary(program, result);
    EXPECT_GT(result.iterations, 3);
    EXPECT_GT(result.evaluation, 0);
    EXPECT_GE(result.seconds, result.evaluation);
  }
}

// max 3x + 2y: x + y <= 4, x + 3y <= 6, x <= 3; duals by hand. Large coefficients make Ipopt scale the program.
TEST(Ipopt, GivesUnscaledDualsOfALinearProgram) {
  for (const double scale : {1.0, 1e5}) {
    Linear program({3 * scale, 2 * scale}, {0, 0}, {1, 1, 1e3, 3e3}, {0, 0}, {3, kInf}, {-kInf, -kInf}, {4, 6e3});
    program.sense = -1;
    const NlpResult result = solve(program);
    ASSERT_EQ(result.status, NlpStatus::optimal) << result.reason;
    EXPECT_NEAR(result.objective, 11 * scale, 1e-6 * scale);
    EXPECT_NEAR(result.point.x[0], 3, 1e-6);
    EXPECT_NEAR(result.point.x[1], 1, 1e-6);
    // x + y = 4 and x + 3y = 6 meet at x = 3, which is the bound too: any combination that balances the gradient.
    expectStationary(program, result);
  }
}

// min (x^2 + y^2)/2 - 4x - 2y: x + y <= 2, 0 <= x <= 1.5: x = 1.5, y = 0.5, dual -1.5, reduced cost -1.
TEST(Ipopt, SolvesAQuadraticProgramExactly) {
  for (const int sense : {1, -1}) {
    const double s = sense;
    Linear program({-4 * s, -2 * s}, {s, s}, {1, 1}, {0, -kInf}, {1.5, kInf}, {-kInf}, {2});
    program.sense = sense;
    const NlpResult result = solve(program);
    ASSERT_EQ(result.status, NlpStatus::optimal) << result.reason;
    EXPECT_NEAR(result.point.x[0], 1.5, 1e-7);
    EXPECT_NEAR(result.point.x[1], 0.5, 1e-7);
    EXPECT_NEAR(result.point.dual[0], -1.5 * s, 1e-6);
    EXPECT_NEAR(result.point.redcost[0], -1 * s, 1e-6);
    EXPECT_LE(result.point.x[0], 1.5);
  }
}

// A circle and a line that miss each other; linear rows that contradict; a linear and a concave objective without end.
TEST(Ipopt, TellsInfeasibleAndUnboundedApart) {
  Example apart({-kInf, -kInf}, {kInf, kInf}, {-kInf, 3}, {1, kInf});
  apart.f = [](const double* x) { return x[0]; };
  apart.df = [](const double*) { return Vector{1, 0}; };
  apart.g = [](const double* x) { return Vector{x[0] * x[0] + x[1] * x[1], x[0] + x[1]}; };
  apart.dg = [](const double* x) { return Vector{2 * x[0], 2 * x[1], 1, 1}; };
  apart.ddl = [](const double*, double, const double* y) { return Vector{2 * y[0], 0, 2 * y[0]}; };
  EXPECT_EQ(solve(apart).status, NlpStatus::infeasible);

  Linear contradiction({1, 1}, {1, 1}, {1, 1, 1, 1}, {-kInf, -kInf}, {kInf, kInf}, {1, -kInf}, {kInf, -1});
  EXPECT_EQ(solve(contradiction).status, NlpStatus::infeasible);
  Linear falling({1, 0}, {0, 1}, {1, -1}, {-kInf, -kInf}, {kInf, kInf}, {-kInf}, {1});
  EXPECT_EQ(solve(falling).status, NlpStatus::unbounded);
  Linear concave({-1, -1}, {-1, -1}, {1, -1}, {0, 0}, {kInf, kInf}, {-kInf}, {1});
  EXPECT_EQ(solve(concave).status, NlpStatus::unbounded);

  Hs071 crossed;
  crossed.columnLower[1] = 6;
  EXPECT_EQ(solve(crossed).status, NlpStatus::infeasible);
  crossed.columnLower[1] = std::nan("");
  EXPECT_EQ(solve(crossed).status, NlpStatus::failed);
}

// As many equations as columns, more of them (one redundant), contradicting ones, fixed columns, no rows, no columns.
TEST(Ipopt, TakesShapesThatItRefusesByItself) {
  const Vector none, open(2, kInf), shut(2, -kInf);
  Linear square({1, 2}, {0, 0}, {1, 1, 1, -1}, shut, open, {3, 1}, {3, 1});
  NlpResult result = solve(square);
  ASSERT_EQ(result.status, NlpStatus::optimal) << result.reason;
  EXPECT_NEAR(result.objective, 4, 1e-7);
  EXPECT_NEAR(result.point.dual[0], 1.5, 1e-6);
  EXPECT_NEAR(result.point.dual[1], -0.5, 1e-6);

  Linear redundant({1, 2}, {0, 0}, {1, 1, 1, -1, 2, 0}, shut, open, {3, 1, 4}, {3, 1, 4});
  result = solve(redundant);
  ASSERT_EQ(result.status, NlpStatus::optimal) << result.reason;
  EXPECT_NEAR(result.objective, 4, 1e-7);
  expectStationary(redundant, result);
  redundant.rowLower[2] = redundant.rowUpper[2] = 5;
  EXPECT_EQ(solve(redundant).status, NlpStatus::infeasible);

  Linear fixed({1, 2}, {1, 1}, {1, 1}, {2, -kInf}, {2, kInf}, {3}, {3});
  result = solve(fixed);
  ASSERT_EQ(result.status, NlpStatus::optimal) << result.reason;
  EXPECT_NEAR(result.point.x[1], 1, 1e-8);
  EXPECT_NEAR(result.point.dual[0], 3, 1e-6);
  EXPECT_NEAR(result.point.redcost[0], 0, 1e-6);
  fixed.columnLower[1] = fixed.columnUpper[1] = 1;
  EXPECT_EQ(solve(fixed).status, NlpStatus::optimal);
  fixed.columnLower[1] = fixed.columnUpper[1] = 2;
  EXPECT_EQ(solve(fixed).status, NlpStatus::infeasible);

  Linear rowless({1, 2}, {1, 1}, none, shut, open, none, none);
  EXPECT_NEAR(solve(rowless).objective, -2.5, 1e-8);
  Linear empty(none, none, none, none, none, {-1}, {1});
  EXPECT_EQ(solve(empty).status, NlpStatus::optimal);
}

// log x + 1/x from 5: steps that leave the domain are shortened.
TEST(Ipopt, SurvivesFunctionsThatFailAndPassesExceptionsOn) {
  Example program({-kInf}, {kInf});
  program.x0 = {5};
  program.f = [](const double* x) { return std::log(x[0]) + 1 / x[0]; };
  program.df = [](const double* x) { return Vector{1 / x[0] - 1 / (x[0] * x[0])}; };
  program.ddl = [](const double* x, double factor, const double*) {
    return Vector{factor * (-1 / (x[0] * x[0]) + 2 / (x[0] * x[0] * x[0]))};
  };
  int refused = 0;
  program.defined = [&](const double* x) { return x[0] > 0 || ++refused < 0; };
  const NlpResult result = solve(program);
  EXPECT_EQ(result.status, NlpStatus::optimal) << result.reason;
  EXPECT_NEAR(result.point.x[0], 1, 1e-6);
  EXPECT_GT(refused, 0);

  program.x0 = {-1};
  EXPECT_EQ(solve(program).status, NlpStatus::failed);

  program.x0 = {5};
  program.defined = [&](const double*) -> bool { throw std::domain_error("at home"); };
  EXPECT_THROW(solve(program), std::domain_error);
  program.defined = [&](const double*) -> bool {
    return program.evaluations < 3 ? true : throw std::domain_error("in mid-run");
  };
  program.evaluations = 0;
  EXPECT_THROW(solve(program), std::domain_error);
  EXPECT_LE(program.evaluations, 3) << "not called again after that";
}

TEST(Ipopt, StopsOnRequestAndAtLimits) {
  Hs071 program;
  NlpRequest request;
  int calls = 0;
  request.iteration = [&](int iteration, double, double) {
    EXPECT_EQ(iteration, calls++);
    return iteration == 3 ? 7 : 0;
  };
  int lines = 0;
  request.log = [&](std::string_view) { ++lines; };
  NlpResult result = solve(program, request);
  EXPECT_EQ(result.status, NlpStatus::unfinished);
  EXPECT_EQ(result.stop, 7);
  EXPECT_EQ(result.iterations, 3);
  EXPECT_EQ(lines, 5) << "a head and a line for each iteration";
  request.iteration = [](int, double, double) -> int { throw std::runtime_error("enough"); };
  EXPECT_THROW(solve(program, request), std::runtime_error);

  NlpRequest limited;
  limited.secondsLeft = 0.05;
  program.defined = [](const double*) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return true;
  };
  for (const double seconds : {0.05, 0.0}) {
    limited.secondsLeft = seconds;
    result = solve(program, limited);
    EXPECT_EQ(result.status, NlpStatus::unfinished);
    EXPECT_EQ(result.stop, -1);
    EXPECT_LT(result.seconds, 0.5);
  }
}

TEST(Ipopt, StartsWarmFromAPrimalDualPoint) {
  Hs071 program;
  const NlpResult cold = solve(program);
  program.columnUpper[1] = 4.85;
  program.rowLower[0] = 25.2;
  NlpRequest request;
  request.warm = true;
  const NlpResult warm = solve(program, cold.point, request);
  EXPECT_EQ(warm.status, NlpStatus::optimal);
  EXPECT_LT(warm.iterations, cold.iterations / 2);
  EXPECT_NEAR(warm.objective, solve(program).objective, 1e-6);
  EXPECT_EQ(solve(program, program.start(), request).status, NlpStatus::optimal) << "without duals: cold";
  program.columnUpper[1] = 4.5;  // another active set
  const NlpResult moved = solve(program, cold.point, request);
  EXPECT_EQ(moved.status, NlpStatus::optimal);
  EXPECT_NEAR(moved.objective, solve(program).objective, 1e-6);
}

// Each control of the local solver goes over, at both ends of its range, and is accepted.
TEST(Ipopt, AcceptsEveryControlAtTheEndsOfItsRange) {
  int mapped = 0;
  for (const ControlTable* const table : {&componentControls(), &optimizerControls()}) {
    for (const ControlRow& row : table->rows()) {
      if (std::string_view(row.engineOption).find("ipopt:") == std::string_view::npos) continue;
      ++mapped;
      for (const double value : {row.least, row.most}) {
        ControlValues values(*table);
        if (row.type == TVLO_TYPE_INT) {
          values.setInt(row.id, static_cast<int64_t>(value));
        } else {
          values.setDouble(row.id, value);
        }
        NlpRequest request;
        request.controls = &values;
        request.secondsLeft = 5;
        Hs071 program;
        EXPECT_NO_THROW(solve(program, request)) << row.name << " = " << value;
      }
    }
  }
  EXPECT_GT(mapped, 10);
  ControlValues values(componentControls());
  values.setInt(componentControls().find("nlp_iterlimit")->id, 2);
  NlpRequest request;
  request.controls = &values;
  Hs071 program;
  const NlpResult result = solve(program, request);
  EXPECT_EQ(result.stop, -2);
  EXPECT_EQ(result.iterations, 2);
}

TEST(Ipopt, SolvesInTwoThreadsAtOnce) {
  const auto work = [](int* wrong) {
    for (int i = 0; i < 200; ++i) {
      Hs071 program(i % 2 == 0 ? 1 : -1);
      const NlpResult result = solve(program);
      *wrong += std::abs(std::abs(result.objective) - Hs071::kOptimum) > 1e-6;
    }
  };
  int wrong[2] = {0, 0};
  std::thread first(work, &wrong[0]), second(work, &wrong[1]);
  first.join();
  second.join();
  EXPECT_EQ(wrong[0] + wrong[1], 0);
}

int64_t status(const char* what) {
  std::ifstream file("/proc/self/status");
  for (std::string word; file >> word;) {
    int64_t value = 0;
    if (word == what && file >> value) return value;
  }
  return -1;
}

TEST(Ipopt, KeepsNoMemoryAndStartsNoThreads) {
  const int64_t threads = status("Threads:");
  const auto some = [](int count) {
    for (int i = 0; i < count; ++i) {
      Hs071 program;
      solve(program);
    }
  };
  some(50);
  EXPECT_EQ(status("Threads:"), threads);
#ifndef TAVLO_SANITIZE
  const int64_t before = status("VmRSS:");
  some(400);
  EXPECT_LT(status("VmRSS:") - before, 512) << "kB";
#endif
}

}  // namespace
}  // namespace tvlo
