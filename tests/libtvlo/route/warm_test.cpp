// Solving again after changes: the same answer as from nothing, from the last basis.
#include "problems.h"

namespace tvlo::test {
namespace {

// What a fresh problem with the same model says.
void expectAsFromNothing(const Prob& p, bool mip, const std::string& after) {
  Prob cold;
  ASSERT_EQ(TVLOcopyprob(cold.get(), p.get(), "cold"), 0);
  const Solution& s = p.solution();
  if (mip) {
    const Solution& c = cold.mip();
    ASSERT_EQ(s.mipStatus, c.mipStatus) << after;
    if (s.mipStatus == MipStatus::optimal) {
      ASSERT_NEAR(s.mip.objective, c.mip.objective, 1e-5 * (1 + std::abs(c.mip.objective))) << after;
    }
  } else {
    const Solution& c = cold.lp();
    ASSERT_EQ(s.lpStatus, c.lpStatus) << after;
    if (s.lpStatus == LpStatus::optimal) {
      ASSERT_NEAR(s.lp.objective, c.lp.objective, 1e-6 * (1 + std::abs(c.lp.objective))) << after;
    }
  }
}

class Changer {
 public:
  Changer(Prob& p, unsigned seed) : p_(p), random_(seed) {}

  std::string change() {
    const Model& m = p_.model();
    const int column = m.columns() > 0 ? below(m.columns()) : -1;
    const int row = m.rows() > 0 ? below(m.rows()) : -1;
    switch (below(10)) {
      case 0:
        if (column < 0) break;
        p_.bounds(column, -below(9), below(9));
        return "bounds of column " + std::to_string(column);
      case 1:
        if (column < 0) break;
        p_.cost(column, number());
        return "cost of column " + std::to_string(column);
      case 2:
        if (row < 0 || m.rowTypes()[row] == 'E') break;
        p_.rhs(row, m.rhs()[row] + below(5) - 1);
        return "right-hand side of row " + std::to_string(row);
      case 3: {
        if (row < 0 || column < 0) break;
        EXPECT_EQ(TVLOchgcoef(p_.get(), row, column, below(3) == 0 ? 0 : number()), 0);
        return "coefficient " + std::to_string(row) + "," + std::to_string(column);
      }
      case 4: {
        Terms terms;
        for (int j = 0; j < m.columns(); ++j) {
          if (below(3) == 0) terms.emplace_back(j, number());
        }
        p_.row(terms, "LGR"[below(3)], number() * 8, 4);
        return "another row";
      }
      case 5: {
        const double cost = number(), lower = -below(5), upper = below(5);
        std::vector<int> rows;
        std::vector<double> values;
        for (int i = 0; i < m.rows(); ++i) {
          if (below(3) != 0) continue;
          rows.push_back(i);
          values.push_back(number());
        }
        const int64_t start = 0;
        EXPECT_EQ(TVLOaddcols64(p_.get(), 1, static_cast<int64_t>(rows.size()), &cost, &start, rows.data(),
                                values.data(), &lower, &upper),
                  0);
        return "another column";
      }
      case 6: {
        if (m.rows() < 3) break;
        const std::vector<int> rows = some(m.rows());
        EXPECT_EQ(TVLOdelrows(p_.get(), static_cast<int>(rows.size()), rows.data()), 0);
        return "deleted rows";
      }
      case 7: {
        if (m.columns() < 3) break;
        const std::vector<int> columns = some(m.columns());
        EXPECT_EQ(TVLOdelcols(p_.get(), static_cast<int>(columns.size()), columns.data()), 0);
        return "deleted columns";
      }
      case 8: {
        if (row < 0) break;
        const char type = "LGENR"[below(5)];
        const double range = below(9);
        EXPECT_EQ(TVLOchgrowtype(p_.get(), 1, &row, &type), 0);
        EXPECT_EQ(TVLOchgrhsrange(p_.get(), 1, &row, &range), 0);
        return std::string("type of row ") + std::to_string(row) + " to " + type;
      }
      default:
        EXPECT_EQ(TVLOchgobjsense(p_.get(), -m.sense()), 0);
        return "sense";
    }
    return "nothing";
  }
  std::string changeType() {
    const int column = below(p_.model().columns());
    const char type = "CIS"[below(3)];
    const double limit = 1 + below(3);
    EXPECT_EQ(TVLOchgcoltype(p_.get(), 1, &column, &type), 0);
    EXPECT_EQ(TVLOchgglblimit(p_.get(), 1, &column, &limit), 0);
    return std::string("type of column ") + std::to_string(column) + " to " + type;
  }
  int below(int n) { return static_cast<int>(random_() % n); }

