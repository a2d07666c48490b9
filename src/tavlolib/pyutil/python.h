// The one place that includes the interpreter's and NumPy's C APIs, so that every file agrees on their macros.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>
#include <structmember.h>

#define NPY_NO_DEPRECATED_API NPY_1_22_API_VERSION
#define NPY_TARGET_VERSION NPY_1_22_API_VERSION
#define PY_ARRAY_UNIQUE_SYMBOL TAVLO_OPT_ARRAY_API
#define PY_UFUNC_UNIQUE_SYMBOL TAVLO_OPT_UFUNC_API
#ifndef TAVLO_IMPORTS_NUMPY  // defined by the one file that imports the tables
#define NO_IMPORT_ARRAY
#define NO_IMPORT_UFUNC
#endif
#include <numpy/arrayobject.h>
#include <numpy/arrayscalars.h>
#include <numpy/ufuncobject.h>

namespace tavlo {

// Whether the interpreter is shutting down; a thread that asks for its lock then never gets it.
inline bool interpreterIsFinalizing() {
#if PY_VERSION_HEX >= 0x030D0000
  return Py_IsFinalizing() != 0;
#else
  return _Py_IsFinalizing() != 0;
#endif
}

}  // namespace tavlo
