// Names of variables that were created together: a prefix and the indices, as in x(3,left). One record serves the whole
// block and the name is made when it is asked for, so a million named variables cost as much memory as unnamed ones.
// A record lives until the last variable that may ask for it is gone. Needs the interpreter lock.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pyutil/python.h"

namespace tavlo {

size_t characters(const std::string& utf8);

struct NameDimension {
  uint64_t count;
  std::vector<std::string> texts;  // one for each index; empty: the numbers 0 to count - 1
};

// Variables first to first + count - 1, over the product of the dimensions, the last one fastest.
struct NameBlock {
  uint64_t first, count;
  std::string prefix;
  std::vector<NameDimension> dimensions;
  uint64_t users = 1;  // variables of the block that live, and whoever is making them

  size_t longestName() const;  // in characters
  std::string name(uint64_t index) const;
};

NameBlock* addNameBlock(NameBlock block);        // throws std::bad_alloc; the caller is its first user
PyObject* blockName(uint64_t index);             // new reference; null without an exception when there is no such block
void releaseBlockName(uint64_t index) noexcept;  // a user of its block is gone; nothing when it is of no block

}  // namespace tavlo
