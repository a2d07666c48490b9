// Coefficients given by formulas: what is kept, what is refused, and how changes of the model are followed.
#include <cmath>
#include <limits>

#include "fixture.h"

namespace tvlo::test {
namespace {

class FormulasTest : public Nonlinear {
 protected:
  void SetUp() override {
    Nonlinear::SetUp();
    addLines(4, 5);
  }
};

int one(const double*, int, double* value, double*, void*) {
  *value = 1;
  return 0;
}

TEST_F(FormulasTest, AreKeptAndGivenBack) {
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_constcol), -1);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlcoefs), 0);
  const int rows[] = {2, 0, 2}, columns[] = {-1, 3, -1};
  const double factors[] = {2, 1, -1};
  const TokenRun tokens = run("x4 2 ** x0 /").add("( x2 sin").add("");
  const int starts[] = {0, 6, 10};
  ASSERT_EQ(TSLPaddcoefs(slp_, 3, rows, columns, factors, starts, 1, tokens.type.data(), tokens.value.data()), 0)
      << slpError();
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlcoefs), 2);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlconstraints), 2);
  int count = 0, r[2], c[2];
  ASSERT_EQ(TSLPgetcoefs(slp_, &count, r, c), 0);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(r[0] * 100 + c[0], 3);
  EXPECT_EQ(r[1] * 100 + c[1], 199);
  EXPECT_EQ(formula(0, 3), "1: ( x2 f27");
  EXPECT_EQ(formula(2, -1), "1: x4 2 ** x0 / 2 * -1 +") << "an empty formula is 1";
  EXPECT_NE(formula(1, 1).find("Row 1 has no coefficient"), std::string::npos);
  double factor;
  EXPECT_NE(TSLPgetcoefformula(slp_, 0, 3, &factor, 1, 3, &count, nullptr, nullptr), 0);
  EXPECT_EQ(count, 4);

  const TokenRun other = run("x1");
  const int row = 2, column = -1;
  ASSERT_EQ(TSLPchgcoef(slp_, row, column, nullptr, 1, other.type.data(), other.value.data()), 0);
  EXPECT_EQ(formula(2, -1), "1: x1");
  ASSERT_EQ(TSLPchgcoef(slp_, row, column, nullptr, 1, nullptr, nullptr), 0);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlcoefs), 1);
  ASSERT_EQ(TSLPloadcoefs(slp_, 1, &row, &column, nullptr, nullptr, 1, other.type.data(), other.value.data()), 0);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlcoefs), 1);
  EXPECT_EQ(formula(2, -1), "1: x1");
  ASSERT_EQ(TSLPdelcoefs(slp_, 1, &row, &column), 0);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlconstraints), 0);
}

TEST_F(FormulasTest, ReadTheUsualOrder) {
  const std::pair<const char*, const char*> cases[] = {
      {"x0 + x1 * x2 ** x3 ** 2", "1: x0 x1 x2 x3 2 ** ** * +"},
      {"~ x0 ** 2 - x1 - x2", "1: x0 2 ** neg x1 - x2 -"},
      {"- x0 * ~ 3", "1: x0 neg -3 *"},
      {"max [ x0 , [ x1 - 1 ] / 2 , sin [ x2 ] ]", "1: ( x0 x1 1 - 2 / ( x2 f27 f34"},
      {"[ x0 - [ x1 - x2 ] ] ** ~ x3", "1: x0 x1 x2 - - x3 neg **"},
      {"pwl [ 3 , ~ 1 , 5 , ~ 2 , x0 ]", "1: ( 3 -1 5 -2 x0 f35"},
  };
  for (const auto& [infix, parsed] : cases) {
    ASSERT_EQ(add(1, -1, 1, infix, false), 0) << infix << slpError();
    EXPECT_EQ(formula(1, -1), parsed);
    // What is given back in the usual order reads as the same formula.
    double factor;
    int count;
    std::vector<int> type(100);
    std::vector<double> value(100);
    ASSERT_EQ(TSLPgetcoefformula(slp_, 1, -1, &factor, 0, 100, &count, type.data(), value.data()), 0);
    ASSERT_EQ(TSLPchgcoef(slp_, 1, -1, nullptr, 0, type.data(), value.data()), 0) << infix << slpError();
    EXPECT_EQ(formula(1, -1), parsed);
    ASSERT_EQ(TSLPchgcoef(slp_, 1, -1, nullptr, 1, nullptr, nullptr), 0);
  }
  for (const char* const wrong : {"x0 x1", "x0 +", "[ x0", "x0 ]", "sin x0", "sin [ ]", "x0 , x1", "[ x0 , x1 ]",
                                  "* x0", "max [ x0 , ]", "x0 ~ x1", "( x0", "[ ]"}) {
    EXPECT_NE(add(1, -1, 1, wrong, false), 0) << wrong;
  }
}

