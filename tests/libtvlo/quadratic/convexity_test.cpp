// The test of convexity: signs, tolerances, and that it is quick on large forms.
#include "quadratic/convexity.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <random>

#include "route/problems.h"

namespace tvlo::test {
namespace {

QuadraticForm form(const std::vector<Product>& products) {
  QuadraticForm result;
  for (const Product& p : products) result.set(1, &p.first, &p.second, &p.value);
  return result;
}
Curvature curvature(const std::vector<Product>& products) { return curvatureOf(form(products)); }

// F'F, rank factors and noise as given, in `n` columns.
std::vector<Product> covariance(int n, int factors, double noise, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  std::vector<double> f(static_cast<size_t>(n * factors));
  for (double& value : f) value = normal(random);
  std::vector<Product> products;
  for (int i = 0; i < n; ++i) {
    for (int j = i; j < n; ++j) {
      double sum = noise * normal(random);
      for (int k = 0; k < factors; ++k) sum += f[i * factors + k] * f[j * factors + k];
      products.push_back({i, j, sum});
    }
  }
  return products;
}

TEST(Convexity, SmallForms) {
  EXPECT_EQ(curvature({}), Curvature::flat);
  EXPECT_EQ(curvature({{0, 0, 1}, {5, 5, 2}}), Curvature::convex);
  EXPECT_EQ(curvature({{0, 0, -1}}), Curvature::concave);
  EXPECT_EQ(curvature({{0, 0, -1}, {1, 1, 1}}), Curvature::indefinite);
  EXPECT_EQ(curvature({{0, 1, 1}}), Curvature::indefinite) << "a product";
  EXPECT_EQ(curvature({{0, 0, 1}, {0, 1, 1e-3}}), Curvature::indefinite);
  EXPECT_EQ(curvature({{0, 0, 2}, {0, 1, -1}, {1, 1, 2}, {1, 2, -1}, {2, 2, 2}}), Curvature::convex);
  EXPECT_EQ(curvature({{0, 0, 1}, {0, 1, -1}, {1, 1, 1}, {1, 2, -1}, {2, 2, 1}}), Curvature::indefinite)
      << "no minor of two shows it";
  EXPECT_EQ(curvature({{0, 0, 1}, {0, 1, 2}, {1, 1, 4}}), Curvature::convex) << "of rank one";
}

TEST(Convexity, Tolerances) {
  const auto correlated = [](double by) { return curvature({{0, 0, 1}, {0, 1, 1 + by}, {1, 1, 1}}); };
  EXPECT_EQ(correlated(5e-8), Curvature::convex);
  EXPECT_EQ(correlated(5e-7), Curvature::indefinite);
  EXPECT_EQ(curvature({{0, 0, 1}, {1, 1, -1e-12}}), Curvature::convex);
  EXPECT_EQ(curvature({{0, 0, 1}, {1, 1, -1e-10}}), Curvature::indefinite);
  EXPECT_EQ(curvature({{0, 0, 1}, {0, 1, 1e-12}, {1, 1, -1e-12}}), Curvature::convex);
  // Noise is measured by its own block, and tiny forms count as well as huge ones.
  EXPECT_EQ(curvature({{0, 0, 1e10}, {1, 1, -1e-3}}), Curvature::indefinite);
  for (const double scale : {1e-12, 1.0, 1e12}) {
    EXPECT_EQ(curvature({{0, 0, scale}, {1, 1, -0.01 * scale}}), Curvature::indefinite) << scale;
    EXPECT_EQ(curvature({{0, 0, scale}, {0, 1, 1e-6 * scale}, {1, 1, 1e-12 * scale}}), Curvature::convex) << scale;
  }
  for (const unsigned seed : {1u, 2u, 3u}) {
    EXPECT_EQ(curvature(covariance(40, 5, 1e-12, seed)), Curvature::convex) << "of rank 5";
    EXPECT_EQ(curvature(covariance(40, 5, 1e-3, seed)), Curvature::indefinite);
  }
}

// A semidefinite matrix of less than full rank is indefinite as soon as its diagonal is lowered a little.
TEST(Convexity, SemidefiniteFormsOfManySizes) {
  std::mt19937 random(5);
  for (int round = 0; round < 30; ++round) {
    const int n = 5 + static_cast<int>(random() % 60);
    std::vector<Product> products = covariance(n, 1 + static_cast<int>(random() % 4), 0, static_cast<unsigned>(round));
    EXPECT_EQ(curvature(products), Curvature::convex) << n;
    for (Product& p : products) p.value = -p.value;
    EXPECT_EQ(curvature(products), Curvature::concave) << n;
    for (Product& p : products) p.value += p.first == p.second ? 1e-4 : 0;
    EXPECT_EQ(curvature(products), Curvature::indefinite) << n;
  }
}

// Scaling the columns changes no eigenvalue's sign.
TEST(Convexity, BadlyScaledColumns) {
  std::mt19937 random(9);
  std::uniform_real_distribution<double> exponent(-4, 4);
  for (int round = 0; round < 100; ++round) {
    const int n = 3 + static_cast<int>(random() % 20);
    std::vector<Product> products = covariance(n, 1 + n / 2, 0, static_cast<unsigned>(round));
    std::vector<double> by(n);
    for (double& value : by) value = std::pow(10, exponent(random));
    for (const double lowered : {0.0, 1e-3}) {
      std::vector<Product> scaled = products;
      for (Product& p : scaled) {
        if (p.first == p.second) p.value *= 1 - lowered;
        p.value *= by[p.first] * by[p.second];
      }
      EXPECT_EQ(curvature(scaled), lowered == 0 ? Curvature::convex : Curvature::indefinite) << round;
    }
  }
}

TEST(Convexity, LargeSparseFormsAreQuick) {
  constexpr int n = 100000;
  std::vector<int> first, second;
  std::vector<double> value;
  for (int j = 0; j < n; ++j) {
    first.push_back(j);
    second.push_back(j);
    value.push_back(4);
    for (const int other : {j + 1, j + 400}) {
      if (other >= n) continue;
      first.push_back(j);
      second.push_back(other);
      value.push_back(-1);
    }
  }
  QuadraticForm grid;
  const auto began = std::chrono::steady_clock::now();
  grid.set(static_cast<int64_t>(value.size()), first.data(), second.data(), value.data());
  EXPECT_EQ(curvatureOf(grid), Curvature::convex);
  const int middle = n / 2;
  const double less = -1;
  grid.set(1, &middle, &middle, &less);
  EXPECT_EQ(curvatureOf(grid), Curvature::indefinite) << "after a change";
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count(), 20);
}

TEST(Convexity, RowsCountByTheirType) {
  Prob p;
  Watch none;
  const int x = p.column(1, 0, 5);
  const int row = p.row({{x, 1}}, 'L', 4);
  const auto part = [&](char type) {
    EXPECT_EQ(TVLOchgrowtype(p.get(), 1, &row, &type), 0);
    return convexityOf(p.model(), none).nonconvex;
  };
  p.quadratic(row, {{x, x, 1}});
  EXPECT_EQ(part('L') + part('N'), "");
  for (const char type : {'E', 'R'}) EXPECT_EQ(part(type), "row \"R1\"") << type;
  EXPECT_EQ(part('G'), "") << "x*x + x >= 4 where x is not negative";
  p.quadratic(row, {{x, x, -3}});
  EXPECT_EQ(part('G') + part('N'), "");
  for (const char type : {'L', 'E', 'R'}) EXPECT_EQ(part(type), "row \"R1\"") << type;
  p.quadratic(row, {{x, x, 2}});
  p.quadratic(-1, {{x, x, 2}});
  EXPECT_EQ(part('E'), "");
  p.maximise();
  EXPECT_EQ(part('E'), "the objective");
}

// x^2 + y^2 - 2x + ... <= r^2: the disc around (1, 0) grows with r.
TEST(Convexity, SecondOrderConesAreConvexSets) {
  const auto cone = [](double rhs, double lower, double linear, char type) {
    Prob p;
    const int x = p.column(0, -9, 9);
    const int y = p.column(0, -9, 9);
    const int r = p.column(1, lower, 9);
    const double sign = type == 'G' ? -1 : 1;
    const int row = p.row({{x, -2 * sign}, {r, linear * sign}}, type, rhs * sign);
    p.quadratic(row, {{x, x, sign}, {y, y, sign}, {r, r, -sign}});
    Watch none;
    const Convexity found = convexityOf(p.model(), none);
    return found.nonconvex.empty() && found.cones;
  };
  for (const char type : {'L', 'G'}) {
    EXPECT_TRUE(cone(-1, 0, 0, type));
    EXPECT_TRUE(cone(-3, 0, 0, type)) << "a sheet of a hyperboloid";
    EXPECT_FALSE(cone(-0.9, 0, 0, type)) << "a hyperboloid";
    EXPECT_FALSE(cone(-1, -1, 0, type)) << "both halves";
    EXPECT_TRUE(cone(3, 2, 4, type)) << "(x-1)^2 + y^2 <= (r-2)^2";
    EXPECT_FALSE(cone(3, 1, 4, type));
  }
  EXPECT_FALSE(cone(-1, 0, 0, 'E'));
}

}  // namespace
}  // namespace tvlo::test
