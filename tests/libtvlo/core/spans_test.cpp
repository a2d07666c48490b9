// What spans columns, against a naive list of items that name their lines.
#include "core/spans.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "core/model.h"

namespace tvlo {
namespace {

struct Named {
  std::string name, head;
  int type = 0;
  std::vector<std::string> columns;
  std::vector<double> numbers;
};

class RandomSpans : public ::testing::TestWithParam<int> {
 protected:
  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
  Spans& spans() { return model_.spans(kind_); }
  bool set() const { return kind_ == SpanKind::set; }
  bool indicator() const { return kind_ == SpanKind::indicator; }
  std::string rowName(int i) const { return model_.rowNames().get(i); }
  std::string columnName(int j) const { return model_.columnNames().get(j); }

  void addLines() {
    model_.addColumns({.count = 5});
    model_.addRows({.count = 5, .type = "LLLLL"});
    for (int k = 5; k > 0; --k) {
      model_.columnNames().set(model_.columns() - k, "x" + std::to_string(next_));
      model_.rowNames().set(model_.rows() - k, "r" + std::to_string(next_++));
    }
  }

  void add() {
    std::vector<Spans::Item> items(1 + below(3));
    for (Spans::Item& item : items) {
      Named named;
      item.type = named.type = below(3);
      for (int j = below(3); j < model_.columns(); j += 1 + below(4)) {
        item.columns.push_back(j);
        named.columns.push_back(columnName(j));
      }
      for (int k = set() ? static_cast<int>(item.columns.size()) : below(4); k > 0; --k) {
        item.numbers.push_back(below(100));
      }
      named.numbers = item.numbers;
      if (!set()) item.head = below(indicator() ? model_.rows() : model_.columns());
      if (!set()) named.head = indicator() ? rowName(item.head) : columnName(item.head);
      naive_.push_back(named);
    }
    spans().add(items, model_.rows(), model_.columns());
    for (int k = 0; !indicator() && k < spans().size(); ++k) {
      if (naive_[k].name.empty()) spans().names().set(k, naive_[k].name = "item " + std::to_string(next_++));
    }
  }

  void deleteColumn() {
    const int j = below(model_.columns());
    const std::string name = columnName(j);
    const bool used = !set() && std::any_of(naive_.begin(), naive_.end(), [&](const Named& item) {
      return item.head == name || std::count(item.columns.begin(), item.columns.end(), name) > 0;
    });
    try {
      model_.deleteColumns(1, &j);
      EXPECT_FALSE(used) << name;
    } catch (const Error&) {
      EXPECT_TRUE(used) << name;
      return;
    }
    for (Named& item : naive_) {
      const auto at = std::find(item.columns.begin(), item.columns.end(), name);
      if (at == item.columns.end()) continue;
      item.numbers.erase(item.numbers.begin() + (at - item.columns.begin()));
      item.columns.erase(at);
    }
  }

  void deleteRow() {
    const int i = below(model_.rows());
    const std::string name = rowName(i);
    model_.deleteRows(1, &i);
    if (indicator()) std::erase_if(naive_, [&](const Named& item) { return item.head == name; });
  }

  void expectSame(const Model& model) const {
    const Spans& spans = model.spans(kind_);
    ASSERT_EQ(spans.size(), static_cast<int>(naive_.size()));
    for (int k = 0; k < spans.size(); ++k) {
      const Spans::Item& item = spans[k];
      const Named& named = naive_[k];
      EXPECT_EQ(item.type, named.type);
      EXPECT_EQ(item.numbers, named.numbers);
      std::vector<std::string> columns;
      for (const int j : item.columns) columns.push_back(model.columnNames().get(j));
      EXPECT_EQ(columns, named.columns);
      if (indicator()) {
        EXPECT_EQ(model.rowNames().get(item.head), named.head);
      } else {
        EXPECT_EQ(spans.names().get(k), named.name);
        EXPECT_EQ(spans.names().find(named.name), k);
        EXPECT_EQ(set() ? "" : model.columnNames().get(item.head), named.head);
      }
    }
  }

  std::mt19937 random_{static_cast<unsigned>(GetParam())};
  SpanKind kind_ = static_cast<SpanKind>(GetParam() % kSpanKinds);
  Model model_;
  std::vector<Named> naive_;
  int next_ = 0;
};

TEST_P(RandomSpans, FollowTheModelsLines) {
  for (int n = 0; n < 300 && !HasFailure(); ++n) {
    SCOPED_TRACE("step " + std::to_string(n));
    if (model_.columns() < 4 || model_.rows() < 4) addLines();
    if (naive_.size() < 3 || below(4) == 0) {
      add();
    } else if (below(3) == 0) {
      const int k = below(spans().size());
      spans().erase(1, &k);
      naive_.erase(naive_.begin() + k);
    }
    deleteColumn();
    deleteRow();
    expectSame(Model(model_));  // copies have all of it
  }
}

INSTANTIATE_TEST_SUITE_P(KindsAndSeeds, RandomSpans, ::testing::Range(0, 12));

TEST(Spans, RefuseWhatDoesNotFitTheModelAndChangeNothing) {
  Spans sets(SpanKind::set), pieces(SpanKind::piecewise);
  const double infinite = 1 / 0.0;
  EXPECT_THROW(sets.add({{1, -1, {0, 1}, {1, 2}}, {1, -1, {0, 3}, {1, 2}}}, 2, 3), Error) << "no such column";
  EXPECT_THROW(sets.add({{1, -1, {0, 0}, {1, 2}}}, 2, 3), Error) << "twice";
  EXPECT_THROW(sets.add({{1, -1, {0, 1}, {1}}}, 2, 3), Error) << "a weight is missing";
  EXPECT_THROW(sets.add({{1, 2, {0, 1}, {1, 2}}}, 2, 3), Error) << "a head";
  EXPECT_THROW(pieces.add({{0, -1, {0}, {}}}, 2, 3), Error) << "no head";
  EXPECT_THROW(pieces.add({{0, 1, {0}, {infinite}}}, 2, 3), Error);
  const int one = 1;
  EXPECT_THROW(sets.erase(1, &one), Error);
  EXPECT_TRUE(sets.empty() && pieces.empty());
}

}  // namespace
}  // namespace tvlo
