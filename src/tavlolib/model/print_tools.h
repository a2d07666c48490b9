// Symbols of the node codes of nonlinear trees, for printing and for writing formulas.
#pragma once

#include <cstdint>

namespace tavlo {

struct PrintTool {
  const char* symbol;
  int32_t arity;     // 1, 2, or -1 for any number of operands
  int32_t position;  // -1 prefix, 0 infix, 1 postfix
};
const PrintTool& printTool(int32_t code);  // of a node code

}  // namespace tavlo
