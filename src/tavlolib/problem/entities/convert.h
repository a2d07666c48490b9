// Python iterables to native arrays.
#pragma once

#include <cstdint>

#include "problem/problem.h"
#include "pyutil/array.h"

namespace tavlo {

enum ConvKind { CONV_ROW, CONV_COL };

// Converts a list, tuple, iterator or other sequence. *length, when length is not null, is -1 as long as it is not
// known; the first array sets it and later ones must match it. None or null is an absent array: *present tells.
// The elements are collected first, so that code of an iterator can't change what was converted before.
// 0, or -1 with an exception.
int conv_obj2arr(problem_s* p, int64_t* length, PyObject* obj, Array<int32_t>* out, bool* present, ConvKind kind);
int conv_obj2arr(problem_s* p, int64_t* length, PyObject* obj, Array<double>* out, bool* present);

}  // namespace tavlo
