// The record of a variable and the key by which it is ordered everywhere: its index.
#pragma once

#include <cstdint>

#include "pyutil/python.h"

struct var_s {
  PyObject_HEAD uint64_t word;  // index, bound codes, in-map flags, type: model/packed_word.h has the layout
};

namespace tavlo {

inline constexpr uint64_t kVarIndexMask = 0xfffffffffffffULL;
inline uint64_t varIndex(const var_s* v) { return v->word & kVarIndexMask; }
inline bool less_variable(const var_s* a, const var_s* b) { return varIndex(a) < varIndex(b); }

}  // namespace tavlo
