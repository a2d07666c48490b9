#include "nonlinear/interval.h"

#include <cmath>
#include <random>

#include "fixture.h"
#include "nonlinear/evaluate.h"

namespace tvlo::test {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

Tokens tokensOf(const std::string& text) {
  const TokenRun words = run(text);
  Tokens tokens;
  for (size_t k = 0; k + 1 < words.type.size(); ++k) tokens.add(words.type[k], words.value[k]);
  return tokens;
}

Interval of(const std::string& text, const std::vector<Interval>& columns) {
  const Tokens tokens = tokensOf(text);
  return rangeOf(tokens.view(), columns);
}

// Random trees of all operators and functions over random boxes: no value lies outside.
TEST(Interval, HoldsEveryValue) {
  std::mt19937 random(7);
  const auto any = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  const std::vector<std::string> unary = {
      "neg",
#define ELEMENTARY_FUNCTION(name, Node, node, TOKEN, formula, ...) formula,
#include "elementary/functions.def"
  };
  const std::vector<std::string> binary = {"+", "-", "*", "/", "**", "min", "max"};
  std::function<std::string(int)> tree = [&](int depth) -> std::string {
    if (depth == 0 || any(5) == 0) return any(3) == 0 ? std::to_string(any(9) - 4) : any(2) == 0 ? "x0" : "x1";
    if (any(12) == 0) return "( 3 2 0 1 1 -1 " + tree(depth - 1) + " pwl";  // (-1, 1), (1, 0), (2, 3)
    if (any(2) == 0) {
      const std::string& f = unary[any(static_cast<int>(unary.size()))];
      return (f == "neg" ? "" : "( ") + tree(depth - 1) + " " + f;
    }
    const std::string& f = binary[any(static_cast<int>(binary.size()))];
    return (f.size() == 3 ? "( " : "") + tree(depth - 1) + " " + tree(depth - 1) + " " + f;
  };
  std::uniform_real_distribution<double> unit(0, 1);
  int seen = 0, bounded = 0;
  for (int round = 0; round < 3000; ++round) {
    const std::string text = tree(3);
    const Tokens tokens = tokensOf(text);
    std::vector<Interval> box;
    for (int j = 0; j < 2; ++j) {
      const double lower = any(9) - 4, width = any(4) * any(3);
      box.push_back({lower, lower + width});
    }
    const Interval found = rangeOf(tokens.view(), box);
    bounded += std::isfinite(found.lower) && std::isfinite(found.upper);
    for (int sample = 0; sample < 20; ++sample) {
      double x[2];
      for (int j = 0; j < 2; ++j) {
        const double at = sample < 4 ? (sample >> j & 1) : unit(random);
        x[j] = box[j].lower + at * (box[j].upper - box[j].lower);
      }
      const double value = evaluateFormula(tokens.view(), x, UserFunctions());
      if (!std::isfinite(value)) continue;
      ++seen;
      const double room = 1e-9 * std::max(1.0, std::abs(value));
      ASSERT_TRUE(value >= found.lower - room && value <= found.upper + room)
          << text << " is " << value << " at " << x[0] << ", " << x[1] << ", outside " << found.lower << " to "
          << found.upper;
    }
  }
  EXPECT_GT(seen, 20000);
  EXPECT_GT(bounded, 1000);
}

TEST(Interval, IsTightForOneFunction) {
  const auto expect = [](const std::string& text, Interval column, double lower, double upper) {
    const Interval found = of(text, {column});
    EXPECT_TRUE(found.lower == lower || std::abs(found.lower - lower) <= 1e-12) << text << found.lower;
    EXPECT_TRUE(found.upper == upper || std::abs(found.upper - upper) <= 1e-12) << text << found.upper;
  };
  expect("x0 2 **", {-3, 2}, 0, 9);
  expect("x0 3 **", {-3, 2}, -27, 8);
  expect("1 2 x0 x0 * * +", {-3, 2}, 1, 19);
  expect("x0 -2 **", {2, 4}, 1.0 / 16, 0.25);
  expect("2 x0 **", {-1, 3}, 0.5, 8);
  expect("( x0 sin", {0, 2}, 0, 1);
  expect("( x0 cos", {-1, 4}, -1, 1);
  expect("( x0 abs", {-3, 2}, 0, 3);
  expect("( x0 sqrt", {-3, 4}, 0, 2);
  expect("( x0 arccos", {-3, 1}, 0, std::acos(-1.0));
  expect("( 3 2 0 1 1 -1 x0 pwl", {-2, 3}, 0, 6);  // both ends go on
  expect("3 x0 /", {0, 2}, 1.5, kInf);
  expect("3 x0 /", {-2, 0}, -kInf, -1.5);
  EXPECT_EQ(of("( x0 exp", {{-kInf, 0}}).lower, 0);
  EXPECT_EQ(of("1 x0 /", {{-1, 1}}).upper, kInf);
  EXPECT_EQ(of("x0 x0 -", {{0, kInf}}).upper, kInf);
}

TEST(Interval, IsNothingWhereThereIsNoValue) {
  const std::pair<const char*, Interval> nowhere[] = {
      {"( ( x0 sqrt exp", {-2, -1}},
      {"( x0 ln", {-2, -1}},
      {"( x0 ln", {-1, -0.1}},
      {"( x0 log10", {-1, -0.5}},
      {"( x0 arcsin", {1.1, 2}},
      {"( x0 arccos", {-3, -1.1}},
      {"x0 0.5 **", {-2, -1}},
      {"x0 -0.5 **", {-2, -1}},
      {"x0 1.2 x0 0.1 * + **", {-1, -1}},
      {"1 x0 /", {0, 0}},
      {"2 x0 x0 - /", {0, 0}},
      {"( ( x0 sqrt 1 max", {-2, -1}},
      {"1 ( x0 sqrt 0 * -", {-2, -1}},
      {"( x0 sqrt neg", {-2, -1}},
      {"( 3 2 0 1 1 -1 ( x0 ln pwl", {-2, -1}},
  };
  for (const auto& [text, column] : nowhere) EXPECT_TRUE(of(text, {column}).isNothing()) << text;
  const std::pair<const char*, Interval> somewhere[] = {
      {"( x0 sqrt", {-1, 0}}, {"( x0 sqrt", {-1, -1e-7}}, {"( x0 arcsin", {1, 2}},
      {"x0 x0 **", {-3, -1}}, {"1 x0 /", {0, 1}},         {"( x0 ln", {-1, 0}},
      {"x0 -2 **", {0, 0}},   {"x0 -0.5 **", {0, 0}},     {"x0 -1 **", {-1, 1}},
  };
  for (const auto& [text, column] : somewhere) EXPECT_FALSE(of(text, {column}).isNothing()) << text;
}

}  // namespace
}  // namespace tvlo::test
