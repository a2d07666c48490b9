// vars(): many variables at once, over the product of index sets.
#pragma once

#include "pyutil/python.h"

namespace tavlo {
PyObject* tavlomod_vars(PyObject* module, PyObject* args, PyObject* kwargs);
}
