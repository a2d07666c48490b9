// Local solves through the C interface: known optima, statuses, warm starts, user functions, limits.
#include "nonlinear/solve.h"

#include <cmath>
#include <thread>

#include "capi/component.h"
#include "fixture.h"

namespace tvlo::test {
namespace {

class NonlinearSolve : public NonlinearSolving {
 protected:
  // min x0 x3 (x0 + x1 + x2) + x2 with a product of at least 25 and a sum of squares of 40.
  void hs071(int sense = 1) {
    build("GE", {25, 40}, {1, 1, 1, 1}, {5, 5, 5, 5}, {1, 5, 5, 1});
    ASSERT_EQ(add(0, 0, 1, "x1 x2 * x3 *"), 0);
    ASSERT_EQ(add(1, -1, 1, "x0 2 ** x1 2 ** + x2 2 ** + x3 x3 * +"), 0);
    minimise(std::string("x0 x3 * x0 x1 + x2 + * x2 +") + (sense < 0 ? " neg" : ""), sense);
  }
};

TEST_F(NonlinearSolve, FindsAKnownOptimumWithItsDuals) {
  for (const int sense : {1, -1}) {
    ASSERT_EQ(TVLOloadlp(prob_, "", 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr),
              0);
    hs071(sense);
    ASSERT_EQ(solve(), 1);
    EXPECT_NEAR(value(), sense * 17.0140173, 1e-6);
    EXPECT_NEAR(x_[0], 1, 1e-6);
    EXPECT_NEAR(x_[1], 4.7429994, 1e-5);
    EXPECT_NEAR(x_[4], sense * 17.0140173, 1e-6) << "the transfer column has the formula's value";
    EXPECT_NEAR(slack_[0], 0, 1e-5);
    EXPECT_NEAR(slack_[2], 0, 1e-12);
    EXPECT_NEAR(dual_[0], sense * 0.5522937, 1e-5);
    EXPECT_NEAR(dual_[1], sense * -0.1614686, 1e-5);
    EXPECT_NEAR(dual_[2], -1, 1e-12) << "the objective falls as the right-hand side grows";
    EXPECT_NEAR(redcost_[0], sense * 1.0878712, 1e-5);
    EXPECT_EQ(redcost_[4], 0);
    EXPECT_LE(value(TSLP_ATTRIBUTE_nlpprimalinfeas), 1e-6);
    EXPECT_GT(slpAttribute(TSLP_ATTRIBUTE_nlpiter), 3);
  }
}

TEST_F(NonlinearSolve, GoesBySuccessiveLinearProgrammingToo) {
  hs071();
  ASSERT_EQ(TSLPsetintcontrol(slp_, TSLP_CONTROL_nlp_method, 1), 0);
  EXPECT_EQ(solve(), 1);
  EXPECT_NEAR(value(), 17.0140173, 1e-5);
  EXPECT_NEAR(dual_[0], 0.5522937, 1e-4);
}

TEST_F(NonlinearSolve, StartsWarmAfterASmallChange) {
  hs071();
  ASSERT_EQ(solve(), 1);
  const int first = slpAttribute(TSLP_ATTRIBUTE_nlpiter);
  const int row = 0;
  const double rhs = 25.5;
  ASSERT_EQ(TVLOchgrhs(prob_, 1, &row, &rhs), 0);
  ASSERT_EQ(solve(), 1);
  EXPECT_LE(slpAttribute(TSLP_ATTRIBUTE_nlpiter), first / 2);
  EXPECT_NEAR(value(), 17.0140173 + 0.5 * 0.5522937, 0.01);
  setStart(0, 1);
  ASSERT_EQ(solve(), 1);
  EXPECT_GT(slpAttribute(TSLP_ATTRIBUTE_nlpiter), first / 2) << "a start that was given counts";
}

TEST_F(NonlinearSolve, TellsHowItEnded) {
  // x^2 - x y + y^2 = -1 has no solution, but the ranges of the terms do not prove that.
  build("EN", {-1, 3}, {-10, -10}, {10, 10}, {3});
  ASSERT_EQ(add(0, -1, 1, "x0 x0 * x1 x1 * + x0 x1 * -"), 0);
  ASSERT_EQ(add(1, -1, 1, "( x0 sin"), 0);
  EXPECT_EQ(solve(), 3);
  // Contradicting linear rows do.
  const double rhs[] = {1, 5};
  const int64_t start[] = {0, 1};
  const int columns[] = {1, 1};
  const double ones[] = {1, 1};
  ASSERT_EQ(TVLOaddrows64(prob_, 2, 2, "LG", rhs, nullptr, start, columns, ones), 0);
  EXPECT_EQ(solve(), 4);
  const int rows[] = {0, 2, 3};
  ASSERT_EQ(TVLOdelrows(prob_, 3, rows), 0);
  minimise("x0 x1 *");
  EXPECT_EQ(solve(), 1);
  EXPECT_NEAR(value(), -100, 1e-4);
  EXPECT_NEAR(slack_[0], 3 - std::sin(x_[0]), 1e-12) << "of a free row";
  const int first = 0;
  const double low = 11;
  ASSERT_EQ(TVLOchgbounds(prob_, 1, &first, "L", &low), 0);
  EXPECT_EQ(solve(), 4) << "crossed bounds";
}

TEST_F(NonlinearSolve, LeavesASaddle) {
  build("", {}, {-10, -10}, {10, 20}, {});
  minimise("x0 x1 *");
  EXPECT_EQ(solve(), 1);
  EXPECT_LT(value(), -99) << "a corner, not the origin where it starts";
}

TEST_F(NonlinearSolve, KnowsUnboundedFromNearlySo) {
  build("", {}, {0}, {1e20}, {1});
  minimise("x0 1.5 ** neg");
  EXPECT_EQ(solve(), 5);
  const int row = 0, column = -1;
  const TokenRun vanishing = run("1 x0 1 + /");
  ASSERT_EQ(TSLPchgcoef(slp_, row, column, nullptr, 1, vanishing.type.data(), vanishing.value.data()), 0);
  EXPECT_NE(solve(), 5) << "1 / (x + 1) stays above 0";
}

TEST_F(NonlinearSolve, AvoidsPointsWithoutAValue) {
  // From a start where the logarithm has none, on its boundary, and where a step goes astray.
  build("", {}, {-1e20, 0}, {1e20, 1e20}, {-3});
  minimise("( x0 ln neg x0 + x1 ( x1 ln * + ( 3 x0 - sqrt neg +");
  const int status = solve();
  EXPECT_EQ(status, 1);
  EXPECT_NEAR(x_[1], std::exp(-1.0), 1e-5);
}

TEST_F(NonlinearSolve, ProvesGlobalOptimaOfLinearProblems) {
  build("L", {4}, {0, 0}, {3, 1e20}, {});
  const int columns[] = {0, 1};
  const double costs[] = {-3, -2};
  ASSERT_EQ(TVLOchgobj(prob_, 2, columns, costs), 0);
  ASSERT_EQ(add(0, -1, 1, "x0 x1 + 2 * 2 /"), 0);
  EXPECT_EQ(solve(), 2);
  EXPECT_NEAR(value(), -11, 1e-6);
}

TEST_F(NonlinearSolve, ProvesGlobalOptimaOfConvexQuadraticFormulas) {
  // min (x - 3)^2 + (y - 1)(y - 1): x^2 + y^2 <= 4 is convex, >= 4 is not.
  build("L", {4}, {-10, -10}, {10, 10}, {});
  ASSERT_EQ(add(0, -1, 1, "x0 2 ** x1 x1 * +"), 0);
  minimise("x0 3 - 2 ** x1 1 - x1 1 - * +");
  EXPECT_EQ(solve(), 2);
  EXPECT_NEAR(value(), std::pow(std::sqrt(10.0) - 2, 2), 1e-6);
  const int row = 0;
  ASSERT_EQ(TVLOchgrowtype(prob_, 1, &row, "G"), 0);
  EXPECT_EQ(solve(), 1);
  EXPECT_NEAR(value(), 0, 1e-6);
}

TEST_F(NonlinearSolve, KeepsTheBestOfSeveralStarts) {
  build("", {}, {-10}, {10}, {6});
  minimise("x0 2 ** 10 / ( x0 2 * cos 5 * -");
  ASSERT_EQ(solve(), 1);
  EXPECT_GT(value(), -4);
  ASSERT_EQ(TSLPsetintcontrol(slp_, TSLP_CONTROL_nlp_starts, 12), 0);
  setStart(0, 6);
  ASSERT_EQ(solve(), 1);
  EXPECT_NEAR(value(), -5, 1e-6);
}

TEST_F(NonlinearSolve, RefusesWhatItCantSolve) {
  hs071();
  const int column = 0;
  ASSERT_EQ(TVLOchgcoltype(prob_, 1, &column, "I"), 0);
  EXPECT_EQ(TSLPnlpoptimize(slp_, "g"), TVLO_ERR_UNSUPPORTED);
  EXPECT_NE(slpError().find("Column 0 is of type I"), std::string::npos);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlpstatus), 0);
  EXPECT_EQ(solve("gl"), 1);
  EXPECT_EQ(TSLPnlpoptimize(slp_, "?"), TVLO_ERR_ARGUMENT);
  double x[5];
  ASSERT_EQ(TVLOloadlp(prob_, "", 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                       nullptr),
            0);
  EXPECT_EQ(TSLPgetslpsol(slp_, x, nullptr, nullptr, nullptr), TVLO_ERR_STATE);
  EXPECT_EQ(solve(), 2) << "nothing at all";
}

