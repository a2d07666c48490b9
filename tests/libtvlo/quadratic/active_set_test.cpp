// Answers to quadratic problems made exact, and answers found from those to problems that were a little different.
#include "quadratic/active_set.h"

#include <cmath>

#include "core/check.h"
#include "quadratic/proof.h"
#include "route/problems.h"
#include "route/route.h"

namespace tvlo::test {
namespace {

constexpr double kInf = TVLO_INFINITY;

// A factor's Gram matrix, of less than full rank, over random linear rows.
void fillQuadratic(Prob& p, std::mt19937& random, int rows, int columns) {
  fillRandomly(p, random, rows, columns);
  std::uniform_int_distribution<int> small(-3, 3);
  for (int k = 0; k < (columns + 1) / 2; ++k) {
    std::vector<double> factor;
    for (int j = 0; j < columns; ++j) factor.push_back(small(random));
    std::vector<Product> products;
    for (int i = 0; i < columns; ++i) {
      for (int j = i; j < columns; ++j) {
        double before = 0;
        for (const QuadraticEntry& e : p.model().quadraticObjective().entries()) {
          if (e.first == i && e.second == j) before = e.value;
        }
        products.push_back({i, j, before + p.model().sense() * factor[i] * factor[j]});
      }
    }
    p.quadratic(-1, products);
  }
}

int iterations(const Prob& p) {
  return static_cast<int>(p.solution().simplexIterations + p.solution().barrierIterations);
}

TEST(ActiveSet, WhatIsNearAnAnswerBecomesTheAnswer) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> noise(-1e-7, 1e-7);
  for (int round = 0; round < 40; ++round) {
    Prob p;
    fillQuadratic(p, random, 4, 7);
    PointValues point = p.lp("b").lp;
    ASSERT_EQ(p.solution().lpStatus, LpStatus::optimal) << round;
    EXPECT_LE(inexactness(p.model(), point), 1e-9) << round;
    for (std::vector<double>* const values : {&point.x, &point.dual, &point.redcost}) {
      for (double& value : *values) value += noise(random);
    }
    EXPECT_TRUE(sharpen(p.model(), point)) << round;
    EXPECT_LE(inexactness(p.model(), point), 1e-9) << round;
    for (int j = 0; j < 7; ++j) {
      const double near = std::min(point.x[j] - p.model().lower()[j], p.model().upper()[j] - point.x[j]);
      EXPECT_TRUE(near == 0 || near > 1e-9) << round << " " << j << ": " << near;
    }
  }
}

TEST(ActiveSet, AChangedProblemIsSolvedFromTheLastAnswer) {
  std::mt19937 random(5);
  int fromThere = 0;
  for (int round = 0; round < 40; ++round) {
    Prob p;
    fillQuadratic(p, random, 5, 9);
    p.lp();
    const int column = round % 9;
    const double value = p.solution().lp.x[column];
    p.bounds(column, p.model().lower()[column], std::max(p.model().lower()[column], value - 0.1));
    const double warm = p.lp().lp.objective;
    const LpStatus status = p.solution().lpStatus;
    fromThere += iterations(p) == 0;
    p.control(control::keepbasis, 0);
    ASSERT_EQ(p.lp().lpStatus, status) << round;
    if (status != LpStatus::optimal) continue;
    EXPECT_NEAR(p.solution().lp.objective, warm, 1e-7 * (1 + std::abs(warm))) << round;
  }
  EXPECT_GT(fromThere, 20);
}

TEST(ActiveSet, NothingIsChangedWhereNothingIsGained) {
  Prob p;
  p.column(1, 0, kInf);
  p.quadratic(-1, {{0, 0, 2}});
  PointValues point;
  EXPECT_FALSE(sharpen(p.model(), point)) << "of another size";
  p.cost(0, -2);
  point.x = {1};
  point.redcost = {0};
  PointValues nan = point;
  nan.x[0] = std::nan("");
  EXPECT_FALSE(sharpen(p.model(), nan));
  EXPECT_TRUE(sharpen(p.model(), point));
  EXPECT_EQ(point.x[0], 1);
}

// Rows that hold at a point or along a line only, whose duals have no bound.
TEST(QuadraticRows, SetsWithoutAnInside) {
  const auto expect = [](Prob& p, double objective) {
    const Solution& s = p.lp();
    ASSERT_EQ(s.lpStatus, LpStatus::optimal);
    EXPECT_NEAR(s.lp.objective, objective, 2e-5);
    EXPECT_LE(primalViolation(p.model(), s.lp.x, false).relative, 1e-6);
  };
  const auto plane = [](Prob& p) {
    p.column(1, -kInf, kInf);
    p.column(-2, -kInf, kInf);
  };
  Prob point;  // x^2 + y^2 <= 0
  plane(point);
  point.quadratic(point.row({}, 'L', 0), {{0, 0, 1}, {1, 1, 1}});
  expect(point, 0);

  Prob line;  // (x - y)^2 <= 0 in a box
  plane(line);
  line.bounds(0, -3, 4);
  line.quadratic(line.row({}, 'L', 0), {{0, 0, 1}, {0, 1, -1}, {1, 1, 1}});
  expect(line, -4);

  Prob balls;  // unit balls around (0, 0) and (2, 0)
  plane(balls);
  balls.quadratic(balls.row({}, 'L', 1), {{0, 0, 1}, {1, 1, 1}});
  balls.quadratic(balls.row({{0, -4}}, 'L', -3), {{0, 0, 1}, {1, 1, 1}});
  balls.cost(1, 0);
  expect(balls, 1);

  Prob tangent;  // the unit ball and x >= 1
  plane(tangent);
  tangent.quadratic(tangent.row({}, 'L', 1), {{0, 0, 1}, {1, 1, 1}});
  tangent.bounds(0, 1, kInf);
  expect(tangent, 1);
  tangent.bounds(0, 1.001, kInf);
  EXPECT_EQ(tangent.lp().lpStatus, LpStatus::infeasible);
}

TEST(QuadraticProof, LeastViolation) {
  Prob p;  // x^2 <= -5 is violated by 5 at least, relative to its right-hand side by 1
  p.column(1, -kInf, kInf);
  p.quadratic(p.row({}, 'L', -5), {{0, 0, 1}});
  const Model least = leastViolation(p.model());
  EXPECT_EQ(least.columns(), 2);
  EXPECT_EQ(objectiveValue(least, {3, 1}), 1);
  EXPECT_EQ(primalViolation(least, {0, 1}, false).absolute, 0);
  EXPECT_GT(primalViolation(least, {0, 0.9}, false).absolute, 0.4);
  EXPECT_EQ(p.lp().lpStatus, LpStatus::infeasible);
}

// Two rows of which one is a multiple of the other: duals of any size, of which nothing but rounding errors is left.
TEST(QuadraticCheck, DualsThatCancelOutProveNothing) {
  Prob p;
  p.column(1, 0, 9);
  p.row({{0, 3}}, 'E', 3);
  p.row({{0, 1}}, 'E', 1);
  p.quadratic(-1, {{0, 0, 2}});
  const auto residual = [&](double size) {
    const std::vector<double> x = {1}, dual = {size, 3 - 3 * size};
    return checkDuals(p.model(), x, Activities(p.model(), x), dual, {0}, 1e-6).residual;
  };
  EXPECT_LE(residual(1e3), 1e-6);
  EXPECT_GT(residual(1e15), 1);
}

TEST(QuadraticRoute, TheActiveSetMethodComesFirstWhereItIsFaster) {
  const auto first = [](int columns, int rows, bool dense) {
    Prob p;
    for (int j = 0; j < columns; ++j) p.column(1, 0, 1);
    for (int i = 0; i < rows; ++i) p.row({{i, 1}, {i + 1, 1}}, 'G', 0.5);
    std::vector<Product> products;
    for (int i = 0; i < columns; ++i) {
      for (int j = i; j < (dense ? columns : i + 1); ++j) products.push_back({i, j, i == j ? 500.0 : 1});
    }
    p.quadratic(-1, products);
    return std::string(routeOf(p.model(), contentOf(p.model(), false), Method::automatic).front().engine);
  };
  EXPECT_EQ(first(20, 0, true), "piqp");
  EXPECT_EQ(first(100, 90, false), "piqp");
  EXPECT_EQ(first(400, 1, true), "highs");
  EXPECT_EQ(first(400, 0, true), "piqp");
  EXPECT_EQ(first(400, 50, true), "piqp");
  EXPECT_EQ(first(4000, 1, false), "piqp");
}

}  // namespace
}  // namespace tvlo::test
