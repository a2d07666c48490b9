// Programs of models with formulas: values against the plain evaluation of the model store, derivatives against central
// differences.
#include <algorithm>
#include <cmath>
#include <random>

#include "core/problem.h"
#include "elementary/functions.h"
#include "fixture.h"
#include "nonlinear/evaluate.h"
#include "nonlinear/program.h"

namespace tvlo::test {
namespace {

class DerivativesTest : public Nonlinear {
 protected:
  Model& model() { return prob_->model; }
  void load(const std::string& text) {  // as all that row 0 has
    const TokenRun tokens = run(text);
    const int row = 0, column = -1;
    ASSERT_EQ(TSLPloadcoefs(slp_, 1, &row, &column, nullptr, nullptr, 1, tokens.type.data(), tokens.value.data()), 0);
  }

  // All that a program gives at a point of its columns.
  struct Jet {
    double objective;
    std::vector<double> gradient, rows, jacobian, hessian;  // of the Lagrangian with multipliers 0.7, -1.3, 0.9, ...
    bool sound;
  };
  static std::vector<double> multipliers(const ModelProgram& program) {
    std::vector<double> all(program.rows());
    for (size_t i = 0; i < all.size(); ++i) all[i] = (i % 2 == 0 ? 0.7 : -1.3) + 0.01 * static_cast<double>(i);
    return all;
  }
  static Jet at(ModelProgram& program, const std::vector<double>& x) {
    Jet jet{0,
            std::vector<double>(program.columns()),
            std::vector<double>(program.rows()),
            std::vector<double>(program.jacobian.size()),
            std::vector<double>(program.hessian.size()),
            true};
    jet.sound = program.objective(x.data(), true, jet.objective) &&
                program.constraints(x.data(), false, jet.rows.data()) &&
                program.gradient(x.data(), false, jet.gradient.data()) &&
                program.jacobianValues(x.data(), false, jet.jacobian.data()) &&
                program.hessianValues(x.data(), false, 1.7, multipliers(program).data(), jet.hessian.data());
    return jet;
  }
  // The gradient of 1.7 f + multipliers * g.
  static std::vector<double> lagrangian(const ModelProgram& program, const Jet& jet) {
    std::vector<double> sum = jet.gradient;
    for (double& d : sum) d *= 1.7;
    const std::vector<double> weight = multipliers(program);
    for (size_t k = 0; k < jet.jacobian.size(); ++k) {
      sum[program.jacobian.column[k]] += weight[program.jacobian.row[k]] * jet.jacobian[k];
    }
    return sum;
  }

  static void expectDerivatives(ModelProgram& program, const std::vector<double>& x, const std::string& what) {
    const Jet here = at(program, x);
    ASSERT_TRUE(here.sound) << what;
    const int n = program.columns();
    std::vector<double> hessian(static_cast<size_t>(n) * n), jacobian(static_cast<size_t>(program.rows()) * n);
    for (size_t k = 0; k < here.hessian.size(); ++k) {
      const int i = program.hessian.row[k];
      const int j = program.hessian.column[k];
      ASSERT_GE(i, j);
      hessian[static_cast<size_t>(i) * n + j] = hessian[static_cast<size_t>(j) * n + i] = here.hessian[k];
    }
    for (size_t k = 0; k < here.jacobian.size(); ++k) {
      jacobian[static_cast<size_t>(program.jacobian.row[k]) * n + program.jacobian.column[k]] = here.jacobian[k];
    }
    for (int j = 0; j < n; ++j) {
      const double h = 1e-5 * std::max(1.0, std::abs(x[j]));
      std::vector<double> moved = x;
      moved[j] = x[j] + h;
      const Jet above = at(program, moved);
      moved[j] = x[j] - h;
      const Jet below = at(program, moved);
      ASSERT_TRUE(above.sound && below.sound) << what;
      const auto expectNear = [&](double exact, double up, double down, const char* kind) {
        const double scale = std::max({1.0, std::abs(exact), 1e-4 * (std::abs(up) + std::abs(down))});
        EXPECT_NEAR(exact, (up - down) / (2 * h), 2e-6 * scale) << kind << " by column " << j << " of " << what;
      };
      expectNear(here.gradient[j], above.objective, below.objective, "objective");
      for (int i = 0; i < program.rows(); ++i) {
        expectNear(jacobian[static_cast<size_t>(i) * n + j], above.rows[i], below.rows[i], "row");
      }
      const std::vector<double> up = lagrangian(program, above);
      const std::vector<double> down = lagrangian(program, below);
      for (int i = 0; i < n; ++i) expectNear(hessian[static_cast<size_t>(i) * n + j], up[i], down[i], "Hessian");
    }
  }

