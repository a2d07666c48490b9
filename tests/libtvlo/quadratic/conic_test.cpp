// Problems over second-order cones, and what is proven by them.
#include "quadratic/conic.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/check.h"
#include "quadratic/active_set.h"
#include "quadratic/conic_model.h"
#include "route/problems.h"

namespace tvlo::test {
namespace {

using Vector = Eigen::VectorXd;

struct RandomProgram {
  ConicProgram p;
  Vector x, s, z;  // of an optimum

  explicit RandomProgram(std::mt19937& random) : random_(random) {
    const int columns = 2 + below(9);
    p.zero = below(3) % columns;
    p.sides = below(8);
    int rows = p.zero + p.sides;
    for (int k = below(4); k > 0; --k) {
      p.cones.push_back(1 + below(5));
      rows += p.cones.back();
    }
    const Eigen::MatrixXd A =
        Eigen::MatrixXd::NullaryExpr(rows, columns, [&] { return below(3) == 0 ? 0 : normal_(random_); });
    p.A = A.sparseView();
    x = normal(columns);
    s = inCones(rows);
    z = Vector::Zero(rows);
    z.head(p.zero) = normal(p.zero);
  }
  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
  Vector normal(int n) {
    return Vector::NullaryExpr(n, [&] { return normal_(random_); });
  }
  // Inside, on the edges and at apices.
  Vector inCones(int rows) {
    Vector v = Vector::Zero(rows);
    for (int i = p.zero; i < p.zero + p.sides; ++i) v[i] = below(2) * std::abs(normal_(random_));
    Eigen::Index at = p.zero + p.sides;
    for (const int size : p.cones) {
      if (below(4) != 0) {
        v.segment(at + 1, size - 1) = normal(size - 1);
        v[at] = v.segment(at + 1, size - 1).norm() + below(2) * std::abs(normal_(random_));
      }
      at += size;
    }
    return v;
  }

