// How both sides of a row stand in the sections RHS and RANGES, which know one of them and a width.
//
// A width is read in more digits than a double holds, and so is the other side computed from it. So every pair of
// sides has a width that gives both back to the last bit: a double's where one does, for other readers' sake.
#pragma once

#include <string>
#include <string_view>

#include "core/model.h"

namespace tvlo {

// The other side of a row, above (or below) the one that RHS gives; `width` is a number, its sign does not count.
double mpsRangeEnd(double side, std::string_view width, bool above);

struct MpsRange {
  char type;  // L or G
  double rhs;
  std::string width;
};
MpsRange mpsRange(const Model& model, int row);  // of an R row; no width when its lower side is free

}  // namespace tvlo
