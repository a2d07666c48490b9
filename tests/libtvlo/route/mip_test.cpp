// Tree searches through the C interface.
#include <cmath>
#include <functional>
#include <limits>

#include "core/check.h"
#include "problems.h"

namespace tvlo::test {
namespace {

TEST(Mip, SolvesAKnapsackWithWholeNumbers) {
  Prob p;
  const double value[] = {10, 13, 18, 31, 7, 15}, weight[] = {11, 15, 20, 35, 10, 33};
  Terms terms;
  for (int j = 0; j < 6; ++j) terms.emplace_back(p.column(value[j], 0, 1, 'B'), weight[j]);
  p.row(terms, 'L', 47);
  p.maximise();
  const Solution& s = p.mip();
  ASSERT_EQ(s.mipStatus, MipStatus::optimal);
  EXPECT_DOUBLE_EQ(s.mip.objective, 41);
  EXPECT_NEAR(s.bestBound, 41, 1e-4);
  EXPECT_GE(s.mipSolutions, 1);
  EXPECT_TRUE(s.basis.empty());
  EXPECT_FALSE(s.lp.available);
  for (const double x : s.mip.x) EXPECT_TRUE(x == 0 || x == 1) << x;
  EXPECT_DOUBLE_EQ(s.mip.slack[0], 1);

  const Solution& relaxed = p.mip("l");
  EXPECT_EQ(relaxed.mipStatus, MipStatus::lpOptimal);
  EXPECT_EQ(relaxed.lpStatus, LpStatus::optimal);
  EXPECT_GT(relaxed.lp.objective, 41.5);
  EXPECT_FALSE(relaxed.mip.available);
}

TEST(Mip, ALinearProblemIsSolvedAsOne) {
  Prob p;
  p.column(1, 0, 9);
  p.row({{0, 2}}, 'G', 3);
  const Solution& s = p.mip();
  EXPECT_EQ(s.mipStatus, MipStatus::optimal);
  EXPECT_EQ(s.lpStatus, LpStatus::optimal);
  EXPECT_DOUBLE_EQ(s.mip.x[0], 1.5);
  EXPECT_DOUBLE_EQ(s.bestBound, 1.5);
  EXPECT_DOUBLE_EQ(s.lp.dual[0], 0.5);
}

TEST(Mip, TellsInfeasibleFromUnbounded) {
  // 6a + 10b = 3 has no whole solution; whether it has decides what the ray in z means.
  for (const double rhs : {3.0, 4.0}) {
    for (const int presolve : {-1, 0}) {
      Prob p;
      const int a = p.column(0, -50, 50, 'I');
      const int b = p.column(0, -50, 50, 'I');
      p.column(-1, 0, TVLO_INFINITY);
      p.row({{a, 6}, {b, 10}}, 'E', rhs);
      p.control(control::presolve, presolve);
      EXPECT_EQ(p.mip().mipStatus, rhs == 3 ? MipStatus::infeasible : MipStatus::unbounded);
      EXPECT_FALSE(p.solution().mip.available);
      p.bounds(2, 0, 8);
      EXPECT_EQ(p.mip().mipStatus, rhs == 3 ? MipStatus::infeasible : MipStatus::optimal) << "costs are restored";
      if (rhs == 4) {
        EXPECT_DOUBLE_EQ(p.solution().mip.objective, -8);
      }
    }
  }
  Prob crossed;
  crossed.column(1, 3, 2, 'I');
  EXPECT_EQ(crossed.mip().mipStatus, MipStatus::infeasible);
  Prob rowless;
  rowless.column(-1, 0, 3.5, 'I');
  EXPECT_DOUBLE_EQ(rowless.mip().mip.objective, -3);
}

struct SemiColumn {
  char type;
  double lower, limit, upper;
};

// min sum of |activity - wanted| costs over columns that are semi-continuous, against enumeration of which are 0.
double bestByEnumeration(const std::vector<SemiColumn>& columns, const std::vector<double>& cost,
                         const std::vector<double>& coef, double wanted) {
  double best = std::numeric_limits<double>::infinity();
  for (unsigned zero = 0; zero < 1u << columns.size(); ++zero) {
    Prob p;
    Terms terms;
    bool possible = true;
    for (size_t j = 0; j < columns.size(); ++j) {
      const bool off = (zero >> j & 1) != 0;
      const SemiColumn& c = columns[j];
      const double least = c.limit > -TVLO_INFINITY ? c.limit : c.lower;
      if (!off && least > c.upper) possible = false;
      const int x = p.column(cost[j], off ? 0 : least, off ? 0 : c.upper, c.type == 'R' ? 'I' : 'C');
      terms.emplace_back(x, coef[j]);
    }
    if (!possible) continue;
    const int over = p.column(1, 0, TVLO_INFINITY), under = p.column(1, 0, TVLO_INFINITY);
    terms.emplace_back(over, -1);
    terms.emplace_back(under, 1);
    p.row(terms, 'E', wanted);
    const Solution& s = p.mip();
    if (s.mipStatus == MipStatus::optimal) best = std::min(best, s.mip.objective);
  }
  return best;
}

TEST(Mip, SemiContinuousColumnsOfEveryKind) {
  const std::vector<std::vector<SemiColumn>> cases = {
      {{'S', 0, 2, 10}, {'R', 0, 3, 7}},
      {{'S', -9, -5, -2}, {'S', 0, 4, 6}},                              // below 0
      {{'S', 0, -3, 5}, {'R', 0, 0, 4}},                                // around 0
      {{'S', 0, 150000, 4e6}, {'S', 0, 30, 2e5}},                       // beyond what HiGHS takes
      {{'S', 0, 7, 5}, {'S', 3, -TVLO_INFINITY, 9}},                    // never above 0; without a limit
      {{'S', 0, 4, TVLO_INFINITY}, {'R', -8, -6, -4}},                  // without an upper bound
      {{'S', -TVLO_INFINITY, -TVLO_INFINITY, -3}, {'S', 0, 2.5, 2.5}},  // without a lower one; one point
  };
  std::mt19937 random(17);
  for (size_t k = 0; k < cases.size(); ++k) {
    for (const double wanted : {0.0, 1.0, 2.5, 3.5, -1.0, -7.0, 1.7e5, 1e6}) {
      SCOPED_TRACE("case " + std::to_string(k) + " wanted " + std::to_string(wanted));
      const std::vector<double> cost = {0.01 * static_cast<int>(random() % 5), 0.02 * static_cast<int>(random() % 5)};
      const std::vector<double> coef = {1, random() % 2 == 0 ? 1.0 : 0.5};
      Prob p;
      Terms terms;
      for (size_t j = 0; j < 2; ++j) {
        const SemiColumn& c = cases[k][j];
        terms.emplace_back(p.column(cost[j], c.lower, c.upper, c.type, c.limit), coef[j]);
      }
      const int over = p.column(1, 0, TVLO_INFINITY), under = p.column(1, 0, TVLO_INFINITY);
      terms.emplace_back(over, -1);
      terms.emplace_back(under, 1);
      p.row(terms, 'E', wanted);
      const Solution& s = p.mip();
      const double best = bestByEnumeration(cases[k], cost, coef, wanted);
      ASSERT_EQ(s.mipStatus, MipStatus::optimal);
      EXPECT_NEAR(s.mip.objective, best, 1e-5 * (1 + std::abs(best)));
      EXPECT_LE(primalViolation(p.model(), s.mip.x, true).relative, 1e-6);

      const Solution relaxed = p.mip("l");
      ASSERT_EQ(relaxed.lpStatus, LpStatus::optimal);
      EXPECT_LE(relaxed.lp.objective, best + 1e-6);
    }
  }
}

TEST(Mip, AnUnboundedSemiContinuousColumnDoesNotMakeAModelInfeasible) {
  Prob p;
  const int x = p.column(1, 0, TVLO_INFINITY, 'S', 2);
  p.row({{x, 1}}, 'G', 3e6);
  const Solution& s = p.mip();
  ASSERT_EQ(s.mipStatus, MipStatus::optimal);
  EXPECT_NEAR(s.mip.objective, 3e6, 1);
  p.row({{x, 1}}, 'L', 1);
  EXPECT_EQ(p.mip().mipStatus, MipStatus::infeasible);
  EXPECT_EQ(p.mip("l").lpStatus, LpStatus::infeasible);
}

}  // namespace
}  // namespace tvlo::test
