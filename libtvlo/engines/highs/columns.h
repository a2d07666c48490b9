// How a column goes over to HiGHS. Semi-continuous and semi-integer ones go over natively within what HiGHS
// solves: bounds from above 0 to at most 1e5 (beyond that it calls feasible models infeasible). Others are
// mirrored or scaled (by powers of two) into that form, which their `factor` undoes.
#pragma once

#include "core/model.h"

namespace tvlo::highs {

enum class Semi {
  native,
  relaxed,  // as continuous columns from 0 to their upper bound
  open      // native, but as continuous columns where an upper bound is missing
};

struct ColumnForm {
  int type;  // kHighsVarType...
  double lower, upper;
  double factor = 1;    // the column is `factor` times HiGHS's
  bool capped = false;  // `upper` was assumed where there is none
};

inline bool isSemi(char type) { return type == 'S' || type == 'R'; }

// `cap` is assumed as the upper bound of native columns that have none.
ColumnForm columnForm(const Model& model, int column, Semi semi, double cap);

}  // namespace tvlo::highs
