// The same cases for every engine that claims them: a record tells what each can do.
#include <gtest/gtest.h>

#include <cmath>

#include "core/check.h"
#include "engines/context.h"
#include "engines/loader.h"
#include "engines/slp/session.h"
#include "nlp_examples.h"
#include "nonlinear/parameters.h"
#include "route/route.h"

namespace tvlo {
namespace {

struct Engine {
  const char* name;
  bool lp, mip, qp;
  double accuracy;  // of points, relative
};
constexpr Engine kEngines[] = {
    {"highs", true, true, true, 1e-6},
    {"piqp", false, false, true, 1e-5},
    {"ipopt", false, false, true, 1e-5},
};

// max 3x + 2y + z - qx^2/2 where x + y + z <= 10, x - y >= -2, x <= 4, y <= 5, 1 <= z <= 3
struct Small {
  explicit Small(double q = 0, const char* types = "CCC") {
    const double cost[] = {3, 2, 1}, lower[] = {0, 0, 1}, upper[] = {4, 5, 3};
    ColumnBatch columns;
    columns.count = 3;
    columns.obj = cost;
    columns.lb = lower;
    columns.ub = upper;
    model.addColumns(columns);
    const int64_t start[] = {0, 3};
    const int column[] = {0, 1, 2, 0, 1}, all[] = {0, 1, 2};
    const double coef[] = {1, 1, 1, 1, -1}, rhs[] = {10, -2};
    RowBatch rows;
    rows.count = 2;
    rows.ncoefs = 5;
    rows.type = "LG";
    rows.rhs = rhs;
    rows.start = start;
    rows.col = column;
    rows.coef = coef;
    model.addRows(rows);
    model.setSense(-1);
    model.setColumnTypes(3, all, types);
    const int x = 0;
    const double curvature = -q;
    if (q != 0) model.setQuadraticObjective(1, &x, &x, &curvature);
  }
  void bound(int column, char which, double value) { model.setBounds(1, &column, &which, &value); }
  Model model;
};

class Conformance : public ::testing::TestWithParam<Engine> {
 protected:
  Solution ask(Model& model, bool mip = false, double seconds = TVLO_INFINITY) {
    if (!session_) session_ = openForRoute(GetParam().name);
    SolveRequest request;
    request.mip = mip;
    request.controls = &controls_;
    return SolveContext(seconds, [this] { return interrupt_; }).ask(*session_, model, request);
  }
  void expectOptimal(const Model& model, const Solution& s, double objective) const {
    ASSERT_EQ(s.lpStatus, LpStatus::optimal);
    EXPECT_EQ(s.stop, Stop::none);
    ASSERT_TRUE(s.lp.available);
    EXPECT_NEAR(objectiveValue(model, s.lp.x), objective, GetParam().accuracy * (1 + std::abs(objective)));
    EXPECT_LE(primalViolation(model, s.lp.x, false).relative, GetParam().accuracy);
    EXPECT_LE(dualViolation(model, s.lp.dual, s.lp.redcost, s.lp.x), 1e-3) << "signs as in tvlo.h";
  }
  ControlValues controls_{optimizerControls()};
  std::unique_ptr<EngineSession> session_;
  int interrupt_ = 0;
};

TEST_P(Conformance, LinearProblemsAreSolvedAndFollowed) {
  if (!GetParam().lp) GTEST_SKIP() << GetParam().name << " takes no linear problems";
  Small p;
  expectOptimal(p.model, ask(p.model), 23);
  p.bound(0, 'U', 2);
  expectOptimal(p.model, ask(p.model), 17);
  p.bound(2, 'L', 12);
  p.bound(2, 'U', 13);
  EXPECT_EQ(ask(p.model).lpStatus, LpStatus::infeasible);
  Small open;
  open.bound(0, 'U', TVLO_INFINITY);
  const int row = 0;
  open.model.deleteRows(1, &row);
  EXPECT_EQ(ask(open.model).lpStatus, LpStatus::unbounded);
}

TEST_P(Conformance, SearchesFindWholeNumbers) {
  if (!GetParam().mip) GTEST_SKIP() << GetParam().name << " has no tree search";
  Small p(0, "ICC");
  p.bound(0, 'U', 3.5);
  const Solution s = ask(p.model, true);
  ASSERT_EQ(s.mipStatus, MipStatus::optimal);
  EXPECT_NEAR(objectiveValue(p.model, s.mip.x), 9 + 10 + 2, 1e-6);
  EXPECT_NEAR(s.bestBound, 21, 1e-4);
  p.bound(2, 'L', 12);
  p.bound(2, 'U', 13);
  EXPECT_EQ(ask(p.model, true).mipStatus, MipStatus::infeasible);
}

TEST_P(Conformance, ConvexQuadraticObjectivesAreSolvedAndFollowed) {
  if (!GetParam().qp) GTEST_SKIP() << GetParam().name << " takes no quadratic objectives";
  Small p(1);  // x = 3: 9 - 4.5 + 10 + 2
  expectOptimal(p.model, ask(p.model), 16.5);
  p.bound(1, 'U', 4);
  expectOptimal(p.model, ask(p.model), 4.5 + 8 + 3);
}

TEST_P(Conformance, AStandingInterruptKeepsItsReason) {
  Small p(GetParam().lp ? 0 : 1);
  interrupt_ = 9;
  const Solution s = ask(p.model);
  // One that finishes before it looks is right too.
  if (s.stop == Stop::none) {
    EXPECT_EQ(s.lpStatus, LpStatus::optimal);
  } else {
    EXPECT_EQ(s.stop, Stop::user);
    EXPECT_EQ(s.lpStatus, LpStatus::unfinished);
  }
  interrupt_ = 0;
  session_.reset();
  p.model.changes().replaced();
  EXPECT_EQ(ask(p.model).lpStatus, LpStatus::optimal);
}

INSTANTIATE_TEST_SUITE_P(Engines, Conformance, ::testing::ValuesIn(kEngines),
                         [](const auto& param) { return std::string(param.param.name); });

// Local solvers.
struct Local {
  const char* name;
  std::unique_ptr<NlpSession> (*open)();
};
const Local kLocal[] = {
    {"ipopt", [] { return openNlpEngine("ipopt"); }},
    {"slp", [] { return openSlp([] { return openEngine("highs"); }); }},
};

class LocalConformance : public ::testing::TestWithParam<Local> {};

TEST_P(LocalConformance, SmoothProblemsAreSolvedInBothSenses) {
  for (const int sense : {1, -1}) {
    examples::Hs071 program(sense);
    NlpResult result;
    GetParam().open()->solve(program, program.start(), {}, result);
    ASSERT_EQ(result.status, NlpStatus::optimal) << result.reason;
    EXPECT_NEAR(result.objective, sense * examples::Hs071::kOptimum, 1e-5);
    EXPECT_NEAR(result.point.dual[1], sense * -0.16146857, 1e-4) << "signs as in tvlo.h";
  }
}

TEST_P(LocalConformance, IterationsCanEndASolve) {
  examples::Hs071 program;
  NlpRequest request;
  request.iteration = [](int iteration, double, double) { return iteration >= 2 ? 9 : 0; };
  NlpResult result;
  GetParam().open()->solve(program, program.start(), request, result);
  EXPECT_EQ(result.status, NlpStatus::unfinished);
  EXPECT_EQ(result.stop, 9);
}

INSTANTIATE_TEST_SUITE_P(Engines, LocalConformance, ::testing::ValuesIn(kLocal),
                         [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace tvlo
