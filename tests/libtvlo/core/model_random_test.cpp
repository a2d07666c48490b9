// Random sequences of changes, valid and not, against the dense reference and an engine's copy.
#include <random>

#include "dense_reference.h"

namespace tvlo::test {
namespace {

class RandomModel : public ::testing::TestWithParam<int> {
 protected:
  int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }
  double number() { return below(9) - 4 + (below(2) ? 0.5 : 0.0); }
  bool sometimes(int n) { return below(n) == 0; }
  int anyRow() { return below(model_.rows()); }
  int anyColumn() { return below(model_.columns()); }

  // Distinct lines of [0, n) in random order.
  std::vector<int> subset(int n, int most) {
    std::vector<int> all(n);
    for (int i = 0; i < n; ++i) all[i] = i;
    std::shuffle(all.begin(), all.end(), random_);
    all.resize(std::min(n, below(most + 1)));
    return all;
  }

  void addRows() {
    const int n = below(4);
    std::string types;
    std::vector<double> rhs, ranges, lower, coefs;
    const bool sides = sometimes(2);
    std::vector<int64_t> start;
    std::vector<int> index;
    for (int i = 0; i < n; ++i) {
      DenseRow row;
      row.type = "LGERN"[below(5)];
      const double range = sides ? std::abs(number()) / 3 : number();
      row.set(number(), row.type == 'R' ? std::abs(range) : 0);
      if (row.type == 'R' && sides) row.lower = std::nextafter(row.lower, -TVLO_INFINITY);
      row.coefs.resize(model_.columns());
      start.push_back(static_cast<int64_t>(index.size()));
      for (const int j : subset(model_.columns(), 5)) {
        index.push_back(j);
        coefs.push_back(number());
        row.coefs[j] = coefs.back();
      }
      types += row.type;
      rhs.push_back(row.rhs);
      ranges.push_back(range);
      lower.push_back(row.lower);
      dense_.rows.push_back(row);
    }
    model_.addRows({n, static_cast<int64_t>(index.size()), types.data(), rhs.data(), ranges.data(), start.data(),
                    index.data(), coefs.data(), sides ? lower.data() : nullptr});
  }

  void addColumns() {
    const int n = below(4);
    std::vector<double> obj, lb, ub, coefs;
    std::vector<int64_t> start;
    std::vector<int> index;
    for (int j = 0; j < n; ++j) {
      DenseColumn column;
      obj.push_back(column.obj = number());
      lb.push_back(sometimes(3) ? -1e30 : number());
      ub.push_back(sometimes(3) ? 1e25 : number());
      column.lb = std::max(lb.back(), -TVLO_INFINITY);
      column.ub = std::min(ub.back(), TVLO_INFINITY);
      for (DenseRow& row : dense_.rows) row.coefs.emplace_back();
      start.push_back(static_cast<int64_t>(index.size()));
      for (const int i : subset(model_.rows(), 5)) {
        index.push_back(i);
        coefs.push_back(number());
        if (coefs.back() != 0) dense_.rows[i].coefs.back() = coefs.back();
      }
      dense_.columns.push_back(column);
    }
    model_.addColumns({n, static_cast<int64_t>(index.size()), obj.data(), lb.data(), ub.data(), start.data(),
                       index.data(), coefs.data()});
  }

  void changeColumns() {
    const int j = anyColumn();
    DenseColumn& column = dense_.columns[j];
    const double value = number();
    switch (below(4)) {
      case 0:
        model_.setObjective(1, &j, &value);
        column.obj = value;
        break;
      case 1: {
        const char which = "LUB"[below(3)];
        model_.setBounds(1, &j, &which, &value);
        if (which != 'U') column.lb = value;
        if (which != 'L') column.ub = value;
        if (column.type == 'B' && (value < 0 || value > 1)) column.type = 'I';
        break;
      }
      case 2: {
        const char type = "CBISRP"[below(6)];
        model_.setColumnTypes(1, &j, &type);
        column.type = type;
        if (type == 'B') column.lb = std::max(column.lb, 0.0);
        if (type == 'B') column.ub = std::min(column.ub, 1.0);
        break;
      }
      default:
        model_.setLimits(1, &j, &value);
        column.limit = value;
    }
  }

