// Problem files.
#pragma once

#include <string>

#include "core/model.h"

namespace tvlo {

// Both throw Error. Flags are those of TVLOreadprob and TVLOwriteprob.
void readProblem(Model& model, const std::string& filename, const std::string& flags);
void writeProblem(const Model& model, const std::string& filename, const std::string& flags);

}  // namespace tvlo
