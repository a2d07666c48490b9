// Reading MPS files. The conventions where MPS files differ:
// - The first N row is the objective, or the one that section OBJNAME names; further N rows stay as free rows.
// - The right-hand side of the objective is minus its constant.
// - RHS, RANGES and BOUNDS may hold several sets: the first one counts. The name of the set may be left out.
// - An integer column (between markers) without any bound is binary; any bound makes its others 0 and infinity.
// - UP with a negative value makes a lower bound that is 0 by default minus infinity.
// - SC and SI make a column semi-continuous or semi-integer with that upper bound, 0 or none being infinity; its
//   lower bound, if the file gives one that is not negative, is its limit. PI makes a column partially integer with
//   that limit.
// - A range R on an E row with right-hand side b is [b, b + R] for R >= 0 and [b + R, b] otherwise.
// - Quadratic sections: see io/mps_quadratic.h. They may come anywhere after COLUMNS.
// - Names of sections, senses and types may be in lower case. OBJSENSE has its word on its own or on the next line.
// - What follows ENDATA is not read.
#pragma once

#include "io/draft.h"
#include "io/mps_lines.h"

namespace tvlo {

Draft readMps(const FileText& file, MpsForm form);
// In the form that the file is in: free form unless that fails. When both do, the error that comes later counts.
Draft readMps(const FileText& file);

}  // namespace tvlo
