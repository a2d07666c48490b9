// Models with formulas in files: what is written reads back as the same, and bad lines are named.
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "fixture.h"

namespace tvlo::test {
namespace {

class FormulaFile : public Nonlinear {
 protected:
  void SetUp() override {
    Nonlinear::SetUp();
    path_ = ::testing::TempDir() + "tavlo_formula_file_" + std::to_string(getpid()) + ".mps";
  }
  void TearDown() override {
    std::remove(path_.c_str());
    Nonlinear::TearDown();
  }
  int read(const std::string& text) {
    std::ofstream(path_) << text;
    return TSLPreadprob(slp_, path_.c_str(), "");
  }
  std::string path_;
};

TEST_F(FormulaFile, ReadsBackAsTheSame) {
  addLines(3, 4);
  const char* const names = "@x\0sin\0+\0c 4";
  ASSERT_EQ(TVLOaddnames(prob_, 2, names, 0, 3), 0);
  ASSERT_EQ(add(1, -1, 0.1, "( x0 x1 3 * sin neg"), 1) << "two arguments";
  ASSERT_EQ(add(1, -1, 0.1, "( x0 x1 3 * + sin neg x3 1e-300 ** + 0.3333333333333333 -"), 0) << slpError();
  ASSERT_EQ(add(1, 2, -7, "( 4 3 2 1 0 -1 x2 pwl"), 0);
  ASSERT_EQ(add(2, 3, 1, ""), 0);
  ASSERT_EQ(add(0, -1, 1, "( x0 x1 x2 max ( x3 -2.5e7 min / ( ( x1 ln erfc **"), 0) << slpError();
  const int row = 2, status = 2049, type = 3;
  const double initial = 0.1, step = 1e-17;
  ASSERT_EQ(
      TSLPchgvar(slp_, 3, &row, &step, nullptr, nullptr, nullptr, &initial, nullptr, nullptr, nullptr, nullptr, &type),
      0);
  ASSERT_EQ(TSLPchgrowstatus(slp_, 2, &status), 0);
  const std::string before = formula(1, -1) + formula(1, 2) + formula(2, 3) + formula(0, -1);
  ASSERT_EQ(TSLPwriteprob(slp_, path_.c_str(), ""), 0) << slpError();
  EXPECT_NE(TSLPwriteprob(slp_, path_.c_str(), "f"), 0);
  EXPECT_NE(TSLPwriteprob(slp_, path_.c_str(), "l"), 0);
  std::ifstream file(path_);
  const std::string text((std::istreambuf_iterator<char>(file)), {});
  ASSERT_EQ(TSLPreadprob(slp_, path_.c_str(), ""), 0) << slpError();
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlcoefs), 4);
  EXPECT_EQ(formula(1, -1) + formula(1, 2) + formula(2, 3) + formula(0, -1), before);
  int now = 0;
  ASSERT_EQ(TSLPgetrowstatus(slp_, 2, &now), 0);
  EXPECT_EQ(now, status);
  ASSERT_EQ(TSLPwriteprob(slp_, path_.c_str(), "x"), 0);
  std::ifstream again(path_);
  EXPECT_EQ(text, std::string((std::istreambuf_iterator<char>(again)), {}));
  EXPECT_NE(text.find("INITIAL  0.1"), std::string::npos);
}

TEST_F(FormulaFile, NamesBadLines) {
  const std::string head = "NAME\nROWS\n N OBJ\n L r1\nCOLUMNS\n x OBJ 1\n y r1 2\nRHS\nBOUNDS\n";
  EXPECT_EQ(read(head + "FORMULAS\n r1 @x 2.5 ( @y sin\nENDATA\n"), 0) << slpError();
  EXPECT_EQ(formula(0, 0), "2.5: ( x1 f27");
  for (const std::string bad :
       {"FORMULAS\n r2 1 1 @x", "FORMULAS\n r1 x 1 @x", "FORMULAS\n r1 @z 1 @x", "FORMULAS\n r1 1 nan @x",
        "FORMULAS\n r1 1 1 @x @y", "FORMULAS\n r1 1 1 @x +", "FORMULAS\n r1 1 1 ( @x what", "FORMULAS\n r1 1 1 inf",
        "FORMULAS\n r1", "FORMULAS\n OBJ 1 1 @x", "FORMULAS\n r1 1 1 @", "VARIABLES\n x INITIAL", "VARIABLES\n x W 1",
        "VARIABLES\n x DETROW r9", "VARIABLES\n x TYPE 1.5", "VARIABLES\n x INITIAL 1 2", "ROWSTATUS\n r1 1e10",
        "ROWSTATUS\n r1 0 0"}) {
    EXPECT_EQ(read(head + bad + "\nENDATA\n"), TVLO_ERR_FORMAT) << bad;
    EXPECT_NE(slpError().find(".mps:11: "), std::string::npos) << slpError();
    EXPECT_EQ(attribute(TVLO_ATTRIBUTE_cols), 0) << "nothing is left";
  }
  // Whatever bytes come: an error, not a crash.
  const std::string good = head + "FORMULAS\n r1 @x 2.5 ( @y 1 + 2 ** 3 max\nVARIABLES\n x DETROW r1\nENDATA\n";
  for (size_t k = head.size(); k < good.size(); ++k) {
    read(good.substr(0, k));
    for (const char c : {' ', '@', '(', '9', '\n', '\xff'}) {
      std::string changed = good;
      changed[k] = c;
      read(changed);
    }
  }
}

int one(const double*, int, double* value, double*, void*) {
  *value = 1;
  return 0;
}

TEST_F(FormulaFile, CanNotHoldUserFunctions) {
  addLines(1, 1);
  int id = 0;
  ASSERT_EQ(TSLPadduserfunction(slp_, "mine", 2, 1, 1, 0, one, nullptr, &id), 0);
  ASSERT_EQ(add(0, -1, 1, "( x0 u1"), 0);
  EXPECT_EQ(TSLPwriteprob(slp_, path_.c_str(), ""), TVLO_ERR_UNSUPPORTED);
  EXPECT_NE(slpError().find("user function \"mine\""), std::string::npos);
}

}  // namespace
}  // namespace tvlo::test
