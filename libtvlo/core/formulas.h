// The nonlinear part of a model: coefficients given by formulas, user functions, and what is known of variables and
// rows beyond the linear model. A coefficient stands for factor * column * formula in its row; column kConstantColumn
// stands for 1. A row may have several coefficients in a column: they add up.
//
// A call that fails changes nothing. Copies share the user functions, under the same ids.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/tokens.h"

namespace tvlo {

inline constexpr int kConstantColumn = -1;
inline constexpr int kTransferRow = 1 << 11;  // bit of a row's status: the row defines the objective's formula part

struct UserFunction {
  std::string name;
  int type = 2;  // 2: the value; 5: the value and the derivatives
  int arguments = 0;
  TSLPuserfn function = nullptr;
  void* data = nullptr;
};

class UserFunctions {
 public:
  int size() const { return static_cast<int>(entries_.size()); }
  int add(std::shared_ptr<UserFunction> function);  // its id, from 1
  void replace(int id, std::shared_ptr<UserFunction> function);
  const std::shared_ptr<UserFunction>& find(int id) const;  // null when there is none

 private:
  std::vector<std::shared_ptr<UserFunction>> entries_;
};

// What is known of a column as a variable of nonlinear problems.
struct NlVariable {
  int determiningRow = -1;
  std::optional<double> initial;  // where a solve starts
  double initialStepBound = 0, stepBound = 0, penalty = 0, damp = 1, value = 0;
  int toleranceSet = -1, history = 0, converged = 0, type = 0;
};

class Formulas {
 public:
  struct Coefficient {
    int row, column;
    double factor;
    int64_t start, length;  // of its tokens; a negative length: deleted
  };

  bool empty() const { return live_ == 0; }
  // Coefficients in the order in which they came, deleted ones among them.
  const std::vector<Coefficient>& coefficients() const { return coefs_; }
  static bool isLive(const Coefficient& coef) { return coef.length >= 0; }
  TokenView tokens(const Coefficient& coef) const { return tokens_.view(coef.start, coef.length); }
  std::vector<std::pair<int, int>> pairs() const;  // (row, column) that have coefficients, once each, ascending
  int64_t rowCount() const;                        // rows with coefficients

  // Runs of tokens as in TSLPaddcoefs; null starts: one after the other; null factors: 1.
  struct Batch {
    int count = 0;
    const int* row = nullptr;
    const int* column = nullptr;
    const double* factor = nullptr;
    const int* start = nullptr;
    bool parsed = true;
    const int* type = nullptr;
    const double* value = nullptr;
  };
  void add(const Batch& batch, int rows, int columns);
  void load(const Batch& batch, int rows, int columns);     // instead of all that there are
  void replace(const Batch& batch, int rows, int columns);  // of one coefficient: instead of what its row has there
  void erase(int n, const int* rows, const int* columns);   // what there is not is left out
  // What a row has in a column: the factor and the tokens of the sum. Throws Error where there is nothing.
  double sumOf(int row, int column, Tokens& out) const;
  UserFunctions functions;

  std::map<int, NlVariable> variables;
  std::map<int, int> rowStatus;

  // After rows or columns have gone; `newIndex` has -1 for them. Columns must not be in use.
  bool uses(int column) const;  // by a coefficient or in one; quick once it was asked
  bool knowsRows() const { return !coefs_.empty() || !rowStatus.empty() || !variables.empty(); }
  void rowsDeleted(const std::vector<int>& newIndex) noexcept;
  void columnsDeleted(const std::vector<int>& newIndex) noexcept;

 private:
  TokenScope scope(int columns) const;
  void validate(const Batch& batch, int rows, int columns) const;
  void sort() const;
  std::pair<size_t, size_t> find(int row, int column) const;  // range of order_
  void compact();
  void kill(Coefficient& coef) noexcept;

  std::vector<Coefficient> coefs_;
  Tokens tokens_;
  int64_t live_ = 0;
  mutable std::vector<bool> used_;      // of each column; empty: not known
  mutable std::vector<int64_t> order_;  // by row, column, age; valid while its size is that of coefs_
};

}  // namespace tvlo
