// The bound types of MPS files.
#pragma once

#include "io/draft.h"
#include "io/mps_lines.h"

namespace tvlo {

// Applies a line of section BOUNDS to a draft's column.
void applyMpsBound(Draft& draft, const MpsLines& lines, const MpsRecord& record);

}  // namespace tvlo
