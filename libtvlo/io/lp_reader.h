// Reading the LP format. The conventions where LP files differ:
// - Columns come in the order in which the file first names them. A lower bound that the file does not give is 0,
//   also where the upper one is negative.
// - Both sides of a row may hold columns and constants; a column that comes twice counts with the sum. A row whose
//   right-hand side is infinite is free (type N). "name: >= 2" sets the other end of the row that has that name; where
//   there is none yet, it is a row without columns.
// - Quadratic terms stand in [ ... ], in which x^2, x ^ 2, x * y and x y are products; / 2 after it, which is usual in
//   the objective, halves all of them, and without it they count as they are.
// - The right-hand side goes on in the next line where the line ends with an operator, or where the next one starts
//   with a sign and holds no relation of its own.
// - Integer columns are [0, infinity) by default; binary ones are cut to [0, 1]; the lower bound of a semi-continuous
//   column, if given and not negative, is its limit; one that is integer too is semi-integer.
// - The file ends with End; what follows is not read.
#pragma once

#include "io/draft.h"

namespace tvlo {

Draft readLp(const FileText& file);

}  // namespace tvlo
