// Opaque wrappers of library pointers: tavlo.generic (voidstar_) and tavlo.tvloobject. The pointer is not owned.
#pragma once

#include "runtime/env.h"

namespace tavlo {

PyObject* voidstar_new();
PyObject* voidstar_create(void* pointer);
void* voidstar_getobj(PyObject* obj);

PyObject* tvloobject_new();
PyObject* tvloobject_create(void* pointer);
void* tvloobject_getobj(PyObject* obj);
void tvloobject_setobj(PyObject* obj, void* pointer);

}  // namespace tavlo
