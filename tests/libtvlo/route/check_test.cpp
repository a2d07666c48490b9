// The check of answers, and what is done about one that fails it.
#include "core/check.h"

#include <cmath>
#include <functional>

#include "core/error.h"
#include "problems.h"
#include "route/solve.h"

namespace tvlo::test {
namespace {

// min x + y,  x + 2y >= 4,  x - y <= 1;  optimal (0, 2), dual (0.5, 0).
void fillSmall(Prob& p) {
  p.column(1, 0, 10);
  p.column(1, 0, 10);
  p.row({{0, 1}, {1, 2}}, 'G', 4);
  p.row({{0, 1}, {1, -1}}, 'L', 1);
}
const PointValues kSmall{{0, 2}, {0, 3}, {0.5, 0}, {0.5, 0}, 2, true};

TEST(Check, PrimalViolationsAreMeasuredAgainstTheSizeOfWhatTheyViolate) {
  Prob p;
  const int x = p.column(0, 1, 1e6);
  const int y = p.column(0, -TVLO_INFINITY, TVLO_INFINITY);
  p.row({{x, 1000}, {y, 1}}, 'L', 10);
  EXPECT_EQ(primalViolation(p.model(), {1, -990}, true).absolute, 0);
  EXPECT_DOUBLE_EQ(primalViolation(p.model(), {0.5, -500}, true).absolute, 0.5);
  EXPECT_DOUBLE_EQ(primalViolation(p.model(), {1e6 + 1, -2e9}, true).relative, 1e-6);
  const Violation row = primalViolation(p.model(), {1, -980}, true);
  EXPECT_DOUBLE_EQ(row.absolute, 10);
  EXPECT_DOUBLE_EQ(row.relative, 10.0 / 1000);
  EXPECT_TRUE(std::isinf(primalViolation(p.model(), {NAN, 0}, false).relative));
  EXPECT_TRUE(std::isinf(primalViolation(p.model(), {1}, false).relative));
}

TEST(Check, IntegralityAndSemiContinuityCountWhereAskedFor) {
  Prob p;
  p.column(0, 0, 9, 'I');
  p.column(0, 0, 9, 'S', 4);
  p.column(0, 0, 9, 'R', 4);
  const auto off = [&](std::vector<double> x) { return primalViolation(p.model(), x, true).absolute; };
  EXPECT_EQ(off({3, 0, 0}), 0);
  EXPECT_EQ(off({3, 4.5, 5}), 0);
  EXPECT_DOUBLE_EQ(off({3.25, 0, 0}), 0.25);
  EXPECT_DOUBLE_EQ(off({3, 3, 0}), 1);
  EXPECT_DOUBLE_EQ(off({3, 0.5, 0}), 0.5);
  EXPECT_DOUBLE_EQ(off({3, 0, 5.5}), 0.5);
  EXPECT_DOUBLE_EQ(off({3, 0, 10}), 1);
  EXPECT_EQ(primalViolation(p.model(), {3.25, 0.5, 5.5}, false).absolute, 0);
}

TEST(Check, DualsThatProveNothingAreFound) {
  Prob p;
  fillSmall(p);
  const auto check = [&](std::vector<double> x, std::vector<double> dual, std::vector<double> redcost) {
    return checkDuals(p.model(), x, Activities(p.model(), x), dual, redcost, 1e-6);
  };
  const DualCheck good = check(kSmall.x, kSmall.dual, kSmall.redcost);
  EXPECT_EQ(good.residual + good.infeasibility + good.gap + good.violation, 0);
  EXPECT_GT(check(kSmall.x, kSmall.dual, {0.25, 0}).residual, 0.2);
  EXPECT_GT(check(kSmall.x, {0.5, 0.25}, {0.25, 0.25}).infeasibility, 0.2) << "a dual of the wrong sign";
  EXPECT_GT(check({0, 3}, kSmall.dual, kSmall.redcost).gap, 0.2) << "feasible but not optimal";
  EXPECT_GT(check({0, 3}, {0, 0}, {1, 1}).gap, 0.2);
  EXPECT_TRUE(std::isinf(check(kSmall.x, {NAN, 0}, kSmall.redcost).infeasibility));
  EXPECT_EQ(dualViolation(p.model(), kSmall.dual, kSmall.redcost, kSmall.x), 0);
  EXPECT_NEAR(dualViolation(p.model(), {0.5, 0.25}, {0.25, 0.25}, kSmall.x), 0.25, 1e-12);
}

TEST(Check, ADualIsWorthWhatItsRowsCoefficientsAre) {
  Prob p;  // min -10x,  -1e6 x <= 0,  x <= 2
  p.column(-10, -TVLO_INFINITY, TVLO_INFINITY);
  p.row({{0, -1e6}}, 'L', 0);
  p.row({{0, 1}}, 'L', 2);
  const std::vector<double> x{0};
  EXPECT_GT(checkDuals(p.model(), x, Activities(p.model(), x), {1e-5, 0}, {0}, 1e-6).infeasibility, 0.9)
      << "x should grow, and a row that it moves away from does not hold it";
}

TEST(Check, ObjectivesAreSummedWithoutLosingSmallTerms) {
  Prob p;
  for (const double cost : {1e17, 1.0, -1e17}) p.column(cost, 0, 1);
  EXPECT_EQ(objectiveValue(p.model(), {1, 1, 1}), 1);
}

// An engine whose answers a test gives.
class Scripted {
 public:
  using Answer = std::function<void(const SolveRequest&, Solution&)>;
  explicit Scripted(std::vector<Answer> answers) : answers_(std::move(answers)) {}

