// What the garbage collector is told of objects that a container of ours holds. Variables, terms and expressions have
// no header of the collector, which would cost them 16 bytes each: where the container is the only one to hold such an
// object, its variables count as held by the container. Needs the interpreter lock.
#pragma once

#include "model/objects.h"

namespace tavlo {

// Whether a reference to o can be part of a cycle. Exact types only hold exact types as long as no subclass of a
// variable has had an instance.
bool mayCloseCycle(PyObject* o);
void noteSubclassedVariable();

// As Py_VISIT for o (may be null), and for the variables that only o holds, directly or in terms and expressions that
// are members of o. For tp_traverse.
int visitHeld(PyObject* o, visitproc visit, void* arg);

}  // namespace tavlo
