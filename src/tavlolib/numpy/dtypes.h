// The three NumPy element types npvar, npexpr and npconstraint. Elements are owned references; an element may hold any
// object, and null until it is set, so every reader checks both. Registered with NumPy's legacy interface, the one that
// serves every version from 1.22 on with a single build.
#pragma once

#include "model/objects.h"

namespace tavlo {

// Registers types, casts and loops and gives the modelling types their NumPy protocol; fills the three descriptors of
// the environment record. Once, after the types are ready. -1 with an exception.
int setAltNumOps();

enum class Element { number, var, expr, constraint, object };
int typeNumber(Element e);

int registerElementTypes();  // dtypes.cpp
int registerCasts();         // casts.cpp
int registerLoops();         // loops.cpp
int installProtocol();       // protocol.cpp

// Reads and writes of one element, which may be unaligned.
inline PyObject* loadElement(const void* p) {
  PyObject* o;
  __builtin_memcpy(&o, p, sizeof(PyObject*));
  return o;
}
// Puts o (a new reference, may be null) into the element and releases what it held.
inline void replaceElement(void* p, PyObject* o) {
  PyObject* old = loadElement(p);
  __builtin_memcpy(p, &o, sizeof(PyObject*));
  Py_XDECREF(old);
}

// a op b as a constraint. A number on the left is taken to the right, as the interpreter does beside its own numbers:
// the body of 3 <= x is x.
template <int op>
PyObject* relate(PyObject* a, PyObject* b) {
  constexpr int mirrored = op == Py_LE ? Py_GE : op == Py_GE ? Py_LE : op == Py_LT ? Py_GT : op == Py_GT ? Py_LT : op;
  const bool exchange = getExprTypeQuiet(a) == kConstant && getExprTypeQuiet(b) > kConstant;
  return exchange ? make_constraint(b, a, mirrored) : make_constraint(a, b, op);
}

}  // namespace tavlo