  void solve(Prob& p, bool mip, const char* flags = "") {
    solveWith(*p.get(), flags, mip, [this](const std::string& name) {
      EXPECT_EQ(name, "highs");
      ++opened;
      return std::make_unique<Session>(*this);
    });
  }
  int opened = 0, asked = 0;
  std::vector<SolveRequest> requests;
  std::vector<bool> rebuilt;

 private:
  class Session final : public EngineSession {
   public:
    explicit Session(Scripted& script) : script_(script) {}
    void solve(const Model& model, const SolveRequest& request, Solution& result) override {
      script_.requests.push_back(request);
      script_.rebuilt.push_back(model.changes().rebuild);
      const size_t turn = std::min<size_t>(script_.asked++, script_.answers_.size() - 1);
      script_.answers_[turn](request, result);
    }

   private:
    Scripted& script_;
  };
  std::vector<Answer> answers_;
};

Scripted::Answer lpAnswer(PointValues point) {
  return [point](const SolveRequest&, Solution& result) {
    result.lpStatus = LpStatus::optimal;
    result.lp = point;
    result.basis = {{0, 1}, {0, 1}};
    result.simplexIterations = 5;
  };
}

Scripted::Answer mipAnswer(std::vector<double> x, double bound) {
  return [x, bound](const SolveRequest&, Solution& result) {
    result.mipStatus = MipStatus::optimal;
    result.mip.x = x;
    result.mip.available = true;
    result.bestBound = bound;
  };
}

PointValues tampered(void (*change)(PointValues&)) {
  PointValues point = kSmall;
  change(point);
  return point;
}

TEST(Recheck, AWrongAnswerIsAskedForAgainAndNeverCalledOptimal) {
  const PointValues wrong[] = {
      tampered([](PointValues& v) { v.x[1] = 1.5; }),                             // infeasible
      tampered([](PointValues& v) { v.x[1] = 3; }),                               // not optimal
      tampered([](PointValues& v) { v.dual = {0, 0}, v.redcost = {1, 1}; }),      // proves nothing
      tampered([](PointValues& v) { v.x[0] = NAN; }),                             // no number
      tampered([](PointValues& v) { v.dual = {}; }),                              // nothing
      tampered([](PointValues& v) { v.dual[0] = 0.4, v.redcost = {0.6, 0.2}; }),  // duals off
  };
  for (const PointValues& point : wrong) {
    Prob p;
    fillSmall(p);
    Scripted once({lpAnswer(point), lpAnswer(kSmall)});
    once.solve(p, false);
    EXPECT_EQ(p.solution().lpStatus, LpStatus::optimal);
    EXPECT_EQ(p.solution().lp.objective, 2);
    EXPECT_EQ(p.solution().simplexIterations, 10) << "of both";
    ASSERT_EQ(once.asked, 2);
    EXPECT_TRUE(once.requests[1].withoutPresolve) << "from nothing it was asked already";
    EXPECT_FALSE(once.requests[0].cold);
    EXPECT_TRUE(once.requests[1].cold);
    EXPECT_EQ(once.opened, 1);

    Prob q;
    fillSmall(q);
    Scripted always({lpAnswer(point)});
    std::string log;
    const auto keep = [](void*, void* data, const char* text, int length, int type) {
      if (type == 3) static_cast<std::string*>(data)->append(text, length);
      return 0;
    };
    ASSERT_EQ(TVLOaddcbmessage(q.get(), keep, &log, 0), 0);
    always.solve(q, false);
    EXPECT_EQ(q.solution().lpStatus, LpStatus::unfinished);
    EXPECT_EQ(q.solution().stop, Stop::none);
    EXPECT_FALSE(q.solution().lp.available);
    EXPECT_GE(always.asked, 3);
    EXPECT_TRUE(always.requests[1].withoutPresolve);
    EXPECT_EQ(always.requests.back().method, Method::barrier);
    EXPECT_NE(log.find("unfinished"), std::string::npos);
  }
}

TEST(Recheck, SearchesAreCheckedToo) {
  const auto fill = [](Prob& p) {  // max x + y, 2x + 2y <= 5, integer: 2
    p.column(1, 0, 9, 'I');
    p.column(1, 0, 9, 'I');
    p.row({{0, 2}, {1, 2}}, 'L', 5);
    p.maximise();
  };
  const auto expect = [&](std::vector<Scripted::Answer> answers, MipStatus status, double value, int asked) {
    Prob p;
    fill(p);
    Scripted script(std::move(answers));
    script.solve(p, true);
    EXPECT_EQ(p.solution().mipStatus, status);
    const auto searches = std::count_if(script.requests.begin(), script.requests.end(),
                                        [](const SolveRequest& request) { return request.mip; });
    EXPECT_EQ(searches, asked);
    EXPECT_EQ(p.solution().mip.available, value > 0);
    if (p.solution().mip.available) {
      EXPECT_EQ(p.solution().mip.objective, value);
    }
  };
  expect({mipAnswer({1, 1}, 2)}, MipStatus::optimal, 2, 1);
  expect({mipAnswer({0.99999995, 1.00000005}, 2)}, MipStatus::optimal, 2, 1);  // made whole
  expect({mipAnswer({1.25, 1.25}, 2.5)}, MipStatus::noSolution, 0, 3);         // not whole
  expect({mipAnswer({2, 1}, 3), mipAnswer({1, 1}, 2)}, MipStatus::optimal, 2, 2);
  expect({mipAnswer({1, 0}, 2)}, MipStatus::solution, 1, 3);  // the bound says that there may be better
  expect({mipAnswer({1, 0}, 2), mipAnswer({2, 2}, 4)}, MipStatus::solution, 1, 3);
}

// Proofs and the like stop with the solve that they serve, for its reason.
TEST(Recheck, ProblemsSolvedAsideHaveTheLimitsOfTheSolve) {
  const double seconds = 50;
  const auto fill = [&](Prob& p, char type) {
    p.control(control::timelimit, seconds);
    p.column(-1, 0, TVLO_INFINITY, type);
    p.column(0, 0, 3, type);
    p.row({{0, 1}, {1, 1}}, 'G', 1);
  };
  const auto claim = [](const SolveRequest& request, Solution& result) {
    (request.mip ? result.mipStatus = MipStatus::unbounded : MipStatus::notLoaded);
    if (!request.mip) result.lpStatus = LpStatus::unbounded;
  };
  for (const char type : {'C', 'I'}) {
    Prob p;
    fill(p, type);
    Scripted script({claim});
    script.solve(p, type == 'I');
    EXPECT_GT(script.asked, 3);
    for (const SolveRequest& request : script.requests) {
      EXPECT_LE(request.secondsLeft, seconds);
      EXPECT_GT(request.secondsLeft, seconds / 2);
    }

    Prob q;
    fill(q, type);
    Scripted interrupted({claim, [&](const SolveRequest& request, Solution& result) {
                            TVLOinterrupt(q.get(), 9);
                            EXPECT_EQ(request.interrupted(), 9);
                            result.stop = Stop::interrupt;
                            if (!request.mip) result.lpStatus = LpStatus::unfinished;
                            if (request.mip) result.mipStatus = MipStatus::noSolution;
                          }});
    interrupted.solve(q, type == 'I');
    EXPECT_EQ(q.solution().stop, Stop::user);
    EXPECT_EQ(interrupted.asked, 2);
  }
}

TEST(Recheck, AFailingEngineIsOpenedAnewAndItsErrorReported) {
  const Scripted::Answer fail = [](const SolveRequest&, Solution&) { throw Error(TVLO_ERR_ENGINE, "broken"); };
  Prob p;
  fillSmall(p);
  Scripted script({fail, lpAnswer(kSmall)});
  script.solve(p, false);
  EXPECT_EQ(p.solution().lpStatus, LpStatus::optimal);
  EXPECT_EQ(script.opened, 2);
  EXPECT_TRUE(script.rebuilt[1]);

  p.get()->session.reset();
  Scripted broken({fail});
  p.cost(0, 2);
  EXPECT_THROW(broken.solve(p, false), Error);
  EXPECT_FALSE(p.solution().lp.available);

  Scripted exhausted({[](const SolveRequest&, Solution&) { throw std::bad_alloc(); }, lpAnswer(kSmall)});
  EXPECT_THROW(exhausted.solve(p, false), std::bad_alloc);
  EXPECT_EQ(exhausted.asked, 1) << "more memory will not be there the next time";
  EXPECT_EQ(p.get()->session, nullptr);
  p.lp();
  EXPECT_EQ(p.solution().lpStatus, LpStatus::optimal) << "by the real engine afterwards";
}

}  // namespace
}  // namespace tvlo::test
