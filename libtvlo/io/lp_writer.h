// Writing the LP format. Rows with a range are written with both ends, so a range that rounding spoils reads back as
// the same ends, nearly always to the last bit. Where the columns would come in another order when the file is read,
// the objective lists all of them, with 0 where needed. Free rows are written as >= -inf. Names that the format can't
// hold, and the later ones of equal names, are replaced (io/output_names.h).
#pragma once

#include "core/model.h"
#include "io/output.h"

namespace tvlo {

// The model must be writable in LP format (io/write_checks.h).
void writeLp(const Model& model, OutputFile& out);

}  // namespace tvlo