  static void changeSides(DenseRow& row, double lower, double upper) {
    const bool below = lower > -TVLO_INFINITY, above = upper < TVLO_INFINITY;
    const char type = below && above ? (lower == upper ? 'E' : 'R') : below ? 'G' : above ? 'L' : 'N';
    if (type == row.type && row.sides() == std::pair(lower, upper)) return;
    row.type = type;
    row.set(above ? upper : below ? lower : row.rhs, type == 'R' ? upper - lower : row.range);
    if (type == 'R') row.lower = lower;
  }

  void changeRows() {
    const int i = anyRow();
    DenseRow& row = dense_.rows[i];
    const double value = number();
    switch (below(4)) {
      case 0:
        model_.setRhs(1, &i, &value);
        if (row.rhs != value) row.set(value, row.range);
        break;
      case 1:
        model_.setRanges(1, &i, &value);
        if (row.range != std::abs(value)) row.set(row.rhs, std::abs(value));
        break;
      case 2: {
        const double lower = sometimes(3) ? -TVLO_INFINITY : value / 3;
        const double upper = sometimes(3) ? TVLO_INFINITY : std::max(value / 3, number());
        model_.setRowBounds(1, &i, &lower, &upper);
        changeSides(row, lower, upper);
        break;
      }
      default: {
        const char type = "LGERN"[below(5)];
        model_.setRowTypes(1, &i, &type);
        row.type = type;
      }
    }
  }

  void changeCoefficients() {
    const int n = sometimes(3) ? 40 : below(4);
    std::vector<int> rows, columns;
    std::vector<double> coefs;
    for (int k = 0; k < n; ++k) {
      rows.push_back(anyRow());
      columns.push_back(anyColumn());
      coefs.push_back(number());
      auto& place = dense_.rows[rows[k]].coefs[columns[k]];
      place = coefs[k];
      if (coefs[k] == 0) place.reset();
    }
    model_.setCoefficients(n, rows.data(), columns.data(), coefs.data());
  }

  void changeQuadratics() {
    const int n = below(4);
    std::vector<int> c1, c2;
    std::vector<double> coefs;
    const int i = anyRow();
    const bool objective = sometimes(2);
    auto& dense = objective ? dense_.quadratic : dense_.rows[i].quadratic;
    for (int k = 0; k < n; ++k) {
      c1.push_back(anyColumn());
      c2.push_back(anyColumn());
      coefs.push_back(number());
      double& place = dense[std::minmax(c1[k], c2[k])];
      place = objective ? coefs[k] : place + coefs[k];
    }
    std::erase_if(dense, [](const auto& entry) { return entry.second == 0; });
    if (objective) {
      model_.setQuadraticObjective(n, c1.data(), c2.data(), coefs.data());
    } else if (n > 0 || !sometimes(4)) {
      model_.addRowQuadratic(i, n, c1.data(), c2.data(), coefs.data());
    } else {
      model_.deleteRowQuadratic(i);
      dense.clear();
    }
  }

  void rename() {
    const int i = anyRow();
    const int j = anyColumn();
    const std::string name = sometimes(4) ? "" : (sometimes(2) ? "R" : "a longer name ") + std::to_string(below(20));
    model_.rowNames().set(i, name);
    model_.columnNames().set(j, name);
    dense_.rows[i].name = name.empty() ? std::nullopt : std::optional(name);
    dense_.columns[j].name = dense_.rows[i].name;
  }

  void lookUp() {
    const std::string name = sometimes(2) ? "R" + std::to_string(below(20)) : model_.rowNames().get(anyRow());
    int wanted = -1;
    for (int i = model_.rows() - 1; i >= 0; --i) {
      if (nameOf(dense_.rows, i, 'R') == name) wanted = i;
    }
    EXPECT_EQ(model_.rowNames().find(name), wanted) << name;
  }

