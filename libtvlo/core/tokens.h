// Formulas as runs of tokens (tvlo/tslp.h has their types), kept in reverse Polish order without the end token.
//
// A run is valid when it leaves one value: every operator and function finds its operands, columns and user functions
// exist, numbers are finite, and the points of a piecewise-linear function are numbers that ascend. An empty run
// stands for 1. Nothing here is recursive, so no run is too deep.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "tvlo/tslp.h"

namespace tvlo {

struct TokenView {
  const uint8_t* type = nullptr;
  const double* value = nullptr;
  int64_t size = 0;
  int code(int64_t k) const { return static_cast<int>(value[k]); }  // of tokens whose value is a whole number
};

struct Tokens {
  std::vector<uint8_t> type;
  std::vector<double> value;

  int64_t size() const { return static_cast<int64_t>(type.size()); }
  TokenView view(int64_t from, int64_t count) const { return {type.data() + from, value.data() + from, count}; }
  TokenView view() const { return view(0, size()); }
  void add(int tokenType, double tokenValue) {
    type.push_back(static_cast<uint8_t>(tokenType));
    value.push_back(tokenValue);
  }
  void add(TokenView run) {
    type.insert(type.end(), run.type, run.type + run.size);
    value.insert(value.end(), run.value, run.value + run.size);
  }
  void truncate(int64_t length) noexcept {
    type.resize(length);
    value.resize(length);
  }
};

// What tokens may refer to.
struct TokenScope {
  int columns = 0;
  std::function<int(int)> arguments;  // of the user function with that id; -1 when there is none
};

struct FunctionRow {
  int code;
  const char* name;
  int least, most;  // arguments; most -1: any number
};
const FunctionRow* findFunction(int code);  // null when there is none
const FunctionRow* findFunction(const char* name);

struct OperatorRow {
  int code;
  const char* sign;
  int operands;
  int precedence;  // a higher one binds more tightly; power is right-associative
};
const OperatorRow* findOperator(int code);

// Appends a caller's run, which ends with an end token, to `out`, in reverse Polish order whichever it came in.
// Throws Error and leaves `out` as it was when the run is not valid. Returns how many tokens it had, the end included.
int64_t takeTokens(const int* type, const double* value, bool parsed, const TokenScope& scope, Tokens& out);

// The run in the usual order, with the parentheses that it needs. It must be valid.
void unparseTokens(TokenView run, Tokens& out);

}  // namespace tvlo
