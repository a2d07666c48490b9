// A nonlinear problem over an optimizer problem, and formulas as texts for tests.
#pragma once

#include <cmath>
#include <map>
#include <sstream>

#include "../capi/fixture.h"

namespace tvlo::test {

// A run of tokens written as words: numbers, x0 x1 ... for columns, + - * / ** neg, ( for the marker, f(...) in reverse
// Polish order as "( x0 sin". In unparsed runs [ ] and , stand for the parentheses and the comma, ~ for unary minus.
struct TokenRun {
  std::vector<int> type;
  std::vector<double> value;
  TokenRun& add(const std::string& text) {
    static const std::map<std::string, std::pair<int, double>> words = {
        {"+", {31, 5}},       {"-", {31, 6}},       {"*", {31, 3}},    {"/", {31, 4}},    {"**", {31, 2}},
        {"neg", {31, 1}},     {"~", {31, 1}},       {"(", {22, 0}},    {"[", {21, 0}},    {"]", {23, 0}},
        {",", {24, 0}},       {"log10", {12, 14}},  {"ln", {12, 15}},  {"exp", {12, 16}}, {"abs", {12, 17}},
        {"sqrt", {12, 18}},   {"sin", {12, 27}},    {"cos", {12, 28}}, {"tan", {12, 29}}, {"arcsin", {12, 30}},
        {"arccos", {12, 31}}, {"arctan", {12, 32}}, {"min", {12, 33}}, {"max", {12, 34}}, {"pwl", {12, 35}},
        {"sign", {12, 46}},   {"erf", {12, 49}},    {"erfc", {12, 50}}};
    std::istringstream in(text);
    for (std::string word; in >> word;) {
      if (const auto at = words.find(word); at != words.end()) {
        type.push_back(at->second.first);
        value.push_back(at->second.second);
      } else if (word[0] == 'x') {
        type.push_back(TSLP_TOKEN_COLUMN);
        value.push_back(std::stod(word.substr(1)));
      } else if (word[0] == 'u') {
        type.push_back(TSLP_TOKEN_USER);
        value.push_back(std::stod(word.substr(1)));
      } else {
        type.push_back(TSLP_TOKEN_CONSTANT);
        value.push_back(std::stod(word));
      }
    }
    type.push_back(TSLP_TOKEN_END);
    value.push_back(0);
    return *this;
  }
};

inline TokenRun run(const std::string& text) { return TokenRun().add(text); }

class Nonlinear : public Interface {
 protected:
  void SetUp() override {
    Interface::SetUp();
    ASSERT_EQ(TSLPcreateprob(&slp_, &prob_), 0);
  }
  void TearDown() override {
    EXPECT_EQ(TSLPdestroyprob(slp_), 0);
    Interface::TearDown();
  }

  std::string slpError() const {
    char text[TVLO_ERRORTEXT_MAX];
    EXPECT_EQ(TSLPgetlasterror(slp_, nullptr, text), 0);
    return text;
  }
  int slpAttribute(int id) const {
    int value = -77;
    EXPECT_EQ(TSLPgetintattrib(slp_, id, &value), 0);
    return value;
  }
  int add(int row, int column, double factor, const std::string& text, bool parsed = true) {
    const TokenRun tokens = run(text);
    return TSLPaddcoefs(slp_, 1, &row, &column, &factor, nullptr, parsed, tokens.type.data(), tokens.value.data());
  }
  // The formula in the words of TokenRun, after its factor.
  std::string formula(int row, int column, bool parsed = true, TSLPprob slp = nullptr) const {
    static constexpr const char* kOperators[] = {"", "neg", "**", "*", "/", "+", "-"};
    double factor = 0;
    int count = 0;
    std::vector<int> type(10000);
    std::vector<double> value(10000);
    if (TSLPgetcoefformula(slp ? slp : slp_, row, column, &factor, parsed, 10000, &count, type.data(), value.data())) {
      return slpError();
    }
    std::ostringstream text;
    text << factor << ":";
    for (int k = 0; k + 1 < count; ++k) {
      text << ' ';
      const int code = static_cast<int>(value[k]);
      switch (type[k]) {
        case TSLP_TOKEN_CONSTANT:
          text << value[k];
          break;
        case TSLP_TOKEN_COLUMN:
          text << 'x' << code;
          break;
        case TSLP_TOKEN_USER:
          text << 'u' << code;
          break;
        case TSLP_TOKEN_MARKER:
          text << '(';
          break;
        case TSLP_TOKEN_LEFT:
          text << '[';
          break;
        case TSLP_TOKEN_RIGHT:
          text << ']';
          break;
        case TSLP_TOKEN_COMMA:
          text << ',';
          break;
        case TSLP_TOKEN_OPERATOR:
          text << (code == 1 && !parsed ? "~" : kOperators[code]);
          break;
        default:
          text << "f" << code;
      }
    }
    EXPECT_EQ(type[count - 1], TSLP_TOKEN_END);
    return text.str();
  }