  void fail() {
    const int bad = sometimes(2) ? -2 : std::max(model_.rows(), model_.columns());
    const int good = 0;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double one = 1, zero = 0;
    const std::vector<int> rows{good, bad}, twice{good, good};
    const std::vector<double> coefs{one, nan};
    const std::vector<int64_t> start{0};
    EXPECT_THROW(model_.deleteRows(2, twice.data()), Error);
    EXPECT_THROW(model_.deleteColumns(2, rows.data()), Error);
    EXPECT_THROW(model_.setCoefficients(2, rows.data(), twice.data(), coefs.data()), Error);
    EXPECT_THROW(model_.setRhs(2, twice.data(), coefs.data()), Error);
    EXPECT_THROW(model_.setObjective(2, twice.data(), coefs.data()), Error);
    EXPECT_THROW(model_.setBounds(2, rows.data(), "LL", coefs.data()), Error);
    EXPECT_THROW(model_.setColumnTypes(2, twice.data(), "IX"), Error);
    EXPECT_THROW(model_.setRowTypes(2, twice.data(), "LX"), Error);
    EXPECT_THROW(model_.setRowBounds(1, twice.data(), &one, &zero), Error);
    EXPECT_THROW(model_.addRows({1, 2, "L", &one, nullptr, start.data(), twice.data(), coefs.data()}), Error);
    EXPECT_THROW(model_.addRows({1, 1, "L", &one, nullptr, start.data(), &bad, &one}), Error);
    EXPECT_THROW(model_.addColumns({1, 1, &one, nullptr, nullptr, start.data(), &good, &nan}), Error);
    EXPECT_THROW(model_.setQuadraticObjective(2, twice.data(), rows.data(), coefs.data()), Error);
  }

  void step(bool quadratics) {
    if (model_.rows() < 2 || model_.columns() < 2) {
      addRows();
      return addColumns();
    }
    const double value = number();
    switch (below(14)) {
      case 0:
      case 1:
        return addRows();
      case 2:
      case 3:
        return addColumns();
      case 4: {
        const std::vector<int> gone = subset(model_.rows(), sometimes(20) ? 100 : 3);
        model_.deleteRows(static_cast<int>(gone.size()), gone.data());
        return dense_.deleteRows(gone);
      }
      case 5: {
        const std::vector<int> gone = subset(model_.columns(), sometimes(20) ? 100 : 3);
        model_.deleteColumns(static_cast<int>(gone.size()), gone.data());
        return dense_.deleteColumns(gone);
      }
      case 6:
        return changeRows();
      case 7:
      case 8:
        return changeColumns();
      case 9:
        return changeCoefficients();
      case 10:
        if (quadratics) changeQuadratics();
        return;
      case 11: {
        rename();
        return lookUp();
      }
      case 12: {
        const int constant = -1;
        model_.setObjective(1, &constant, &value);
        dense_.constant = value == 0 ? 0 : -value;
        model_.setSense(dense_.sense = value < 0 ? -1 : 1);
        return;
      }
      default:
        return fail();
    }
  }

  std::mt19937 random_{static_cast<unsigned>(GetParam())};
  Model model_;
  Dense dense_;
};

TEST_P(RandomModel, AgreesWithTheDenseOneAndWithAnEngineThatFollows) {
  EngineCopy engine;
  int followed = 0;
  for (int n = 0; n < 300 && !HasFailure(); ++n) {
    SCOPED_TRACE("step " + std::to_string(n));
    step(GetParam() % 2 == 0);
    if (sometimes(3)) expectSame(model_, dense_);
    if (!sometimes(4)) continue;
    followed += !model_.changes().rebuild;
    engine.follow(model_);
    engine.expectSame(model_);
    model_.changes().synchronised(model_.rows(), model_.columns());
    EXPECT_TRUE(model_.changes().none(model_.rows(), model_.columns()));
  }
  expectSame(model_, dense_);
  if (GetParam() % 2 == 1) {
    EXPECT_GT(followed, 20) << "an engine should be able to follow linear changes";
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomModel, ::testing::Range(0, 30));

}  // namespace
}  // namespace tvlo::test
