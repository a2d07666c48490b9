// Powers of two by which rows and columns go over to HiGHS, undone in every answer: where it would drop coefficients
// that count, and where an answer without them did not stand.
#pragma once

#include "core/model.h"

namespace tvlo::highs {

inline constexpr double kSmallest = 1e-9;    // coefficient that HiGHS keeps by default
inline constexpr double kLeastKept = 1e-12;  // that it can be told to keep

// Whether any coefficient of the rows from `first` on is below what HiGHS keeps.
bool hasSmall(const SparseMatrix& rows, int first);

// Whether one of those can change a row's activity by more than its tolerance, within the columns' bounds.
bool losesByDropping(const Model& model);

// Finds factors of the rows, and improves those of the columns that are `free`, such that coefficients come near 1;
// `matrix` is by rows, with the factors that `column` has already applied, and is scaled. No column's bounds leave what
// counts as finite. Returns the smallest absolute value of a coefficient then.
double scale(SparseMatrix& matrix, const Model& model, const std::vector<bool>& free, std::vector<double>& row,
             std::vector<double>& column);

}  // namespace tvlo::highs