TEST_F(NonlinearSolve, ShowsItsStatusBits) {
  hs071();
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlpstatusbits), 0);
  ASSERT_EQ(TSLPconstruct(slp_), 0);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlpstatusbits), 1);
  ASSERT_EQ(TSLPunconstruct(slp_), 0);
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlpstatusbits), 0);
  solve();
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlpstatusbits), 1);
  ASSERT_EQ(TSLPpostsolve(slp_), 0);
  ASSERT_EQ(TSLPsetintcontrol(slp_, TSLP_CONTROL_tslp_postsolve, 1), 0);
  solve();
  EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlpstatusbits), 0);
}

// An engine that gives one answer to everything.
class Told final : public NlpSession {
 public:
  explicit Told(NlpPoint point) : point_(std::move(point)) {}
  void solve(NlpProgram&, const NlpPoint&, const NlpRequest&, NlpResult& result) override {
    result = {};
    result.status = NlpStatus::optimal;
    result.point = point_;
  }

 private:
  NlpPoint point_;
};

// min (x + 1)^4 + y over exp(x) >= 1, x in [-3, 3] and y in [0, 5]: the origin, with dual 4 and reduced cost 1 of y.
TEST_F(NonlinearSolve, BelievesNoAnswerWhoseConditionsFail) {
  build("G", {1}, {-3, 0}, {3, 5}, {});
  ASSERT_EQ(add(0, -1, 1, "( x0 exp"), 0);
  minimise("x0 1 + 4 ** x1 +");
  const auto dualAt = [](double x) { return 4 * std::pow(x + 1, 3) / std::exp(x); };
  const struct {
    const char* fault;
    NlpPoint told;
    bool optimal;
  } cases[] = {
      {"none", {{0, 0}, {}, {4}, {0, 1}}, true},
      {"a row's dual a little off its side", {{5e-3, 0}, {}, {dualAt(5e-3)}, {0, 1}}, false},
      {"a row's dual far off its side", {{1, 0}, {}, {dualAt(1)}, {0, 1}}, false},
      {"a reduced cost a little off its bound", {{0, 1e-3}, {}, {4}, {0, 1}}, false},
      {"a reduced cost of the wrong sign", {{3, 0}, {}, {0}, {256, 1}}, false},
      {"no stationarity", {{0, 0}, {}, {3}, {0, 1}}, false},
      {"a violated row", {{-0.1, 0}, {}, {dualAt(-0.1)}, {0, 1}}, false},
  };
  for (const auto& one : cases) {
    prob_->solution.nonlinear = NonlinearSolution();
    solveNonlinearWith(*prob_, slp_->controls(), "",
                       [&](const std::string&) { return std::make_unique<Told>(one.told); });
    EXPECT_EQ(prob_->solution.nonlinear.status == NonlinearStatus::locallyOptimal, one.optimal) << one.fault;
  }
}

