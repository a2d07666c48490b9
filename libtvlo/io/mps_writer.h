// Writing MPS files. Every number is written so that it reads back exactly. Names that the form can't hold, and the
// later ones of equal names, are replaced (io/output_names.h). In fixed form, one pair stands on a line, so that a
// number of more than twelve characters can go on past column 36; this reader takes it whole, strict ones may not.
// Quadratic parts go into QUADOBJ and, for rows, QCMATRIX.
#pragma once

#include "core/model.h"
#include "io/mps_lines.h"
#include "io/output.h"

namespace tvlo {

// The model must be writable (io/write_checks.h).
void writeMps(const Model& model, MpsForm form, OutputFile& out);
// Free form, or fixed form where only that holds all names as they are.
MpsForm defaultMpsForm(const Model& model);

}  // namespace tvlo
