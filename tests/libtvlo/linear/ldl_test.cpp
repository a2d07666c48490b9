#include "linear/ldl.h"

#include <gtest/gtest.h>

#include <random>

namespace tvlo {
namespace {

using Triplets = std::vector<Eigen::Triplet<double>>;

// Quasi-definite, of a random pattern: what an interior-point method or the test of convexity factorises.
Triplets randomSystem(std::mt19937& random, int size) {
  std::uniform_real_distribution<double> real(-1, 1);
  const int positive = 1 + static_cast<int>(random() % size);
  const double dense = real(random);
  Triplets upper;
  for (int i = 0; i < size; ++i) {
    upper.emplace_back(i, i, (i < positive ? 1 : -1) * (0.1 + std::abs(real(random))));
    for (int j = i + 1; j < size; ++j) {
      if ((i < positive) != (j < positive) && real(random) < dense) upper.emplace_back(i, j, real(random));
    }
  }
  return upper;
}

struct Factorised {
  Ldl factors;
  UpperMatrix matrix;
  Watch none;

  bool of(Triplets upper, int size, bool definite = false) {
    matrix.resize(size, size);
    matrix.setFromTriplets(upper.begin(), upper.end());
    factors.choose(matrix, none);
    for (auto& t : upper) {
      const int i = factors.position(t.row()), j = factors.position(t.col());
      t = {std::min(i, j), std::max(i, j), t.value()};
    }
    matrix.setFromTriplets(upper.begin(), upper.end());
    factors.analyse(matrix, none);
    return factors.factorise(matrix, none, definite);
  }
};

TEST(Ldl, SolvesSystemsOfEveryPattern) {
  std::mt19937 random(5);
  for (int round = 0; round < 200; ++round) {
    const int size = 1 + static_cast<int>(random() % 150);
    Factorised system;
    ASSERT_TRUE(system.of(randomSystem(random, size), size));
    for (const bool again : {false, true}) {
      ASSERT_TRUE(!again || system.factors.factorise(system.matrix, system.none));
      Eigen::VectorXd x = Eigen::VectorXd::Random(size);
      Eigen::VectorXd found = system.matrix.selfadjointView<Eigen::Upper>() * x;
      system.factors.solve(found);
      EXPECT_LE((found - x).lpNorm<Eigen::Infinity>(), 1e-8) << "size " << size;
    }
  }
}

Triplets definite(int size) {
  Triplets upper;
  for (int i = 0; i < size; ++i) {
    upper.emplace_back(i, i, 1);
    for (int j = i + 1; j < size; ++j) upper.emplace_back(i, j, 0.5);
  }
  return upper;
}

TEST(Ldl, TellsDefiniteMatricesFromOthers) {
  for (const int size : {3, 40, 200}) {
    Triplets upper = definite(size);
    EXPECT_TRUE(Factorised().of(upper, size, true));
    upper.emplace_back(size - 1, size - 1, -0.7);  // less than what the others leave of it
    EXPECT_FALSE(Factorised().of(upper, size, true));
    EXPECT_TRUE(Factorised().of(upper, size, false));
  }
  EXPECT_FALSE(Factorised().of({{0, 0, 0}}, 1)) << "a pivot that is zero";
}

TEST(Ldl, EndsWhenItIsAskedTo) {
  Factorised system;
  ASSERT_TRUE(system.of(definite(600), 600));
  int asked = 0;
  Watch watch([&] {
    if (++asked == 2) throw 7;
  });
  EXPECT_THROW(system.factors.factorise(system.matrix, watch), int);
}

}  // namespace
}  // namespace tvlo