TEST_F(NonlinearSolve, EndsBeforeAnEngineIsAskedWhereItMust) {
  build("", {}, {-3, 0}, {3, 5}, {});
  minimise("x0 x1 * ( x0 x1 + sin +");
  const auto stop = [&] {
    bool asked = false;
    solveNonlinearWith(*prob_, slp_->controls(), "", [&](const std::string&) {
      asked = true;
      return std::make_unique<Told>(NlpPoint{});
    });
    EXPECT_FALSE(asked);
    EXPECT_EQ(prob_->solution.nonlinear.status, NonlinearStatus::unfinished);
    return static_cast<int>(prob_->solution.nonlinear.stop);
  };
  ASSERT_EQ(TVLOsetdblcontrol(prob_, TVLO_CONTROL_timelimit, 1e-9), 0);
  EXPECT_EQ(stop(), 1);
  ASSERT_EQ(TVLOsetdblcontrol(prob_, TVLO_CONTROL_timelimit, 1e20), 0);
  prob_->interrupt(9);
  EXPECT_EQ(stop(), 9) << "the reason that was given";
}

struct Model2 {
  double data[12];
  int failAt = -1, calls = 0;
  TSLPprob slp = nullptr;
};

// a exp(b t) at t.
int decay(const double* x, int, double* value, double* derivs, void* data) {
  auto& model = *static_cast<Model2*>(data);
  if (++model.calls == model.failAt) return 1;
  *value = x[0] * std::exp(x[1] * x[2]);
  if (derivs != nullptr) {
    derivs[0] = std::exp(x[1] * x[2]);
    derivs[1] = x[0] * x[2] * derivs[0];
    derivs[2] = x[0] * x[1] * derivs[0];
  }
  return 0;
}