TEST_F(FormulasTest, RefuseWhatMakesNoSense) {
  for (const char* const wrong : {"x0 x1",
                                  "+",
                                  "x0 +",
                                  "x0 sin",
                                  "( sin",
                                  "( x0 x1 sin",
                                  "(",
                                  "( x0",
                                  "x5",
                                  "x-1",
                                  "x0.5",
                                  "( max",
                                  "nan",
                                  "inf",
                                  "( x0 u1",
                                  "( 1 2 x0 pwl",
                                  "( 1 2 3 4 x0 pwl",
                                  "( 1 2 x1 1 x0 pwl",
                                  "( 1 2 2 2 x0 pwl",
                                  "x1 ( x2 +",
                                  "]",
                                  "[",
                                  ","}) {
    EXPECT_NE(add(0, -1, 1, wrong), 0) << wrong;
    EXPECT_NE(slpError(), "");
  }
  EXPECT_NE(add(4, -1, 1, "x0"), 0);
  EXPECT_NE(add(0, 5, 1, "x0"), 0);
  EXPECT_NE(add(0, -2, 1, "x0"), 0);
  EXPECT_NE(add(0, 0, std::numeric_limits<double>::quiet_NaN(), "x0"), 0);
  const int zero = 0, negative = -3, type[] = {77, 0};
  const double value[] = {0, 0};
  EXPECT_NE(TSLPaddcoefs(slp_, 1, &zero, &zero, nullptr, &negative, 1, type, value), 0);
  EXPECT_NE(TSLPaddcoefs(slp_, 1, &zero, &zero, nullptr, nullptr, 1, type, value), 0);
  EXPECT_NE(TSLPaddcoefs(slp_, 1, &zero, &zero, nullptr, nullptr, 1, nullptr, nullptr), 0);
  EXPECT_NE(TSLPaddcoefs(slp_, -1, &zero, &zero, nullptr, nullptr, 1, type, value), 0);
  int id = 0;
  EXPECT_NE(TSLPadduserfunction(slp_, "f", 3, 1, 1, 0, one, nullptr, &id), 0);
  EXPECT_NE(TSLPadduserfunction(slp_, "f", 2, 1, 2, 0, one, nullptr, &id), 0);
  EXPECT_NE(TSLPadduserfunction(slp_, "f", 2, 1, 1, 0, nullptr, nullptr, &id), 0);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlcoefs), 0);
  EXPECT_EQ(errorOf(TVLOchgobjsense(prob_, 1)), "") << "the optimizer problem's last error is its own";
}

TEST_F(FormulasTest, MayBeAsDeepAsMemoryAllows) {
  TokenRun deep;
  for (int k = 0; k < 100000; ++k) {
    deep.type.insert(deep.type.end(), {12, 21});
    deep.value.insert(deep.value.end(), {27, 0});
  }
  deep.type.push_back(10);
  deep.value.push_back(0);
  for (int k = 0; k < 100000; ++k) {
    deep.type.push_back(23);
    deep.value.push_back(0);
  }
  deep.type.push_back(0);
  deep.value.push_back(0);
  const int row = 0, column = -1;
  ASSERT_EQ(TSLPaddcoefs(slp_, 1, &row, &column, nullptr, nullptr, 0, deep.type.data(), deep.value.data()), 0);
  std::vector<int> type(400000);
  std::vector<double> value(400000);
  double factor;
  int count = 0;
  ASSERT_EQ(TSLPgetcoefformula(slp_, 0, -1, &factor, 0, 400000, &count, type.data(), value.data()), 0);
  EXPECT_EQ(count, static_cast<int>(deep.type.size()));
}

