// Problems for the tests of solving, built through the C interface, and random ones.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "core/attributes.h"
#include "core/problem.h"

namespace tvlo::test {

using Terms = std::vector<std::pair<int, double>>;  // column and coefficient
struct Product {
  int first, second;
  double value;
};

class Prob {
 public:
  Prob() {
    EXPECT_EQ(TVLOinit(), 0);
    EXPECT_EQ(TVLOcreateprob(&prob_), 0);
  }
  ~Prob() {
    EXPECT_EQ(TVLOdestroyprob(prob_), 0);
    EXPECT_EQ(TVLOfree(), 0);
  }
  Prob(const Prob&) = delete;
  Prob& operator=(const Prob&) = delete;
  TVLOprob get() const { return prob_; }
  const Model& model() const { return prob_->model; }
  const Solution& solution() const { return prob_->solution; }

  int column(double cost, double lower, double upper, char type = 'C', double limit = -TVLO_INFINITY) {
    must(TVLOaddcols64(prob_, 1, 0, &cost, nullptr, nullptr, nullptr, &lower, &upper));
    const int index = model().columns() - 1;
    if (type != 'C') must(TVLOchgcoltype(prob_, 1, &index, &type));
    if (limit > -TVLO_INFINITY) must(TVLOchgglblimit(prob_, 1, &index, &limit));
    return index;
  }
  int row(const Terms& terms, char type, double rhs, double range = 0) {
    const int64_t start = 0;
    std::vector<int> columns;
    std::vector<double> values;
    for (const auto& [column, value] : terms) {
      columns.push_back(column);
      values.push_back(value);
    }
    must(TVLOaddrows64(prob_, 1, static_cast<int64_t>(columns.size()), &type, &rhs, &range, &start, columns.data(),
                       values.data()));
    return model().rows() - 1;
  }
  // As the C interface takes them: x'Qx/2 in the objective (row -1), x'Qx in a row.
  void quadratic(int row, const std::vector<Product>& products) {
    std::vector<int> c1, c2;
    std::vector<double> values;
    for (const Product& p : products) {
      c1.push_back(p.first);
      c2.push_back(p.second);
      values.push_back(p.value);
    }
    const auto n = static_cast<int64_t>(values.size());
    must(row < 0 ? TVLOchgmqobj64(prob_, n, c1.data(), c2.data(), values.data())
                 : TVLOaddqmatrix64(prob_, row, n, c1.data(), c2.data(), values.data()));
  }
  void bounds(int column, double lower, double upper) {
    const int columns[] = {column, column};
    const double values[] = {lower, upper};
    must(TVLOchgbounds(prob_, 2, columns, "LU", values));
  }
  void cost(int column, double value) { must(TVLOchgobj(prob_, 1, &column, &value)); }
  void rhs(int row, double value) { must(TVLOchgrhs(prob_, 1, &row, &value)); }
  void maximise() { must(TVLOchgobjsense(prob_, -1)); }
  void control(int id, int value) { must(TVLOsetintcontrol(prob_, id, value)); }
  void control(int id, double value) { must(TVLOsetdblcontrol(prob_, id, value)); }

  const Solution& lp(const char* flags = "") {
    must(TVLOlpoptimize(prob_, flags));
    return solution();
  }
  const Solution& mip(const char* flags = "") {
    must(TVLOmipoptimize(prob_, flags));
    return solution();
  }
  std::string error(int code) const {
    char text[TVLO_ERRORTEXT_MAX] = "";
    TVLOgetlasterror(prob_, text);
    return code == 0 ? "" : text;
  }

 private:
  void must(int code) const { ASSERT_EQ(code, 0) << error(code); }
  TVLOprob prob_ = nullptr;
};

// A feasible and bounded LP: rows hold at a point of the box that the columns lie in.
inline void fillRandomly(Prob& p, std::mt19937& random, int rows, int columns, bool integers = false) {
  std::uniform_real_distribution<double> real(-5, 5);
  std::uniform_int_distribution<int> small(-9, 9);
  std::vector<double> inside;
  for (int j = 0; j < columns; ++j) {
    const double lower = small(random);
    const double upper = lower + std::abs(small(random));
    p.column(small(random), lower, upper, integers && j % 2 == 0 ? 'I' : 'C');
    inside.push_back(integers ? lower : lower + (upper - lower) * (real(random) + 5) / 10);
  }
  for (int i = 0; i < rows; ++i) {
    Terms terms;
    double value = 0;
    for (int j = 0; j < columns; ++j) {
      if (random() % 3 != 0) continue;
      const double coef = small(random) + 0.5;
      terms.emplace_back(j, coef);
      value += coef * inside[j];
    }
    const double room = std::abs(real(random));
    switch (random() % 5) {
      case 0:
        p.row(terms, 'E', value);
        break;
      case 1:
        p.row(terms, 'G', value - room);
        break;
      case 2:
        p.row(terms, 'R', value + room, 2 * room);
        break;
      case 3:
        p.row(terms, 'N', value);
        break;
      default:
        p.row(terms, 'L', value + room);
    }
  }
  if (random() % 2 == 0) p.maximise();
}

// Eight rows that no 0-1 point of reasonable search meets: hard from the first node on.
inline void fillMarketSplit(Prob& p, int columns, int rows) {
  unsigned seed = 7;
  for (int j = 0; j < columns; ++j) p.column(0, 0, 1, 'B');
  std::vector<int> slack;
  for (int i = 0; i < rows; ++i) slack.push_back(p.column(1, 0, 1e6, 'I'));
  for (int i = 0; i < rows; ++i) {
    Terms terms;
    double sum = 0;
    for (int j = 0; j < columns; ++j) {
      seed = seed * 1664525u + 1013904223u;
      terms.emplace_back(j, seed >> 25);
      sum += seed >> 25;
    }
    terms.emplace_back(slack[i], 1);
    p.row(terms, 'E', static_cast<double>(static_cast<long>(sum / 2)));
  }
}

}  // namespace tvlo::test
