// What attributes and controls share with other parts of the C interface.
#pragma once

#include <cstdint>

#include "core/model.h"

namespace tvlo {

int nameUnits(const Model& model);  // length of the longest row or column name, in units of 8 bytes rounded up

// For the 32-bit getters.
int narrowed(int64_t value, int id);

}  // namespace tvlo
