// Dot(): products of arrays of numbers, variables and expressions, contracting the last axis of the left factor with
// the second-to-last of the right one, or its only one. Functions return a new reference, or null with an exception.
#pragma once

#include "pyutil/python.h"

namespace tavlo {

PyObject* tavlomod_Dot(PyObject* module, PyObject* args, PyObject* kwargs);
// The product; `right` itself when left is None. `out`: None, or the array that receives it.
PyObject* tensor_mult(PyObject* left, PyObject* right, PyObject* out);

}  // namespace tavlo
