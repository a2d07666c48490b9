// The transfer column and row of a nonlinear objective: the row makes the column equal to the objective's nonlinear
// part, and the column stands in the objective with cost 1. Both are registered like any other, so that positions in
// the registry stay the solver's indices.
#pragma once

#include "problem/batch.h"
#include "problem/problem.h"
#include "problem/translate.h"

namespace tavlo {

// A new pair, behind all columns and rows. Withdrawn again unless it is kept.
class Transfer {
 public:
  explicit Transfer(problem_s* p)
      : p_(p), changes_(p->changes), columns_(p->vars, p->varmap), rows_(p->cons, p->conmap) {}
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  ~Transfer();

  int add(Formulas* formulas);  // which become the row's; 0, or -1 with an exception
  int column() const { return column_; }
  // It becomes the objective's, once removeTransfer has taken the old one away. 0, or -1 when it can't be named.
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

// Whether removeTransfer would fail because other formulas use the transfer column: 0, or -1 with an exception.
int refuseUsedTransfer(problem_s* p);
int removeTransfer(problem_s* p);  // the objective's, when it has one; 0, or -1 with an exception
// Whether the terms use the objective's transfer column, which goes when another objective comes.
bool usesTransfer(const problem_s* p, const Terms& terms);

}  // namespace tavlo
