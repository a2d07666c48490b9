// Claims that there is no optimum: what proves them, and what engines get wrong.
#include "problems.h"
#include "route/certificate.h"

namespace tvlo::test {
namespace {

constexpr double kInf = TVLO_INFINITY;
constexpr double kTolerance = 1e-7;

struct Claimed {
  const char* what;
  void (*fill)(Prob& p);
  LpStatus status;
  double objective = 0;
};

const Claimed kClaimed[] = {
    {"an unbounded LP that presolve calls infeasible",
     [](Prob& p) {
       const int x = p.column(-1, 0, kInf), y = p.column(0, 0, kInf), z = p.column(1, -kInf, kInf);
       p.row({{z, 1}, {x, -1}, {y, -4}}, 'L', 1);
       p.row({{z, 1}, {y, -1}}, 'G', 0);
       p.maximise();
     },
     LpStatus::unbounded},
    {"a coefficient that engines drop",
     [](Prob& p) {
       const int x = p.column(1, 0, kInf), y = p.column(1, 0, 10);
       p.row({{x, 1e-12}, {y, 1}}, 'G', 100);
     },
     LpStatus::optimal, 9e13 + 10},
    {"one far below that",
     [](Prob& p) {
       const int x = p.column(1e-20, 0, kInf), y = p.column(-1, 0, 3);
       p.row({{x, 1e-18}, {y, -1}}, 'G', 1);
     },
     LpStatus::optimal, -2.96},
    {"rows that contradict each other in different units",
     [](Prob& p) {
       const int a = p.column(1, 0, kInf), b = p.column(1, 0, kInf);
       p.row({{a, -10}, {b, -20}}, 'G', -3.7);
       p.row({{a, 1000}, {b, 2000}}, 'R', 410, 20);
     },
     LpStatus::infeasible},
    {"sides that scaling takes beyond what engines hold for finite",
     [](Prob& p) {
       p.column(4, -8, kInf);
       p.column(1e-4, 0, 8e5);
       p.row({{1, 10}}, 'G', -4278702.948459143);
       p.row({{1, -7.73258546316949e-05}}, 'G', 0.9499141183927926);
       p.row({{0, 5e5}}, 'L', -4e5);
       p.row({{0, -1e-10}}, 'G', 200);
       p.row({{0, -4.433150839533695}, {1, 1e-16}}, 'R', -1, 2);
       p.row({{0, 1.5e6}}, 'L', -1.2e6);
       p.maximise();
     },
     LpStatus::infeasible},
    {"a badly scaled feasible LP with an equation twice",
     [](Prob& p) {
       const int x = p.column(1e-3, 0, kInf), y = p.column(1e4, 0, kInf), z = p.column(0, 0, 1e6);
       p.row({{x, 1e-5}, {y, 3e5}, {z, -1}}, 'E', 7);
       p.row({{x, 3e-2}, {y, 9e8}, {z, -3e3}}, 'E', 2.1e4);
       p.row({{x, 1}, {z, 1e-2}}, 'L', 1e6);
     },
     LpStatus::optimal, 7.0 / 3e5 * 1e4},
    {"an unbounded LP on which the interior-point method goes on for ever",
     [](Prob& p) {
       p.column(-1, 0, kInf), p.column(-1, -kInf, kInf), p.column(0, 0, kInf), p.column(-1, 0, kInf);
       p.column(10, 0, kInf);
       p.row({{2, 7}, {3, 7}, {4, 4}}, 'L', 0);
       p.row({{2, 3.5}, {3, 3.5}, {4, 2}}, 'L', 0);
       p.maximise();
     },
     LpStatus::unbounded},
    {"a contradiction that rests on a multiplier of 1e-20",
     [](Prob& p) {
       const int a = p.column(0, 2000, kInf), b = p.column(-7, 0, kInf), c = p.column(-1000, 0, 0.008);
       const int d = p.column(0, -kInf, kInf), e = p.column(0, 0, kInf);
       p.row({{d, -0.4}, {e, 0.04}}, 'L', -1);
       p.row({{a, -5.2151403004418555e-08}, {c, -0.1}, {d, 0.0007}, {e, 3e-5}}, 'E', -0.0006);
       p.row({{b, -62.21810378552755}, {c, -6.833162650517127e-07}}, 'R', -10000, 200);
       p.row({{a, -100}, {b, 1.4622527323935176e-09}, {d, 1970.4304847105348}}, 'E', -500000);
       p.maximise();
     },
     LpStatus::infeasible},
    {"an infeasible LP without crossing bounds",
     [](Prob& p) {
       const int x = p.column(1, -kInf, kInf), y = p.column(0, -kInf, kInf), z = p.column(0, -kInf, kInf);
       p.row({{x, 1}, {y, -1}}, 'G', 1);
       p.row({{y, 1}, {z, -1}}, 'G', 1);
       p.row({{z, 1}, {x, -1}}, 'G', -1);
     },
     LpStatus::infeasible},
};

TEST(Claims, OfEveryMethodAreTrue) {
  for (const Claimed& claimed : kClaimed) {
    for (const char* const flags : {"", "p", "d", "b", "c", "f"}) {
      for (const int presolve : {-1, 0}) {
        SCOPED_TRACE(std::string(claimed.what) + ", flags " + flags + ", presolve " + std::to_string(presolve));
        Prob p;
        claimed.fill(p);
        p.control(control::presolve, presolve);
        p.control(control::timelimit, 20.0);
        ASSERT_EQ(p.lp(flags).lpStatus, claimed.status);
        if (claimed.status == LpStatus::optimal) {
          EXPECT_NEAR(p.solution().lp.objective, claimed.objective, 1e-6 * std::abs(claimed.objective) + 1e-6);
        }
        EXPECT_EQ(p.solution().stop, Stop::none);
        EXPECT_EQ(p.lp(flags).lpStatus, claimed.status) << "again";
      }
    }
  }
}

TEST(Claims, ThatWereProvenTakeNothingAgain) {
  Prob p;
  kClaimed[std::size(kClaimed) - 1].fill(p);
  EXPECT_EQ(p.lp("d").lpStatus, LpStatus::infeasible);
  EXPECT_EQ(p.lp("d").lpStatus, LpStatus::infeasible);
  EXPECT_EQ(p.solution().simplexIterations, 0);
}

TEST(Claims, OfSearchesAreTrue) {
  Prob free;  // of which a search without presolve calls the best point that it meets optimal
  for (const double cost : {-1.0, 0.0, 0.0, 4.0, 0.0}) free.column(cost, 0, kInf, cost == 4 ? 'C' : 'I');
  free.bounds(0, 4, kInf);
  free.bounds(1, -kInf, kInf);
  free.bounds(2, -6, kInf);
  free.row({{0, -7}, {2, 4}, {3, 7}, {4, 2}}, 'N', 0);
  free.row({{0, -1}, {1, -2}, {2, 1}}, 'L', 1);
  free.row({{0, -1}, {1, -10}, {3, 3}}, 'G', 0);
  Prob cycling;  // in which a search without costs dives for ever
  const double upper[] = {kInf, kInf, 20, kInf, 4, 9e-6}, cost[] = {3, 0, 0, -0.83, 1, 0};
  for (int j = 0; j < 6; ++j) cycling.column(cost[j], j == 1 ? 0 : j == 5 ? -9e-6 : -kInf, upper[j], j < 5 ? 'I' : 'C');
  cycling.row({{0, 4}, {1, -0.59}, {3, -10}}, 'R', -1, 4);
  cycling.row({{1, -2}, {2, -0.7}, {3, -4}, {5, -1e6}}, 'E', 0);
  cycling.row({{0, -100}, {1, -100}, {2, -19.25}, {3, -200}, {5, 0.0007}}, 'G', 10000);
  cycling.row({{0, -0.04}, {1, 0.04}, {3, 0.04}, {4, 0.02}, {5, -50000}}, 'R', 0.2665, 0.03);
  Prob dropped;  // whose small coefficients decide
  dropped.column(0, 0, kInf, 'I');
  dropped.column(1, 0, 10);
  dropped.row({{0, 1e-13}, {1, 1}}, 'G', 100);
  Prob odd;  // 3 <= 6a + 10b <= 3 has no solution in whole numbers, which no bound tells
  odd.column(1, -50, 50, 'I');
  odd.column(1, -50, 50, 'I');
  odd.row({{0, 6}, {1, 10}}, 'E', 3);
  for (const int presolve : {-1, 0}) {
    for (Prob* const p : {&free, &cycling, &dropped, &odd}) {
      p->control(control::presolve, presolve);
      p->control(control::timelimit, 20.0);
    }
    EXPECT_EQ(free.mip().mipStatus, MipStatus::unbounded);
    EXPECT_EQ(cycling.mip().mipStatus, MipStatus::unbounded);
    EXPECT_EQ(dropped.mip().mipStatus, MipStatus::optimal);
    EXPECT_DOUBLE_EQ(dropped.solution().mip.objective, 0);
    EXPECT_EQ(odd.mip().mipStatus, MipStatus::infeasible);
  }
}

TEST(Certificate, MultipliersProveWhatTheyContradict) {
  Prob p;
  const int x = p.column(1, 0, kInf), y = p.column(1, 0, 4);
  p.row({{x, 1}, {y, 1}}, 'L', 3);
  p.row({{x, 2}, {y, 2}}, 'G', 6 + 1e-5);
  p.row({{x, 1}}, 'N', 0);
  const auto proof = [&](std::vector<double> by) {
    return provesInfeasible(p.model(), by, ImpliedBounds(p.model(), false, kTolerance), kTolerance);
  };
  EXPECT_EQ(proof({-2, 1, 0}), Proof::clear);
  EXPECT_EQ(proof({2, -1, 0}), Proof::clear) << "of either sign";
  EXPECT_EQ(proof({-2, 1, 1e-15}), Proof::clear) << "without its noise";
  EXPECT_EQ(proof({-2 - 1e-16, 1, 0}), Proof::clear) << "up to rounding";
  EXPECT_EQ(proof({-1, 1, 0}), Proof::none);
  EXPECT_EQ(proof({-2, 1.001, 0}), Proof::none) << "x is bounded by the first row only, loosely";
  EXPECT_EQ(proof({NAN, 1, 0}), Proof::none);
  EXPECT_EQ(proof({-2, 1}), Proof::none);
  p.rhs(1, 6 + 1e-8);
  EXPECT_EQ(proof({-2, 1, 0}), Proof::bare) << "points hold both rows within the tolerance";
  p.rhs(1, 6);
  EXPECT_EQ(proof({-2, 1, 0}), Proof::none);

  Prob far;  // feasible beyond 1e13 only
  far.column(0, 0, kInf);
  far.row({{0, 1e-12}}, 'G', 10);
  EXPECT_EQ(provesInfeasible(far.model(), {1}, ImpliedBounds(far.model(), false, kTolerance), kTolerance), Proof::none);
}

TEST(Certificate, DirectionsProveWhatHoldsAlongThem) {
  Prob p;
  const int x = p.column(-1, 0, kInf), y = p.column(0, 0, kInf), z = p.column(-1, -kInf, 5);
  p.row({{x, 1}, {y, -1}}, 'L', 1);
  p.row({{x, 1}, {z, 1}}, 'G', 0);
  EXPECT_TRUE(provesUnbounded(p.model(), {1, 1, 0}));
  EXPECT_TRUE(provesUnbounded(p.model(), {2, 3, -1}));
  EXPECT_TRUE(provesUnbounded(p.model(), {1, 1, 1e-14})) << "without its noise";
  EXPECT_FALSE(provesUnbounded(p.model(), {1, 0, 0})) << "leaves a row";
  EXPECT_FALSE(provesUnbounded(p.model(), {1, 1, 1})) << "leaves a bound";
  EXPECT_FALSE(provesUnbounded(p.model(), {1, 1, -1})) << "does not improve";
  EXPECT_FALSE(provesUnbounded(p.model(), {0, 1, 0}));
  EXPECT_FALSE(provesUnbounded(p.model(), {1, 1 - 1e-6, 0}));
  EXPECT_FALSE(provesUnbounded(p.model(), {INFINITY, 1, 0}));
}

TEST(Certificate, BoundsThatRowsImplyCrossOnlyWhereThereIsNoPoint) {
  Prob p;  // 2x = 2y + 1, in [0, 3]: not for whole numbers, which rounding bounds alone can't tell
  const int x = p.column(0, 0, 3, 'I'), y = p.column(0, 0.5, 0.9, 'I');
  p.row({{x, 2}, {y, -2}}, 'E', 1);
  EXPECT_FALSE(ImpliedBounds(p.model(), false, kTolerance).cross);
  EXPECT_TRUE(ImpliedBounds(p.model(), true, kTolerance).cross) << "no whole number from 0.5 to 0.9";
  std::mt19937 random(3);
  int crossing = 0;
  for (int round = 0; round < 300; ++round) {
    Prob feasible;
    fillRandomly(feasible, random, 6, 6, round % 2 == 1);
    EXPECT_FALSE(ImpliedBounds(feasible.model(), true, kTolerance).cross);
    if (feasible.model().rowTypes()[0] == 'G') feasible.rhs(0, 1000);
    crossing += static_cast<int>(ImpliedBounds(feasible.model(), true, kTolerance).cross);
  }
  EXPECT_GT(crossing, 30);
}

}  // namespace
}  // namespace tvlo::test