  // Rows of the program against the plain evaluation.
  void expectValues(ModelProgram& program, const std::vector<double>& x, const std::string& what) {
    const NonlinearActivities plain(model(), x);
    const Jet here = at(program, x);
    for (int i = 0; i < program.rows(); ++i) {
      EXPECT_NEAR(here.rows[i], plain.value[program.modelRows()[i]], 1e-12 * std::max(1.0, std::abs(here.rows[i])))
          << what;
    }
  }

  // A program without its kinks is the same one where its further columns have the kinks' values, and rows, which have
  // upper bounds only, never gain by other values that those columns may take. Answers how many of them there are.
  int expectLifted(const std::vector<double>& x, const std::string& what) {
    ModelProgram program(model());
    const NonlinearActivities plain(model(), x);
    const int n = static_cast<int>(x.size()), rows = static_cast<int>(plain.value.size());
    std::vector<double> whole = x;
    whole.resize(program.columns());
    EXPECT_TRUE(program.complete(whole)) << what;
    const Jet here = at(program, whole);
    EXPECT_TRUE(here.sound) << what;
    std::vector<int> side(program.columns());
    std::vector<double> room(program.columns());  // to the nearest piece
    for (int j = n; j < program.columns(); ++j) {
      side[j] = program.columnLower[j] > -1e20 ? 1 : program.columnUpper[j] < 1e20 ? -1 : 0;
      room[j] =
          side[j] == 0 ? INFINITY : side[j] * (whole[j] - (side[j] > 0 ? program.columnLower : program.columnUpper)[j]);
    }
    std::vector<int> own(program.rows());  // the last column of a row: that of the kink that it stands for
    for (size_t k = 0; k < program.jacobian.size(); ++k) own[program.jacobian.row[k]] = program.jacobian.column[k];
    for (int i = rows; i < program.rows(); ++i) {
      side[own[i]] = program.rowLower[i] == 0 ? 1 : -1;
      room[own[i]] = std::min(room[own[i]], side[own[i]] * here.rows[i]);
    }
    for (int i = 0; i < rows; ++i) {
      EXPECT_NEAR(here.rows[i], plain.value[i], 1e-11 * std::max(1.0, std::abs(here.rows[i]))) << what;
    }
    for (int j = n; j < program.columns(); ++j) {
      EXPECT_NEAR(room[j], 0, 1e-11 * std::max(1.0, std::abs(whole[j]))) << what;
      std::vector<double> moved = whole;
      moved[j] += side[j] * 0.3;
      const Jet there = at(program, moved);
      for (int i = 0; i < program.rows() && there.sound; ++i) {
        if (i >= rows && own[i] == j) continue;
        const double loss = program.rowLower[i] == 0 ? here.rows[i] - there.rows[i] : there.rows[i] - here.rows[i];
        EXPECT_GE(loss, -1e-12 * std::max(1.0, std::abs(here.rows[i]))) << what;
      }
    }
    return program.columns() - n;
  }
};

TEST_F(DerivativesTest, OfEveryOperation) {
  const char* const formulas[] = {"x0 x1 +",
                                  "x0 x1 -",
                                  "x0 x1 *",
                                  "x0 x1 /",
                                  "2 x0 /",
                                  "x0 3 /",
                                  "x0 neg",
                                  "x0 2 **",
                                  "x0 3 **",
                                  "x0 -2 **",
                                  "x0 0.5 **",
                                  "x0 1.7 **",
                                  "x0 -1 **",
                                  "x0 x1 **",
                                  "2.5 x0 **",
                                  "( x0 ln",
                                  "( x0 log10",
                                  "( x0 exp",
                                  "( x0 abs",
                                  "( x0 neg abs",
                                  "( x0 sqrt",
                                  "( x0 sin",
                                  "( x0 cos",
                                  "( x0 tan",
                                  "( x0 arcsin",
                                  "( x0 arccos",
                                  "( x0 arctan",
                                  "( x0 x1 2 x2 * min",
                                  "( x0 x1 2 x2 * max",
                                  "( x0 sign",
                                  "( x0 erf",
                                  "( x0 erfc",
                                  "( 9 3 4 1 2 0.5 1 0 x0 pwl",
                                  "x0 x0 *",
                                  "x0 x0 /",
                                  "x0 x0 **",
                                  "x0 x1 + x0 x1 + *",
                                  "x0 x1 * x1 x2 * * 1 - 2 **",
                                  "( x0 x1 * exp x0 x1 + /",
                                  "2 3 + ( 4 sqrt *",
                                  ""};
  const int count = static_cast<int>(std::size(formulas));
  addLines(count, 3);
  for (int i = 0; i < count; ++i) ASSERT_EQ(add(i, i % 3 - 1, 1.5 - i % 4, formulas[i]), 0) << slpError();
  ModelProgram program(model(), Kinks::kept);
  for (const std::vector<double>& x : {std::vector<double>{0.4, 1.3, 0.7}, {0.83, 0.2, 0.6}}) {
    expectValues(program, x, "operations");
    expectDerivatives(program, x, "operations");
  }
  // Whole powers have negative bases.
  const std::vector<double> negative{-0.6, 1.1, 0.4};
  model().formulas() = Formulas();
  ASSERT_EQ(add(0, -1, 1, "x0 3 ** x0 -2 ** + x0 7 ** * x0 2 ** +"), 0);
  ModelProgram whole(model(), Kinks::kept);
  expectValues(whole, negative, "whole powers");
  expectDerivatives(whole, negative, "whole powers");
}

// Random runs of tokens that have a value nearly everywhere.
class RandomRuns {
 public:
  explicit RandomRuns(unsigned seed) : random_(seed) {}
  std::string tree(int depth, int columns) {
    if (depth == 0) return pick(3) == 0 ? std::to_string(pick(40) / 10.0 - 2) : "x" + std::to_string(pick(columns));
    static const char* const unary[] = {"sin", "cos", "arctan", "exp", "erf", "sqrt", "ln", "abs"};
    static const char* const binary[] = {"+", "-", "*", "/"};
    const auto sub = [&] { return tree(pick(depth), columns); };
    switch (pick(5)) {
      case 0: {
        const int f = pick(8);
        const std::string inner = f == 3 ? "( " + sub() + " sin" : f == 5 || f == 6 ? sub() + " 2 ** 1.5 +" : sub();
        return "( " + inner + " " + unary[f];
      }
      case 1:
        return sub() + " 3 **";
      case 2:
        return sub() + " ( " + sub() + " cos 2.2 + /";
      case 3:
        return "( " + sub() + " " + sub() + " " + sub() + (pick(2) ? " max" : " min");
      default:
        return sub() + " " + tree(depth - 1, columns) + " " + binary[pick(3)];
    }
  }
  int pick(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
  double real() { return std::uniform_real_distribution<double>(-1.2, 1.2)(random_); }

 private:
  std::mt19937 random_;
};

TEST_F(DerivativesTest, OfRandomFormulas) {
  RandomRuns random(20261123);
  int checked = 0;
  int lifted = 0;
  for (int round = 0; round < 40; ++round) {
    const int columns = 2 + random.pick(5);
    ASSERT_EQ(TVLOloadlp(prob_, "", 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr),
              0);
    addLines(4, columns);
    std::string all;
    for (int i = 0; i < 12; ++i) {
      // Several of one shape, so that they run in lanes.
      const std::string text = random.tree(1 + random.pick(5), columns);
      all += text + "\n";
      for (int k = 0; k < (i < 3 ? 11 : 1); ++k) {
        ASSERT_EQ(add(random.pick(4), random.pick(2) ? -1 : random.pick(columns), random.real(), text), 0) << text;
      }
    }
    ModelProgram program(model(), Kinks::kept);
    std::vector<double> x(columns);
    for (double& v : x) v = random.real();
    const Jet here = at(program, x);
    if (!here.sound ||
        std::any_of(here.hessian.begin(), here.hessian.end(), [](double h) { return std::abs(h) > 1e4; }))
      continue;
    expectValues(program, x, all);
    expectDerivatives(program, x, all);
    lifted += expectLifted(x, all);
    ++checked;
  }
  EXPECT_GT(checked, 15);
  EXPECT_GT(lifted, 100);
}

TEST_F(DerivativesTest, AreOneSidedAtKinks) {
  addLines(5, 2);
  const char* const formulas[] = {"( x0 abs", "( x0 x1 max", "( x0 x1 min", "( x0 sign"};
  for (int i = 0; i < 4; ++i) ASSERT_EQ(add(i, -1, 1, formulas[i]), 0) << slpError();
  // A jump: the segment that starts at a breakpoint counts there.
  ASSERT_EQ(add(4, -1, 1, "( 5 2 1 0 7 0 0 -1 x0 pwl"), 0) << slpError();
  ModelProgram program(model(), Kinks::kept);
  const Jet here = at(program, {0, 0});
  EXPECT_EQ(here.rows, (std::vector<double>{0, 0, 0, 0, 1}));
  std::vector<double> dense(10);
  for (size_t k = 0; k < here.jacobian.size(); ++k) {
    dense[2 * program.jacobian.row[k] + program.jacobian.column[k]] = here.jacobian[k];
  }
  EXPECT_EQ(dense, (std::vector<double>{1, 0, 1, 0, 1, 0, 0, 0, 2, 0}));
  EXPECT_EQ(at(program, {-0.5, 0}).rows[4], 3.5);
  EXPECT_EQ(at(program, {5, 0}).rows[4], 11) << "the last segment goes on";
  EXPECT_EQ(at(program, {-2, 0}).rows[4], -7) << "and so does the first";
}

TEST_F(DerivativesTest, AnswerFalseWhereThereIsNoValue) {
  addLines(1, 2);
  for (const char* const text : {"( x0 ln", "1 x0 1 + /", "( x0 sqrt", "( x0 1000 * neg exp", "( x0 2 * arcsin",
                                 "x0 0.3 **", "( -1 sqrt", "( 1 x0 1 + / neg exp"}) {
    model().formulas() = Formulas();
    ASSERT_EQ(add(0, -1, 1, text), 0);
    ModelProgram program(model(), Kinks::kept);
    double row;
    EXPECT_FALSE(program.constraints(std::vector<double>{-1, 0}.data(), true, &row)) << text;
  }
}

TEST_F(DerivativesTest, CostOfASumIsThatOfItsTerms) {
  // One formula, y * sum of exp(x_k * x_k+1): its Hessian is sparse, so must be the work.
  const int n = 20000;
  addLines(1, n + 1);
  std::string text;
  for (int k = 0; k + 1 < n; ++k) {
    text += " ( x" + std::to_string(k) + " x" + std::to_string(k + 1) + " * exp" + (k > 0 ? " +" : "");
  }
  text += " x" + std::to_string(n) + " *";
  ASSERT_EQ(add(0, -1, 1, text), 0);
  ModelProgram program(model(), Kinks::kept);
  EXPECT_EQ(program.hessian.size(), 3U * n - 1);
  std::vector<double> x(n + 1, 0.5);
  x[7] = -0.3;
  const Jet here = at(program, x);
  ASSERT_TRUE(here.sound);
  EXPECT_NEAR(here.jacobian[7], 0.5 * (0.5 * std::exp(-0.15) * 2), 1e-12);
}

// The check of answers, the tapes, and whoever else evaluates a function.
TEST_F(DerivativesTest, AgreeToTheBitOnTheValuesOfElementaryFunctions) {
  struct Row {
    const char* name;
    double least, most;
    double (*value)(double);
  };
  using elementary::kInfinite;
  static constexpr Row kRows[] = {
#define ELEMENTARY_FUNCTION(name, Node, node, TOKEN, formula, words, least, most, ...) \
  {formula, least, most, elementary::name},
#include "elementary/functions.def"
  };
  addLines(1, 1);
  std::mt19937 random(5);
  for (const Row& row : kRows) {
    load("( x0 " + std::string(row.name));
    ModelProgram program(model(), Kinks::kept);
    const Formulas& formulas = model().formulas();
    for (int round = 0; round < 500; ++round) {
      const double reach = round % 2 == 0 ? 1 : 20;
      const double x = std::uniform_real_distribution<double>(-reach, reach)(random);
      const double plain = evaluateFormula(formulas.tokens(formulas.coefficients()[0]), &x, formulas.functions);
      const bool inside = x >= row.least && x <= row.most;
      double taped = NAN;
      EXPECT_EQ(std::isfinite(plain), inside) << row.name << x;
      EXPECT_EQ(program.constraints(&x, true, &taped), inside) << row.name << x;
      if (!inside) continue;
      EXPECT_EQ(plain, row.value(x)) << row.name << x;
      EXPECT_EQ(taped, plain) << row.name << x;
    }
  }
}

// max, min and sign would hide that an operand has no value.
TEST_F(DerivativesTest, HaveNoValueWhereAnOperandHasNone) {
  addLines(1, 2);
  const char* const texts[] = {"( ( x0 sqrt x1 max", "( x1 ( x0 sqrt min", "( ( x0 ln sign"};
  for (const char* const text : texts) {
    load(text);
    ModelProgram program(model(), Kinks::kept);
    double value = 0;
    EXPECT_FALSE(program.constraints(std::vector<double>{-1, 2}.data(), true, &value)) << text;
    EXPECT_TRUE(program.constraints(std::vector<double>{1, 2}.data(), true, &value)) << text;
  }
}

TEST_F(DerivativesTest, CanBeLeftWhileTheyAreBeingBuilt) {
  constexpr int n = 600;  // one dense element, of 180,000 pairs
  addLines(1, n);
  std::string sum = "( x0";
  for (int j = 1; j < n; ++j) sum += " x" + std::to_string(j) + " +";
  load(sum + " sin");
  int calls = 0;
  const ModelProgram whole(model(), Kinks::lifted, [&] { ++calls; });
  EXPECT_EQ(whole.hessian.size(), static_cast<size_t>(n) * (n + 1) / 2);
  EXPECT_GE(calls, 4);
  for (int last = 1; last <= calls; ++last) {
    int left = last;
    const Checkpoint leaves = [&] {
      if (--left == 0) throw Stopped{Stop::timeLimit};
    };
    EXPECT_THROW(ModelProgram(model(), Kinks::lifted, leaves), Stopped);
  }
}

struct UserData {
  int calls = 0, failAt = -1;
};
int bump(const double* x, int nargs, double* value, double* derivs, void* data) {
  auto& user = *static_cast<UserData*>(data);
  if (++user.calls == user.failAt) return 1;
  *value = std::sin(x[0]) * x[1] * x[1] + std::exp(x[nargs - 1]);
  if (derivs != nullptr) {
    derivs[0] = std::cos(x[0]) * x[1] * x[1];
    derivs[1] = 2 * std::sin(x[0]) * x[1];
    derivs[2] = std::exp(x[2]);
  }
  return 0;
}

TEST_F(DerivativesTest, OfUserFunctions) {
  addLines(2, 3);
  UserData data[2];
  int id[2];
  ASSERT_EQ(TSLPadduserfunction(slp_, "values", 2, 3, 1, 0, bump, &data[0], &id[0]), 0);
  ASSERT_EQ(TSLPadduserfunction(slp_, "slopes", 5, 3, 1, 0, bump, &data[1], &id[1]), 0);
  for (int i = 0; i < 2; ++i) {
    const std::string call = "( x0 x1 x2 0.5 * u" + std::to_string(id[i]);
    ASSERT_EQ(add(i, -1, 1, call + " 2 **"), 0) << slpError();
  }
  ModelProgram program(model(), Kinks::kept);
  const std::vector<double> x{0.3, 1.2, -0.7};
  double rows[2];
  ASSERT_TRUE(program.constraints(x.data(), true, rows));
  ASSERT_TRUE(program.constraints(x.data(), false, rows));
  EXPECT_EQ(data[0].calls, 1) << "the value is remembered";
  expectValues(program, x, "user functions");
  const Jet here = at(program, x);
  ASSERT_TRUE(here.sound);
  for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(here.jacobian[k], here.jacobian[k + 3], 1e-8) << k;
  std::vector<double> only[2];
  for (int i = 0; i < 2; ++i) {
    std::vector<double> weight{0, 0};
    weight[i] = 1;
    only[i].resize(program.hessian.size());
    ASSERT_TRUE(program.hessianValues(x.data(), false, 0, weight.data(), only[i].data()));
  }
  for (size_t k = 0; k < only[0].size(); ++k) EXPECT_NEAR(only[0][k], only[1][k], 2e-6) << k;
  data[0].failAt = data[0].calls + 1;
  const std::vector<double> other{0.4, 1.2, -0.7};
  EXPECT_THROW(program.constraints(other.data(), true, rows), Error);
}

TEST_F(DerivativesTest, OfAnObjectiveThroughItsTransferRow) {
  addLines(2, 4);
  const char type = 'E', both[] = {'L'};
  const int transfer = 1, z = 3, status = kTransferRow;
  const double minusOne = -1, one = 1, low = -1e20;
  ASSERT_EQ(TVLOchgrowtype(prob_, 1, &transfer, &type), 0);
  ASSERT_EQ(TVLOchgcoef(prob_, transfer, z, minusOne), 0);
  ASSERT_EQ(TVLOchgbounds(prob_, 1, &z, both, &low), 0);
  ASSERT_EQ(TVLOchgobj(prob_, 1, &z, &one), 0);
  ASSERT_EQ(TSLPchgvar(slp_, z, &transfer, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                       nullptr, nullptr),
            0);
  ASSERT_EQ(TSLPchgrowstatus(slp_, transfer, &status), 0);
  ASSERT_EQ(add(transfer, -1, 2, "( x0 sin x1 x2 * +"), 0);
  ASSERT_EQ(add(0, 1, 1, "( x0 exp"), 0);
  ModelProgram program(model(), Kinks::kept);
  EXPECT_EQ(program.columns(), 3);
  EXPECT_EQ(program.rows(), 1);
  EXPECT_EQ(program.transferColumn(), z);
  EXPECT_EQ(program.transferDual(), -1);
  const std::vector<double> x{0.2, 0.5, 3};
  EXPECT_NEAR(at(program, x).objective, 2 * (std::sin(0.2) + 1.5), 1e-14);
  expectDerivatives(program, x, "objective");
  // A column that stands elsewhere, too, stays.
  ASSERT_EQ(TVLOchgcoef(prob_, 0, z, minusOne), 0);
  ModelProgram whole(model(), Kinks::kept);
  EXPECT_EQ(whole.columns(), 4);
  EXPECT_EQ(whole.rows(), 2);
}

}  // namespace
}  // namespace tvlo::test