TEST_F(FormulasTest, FollowTheModel) {
  ASSERT_EQ(add(1, 4, 3, "( x3 exp"), 0);
  ASSERT_EQ(add(3, -1, 1, "x1 x4 *"), 0);
  const int determining = 3, status = 2048;
  const double initial = 7;
  ASSERT_EQ(TSLPchgvar(slp_, 4, &determining, nullptr, nullptr, nullptr, nullptr, &initial, nullptr, nullptr, nullptr,
                       nullptr, nullptr),
            0);
  ASSERT_EQ(TSLPchgrowstatus(slp_, 3, &status), 0);
  const int used = 3;
  EXPECT_NE(errorOf(TVLOdelcols(prob_, 1, &used)).find("Column 3 is in a formula"), std::string::npos);
  const int used2 = 4;
  EXPECT_NE(TVLOdelcols(prob_, 1, &used2), 0);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_cols), 5);
  const int free[] = {2, 0};
  ASSERT_EQ(TVLOdelcols(prob_, 2, free), 0);
  EXPECT_EQ(formula(1, 2), "3: ( x1 f16");
  EXPECT_EQ(formula(3, -1), "1: x0 x2 *");
  const int rows[] = {0, 1};
  ASSERT_EQ(TVLOdelrows(prob_, 2, rows), 0);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlcoefs), 1);
  EXPECT_EQ(formula(1, -1), "1: x0 x2 *");
  int now = -1;
  ASSERT_EQ(TSLPgetrowstatus(slp_, 1, &now), 0);
  EXPECT_EQ(now, 2048);
  const int gone = 1;
  ASSERT_EQ(TVLOdelcols(prob_, 1, &gone), 0);
  ASSERT_EQ(add(0, -1, 1, "x1"), 0);
  EXPECT_EQ(formula(0, -1), "1: x1");
}

TEST_F(FormulasTest, AreFoundAfterRowsBetweenThemHaveGone) {
  addLines(5, 0);
  for (int i = 0; i < 9; ++i) ASSERT_EQ(add(i, -1, i, "x0 x1 *"), 0);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlconstraints), 9) << "they are in order now";
  const int middle[] = {4, 5};
  ASSERT_EQ(TVLOdelrows(prob_, 2, middle), 0);
  for (int i = 0; i < 7; ++i) EXPECT_EQ(formula(i, -1), std::to_string(i < 4 ? i : i + 2) + ": x0 x1 *");
}

TEST_F(FormulasTest, GoWithACopyAndLeaveWithTheModel) {
  int id = 0, again = 0;
  ASSERT_EQ(TSLPadduserfunction(slp_, "f", 2, 2, 1, 0, one, nullptr, &id), 0);
  ASSERT_EQ(TSLPadduserfunction(slp_, "f", 5, 2, 1, 0, one, nullptr, &again), 0);
  EXPECT_NE(id, again);
  ASSERT_EQ(add(0, -1, 1, "( x0 1 u" + std::to_string(id)), 0) << slpError();
  EXPECT_NE(add(0, -1, 1, "( x0 u" + std::to_string(id)), 0);
  TVLOprob copy = nullptr;
  TSLPprob slpCopy = nullptr;
  ASSERT_EQ(TVLOcreateprob(&copy), 0);
  ASSERT_EQ(TSLPcreateprob(&slpCopy, &copy), 0);
  EXPECT_NE(TSLPcopyprob(slpCopy, slp_, ""), 0) << "the model is not there yet";
  ASSERT_EQ(TVLOcopyprob(copy, prob_, ""), 0);
  ASSERT_EQ(TSLPcopyprob(slpCopy, slp_, ""), 0);
  EXPECT_EQ(formula(0, -1, true, slpCopy), "1: ( x0 1 u1");
  ASSERT_EQ(TVLOloadlp(copy, "", 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                       nullptr),
            0);
  int count = -1;
  ASSERT_EQ(TSLPgetcoefs(slpCopy, &count, nullptr, nullptr), 0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlcoefs), 1);
  EXPECT_NE(TVLOlpoptimize(prob_, ""), 0) << "a formula is never left out";
  EXPECT_EQ(TSLPdestroyprob(slpCopy), 0);
  EXPECT_EQ(TVLOdestroyprob(copy), 0);
}

}  // namespace
}  // namespace tvlo::test
