// The connected blocks of a quadratic form's matrix: two columns are in one block where entries lead from one to the
// other.
#pragma once

#include <vector>

#include "core/quadratic.h"

namespace tvlo {

// In numbers of its own.
struct Block {
  std::vector<int> columns;  // ascending
  std::vector<double> diagonal;
  std::vector<QuadraticEntry> off;
  int size() const { return static_cast<int>(columns.size()); }
};

std::vector<Block> blocksOf(const QuadraticForm& form);

}  // namespace tvlo
