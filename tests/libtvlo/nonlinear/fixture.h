// A nonlinear problem over an optimizer problem, and formulas as texts for tests.
#pragma once

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

}  // namespace tvlo::test
