// Values of a problem's attributes. Unknown ids and wrong types throw Error.
#pragma once

#include <cstdint>
#include <string>

#include "core/problem.h"

namespace tvlo {

int64_t intAttribute(const Problem& problem, int id);
double doubleAttribute(const Problem& problem, int id);
std::string stringAttribute(const Problem& problem, int id);

int nameUnits(const Model& model);  // length of the longest row or column name, in units of 8 bytes rounded up

// For the 32-bit getters.
int narrowed(int64_t value, int id);

}  // namespace tvlo
