// The transfer column and row of a nonlinear objective: the row makes the column equal to the objective's nonlinear
// part, and the column stands in the objective with cost 1. Both are registered like any other, so that positions in
// the registry stay the solver's indices.
#pragma once

#include <memory>

#include "problem/entities/batch.h"
#include "problem/problem.h"
#include "problem/translation/translate.h"

namespace tavlo {

// A new pair, behind all columns and rows. Withdrawn again unless it is kept.
class Transfer {
 public:
  explicit Transfer(problem_s* p)
      : p_(p), changes_(p->registry().changes()), columns_(p, &Registry::vars), rows_(p, &Registry::cons) {}
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  ~Transfer();

  int add(Formulas* formulas);  // which become the row's; 0, or -1 with an exception
  int column() const { return column_; }
  // It becomes the objective's, once OldTransfer has taken the old one away. 0, or -1 when it can't be named.
  int keep();

 private:
  int enter();
  int send(Formulas* formulas);

  problem_s* p_;
  uint64_t changes_;
  KeySet column_keys_, row_keys_;
  Registration columns_, rows_;
  int column_ = -1, row_ = -1;                 // as planned
  bool has_column_ = false, has_row_ = false;  // the solver has them
  bool kept_ = false;
};

// A row and a column that go together. What needs memory is done by prepare.
class PairDeletion {
 public:
  PairDeletion();
  ~PairDeletion();
  int prepare(problem_s* p, int row, int column);  // 0, or -1 with an exception
  int carryOut();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

// The pair of the objective that is to be replaced, if it has one.
class OldTransfer {
 public:
  explicit OldTransfer(problem_s* p) : p_(p) {}
  int prepare();  // 0, or -1 with an exception, also where another formula uses the column
  int remove();

 private:
  problem_s* p_;
  PairDeletion pair_;
};

// Enters in the registry the pair that the solver's model has, as a file brings it. 0, or -1 with an exception.
int adoptTransfer(problem_s* p, Registry* registry);

// Whether the terms use the objective's transfer column, which goes when another objective comes.
bool usesTransfer(const problem_s* p, const Terms& terms);

}  // namespace tavlo
