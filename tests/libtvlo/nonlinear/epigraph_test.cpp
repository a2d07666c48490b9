// Optima at kinks: known ones, and those of linear programs that say the same.
#include <random>

#include "fixture.h"

namespace tvlo::test {
namespace {

class Epigraphs : public NonlinearSolving {
 protected:
  void clear() {
    ASSERT_EQ(TVLOloadlp(prob_, "", 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr),
              0);
  }
  // A linear row over the columns from 0 on; its index.
  int addRow(char type, double rhs, const std::vector<double>& coefs) {
    const int64_t start = 0;
    std::vector<int> columns(coefs.size());
    for (size_t j = 0; j < coefs.size(); ++j) columns[j] = static_cast<int>(j);
    EXPECT_EQ(TVLOaddrows64(prob_, 1, static_cast<int64_t>(coefs.size()), &type, &rhs, nullptr, &start, columns.data(),
                            coefs.data()),
              0);
    return attribute(TVLO_ATTRIBUTE_rows) - 1;
  }
  // The linear program's optimum and duals.
  double solveLp(const std::vector<double>& cost, int sense) {
    std::vector<int> columns(cost.size());
    for (size_t j = 0; j < cost.size(); ++j) columns[j] = static_cast<int>(j);
    EXPECT_EQ(TVLOchgobj(prob_, static_cast<int>(cost.size()), columns.data(), cost.data()), 0);
    EXPECT_EQ(TVLOchgobjsense(prob_, sense), 0);
    EXPECT_EQ(TVLOlpoptimize(prob_, ""), 0);
    std::vector<double> x(attribute(TVLO_ATTRIBUTE_cols));
    dual_.assign(attribute(TVLO_ATTRIBUTE_rows), NAN);
    EXPECT_EQ(TVLOgetlpsol(prob_, x.data(), nullptr, dual_.data(), nullptr), 0);
    double sum = 0;
    for (size_t j = 0; j < cost.size(); ++j) sum += cost[j] * x[j];
    return sum;
  }
};

// A minimax problem of Charalambous and Bandler.
TEST_F(Epigraphs, FindTheMinimaxPoint) {
  const std::string f[] = {"x0 2 ** x1 4 ** +", "2 x0 - 2 ** 2 x1 - 2 ** +", "( x1 x0 - exp 2 *"};
  for (const int sense : {1, -1}) {
    clear();
    build("", {}, {-1e20, -1e20}, {1e20, 1e20}, {1, -0.1});
    const std::string all = sense > 0 ? "( " + f[0] + " ( " + f[1] + " " + f[2] + " max max"
                                      : "( " + f[0] + " neg " + f[1] + " neg " + f[2] + " neg min";
    minimise(all, sense);
    ASSERT_EQ(solve(), 1);
    EXPECT_NEAR(value(), sense * 1.9522245, 1e-6);
    EXPECT_NEAR(x_[0], 1.1390377, 1e-5);
    EXPECT_NEAR(x_[1], 0.8995600, 1e-5);
    EXPECT_EQ(x_.size(), 3) << "no columns but the model's";
    ASSERT_EQ(solve(), 1) << "again, from there";
    EXPECT_NEAR(value(), sense * 1.9522245, 1e-6);
  }
}

TEST_F(Epigraphs, FitByLeastAbsoluteDeviations) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> real(-1, 1);
  const int points = 25;
  std::vector<double> a(points), b(points);
  for (int k = 0; k < points; ++k) {
    a[k] = real(random);
    b[k] = 2 * a[k] - 0.5 + (k % 5 == 0 ? 5 : 0.1) * real(random);
  }
  for (const int sense : {1, -1}) {
    clear();
    std::vector<double> lower(2, -10), upper(2, 10), cost(2);
    lower.resize(2 + points, -1e20);
    upper.resize(2 + points, 1e20);
    cost.resize(2 + points, sense);
    build("", {}, lower, upper, {});
    addRow('L', 1.2, {1, 1});
    for (int k = 0; k < points; ++k) {
      for (const double sign : {1.0, -1.0}) {
        std::vector<double> row(2 + points);
        row[0] = -sign * a[k];
        row[1] = -sign;
        row[2 + k] = 1;
        addRow('G', -sign * b[k], row);
      }
    }
    const double wanted = solveLp(cost, sense);
    const double dual = dual_[0];
    EXPECT_LT(sense * dual, -0.01) << "the row matters";

    clear();
    build("", {}, {-10, -10}, {10, 10}, {});
    addRow('L', 1.2, {1, 1});
    std::string sum = "0";
    for (int k = 0; k < points; ++k) {
      sum +=
          " ( " + std::to_string(a[k]) + " x0 * x1 + " + std::to_string(b[k]) + (sense > 0 ? " - abs +" : " - abs -");
    }
    minimise(sum, sense);
    ASSERT_EQ(solve(), 2) << "proven";
    EXPECT_NEAR(value(), wanted, 1e-4);  // the texts round to six places
    EXPECT_NEAR(dual_[0], dual, 1e-4);
  }
}

// Three sources with convex costs, of slopes that rise at breakpoints 0, 1, 3, ..., meet a demand in equality, below a
// common limit that is given as a row of formulas.
TEST_F(Epigraphs, PayPiecewiseLinearCosts) {
  const double slope[3][3] = {{-1, 2, 5}, {0, 1, 7}, {1, 3, 4}};
  for (const int sense : {1, -1}) {
    clear();
    std::vector<double> lower(12, -1e20), upper(12, 1e20), cost(12);
    for (int j = 0; j < 3; ++j) {
      lower[j] = -2;
      upper[j] = 8;
      cost[j + 3] = sense;
    }
    build("", {}, lower, upper, {});
    addRow('E', 9, {1, 1, 1});
    for (int j = 0; j < 3; ++j) {
      for (int k = 0; k < 3; ++k) {
        const double offset = k == 0   ? 0
                              : k == 1 ? slope[j][0] - slope[j][1]
                                       : slope[j][0] + 2 * slope[j][1] - 3 * slope[j][2];
        std::vector<double> row(6);
        row[j] = -sense * slope[j][k];
        row[j + 3] = sense;
        if (sense < 0) {
          row[j] = slope[j][k];
          row[j + 3] = 1;
        }
        // t >= slope x + offset; or, with t the cost's negative, t <= -slope x - offset
        if (sense > 0) addRow('G', offset, row);
        if (sense < 0) addRow('L', -offset, row);
      }
    }
    addRow('L', 4, {1, 0, 0.5});
    for (int j = 0; j < 3; ++j) cost[j + 3] = 1;
    const double wanted = solveLp(cost, sense);
    const std::vector<double> dual = {dual_.front(), dual_.back()};

    clear();
    build("", {}, {-2, -2, -2}, {8, 8, 8}, {});
    addRow('E', 9, {1, 1, 1});
    std::string sum = "0";
    for (int j = 0; j < 3; ++j) {
      const double y[] = {0, slope[j][0], slope[j][0] + 2 * slope[j][1], slope[j][0] + 2 * slope[j][1] + slope[j][2]};
      sum += " (";
      for (int k = 3; k >= 0; --k)
        sum += " " + std::to_string(sense * y[k]) + " " + std::to_string(k == 3 ? 4 : k == 2 ? 3 : k);
      sum += " x" + std::to_string(j) + " pwl +";
    }
    const int limit = addRow('L', 4, {});
    ASSERT_EQ(add(limit, -1, 1, "x0 ( x2 0.5 * 1 x2 * 100 - max +"), 0);
    minimise(sum, sense);
    ASSERT_EQ(solve(), 2);
    EXPECT_NEAR(value(), wanted, 1e-6);
    EXPECT_NEAR(dual_[0], dual[0], 1e-5);
    EXPECT_NEAR(dual_[limit], dual[1], 1e-5);
    EXPECT_EQ(dual_.size(), 3);
  }
}

TEST_F(Epigraphs, StayOutOfPlacesThatTheyWouldChange) {
  // Each row's kink keeps its column from the bound that minimising pulls it to.
  const struct {
    char type;
    double rhs;
    const char* formula;
    double optimum;
  } cases[] = {{'G', 4, "( x0 abs", 4},
               {'G', 4, "( x0 3 max", 4},
               {'L', -4, "( x0 neg -3 min", 4},
               {'L', 0.25, "1 ( x0 2 max /", 4},
               {'E', 4, "( x0 2 max", 4},
               {'G', 2, "( ( x0 4 min sqrt", 4},
               {'L', -2, "( ( x0 4 min sqrt neg", 4},
               {'G', 4, "( 9 9 1 5 1 3 3 0 x0 pwl", 6.5}};
  for (const auto& c : cases) {
    clear();
    build(std::string(1, c.type), {c.rhs}, {1, 2}, {10, 2}, {7});
    ASSERT_EQ(add(0, -1, 1, c.formula), 0) << slpError();
    const int column = 0;
    const double one = 1;
    ASSERT_EQ(TVLOchgobj(prob_, 1, &column, &one), 0);
    EXPECT_EQ(solve(), 1) << c.formula;
    EXPECT_NEAR(x_[0], c.optimum, 1e-5) << c.formula;
  }
}

}  // namespace
}  // namespace tvlo::test
