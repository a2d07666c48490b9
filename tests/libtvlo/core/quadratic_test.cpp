// Quadratic forms: what the random model tests do not reach.
#include "core/quadratic.h"

#include <gtest/gtest.h>

#include <random>

#include "core/error.h"
#include "core/model.h"

namespace tvlo {
namespace {

TEST(Quadratic, manyChangesOneByOneAreThoseInBulk) {
  std::mt19937 random(3);
  std::vector<int> first, second;
  std::vector<double> value;
  QuadraticForm single, accumulated, bulk, bulkSum;
  for (int k = 0; k < 3000; ++k) {
    first.push_back(static_cast<int>(random() % 40));
    second.push_back(static_cast<int>(random() % 40));
    value.push_back(static_cast<int>(random() % 5) - 2);
    single.set(1, &first[k], &second[k], &value[k]);
    accumulated.add(1, &first[k], &second[k], &value[k]);
  }
  const auto n = static_cast<int64_t>(value.size());
  bulk.set(n, first.data(), second.data(), value.data());
  bulkSum.add(n, first.data(), second.data(), value.data());
  for (const auto& [a, b] : {std::pair(&single, &bulk), std::pair(&accumulated, &bulkSum)}) {
    ASSERT_EQ(a->entries().size(), b->entries().size());
    for (size_t k = 0; k < a->entries().size(); ++k) {
      EXPECT_EQ(a->entries()[k].first, b->entries()[k].first);
      EXPECT_EQ(a->entries()[k].second, b->entries()[k].second);
      EXPECT_EQ(a->entries()[k].value, b->entries()[k].value);
    }
  }
}

TEST(Quadratic, aSumThatIsInfiniteChangesNothing) {
  Model model;
  ColumnBatch columns;
  columns.count = 2;
  model.addColumns(columns);
  model.addRows({1, 0, "L", nullptr, nullptr, nullptr, nullptr, nullptr});
  const int c1[] = {0, 1}, c2[] = {0, 1};
  const double huge[] = {1, 1.5e308};
  model.addRowQuadratic(0, 2, c1, c2, huge);
  model.changes().synchronised(1, 2);
  EXPECT_THROW(model.addRowQuadratic(0, 2, c1, c2, huge), Error);
  EXPECT_THROW(model.addRowQuadratic(0, 1, c1 + 1, c2 + 1, huge + 1), Error);
  EXPECT_EQ(model.rowQuadratic(0)->value(0, 0), 1);
  EXPECT_EQ(model.rowQuadratic(0)->value(1, 1), 1.5e308);
  EXPECT_TRUE(model.changes().none(1, 2));
}

TEST(Quadratic, everyChangeIsNotedAndForgetsTheCurvature) {
  Model model;
  ColumnBatch columns;
  columns.count = 3;
  model.addColumns(columns);
  model.addRows({2, 0, "LL", nullptr, nullptr, nullptr, nullptr, nullptr});
  const int c1[] = {0, 1}, c2[] = {1, 2};
  const double coefs[] = {1, 2};
  const auto noted = [&](auto change) {
    model.changes().synchronised(model.rows(), model.columns());
    model.quadraticObjective().setCurvature(Curvature::convex);
    change();
    return model.changes().quadratic;
  };
  const auto forgotten = [&] { return model.quadraticObjective().curvature() == Curvature::unknown; };
  EXPECT_TRUE(noted([&] { model.setQuadraticObjective(2, c1, c2, coefs); }) && forgotten());
  EXPECT_TRUE(noted([&] { model.setQuadraticObjective(1, c1, c2, coefs + 1); }) && forgotten()) << "in place";
  EXPECT_TRUE(noted([&] { model.addRowQuadratic(1, 2, c1, c2, coefs); }));
  const int row = 0;
  EXPECT_TRUE(noted([&] { model.deleteRows(1, &row); }));
  EXPECT_EQ(model.rowQuadratic(0)->entries().size(), 2);
  const int column = 0;
  EXPECT_TRUE(noted([&] { model.deleteColumns(1, &column); }) && forgotten());
  EXPECT_EQ(model.quadraticObjective().entries().size(), 1);
  EXPECT_EQ(model.quadraticObjective().value(0, 1), 2);
  EXPECT_EQ(model.rowQuadratic(0)->value(0, 1), 2);
  EXPECT_TRUE(noted([&] { model.deleteRowQuadratic(-1); }));
  EXPECT_FALSE(noted([&] { model.setQuadraticObjective(0, nullptr, nullptr, nullptr); }));
}

}  // namespace
}  // namespace tvlo