 private:
  double number() { return below(19) - 9 + 0.5; }
  std::vector<int> some(int size) {
    std::vector<int> lines;
    const int first = below(size);
    for (int k = 0; k < 1 + below(3) && first + 2 * k < size; ++k) lines.push_back(first + 2 * k);
    return lines;
  }
  Prob& p_;
  std::mt19937 random_;
};

TEST(Warm, RandomChangesOfLpsGiveWhatAColdSolveGives) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    std::mt19937 random(seed);
    Prob p;
    fillRandomly(p, random, 12, 16);
    Changer changer(p, seed);
    std::string history;
    for (int step = 0; step < 40; ++step) {
      for (int k = changer.below(3); k >= 0; --k) history += changer.change() + "; ";
      p.lp(step % 5 == 4 ? "p" : step % 7 == 6 ? "b" : "");
      expectAsFromNothing(p, false, history);
      if (HasFatalFailure()) FAIL() << "seed " << seed;
      history += "solved; ";
    }
  }
}

TEST(Warm, RandomChangesOfMipsGiveWhatAColdSolveGives) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    std::mt19937 random(seed + 100);
    Prob p;
    fillRandomly(p, random, 6, 10, true);
    Changer changer(p, seed);
    std::string history;
    for (int step = 0; step < 15; ++step) {
      history += changer.change() + "; " + changer.changeType() + "; ";
      const bool relaxation = step % 3 == 2;
      p.mip(relaxation ? "l" : "");
      if (relaxation) {
        EXPECT_NE(p.solution().mipStatus, MipStatus::optimal);
        if (p.solution().lpStatus != LpStatus::infeasible) p.lp();
      }
      expectAsFromNothing(p, !relaxation, history);
      if (HasFatalFailure()) FAIL() << "seed " << seed;
      history += "solved; ";
    }
  }
}

class WarmStart : public ::testing::Test {
 protected:
  WarmStart() {
    std::mt19937 random(5);
    fillRandomly(p_, random, 60, 120);
    p_.control(control::presolve, 0);
    cold_ = p_.lp().simplexIterations;
    EXPECT_EQ(p_.solution().lpStatus, LpStatus::optimal);
    EXPECT_GT(cold_, 40);
  }
  Prob p_;
  int64_t cold_;
};

TEST_F(WarmStart, NothingChangedTakesNothing) {
  const Solution first = p_.solution();
  EXPECT_EQ(p_.lp().simplexIterations, 0);
  EXPECT_EQ(p_.solution().lp.x, first.lp.x);
  EXPECT_EQ(p_.solution().lp.dual, first.lp.dual);
  EXPECT_EQ(p_.solution().basis, first.basis);
  p_.control(control::keepbasis, 0);
  EXPECT_EQ(p_.lp().simplexIterations, cold_);
}

TEST_F(WarmStart, SmallChangesTakeFewIterations) {
  const double upper = p_.solution().lp.x[7];
  p_.bounds(7, p_.model().lower()[7], upper + 0.25);
  EXPECT_LT(p_.lp().simplexIterations, cold_ / 4);
  p_.cost(3, p_.model().objective()[3] + 0.5);
  EXPECT_LT(p_.lp().simplexIterations, cold_ / 4);
  p_.row({{1, 1}, {2, 1}}, 'L', p_.solution().lp.x[1] + p_.solution().lp.x[2] - 0.1);
  EXPECT_LT(p_.lp().simplexIterations, cold_ / 4);
  EXPECT_EQ(p_.solution().lpStatus, LpStatus::optimal);
}

TEST_F(WarmStart, DeletedLinesThatTheBasisRestsOnTakeFewIterations) {
  const auto find = [](const std::vector<int>& status, int wanted) {
    return static_cast<int>(std::find(status.begin(), status.end(), wanted) - status.begin());
  };
  int64_t all = 0;
  for (int round = 0; round < 5; ++round) {
    const Basis& basis = p_.solution().basis;
    int row = 0;
    while (basis.row[row] == 1) ++row;
    const int column = find(basis.column, 1);
    ASSERT_EQ(TVLOdelrows(p_.get(), 1, &row), 0);
    all += p_.lp().simplexIterations;
    EXPECT_FALSE(p_.solution().basis.empty());
    ASSERT_EQ(TVLOdelcols(p_.get(), 1, &column), 0);
    all += p_.lp().simplexIterations;
    ASSERT_EQ(p_.solution().lpStatus, LpStatus::optimal);
  }
  EXPECT_LT(all, 10 * cold_ / 2) << "of ten solves";
}

TEST_F(WarmStart, ALoadedBasisIsStartedFrom) {
  const Basis optimal = p_.solution().basis;
  Prob fresh;
  ASSERT_EQ(TVLOcopyprob(fresh.get(), p_.get(), "copy"), 0);
  fresh.control(control::presolve, 0);
  ASSERT_EQ(TVLOloadbasis(fresh.get(), optimal.row.data(), optimal.column.data()), 0);
  EXPECT_EQ(fresh.lp().simplexIterations, 0);
  EXPECT_EQ(fresh.solution().basis, optimal);

  // Also in place of the one that the engine holds: this one is far from optimal.
  std::vector<int> rows(fresh.model().rows(), 1), columns(fresh.model().columns(), 0);
  ASSERT_EQ(TVLOloadbasis(fresh.get(), rows.data(), columns.data()), 0);
  EXPECT_GT(fresh.lp().simplexIterations, cold_ / 2);
  EXPECT_NEAR(fresh.solution().lp.objective, p_.solution().lp.objective, 1e-6);
}

}  // namespace
}  // namespace tvlo::test