 private:
  std::mt19937& random_;
  std::normal_distribution<double> normal_;
};

double outside(const ConicProgram& p, const Vector& v) {
  double most = 0;
  for (int i = p.zero; i < p.zero + p.sides; ++i) most = std::max(most, -v[i]);
  Eigen::Index at = p.zero + p.sides;
  for (const int size : p.cones) {
    most = std::max(most, v.segment(at + 1, size - 1).norm() - v[at]);
    at += size;
  }
  return most;
}

TEST(Conic, EndsWithAnOptimumOrACertificate) {
  std::mt19937 random(3);
  int count[4] = {};
  for (int round = 0; round < 400; ++round) {
    RandomProgram r(random);
    ConicProgram& p = r.p;
    const auto rows = static_cast<int>(p.A.rows()), columns = static_cast<int>(p.A.cols());
    p.b = round % 3 == 0 ? r.normal(rows) : Vector(p.A * r.x + r.s);
    p.c = round % 3 == 2 ? r.normal(columns) : Vector(-p.A.transpose() * (r.z + r.inCones(rows)));
    Watch none;
    const ConicResult found = solveConic(p, 1e-8, none);
    ++count[static_cast<int>(found.status)];
    const Vector left = p.A * found.x, dual = p.A.transpose() * found.z;
    constexpr double kTolerance = 1e-6;
    if (found.status == ConicStatus::optimal) {
      EXPECT_LE((left + found.s - p.b).norm(), kTolerance * (1 + left.norm())) << round;
      EXPECT_LE((dual + p.c).norm(), kTolerance * (1 + dual.norm())) << round;
      EXPECT_NEAR(p.c.dot(found.x), -p.b.dot(found.z), kTolerance * (1 + std::abs(p.c.dot(found.x)))) << round;
    } else if (found.status == ConicStatus::infeasible) {
      EXPECT_LE(dual.norm(), kTolerance) << round;
      EXPECT_NEAR(p.b.dot(found.z), -1, kTolerance) << round;
    } else if (found.status == ConicStatus::unbounded) {
      EXPECT_LE((left + found.s).norm(), kTolerance * (1 + found.x.norm())) << round;
      EXPECT_NEAR(p.c.dot(found.x), -1, kTolerance) << round;
    }
    EXPECT_LE(outside(p, found.s), 1e-9 * (1 + found.s.norm())) << round;
    EXPECT_LE(outside(p, found.z), 1e-9 * (1 + found.z.norm())) << round;
  }
  EXPECT_GE(count[0], 120);
  EXPECT_GE(count[1], 20);
  EXPECT_GE(count[2], 60);
  EXPECT_LE(count[3], 2);
}

// y*y + z*z <= t*t and an equation through the inside of the cone.
TEST(SecondOrderCone, SmallProblemWithAnInsideIsSolved) {
  Prob p;
  const int t = p.column(1.9, 0, TVLO_INFINITY), y = p.column(-1.25, -3, 4), z = p.column(0.2, -4, 2);
  const int cone = p.row({}, 'L', 0);
  p.quadratic(cone, {{y, y, 1}, {z, z, 1}, {t, t, -1}});
  p.row({{t, 2}, {y, -3}, {z, -1}}, 'E', -2);
  const Solution& found = p.lp();
  ASSERT_EQ(found.lpStatus, LpStatus::optimal);
  EXPECT_NEAR(found.lp.objective, 1.24319443613, 1e-9);
  EXPECT_LE(inexactness(p.model(), found.lp), 1e-9);
}

// z*z + w*w <= x*y by any factor, on either side of the row.
TEST(SecondOrderCone, RotatedConesAreConvex) {
  for (const double factor : {1.0, 2.0, 0.25}) {
    for (const char type : {'L', 'G'}) {
      for (const double lower : {0.0, -1.0}) {
        Prob p;
        const int x = p.column(1, 0, TVLO_INFINITY), y = p.column(2, lower, TVLO_INFINITY);
        const int z = p.column(0, -9, 9), w = p.column(0, -9, 9);
        const double sign = type == 'L' ? 1 : -1;
        const int cone = p.row({}, type, 0);
        p.quadratic(cone, {{z, z, sign}, {w, w, sign}, {x, y, -sign * factor / 2}});
        p.row({{z, 1}, {w, 1}}, 'G', 2);
        if (lower < 0) {
          EXPECT_EQ(TVLOlpoptimize(p.get(), ""), TVLO_ERR_UNSUPPORTED) << "both halves";
          continue;
        }
        const Solution& found = p.lp();
        ASSERT_EQ(found.lpStatus, LpStatus::optimal) << factor << type;
        EXPECT_NEAR(found.lp.objective, 4 / std::sqrt(factor), 1e-8) << factor << type;
      }
    }
  }
}

// Where the gradient of the row vanishes and its multiplier has no bound.
TEST(SecondOrderCone, OptimaAtAnApexAreFound) {
  Prob p;
  const int x = p.column(0.3, -TVLO_INFINITY, TVLO_INFINITY), y = p.column(1, 5, TVLO_INFINITY);
  const int cone = p.row({{x, -6}, {y, 10}}, 'L', 16);  // (x-3)^2 <= (y-5)^2
  p.quadratic(cone, {{x, x, 1}, {y, y, -1}});
  const Solution& found = p.lp();
  ASSERT_EQ(found.lpStatus, LpStatus::optimal);
  EXPECT_NEAR(found.lp.objective, 5.9, 1e-6);

  Prob q;
  const int r = q.column(1, 0, TVLO_INFINITY);
  q.quadratic(q.row({}, 'G', 0), {{r, r, 1}});  // a cone of one column
  ASSERT_EQ(q.lp().lpStatus, LpStatus::optimal);
  EXPECT_NEAR(q.solution().lp.x[r], 0, 1e-9);
}

TEST(SecondOrderCone, AbsenceOfAnOptimumIsProven) {
  const auto solved = [](double right, double cost) {
    Prob p;
    const int x = p.column(1, -TVLO_INFINITY, TVLO_INFINITY), y = p.column(cost, 0, TVLO_INFINITY);
    p.quadratic(p.row({}, 'L', 0), {{x, x, 1}, {y, y, -1}});
    p.row({{x, 1}, {y, -1}}, 'G', right);
    return p.lp().lpStatus;
  };
  EXPECT_EQ(solved(1, -0.5), LpStatus::infeasible) << "x >= y + 1 and |x| <= y";
  EXPECT_EQ(solved(-1, -1.5), LpStatus::unbounded);
  EXPECT_EQ(solved(-1, 1.5), LpStatus::optimal);
}

// Two cones that leave a half-line only, along which nothing improves: with tiny violations something would.
TEST(SecondOrderCone, WhatTinyViolationsAllowIsNoProof) {
  Prob p;
  std::vector<int> x;
  for (int j = 0; j < 5; ++j)
    x.push_back(p.column(j == 1 ? -2 : j == 3 ? 4 : 0, j == 1 ? -TVLO_INFINITY : 0, TVLO_INFINITY));
  p.quadratic(p.row({}, 'L', 0), {{x[3], x[3], 2}, {x[1], x[1], 4}, {x[0], x[0], 4}, {x[4], x[2], -1}});
  p.quadratic(p.row({}, 'L', 0), {{x[4], x[4], 3}, {x[0], x[0], -1}});
  p.quadratic(p.row({}, 'L', 0), {{x[3], x[3], 3}, {x[0], x[0], 3}, {x[4], x[4], -1}});
  const LpStatus status = p.lp().lpStatus;
  EXPECT_NE(status, LpStatus::unbounded);
  EXPECT_NE(status, LpStatus::infeasible);
}

}  // namespace
}  // namespace tvlo::test
