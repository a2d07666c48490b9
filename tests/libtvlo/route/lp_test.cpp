// LPs through the C interface: values, duals and statuses by every method.
#include <cmath>

#include "core/check.h"
#include "problems.h"

namespace tvlo::test {
namespace {

constexpr const char* kMethods[] = {"", "p", "d", "b", "c", "f"};

TEST(Lp, SolvesEveryRowTypeByEveryMethod) {
  for (const char* const flags : kMethods) {
    SCOPED_TRACE(flags);
    // min x + 2y + 3z + 10,  x + y + z >= 2,  y - z = 0.5,  1 <= x + z <= 1.5 (R),  x <= 1.25, free row
    Prob p;
    const int x = p.column(1, 0, TVLO_INFINITY);
    const int y = p.column(2, -TVLO_INFINITY, TVLO_INFINITY);
    const int z = p.column(3, -3, 4);
    p.row({{x, 1}, {y, 1}, {z, 1}}, 'G', 2);
    p.row({{y, 1}, {z, -1}}, 'E', 0.5);
    p.row({{x, 1}, {z, 1}}, 'R', 1.5, 0.5);
    p.row({{x, 1}}, 'L', 1.25);
    p.row({{x, 7}, {y, -7}}, 'N', 3);
    const int constant = -1;
    const double minus10 = -10;
    ASSERT_EQ(TVLOchgobj(p.get(), 1, &constant, &minus10), 0);
    const Solution& s = p.lp(flags);
    ASSERT_EQ(s.lpStatus, LpStatus::optimal);
    EXPECT_EQ(s.mipStatus, MipStatus::notLoaded);
    EXPECT_NEAR(s.lp.objective, 10 + 1.25 + 2 * 0.625 + 3 * 0.125, 1e-5);
    EXPECT_NEAR(s.lp.x[x], 1.25, 1e-5);
    EXPECT_NEAR(s.lp.x[y], 0.625, 1e-5);
    EXPECT_NEAR(s.lp.x[z], 0.125, 1e-5);
    EXPECT_NEAR(s.lp.slack[2], 1.5 - 1.375, 1e-5);
    EXPECT_NEAR(s.lp.slack[4], 3 - 7 * (1.25 - 0.625), 1e-4);
    EXPECT_NEAR(s.lp.dual[0], 2.5, 1e-5);
    EXPECT_NEAR(s.lp.dual[3], -1.5, 1e-5);
  }
}

TEST(Lp, ChoosesTheAlgorithmThatTheFlagNames) {
  std::mt19937 random(3);
  Prob p;
  fillRandomly(p, random, 30, 60);
  EXPECT_GT(p.lp("b").barrierIterations, 0);
  EXPECT_FALSE(p.solution().basis.empty());
  EXPECT_GT(p.lp("c").barrierIterations, 0);
  EXPECT_TRUE(p.solution().basis.empty()) << "without crossover there is none";
  EXPECT_EQ(p.lp("d").barrierIterations, 0);
  EXPECT_GT(p.solution().simplexIterations, 0);
  p.control(control::defaultalg, 4);
  p.control(control::crossover, 0);
  EXPECT_GT(p.lp().barrierIterations, 0);
  EXPECT_TRUE(p.solution().basis.empty());

  for (const char* const wrong : {"x", "pd", "l ", "P"}) {
    const int code = TVLOlpoptimize(p.get(), wrong);
    EXPECT_EQ(code, TVLO_ERR_ARGUMENT) << wrong;
    EXPECT_FALSE(p.error(code).empty());
  }
}

// HiGHS's interior-point code mixes rows up when some are free and some have two bounds, and its postsolve of points
// without a basis has the duals of a maximisation wrong. The check finds out, but the first answer should be right.
TEST(Lp, TheFirstAnswerOfEveryMethodPassesItsCheck) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    std::mt19937 random(seed);
    Prob p;
    fillRandomly(p, random, 8, 14);
    p.control(control::presolve, static_cast<int>(seed % 3) - 1);
    std::string log;
    const auto keep = [](void*, void* data, const char* text, int length, int type) {
      if (type == 3) static_cast<std::string*>(data)->append(text, length);
      return 0;
    };
    ASSERT_EQ(TVLOaddcbmessage(p.get(), keep, &log, 0), 0);
    const double simplex = p.lp("d").lp.objective;
    for (const char* const flags : {"p", "b", "c"}) {
      EXPECT_NEAR(p.lp(flags).lp.objective, simplex, 1e-5 * (1 + std::abs(simplex))) << seed << flags;
      EXPECT_EQ(log, "") << seed << flags;
    }
  }
}

// The stated signs, for both senses: by changing right-hand sides and by the definition of reduced costs.
TEST(Lp, DualsAreRatesOfChangeOfTheObjective) {
  std::mt19937 random(11);
  int compared = 0;
  for (int trial = 0; trial < 40; ++trial) {
    Prob p;
    fillRandomly(p, random, 6, 8);
    const Solution base = p.lp();
    ASSERT_EQ(base.lpStatus, LpStatus::optimal);
    for (int j = 0; j < p.model().columns(); ++j) {
      double reduced = p.model().objective()[j];
      for (int i = 0; i < p.model().rows(); ++i) reduced -= base.lp.dual[i] * p.model().coefficient(i, j);
      EXPECT_NEAR(base.lp.redcost[j], reduced, 1e-7);
    }
    for (int i = 0; i < p.model().rows(); ++i) {
      const double rhs = p.model().rhs()[i];
      const double step = 1e-5;
      const auto moved = [&](double by) {
        p.rhs(i, rhs + by);
        const Solution& s = p.lp();
        return s.lpStatus == LpStatus::optimal ? s.lp.objective : NAN;
      };
      const double up = moved(step), down = moved(-step);
      p.rhs(i, rhs);
      const double right = (up - base.lp.objective) / step, left = (base.lp.objective - down) / step;
      if (std::isnan(right) || std::isnan(left) || std::abs(right - left) > 1e-4) continue;  // a kink
      EXPECT_NEAR(base.lp.dual[i], right, 1e-4);
      compared += base.lp.dual[i] != 0;
    }
  }
  EXPECT_GT(compared, 30);
}

