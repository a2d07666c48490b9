// Problem files: MPS (free and fixed form) and LP format, plain or gzipped.
//
// Both functions throw Error; a file that can't be read leaves an empty model, one that can't be written leaves
// the target as it was. Flags are those of TVLOreadprob and TVLOwriteprob.
#pragma once

#include <string>

#include "core/model.h"

namespace tvlo {

void readProblem(Model& model, const std::string& filename, const std::string& flags);
void writeProblem(const Model& model, const std::string& filename, const std::string& flags);

}  // namespace tvlo
