#include "core/problem.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "engines/engine.h"

namespace tvlo {
namespace {

std::string number(double value) { return std::to_string(static_cast<int>(value)); }

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

// Deletions wait until something else is asked for; nobody can tell.
TEST(Problem, DeletionsThatWaitAreSeenByNumbersNamesAndTheNextLook) {
  std::mt19937 random(1);
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  for (const int size : {3, 40, 400}) {
    Problem problem;
    std::vector<double> rhs, cost;
    std::vector<std::string> rows, columns;
    for (int i = 0; i < size; ++i) {
      rhs.push_back(i);
      cost.push_back(-i);
      rows.push_back("R" + std::to_string(i + 1));
      columns.push_back("x" + std::to_string(i / 2));  // each name twice
    }
    problem.model.addColumns({.count = size, .obj = cost.data()});
    problem.model.addRows({.count = size, .type = std::string(size, 'L').c_str(), .rhs = rhs.data()});
    for (int j = 0; j < size; ++j) problem.model.columnNames().set(j, columns[j]);
    problem.solution.lp = {cost, rhs, rhs, cost, 0, true};
    problem.solution.basis = {std::vector<int>(size, 1), std::vector<int>(size, 0)};
    problem.model.changes().synchronised(size, size);
    while (rows.size() > 1 && columns.size() > 1 && !HasFailure()) {
      auto& names = below(2) == 0 ? rows : columns;
      const bool ofRows = &names == &rows;
      const auto find = [&](const std::string& name) {
        const auto at = std::find(names.begin(), names.end(), name);
        return at == names.end() ? -1 : static_cast<int>(at - names.begin());
      };
      const std::string name = ofRows ? "R" + std::to_string(below(size)) : "x" + std::to_string(below(size / 2 + 1));
      EXPECT_EQ(ofRows ? problem.findRow(name) : problem.findColumn(name), find(name)) << name;
      std::vector<int> gone{below(4) == 0 ? static_cast<int>(names.size()) - 1 : below(static_cast<int>(names.size()))};
      if (below(5) == 0 && gone[0] > 0) gone.push_back(gone[0] - 1);
      const auto n = static_cast<int>(gone.size());
      const int bad = static_cast<int>(names.size());
      EXPECT_THROW(ofRows ? problem.deleteRows(1, &bad) : problem.deleteColumns(1, &bad), Error);
      ofRows ? problem.deleteRows(n, gone.data()) : problem.deleteColumns(n, gone.data());
      for (const int line : gone) names.erase(names.begin() + line);
      EXPECT_EQ(problem.rows(), static_cast<int>(rows.size()));
      EXPECT_EQ(problem.columns(), static_cast<int>(columns.size()));
      if (below(20) != 0 && names.size() > 1) continue;
      problem.settle();
      ASSERT_EQ(problem.model.rows(), static_cast<int>(rows.size()));
      ASSERT_EQ(problem.model.columns(), static_cast<int>(columns.size()));
      for (int i = 0; i < problem.rows(); ++i) {
        EXPECT_EQ(problem.model.rowNames().get(i), rows[i]);
        EXPECT_EQ("R" + number(problem.model.rhs()[i] + 1), rows[i]);
        EXPECT_EQ(problem.solution.lp.slack[i], problem.model.rhs()[i]);
      }
      for (int j = 0; j < problem.columns(); ++j) {
        EXPECT_EQ(problem.model.columnNames().get(j), columns[j]);
        EXPECT_EQ(problem.solution.lp.x[j], problem.model.objective()[j]);
      }
      EXPECT_EQ(problem.solution.basis.row.size(), rows.size());
      EXPECT_EQ(problem.model.changes().rows.kept() + problem.model.changes().rows.deleted().size(), size);
      EXPECT_EQ(problem.model.changes().columns.kept(), problem.columns());
    }
  }
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

struct Meeting {
  MessageHandlers handlers;
  std::atomic<bool> inside{false}, leave{false}, left{false};
};

int stay(void*, void* data, const char*, int, int) {
  auto* const meeting = static_cast<Meeting*>(data);
  meeting->inside = true;
  while (!meeting->leave) std::this_thread::yield();
  meeting->left = true;
  return 0;
}

int removeMyself(void*, void* data, const char*, int, int) {
  return static_cast<Meeting*>(data)->handlers.remove(removeMyself, data);
}

TEST(Problem, AHandlerIsNotRunningAnyMoreOnceItIsRemoved) {
  Meeting meeting;
  meeting.handlers.add(removeMyself, &meeting, 1);
  meeting.handlers.add(stay, &meeting, 0);
  std::thread sender([&] { meeting.handlers.send(nullptr, "line", MessageType::information); });
  while (!meeting.inside) std::this_thread::yield();
  std::thread later([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    meeting.leave = true;
  });
  EXPECT_EQ(meeting.handlers.remove(stay, nullptr), 1);
  EXPECT_TRUE(meeting.left);
  EXPECT_TRUE(meeting.handlers.empty()) << "the other one removed itself";
  sender.join();
  later.join();
}

}  // namespace
}  // namespace tvlo