TEST(Lp, TellsInfeasibleFromUnbounded) {
  for (const char* const flags : kMethods) {
    for (const int presolve : {-1, 0, 1}) {
      SCOPED_TRACE(std::string(flags) + " presolve " + std::to_string(presolve));
      Prob infeasible;
      const int x = infeasible.column(1, 0, TVLO_INFINITY);
      const int y = infeasible.column(1, 0, TVLO_INFINITY);
      infeasible.row({{x, 1}, {y, 1}}, 'L', 1);
      infeasible.row({{x, 1}, {y, 2}}, 'G', 3);
      infeasible.control(control::presolve, presolve);
      EXPECT_EQ(infeasible.lp(flags).lpStatus, LpStatus::infeasible);
      EXPECT_FALSE(infeasible.solution().lp.available);

      Prob unbounded;
      unbounded.column(-1, 0, TVLO_INFINITY);
      unbounded.column(-1, 0, TVLO_INFINITY);
      unbounded.row({{0, 1}, {1, -1}}, 'L', 1);
      unbounded.control(control::presolve, presolve);
      EXPECT_EQ(unbounded.lp(flags).lpStatus, LpStatus::unbounded);
      EXPECT_FALSE(unbounded.solution().lp.available);
      EXPECT_NE(TVLOgetlpsol(unbounded.get(), nullptr, nullptr, nullptr, nullptr), 0);

      // No direction of improvement helps where there is no point.
      Prob both;
      both.column(-1, 0, TVLO_INFINITY);
      both.column(0, 0, TVLO_INFINITY);
      both.row({{1, 1}}, 'L', -1);
      both.control(control::presolve, presolve);
      EXPECT_EQ(both.lp(flags).lpStatus, LpStatus::infeasible);
    }
  }
}

TEST(Lp, SolvesModelsWithoutRowsOrColumns) {
  Prob nothing;
  const int constant = -1;
  const double minus4 = -4;
  ASSERT_EQ(TVLOchgobj(nothing.get(), 1, &constant, &minus4), 0);
  EXPECT_EQ(nothing.lp().lpStatus, LpStatus::optimal);
  EXPECT_EQ(nothing.solution().lp.objective, 4);
  ASSERT_EQ(TVLOgetlpsol(nothing.get(), nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(nothing.mip().mipStatus, MipStatus::optimal);

  Prob rows;
  rows.row({}, 'L', 1);
  rows.row({}, 'E', 0);
  EXPECT_EQ(rows.lp().lpStatus, LpStatus::optimal);
  EXPECT_EQ(rows.solution().lp.slack, (std::vector<double>{1, 0}));
  rows.row({}, 'G', 2);
  EXPECT_EQ(rows.lp().lpStatus, LpStatus::infeasible);

  Prob columns;
  columns.column(1, -2, 5);
  columns.column(-1, -2, 5);
  EXPECT_EQ(columns.lp().lpStatus, LpStatus::optimal);
  EXPECT_EQ(columns.solution().lp.x, (std::vector<double>{-2, 5}));
  EXPECT_EQ(columns.solution().lp.redcost, (std::vector<double>{1, -1}));
  columns.bounds(0, -TVLO_INFINITY, 5);
  EXPECT_EQ(columns.lp().lpStatus, LpStatus::unbounded);
  columns.row({}, 'L', -1);
  EXPECT_EQ(columns.lp().lpStatus, LpStatus::infeasible);
}

TEST(Lp, CrossedBoundsAreInfeasibleAndTouchingOnesAreNot) {
  Prob p;
  const int x = p.column(1, 2, 1);
  p.row({{x, 1}}, 'L', 5);
  EXPECT_EQ(p.lp().lpStatus, LpStatus::infeasible);
  p.bounds(x, 0.1 + 0.2, 0.3);  // crosses by one bit
  EXPECT_EQ(p.lp().lpStatus, LpStatus::optimal);
  EXPECT_NEAR(p.solution().lp.x[x], 0.3, 1e-12);
}

TEST(Lp, KeepsVerySmallAndVeryLargeCoefficients) {
  Prob p;
  const int x = p.column(1, 0, TVLO_INFINITY);
  const int y = p.column(1e-11, 0, TVLO_INFINITY);
  p.row({{x, 1}, {y, 1e-10}}, 'G', 1);
  p.row({{y, 1}}, 'L', 1e9);
  ASSERT_EQ(p.lp().lpStatus, LpStatus::optimal);
  EXPECT_NEAR(p.solution().lp.objective, 0.91, 1e-6);
}

TEST(Lp, RefusesWhatNoEngineSolvesYet) {
  Prob p;
  p.column(1, 0, 5, 'P', 2);
  EXPECT_EQ(p.error(TVLOmipoptimize(p.get(), "")), "Partially integer columns are not supported yet");
  EXPECT_EQ(p.lp().lpStatus, LpStatus::optimal) << "of the relaxation";
}

}  // namespace
}  // namespace tvlo::test