TEST_F(NonlinearSolve, FitsACurveOfAUserFunction) {
  for (const int type : {2, 5}) {
    ASSERT_EQ(TVLOloadlp(prob_, "", 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr),
              0);
    Model2 model;
    int id = 0;
    ASSERT_EQ(TSLPadduserfunction(slp_, "decay", type, 3, 1, 0, decay, &model, &id), 0);
    build("", {}, {-1e20, -1e20}, {1e20, 1e20}, {1, -0.1});
    std::string sum;
    for (int k = 0; k < 12; ++k) {
      const double t = 0.25 * k;
      const double seen = 2.5 * std::exp(-0.7 * t);
      sum += "( x0 x1 " + std::to_string(t) + " u" + std::to_string(id) + " " + std::to_string(seen) + " - 2 **" +
             (k > 0 ? " + " : " ");
    }
    minimise(sum);
    ASSERT_EQ(solve(), 1) << type;
    EXPECT_NEAR(x_[0], 2.5, 1e-5);
    EXPECT_NEAR(x_[1], -0.7, 1e-5);
    model.failAt = model.calls + 40;
    setStart(0, 1.5);
    EXPECT_EQ(TSLPnlpoptimize(slp_, ""), TVLO_ERR_CALLBACK);
    EXPECT_NE(slpError().find("User function decay failed"), std::string::npos);
    EXPECT_EQ(model.calls, model.failAt) << "nothing is called after a failure";
    EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlpstatus), 0);
    EXPECT_EQ(solve(), 1) << "the next solve is sound";
  }
}

int slow(const double* x, int, double* value, double*, void* data) {
  auto& model = *static_cast<Model2*>(data);
  if (++model.calls == 5 && model.slp != nullptr) {
    EXPECT_EQ(TSLPdestroyprob(model.slp), TVLO_ERR_STATE);
    EXPECT_EQ(TSLPdelvars(model.slp, 0, nullptr), TVLO_ERR_STATE);
    EXPECT_EQ(TSLPnlpoptimize(model.slp, ""), TVLO_ERR_STATE);
    TSLPinterrupt(model.slp, 2);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(model.slp != nullptr ? 1 : 20));
  *value = std::pow(x[0] - 1, 4) + std::sin(20 * x[0]) * 0.01;
  return 0;
}

TEST_F(NonlinearSolve, StopsOnRequestAndInTime) {
  build("", {}, {-50}, {50}, {40});
  Model2 model;
  int id = 0;
  ASSERT_EQ(TSLPadduserfunction(slp_, "slow", 2, 1, 1, 0, slow, &model, &id), 0);
  minimise("( x0 u1");
  for (const int method : {0, 1}) {
    ASSERT_EQ(TSLPsetintcontrol(slp_, TSLP_CONTROL_nlp_method, method), 0);
    model = Model2();
    model.slp = slp_;
    ASSERT_EQ(TVLOsetdblcontrol(prob_, TVLO_CONTROL_timelimit, 1e20), 0);
    EXPECT_EQ(solve(), 6);
    EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlpstop), 2);
    model.slp = nullptr;
    ASSERT_EQ(TVLOsetdblcontrol(prob_, TVLO_CONTROL_timelimit, 0.2), 0);
    EXPECT_EQ(solve(), 6);
    EXPECT_EQ(slpAttribute(TSLP_ATTRIBUTE_nlpstop), 1);
    EXPECT_LT(value(TSLP_ATTRIBUTE_nlptime), 1.0);
  }
}

}  // namespace
}  // namespace tvlo::test
