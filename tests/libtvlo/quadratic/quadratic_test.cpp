// Convex quadratic problems from the model to a checked answer, and what is said of others.
#include <cmath>

#include "core/check.h"
#include "quadratic/program.h"
#include "route/problems.h"

namespace tvlo::test {
namespace {

constexpr double kInf = TVLO_INFINITY;

// min x^2 + y^2 + xy - 3x,  x + y >= 2,  0 <= x, y <= 10: optimal (2, 0), with dual 1 and y's reduced cost 1.
void fillSmall(Prob& p) {
  const int x = p.column(-3, 0, 10);
  const int y = p.column(0, 0, 10);
  p.row({{x, 1}, {y, 1}}, 'G', 2);
  p.quadratic(-1, {{x, x, 2}, {x, y, 1}, {y, y, 2}});
}

void expectProven(const Prob& p, double objective) {
  const Solution& s = p.solution();
  ASSERT_EQ(s.lpStatus, LpStatus::optimal);
  EXPECT_NEAR(s.lp.objective, objective, 1e-6 * std::max(1.0, std::abs(objective)));
  const Activities rows(p.model(), s.lp.x);
  EXPECT_LE(primalViolation(p.model(), s.lp.x, rows, false).relative, 1e-6);
  const DualCheck check = checkDuals(p.model(), s.lp.x, rows, s.lp.dual, s.lp.redcost, 1e-6);
  EXPECT_LE(check.residual, 1e-6);
  EXPECT_LE(check.infeasibility, 1e-6);
  EXPECT_LE(check.gap, 1e-6);
}

TEST(QuadraticCheck, GradientsActivitiesAndObjectivesHaveTheQuadraticParts) {
  Prob p;
  const int x = p.column(1, -9, 9);
  const int y = p.column(0, -9, 9);
  const int row = p.row({{x, 1}}, 'L', 40);
  p.quadratic(-1, {{x, x, 4}, {x, y, 3}});    // 2x^2 + 3xy + x
  p.quadratic(row, {{x, x, 2}, {x, y, -1}});  // 2x^2 - 2xy + x
  const std::vector<double> at = {2, 5};
  EXPECT_EQ(objectiveValue(p.model(), at), 2 * 4 + 3 * 10 + 2);
  EXPECT_EQ(Activities(p.model(), at).value[0], 2 * 4 - 2 * 10 + 2);
  EXPECT_EQ(Activities(p.model(), at).largest[0], 20);
  EXPECT_EQ(reducedCosts(p.model(), at, {0.5}), (std::vector<double>{24 - 0.5 * (8 - 10 + 1), 6 - 0.5 * -4}));
  EXPECT_GT(checkDuals(p.model(), at, Activities(p.model(), at), {0.5}, {24, 6}, 1e-6).residual, 0.05);
}

// First and second derivatives of the program against differences.
TEST(QuadraticProgram, DerivativesAreThoseOfTheFunctions) {
  Prob p;
  for (int j = 0; j < 4; ++j) p.column(j, -5, 5);
  p.row({{0, 1}, {2, 3}}, 'L', 9);
  const int free = p.row({{0, 1}}, 'N', 0);
  const int first = p.row({{1, 2}}, 'G', -9);
  const int second = p.row({}, 'L', 9);
  p.row({}, 'L', 1);
  p.quadratic(-1, {{0, 0, 2}, {0, 3, 1}});
  p.quadratic(free, {{0, 0, 1}});
  p.quadratic(first, {{1, 1, 1}, {1, 2, 0.5}, {0, 3, 2}});
  p.quadratic(second, {{3, 3, 4}});
  QuadraticProgram program(p.model());
  ASSERT_EQ(program.rows(), 3);
  EXPECT_FALSE(program.linearRows || program.quadratic);
  EXPECT_TRUE(program.emptyRowsHold(1e-9));

  const std::vector<double> x = {1, -2, 3, 0.5}, multipliers = {7, 0.25, -3};
  const auto lagrangian = [&](const std::vector<double>& at) {
    double value = 0;
    std::vector<double> rows(3);
    EXPECT_TRUE(program.objective(at.data(), true, value) && program.constraints(at.data(), true, rows.data()));
    value *= 2;
    for (int i = 0; i < 3; ++i) value += multipliers[i] * rows[i];
    return value;
  };
  std::vector<double> gradient(4), jacobian(program.jacobian.size()), hessian(program.hessian.size());
  program.gradient(x.data(), true, gradient.data());
  program.jacobianValues(x.data(), true, jacobian.data());
  program.hessianValues(x.data(), true, 2, multipliers.data(), hessian.data());
  std::vector<double> whole(4);
  for (int j = 0; j < 4; ++j) whole[j] = 2 * gradient[j];
  for (size_t k = 0; k < jacobian.size(); ++k) {
    whole[program.jacobian.column[k]] += multipliers[program.jacobian.row[k]] * jacobian[k];
  }
  const auto shifted = [&](int j, double h, int l, double g) {
    std::vector<double> at = x;
    at[j] += h;
    at[l] += g;
    return lagrangian(at);
  };
  for (int j = 0; j < 4; ++j) {
    EXPECT_NEAR((shifted(j, 0.5, j, 0) - shifted(j, -0.5, j, 0)), whole[j], 1e-9) << j;
    for (int l = 0; l <= j; ++l) {
      const double second_ = shifted(j, 1, l, 1) - shifted(j, 1, l, 0) - shifted(j, 0, l, 1) + shifted(j, 0, l, 0);
      double given = 0;
      for (size_t k = 0; k < hessian.size(); ++k) {
        if (program.hessian.row[k] == j && program.hessian.column[k] == l) given += hessian[k];
      }
      EXPECT_NEAR(second_, given, 1e-9) << j << " " << l;
    }
  }
}

TEST(Quadratic, AnswersHaveDuals) {
  Prob p;
  fillSmall(p);
  p.lp();
  expectProven(p, -2);
  EXPECT_NEAR(p.solution().lp.x[0], 2, 1e-6);
  EXPECT_NEAR(p.solution().lp.dual[0], 1, 1e-6);
  EXPECT_NEAR(p.solution().lp.redcost[1], 1, 1e-6);
  p.maximise();
  EXPECT_EQ(p.error(TVLOlpoptimize(p.get(), "")), "The problem is nonconvex: the objective is not convex");
  EXPECT_EQ(p.solution().lpStatus, LpStatus::nonconvex);
  p.quadratic(-1, {{0, 0, -2}, {0, 1, -1}, {1, 1, -2}});
  p.cost(0, 3);
  p.lp();
  expectProven(p, 2);
  EXPECT_NEAR(p.solution().lp.dual[0], -1, 1e-6) << "of a maximisation";
}

TEST(Quadratic, ChangesAreFollowed) {
  Prob p;
  fillSmall(p);
  p.lp();
  const int64_t iterations = p.solution().simplexIterations;
  p.lp();
  expectProven(p, -2);
  EXPECT_TRUE(p.solution().simplexIterations == 0 || iterations == 0) << "nothing changed";
  p.bounds(0, 0, 1);
  p.lp();
  expectProven(p, 0);
  const int z = p.column(0, -5, 5);
  p.row({{z, 1}, {0, -1}}, 'E', 1);
  p.quadratic(-1, {{z, z, 1}});
  p.lp();
  expectProven(p, 2);  // (1, 1, 2): 1 + 1 + 1 - 3 + 2
  const int y = 1;
  ASSERT_EQ(TVLOdelcols(p.get(), 1, &y), 0);
  p.rhs(0, 0.5);
  p.lp();
  expectProven(p, -1.0 / 6);
  p.quadratic(-1, {{0, 0, 0}, {1, 1, 0}});
  p.lp();
  ASSERT_EQ(p.solution().lpStatus, LpStatus::optimal) << "an LP";
  EXPECT_NEAR(p.solution().lp.objective, -3, 1e-9);
}

// Large values, where the quadratic method's own regularisation shows.
TEST(Quadratic, ValuesOfAnySize) {
  for (const double size : {1.0, 1e3, 1e6}) {
    Prob p;
    const int x = p.column(-4 * size, 0, kInf);
    const int y = p.column(-2 * size, 0, kInf);
    const int z = p.column(0, -kInf, kInf);
    p.row({{x, 1}, {y, 1}}, 'L', 2 * size);
    p.row({{z, 1}, {x, -1}}, 'E', 0);
    p.quadratic(-1, {{x, x, 2}, {y, y, 2}});
    p.lp();
    expectProven(p, -4.5 * size * size);
    EXPECT_NEAR(p.solution().lp.x[0], 1.5 * size, 1e-6 * size);
  }
}

TEST(Quadratic, AbsenceOfAnOptimumIsProven) {
  Prob infeasible;
  fillSmall(infeasible);
  infeasible.row({{0, 1}, {1, 1}}, 'L', 1);
  EXPECT_EQ(infeasible.lp().lpStatus, LpStatus::infeasible);

  Prob unbounded;  // max y - x^2/2, x + y >= 1
  const int x = unbounded.column(0, 0, 40);
  const int y = unbounded.column(1, 0, kInf);
  unbounded.quadratic(-1, {{x, x, -1}});
  unbounded.maximise();
  EXPECT_EQ(unbounded.lp().lpStatus, LpStatus::unbounded);
  unbounded.row({{x, 1}, {y, 1}}, 'G', 1);
  EXPECT_EQ(unbounded.lp().lpStatus, LpStatus::unbounded);
  EXPECT_FALSE(unbounded.solution().lp.available);
  unbounded.row({{y, 1}, {x, -1}}, 'L', 3);
  unbounded.lp();
  expectProven(unbounded, 3.5);
  unbounded.row({{x, 1}}, 'G', 41);
  EXPECT_EQ(unbounded.lp().lpStatus, LpStatus::infeasible);
}

// The flat direction of (x + y)^2: far out along it, terms of any size cancel out.
TEST(Quadratic, LargeTermsThatCancelOutHideNoSlope) {
  Prob p;
  const int x = p.column(9, -kInf, kInf);
  const int y = p.column(-5, -kInf, kInf);
  p.quadratic(-1, {{x, x, 4}, {x, y, 4}, {y, y, 4}});
  const std::vector<double> far = {-4e8, 4e8 - 0.5};
  EXPECT_GT(checkDuals(p.model(), far, Activities(p.model(), far), {}, {0, 0}, 1e-6).residual, 0.1);
  EXPECT_EQ(p.lp().lpStatus, LpStatus::unbounded);
  p.bounds(x, -3, 3);
  p.lp();
  expectProven(p, 9 * -3 - 5 * 4.25 + 2 * 1.25 * 1.25);
}

TEST(Quadratic, UnusualModels) {
  Prob empty;  // a form that cancelled, and one of a fixed column
  const int x = empty.column(1, 3, 3);
  empty.quadratic(-1, {{x, x, 5}});
  empty.quadratic(-1, {{x, x, 0}});
  empty.lp();
  expectProven(empty, 3);
  empty.quadratic(-1, {{x, x, 2}});
  empty.lp();
  expectProven(empty, 12);
  const int row = empty.row({}, 'N', 0);
  empty.quadratic(row, {{x, x, -1}});
  empty.lp();
  expectProven(empty, 12);
  empty.bounds(x, 4, 3);
  EXPECT_EQ(empty.lp().lpStatus, LpStatus::infeasible);

  Prob discrete;  // only its relaxation is solved, in which semi-continuous columns reach to 0
  const int i = discrete.column(-3, 0, 5, 'I');
  const int s = discrete.column(1, 0, 5, 'S', 2);
  discrete.quadratic(-1, {{i, i, 2}, {s, s, 2}});
  EXPECT_EQ(discrete.error(TVLOmipoptimize(discrete.get(), "")),
            "Quadratic problems with integer entities are not supported yet");
  discrete.lp();
  expectProven(discrete, -2.25);
  discrete.mip("l");
  EXPECT_EQ(discrete.solution().mipStatus, MipStatus::lpOptimal);
}

// min x + y over the disc of radius 2 around the origin, cut by y >= -1.
TEST(QuadraticRows, AnswersHaveDualsAndChangesAreFollowed) {
  Prob p;
  const int x = p.column(1, -kInf, kInf);
  const int y = p.column(1, -1, kInf);
  const int disc = p.row({}, 'L', 4);
  p.quadratic(disc, {{x, x, 1}, {y, y, 1}});
  p.lp();
  expectProven(p, -1 - std::sqrt(3));
  EXPECT_NEAR(p.solution().lp.dual[disc], -1 / (2 * std::sqrt(3)), 1e-6);
  const int64_t first = p.solution().barrierIterations;
  EXPECT_GT(first, 0);
  p.rhs(disc, 4.1);
  p.lp();
  expectProven(p, -1 - std::sqrt(3.1));
  EXPECT_LT(p.solution().barrierIterations, first) << "from the last point";
  p.bounds(y, -9, 9);
  const int row = p.row({{x, 1}, {y, -1}}, 'E', 0.5);
  p.rhs(disc, 4);
  p.lp();
  expectProven(p, -std::sqrt(8 - 0.25));
  ASSERT_EQ(TVLOdelrows(p.get(), 1, &row), 0);
  p.quadratic(-1, {{x, x, 1}});
  p.maximise();
  EXPECT_EQ(p.error(TVLOlpoptimize(p.get(), "")), "The problem is nonconvex: the objective is not convex");
  p.quadratic(-1, {{x, x, 0}});
  p.lp();
  expectProven(p, std::sqrt(8));
}

TEST(QuadraticRows, AbsenceOfAnOptimumIsProven) {
  const auto discs = [](Prob& p, double apart) {
    const int x = p.column(1, -kInf, kInf);
    const int y = p.column(0, -kInf, kInf);
    for (const double centre : {0.0, apart}) {
      const int row = p.row({{x, -2 * centre}}, 'L', 1 - centre * centre);
      p.quadratic(row, {{x, x, 1}, {y, y, 1}});
    }
  };
  Prob touching, apart;
  discs(touching, 1.5);
  touching.lp();
  expectProven(touching, 0.5);
  discs(apart, 3);
  EXPECT_EQ(apart.lp().lpStatus, LpStatus::infeasible);
  EXPECT_FALSE(apart.solution().lp.available);

  Prob parabola;  // min y - 2x over x^2 <= y, which bounds it, and min -y, which nothing bounds
  const int x = parabola.column(-2, -kInf, kInf);
  const int y = parabola.column(1, -kInf, kInf);
  const int row = parabola.row({{y, -1}}, 'L', 0);
  parabola.quadratic(row, {{x, x, 1}});
  parabola.lp();
  expectProven(parabola, -1);
  parabola.cost(x, 0);
  parabola.cost(y, -1);
  EXPECT_EQ(parabola.lp().lpStatus, LpStatus::unbounded);
}

TEST(QuadraticRows, CirclesAroundPointsAreSmallest) {
  Prob p;  // the smallest circle around three points, its radius as a column
  const int a = p.column(0, -kInf, kInf);
  const int b = p.column(0, -kInf, kInf);
  const int r = p.column(1, 0, kInf);
  for (const auto& [u, v] : {std::pair(0.0, 0.0), std::pair(4.0, 0.0), std::pair(1.0, 1.0)}) {
    const int row = p.row({{a, -2 * u}, {b, -2 * v}}, 'L', -u * u - v * v);
    p.quadratic(row, {{a, a, 1}, {b, b, 1}, {r, r, -1}});
  }
  p.lp();
  expectProven(p, 2);
}

}  // namespace
}  // namespace tvlo::test