  TSLPprob slp_ = nullptr;
};

// Builds models of rows that formulas fill, solves them, and keeps what came out.
class NonlinearSolving : public Nonlinear {
 protected:
  // Rows of type and right-hand side without linear coefficients; columns with bounds and start.
  void build(const std::string& types, const std::vector<double>& rhs, const std::vector<double>& lower,
             const std::vector<double>& upper, const std::vector<double>& start) {
    const auto n = static_cast<int>(lower.size());
    ASSERT_EQ(TVLOaddcols64(prob_, n, 0, nullptr, nullptr, nullptr, nullptr, lower.data(), upper.data()), 0);
    ASSERT_EQ(TVLOaddrows64(prob_, static_cast<int>(types.size()), 0, types.c_str(), rhs.data(), nullptr, nullptr,
                            nullptr, nullptr),
              0);
    for (int j = 0; j < static_cast<int>(start.size()); ++j) setStart(j, start[j]);
  }
  void setStart(int column, double value) {
    ASSERT_EQ(TSLPchgvar(slp_, column, nullptr, nullptr, nullptr, nullptr, nullptr, &value, nullptr, nullptr, nullptr,
                         nullptr, nullptr),
              0);
  }
  // The formula as the objective, by a transfer row and column at the end.
  void minimise(const std::string& formula, int sense = 1) {
    const int row = attribute(TVLO_ATTRIBUTE_rows), column = attribute(TVLO_ATTRIBUTE_cols), status = 2048;
    const double zero = 0, one = 1, minus = -1, low = -1e20, high = 1e20;
    const int64_t start = 0;
    ASSERT_EQ(TVLOaddrows64(prob_, 1, 0, "E", &zero, nullptr, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(TVLOaddcols64(prob_, 1, 1, &one, &start, &row, &minus, &low, &high), 0);
    ASSERT_EQ(TSLPchgvar(slp_, column, &row, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr),
              0);
    ASSERT_EQ(TSLPchgrowstatus(slp_, row, &status), 0);
    ASSERT_EQ(add(row, -1, 1, formula), 0) << slpError();
    ASSERT_EQ(TVLOchgobjsense(prob_, sense), 0);
  }
  int solve(const char* flags = "") {
    EXPECT_EQ(TSLPnlpoptimize(slp_, flags), 0) << slpError();
    const int rows = attribute(TVLO_ATTRIBUTE_rows), columns = attribute(TVLO_ATTRIBUTE_cols);
    x_.assign(columns, NAN);
    redcost_ = x_;
    slack_.assign(rows, NAN);
    dual_ = slack_;
    if (const int status = slpAttribute(TSLP_ATTRIBUTE_nlpstatus); status != 4 && status != 5) {
      EXPECT_EQ(TSLPgetslpsol(slp_, x_.data(), slack_.data(), dual_.data(), redcost_.data()), 0) << slpError();
    }
    return slpAttribute(TSLP_ATTRIBUTE_nlpstatus);
  }
  double value(int id = TSLP_ATTRIBUTE_nlpobjval) {
    double v = NAN;
    EXPECT_EQ(TSLPgetdblattrib(slp_, id, &v), 0);
    return v;
  }
  std::vector<double> x_, slack_, dual_, redcost_;
};

}  // namespace tvlo::test
