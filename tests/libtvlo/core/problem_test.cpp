#include "core/problem.h"

#include <gtest/gtest.h>

#include "engines/engine.h"

namespace tvlo {
namespace {

TEST(Problem, SolutionAndBasisStayInStepWithTheModel) {
  Problem problem;
  const double lb[] = {-TVLO_INFINITY, -TVLO_INFINITY, -1, 2};
  const double ub[] = {TVLO_INFINITY, 3, 0.5, TVLO_INFINITY};
  problem.model.addColumns({1, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr});
  problem.model.addRows({2, 0, "LL", nullptr, nullptr, nullptr, nullptr, nullptr});
  problem.solution.lp = {{4}, {1, 2}, {-1, 0}, {5}, 7, true};
  problem.solution.basis = {{0, 1}, {1}};

  problem.model.addColumns({4, 0, nullptr, lb, ub, nullptr, nullptr, nullptr});
  problem.columnsAdded(4);
  EXPECT_EQ(problem.solution.basis.column, (std::vector<int>{1, 3, 2, 2, 0}));

  problem.model.addRows({1, 0, "G", nullptr, nullptr, nullptr, nullptr, nullptr});
  problem.rowsAdded(1);
  EXPECT_EQ(problem.solution.basis.row, (std::vector<int>{0, 1, 1}));
  EXPECT_EQ(problem.solution.lp.dual, (std::vector<double>{-1, 0})) << "of what the solve saw";
  PointValues start = problem.solution.lp;
  extend(start, 3, 5);
  EXPECT_EQ(start.x, (std::vector<double>{4, 0, 0, 0, 0}));
  EXPECT_EQ(start.redcost, (std::vector<double>{5, 0, 0, 0, 0}));
  EXPECT_EQ(start.dual, (std::vector<double>{-1, 0, 0}));

  const int row = 0;
  problem.model.deleteRows(1, &row);
  problem.rowsDeleted({0});
  const int columns[] = {0, 2};
  problem.model.deleteColumns(2, columns);
  problem.columnsDeleted({0, 2});
  EXPECT_EQ(problem.solution.basis.row, (std::vector<int>{1, 1}));
  EXPECT_EQ(problem.solution.basis.column, (std::vector<int>{3, 2, 0}));
  EXPECT_EQ(problem.solution.lp.slack, (std::vector<double>{2}));
  EXPECT_TRUE(problem.solution.lp.x.empty()) << "its column is gone, and the others came later";
  EXPECT_TRUE(problem.solution.mip.x.empty());

  problem.replaced();
  EXPECT_TRUE(problem.solution.basis.empty());
  EXPECT_FALSE(problem.solution.lp.available);
}

int collect(void*, void* lines, const char* text, int length, int type) {
  static_cast<std::vector<std::string>*>(lines)->push_back(
      text == nullptr ? "flush" : std::to_string(type) + ":" + std::string(text, length));
  return 1;
}
int collectLast(void* object, void* lines, const char*, int, int) { return collect(object, lines, "last", 4, 0); }

TEST(Problem, SpeaksToItsHandlersByPriorityThenToTheEnvironmentsUnlessItsLogIsOff) {
  Problem problem;
  std::vector<std::string> lines, everywhere;
  problem.messages.add(collectLast, &lines, 0);
  problem.messages.add(collect, &lines, 5);
  environmentMessages().add(collect, &everywhere, 0);
  problem.say("hello", MessageType::warning);
  problem.say("", MessageType::flush);
  EXPECT_EQ(lines, (std::vector<std::string>{"3:hello", "0:last", "flush", "0:last"}));
  EXPECT_EQ(everywhere, (std::vector<std::string>{"3:hello", "flush"}));
  problem.controls.setInt(control::outputlog, 0);
  problem.say("unheard");
  problem.controls.setInt(control::outputlog, 1);
  EXPECT_EQ(problem.messages.remove(collect, nullptr), 1);
  EXPECT_EQ(environmentMessages().remove(collect, &everywhere), 1);
  problem.say("again");
  EXPECT_EQ(lines.size(), 5u);
  EXPECT_EQ(everywhere.size(), 2u);
}

}  // namespace
}  // namespace tvlo
