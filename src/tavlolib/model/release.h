// Releasing what an object holds without running out of C stack: a name, a body or a list may be any object, so also
// the head of a long chain of objects that release one another. Needs the interpreter lock.
#pragma once

#include "pyutil/python.h"

namespace tavlo {

// Gives up a reference (may be null). Beyond some depth of releases within releases it waits until those have ended.
void releaseChained(PyObject* o) noexcept;

}  // namespace tavlo
