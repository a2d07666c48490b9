// From Python iterables to the native arrays that the library takes.
#pragma once

#include <vector>

#include "problem/problem.h"

namespace tavlo {

// The indices of an iterable of objects, names and integers of one kind (ObjInt2int). All items are fetched before the
// first is resolved, so that no user code runs in between. False with an exception: InterfaceError "Invalid sequence of
// objects" for what can't be iterated. Throws std::bad_alloc.
bool conv_obj2arr(problem_s* p, PyObject* obj, int kind, std::vector<int>* out);

}  // namespace tavlo
