// Convex quadratic problems with linear rows by the PIQP engine alone: what it is given, and what it leaves.
#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

#include "core/check.h"
#include "engines/loader.h"
#include "quadratic/active_set.h"
#include "route/problems.h"

namespace tvlo::test {
namespace {

Solution solved(const Model& model, SolveRequest request = {}) {
  const ControlValues controls(optimizerControls());
  request.controls = &controls;
  Solution result;
  openEngine("piqp")->solve(model, request, result);
  return result;
}

TEST(Piqp, AnswersInTheSignsOfTheModel) {
  for (const double sign : {1.0, -1.0}) {
    Prob p;
    const int x = p.column(-2 * sign, 0, 5), y = p.column(0, 1, 1), z = p.column(0, -TVLO_INFINITY, TVLO_INFINITY);
    p.quadratic(-1, {{x, x, 2 * sign}, {x, y, sign}, {z, z, 4 * sign}});  // x*x + x*y + 2*z*z - 2*x, y fixed at 1
    const int sum = p.row({{x, 1}, {y, 1}, {z, 1}}, 'E', 3);
    p.row({{x, 1}, {z, -1}}, 'R', 2, 4);
    p.row({{x, 1}}, 'N', -4);
    p.row({{y, 1}}, 'L', 2);  // nothing in it can move
    if (sign < 0) p.maximise();
    const Solution found = solved(p.model());
    ASSERT_EQ(found.lpStatus, LpStatus::optimal);
    // Where x + z = 2 and 2*x - 1 = 4*z.
    EXPECT_NEAR(found.lp.x[x], 1.5, 1e-7);
    EXPECT_NEAR(found.lp.x[z], 0.5, 1e-7);
    EXPECT_EQ(found.lp.x[y], 1);
    EXPECT_NEAR(found.lp.dual[sum], 2 * sign, 1e-6);
    EXPECT_LE(inexactness(p.model(), found.lp), 1e-7);
    EXPECT_GT(found.barrierIterations, 0);
  }
}

TEST(Piqp, AnswersOfRandomProblemsAreNearlyExact) {
  std::mt19937 random(11);
  int optimal = 0;
  for (int round = 0; round < 60; ++round) {
    Prob p;
    const int columns = 2 + static_cast<int>(random() % 40);
    fillRandomly(p, random, static_cast<int>(random() % 30), columns);
    std::vector<Product> products;
    for (int j = 0; j < columns; j += 2)
      products.push_back({j, j, p.model().sense() * 0.5 * static_cast<double>(1 + random() % 9)});
    p.quadratic(-1, products);
    const Solution found = solved(p.model());
    if (found.lpStatus != LpStatus::optimal) continue;  // rows and columns may have no inside
    ++optimal;
    EXPECT_LE(inexactness(p.model(), found.lp), 1e-6) << "round " << round;
  }
  EXPECT_GE(optimal, 55);
}

TEST(Piqp, ClaimsNoOptimumWhereThereIsNone) {
  Prob infeasible;
  const int x = infeasible.column(0, 0, 9), y = infeasible.column(0, 0, 9);
  infeasible.quadratic(-1, {{x, x, 1}});
  infeasible.row({{x, 1}, {y, 1}}, 'L', 1);
  infeasible.row({{x, 1}, {y, 1}}, 'G', 2);
  EXPECT_NE(solved(infeasible.model()).lpStatus, LpStatus::optimal);

  Prob unbounded;
  unbounded.column(-1, 0, TVLO_INFINITY);
  const int bent = unbounded.column(0, 0, 9);
  unbounded.quadratic(-1, {{bent, bent, 1}});
  EXPECT_NE(solved(unbounded.model()).lpStatus, LpStatus::optimal);
}

// A factorisation takes a second or so.
TEST(Piqp, StopsWithinAFactorisation) {
  Prob p;
  std::mt19937 random(1);
  constexpr int kColumns = 1500;
  for (int j = 0; j < kColumns; ++j) p.column(-1, 0, 1);
  std::vector<Product> products;
  for (int i = 0; i < kColumns; ++i) {
    products.push_back({i, i, 2.0 * kColumns});
    for (int j = i + 1; j < kColumns; ++j) products.push_back({i, j, random() % 2 == 0 ? 1.0 : -1.0});
  }
  p.quadratic(-1, products);
  const auto spent = [&](const SolveRequest& request, Stop why) {
    const std::clock_t began = std::clock();
    const Solution found = solved(p.model(), request);
    EXPECT_EQ(found.lpStatus, LpStatus::unfinished);
    EXPECT_EQ(found.stop, why);
    return static_cast<double>(std::clock() - began) / CLOCKS_PER_SEC;
  };
  SolveRequest limited;
  limited.secondsLeft = 0.01;
  EXPECT_LT(spent(limited, Stop::timeLimit), 0.5);
  SolveRequest interrupted;
  int asked = 0;
  interrupted.interrupted = [&] { return ++asked > 4 ? 1 : 0; };
  EXPECT_LT(spent(interrupted, Stop::interrupt), 0.5);
}

TEST(Piqp, LogsALineForEachIteration) {
  Prob p;
  const int x = p.column(-1, 0, 9);
  p.quadratic(-1, {{x, x, 1}});
  SolveRequest request;
  std::vector<std::string> lines;
  request.log = [&](std::string_view line) { lines.emplace_back(line); };
  const Solution found = solved(p.model(), request);
  EXPECT_EQ(static_cast<int64_t>(lines.size()), found.barrierIterations);
}

}  // namespace
}  // namespace tvlo::test
