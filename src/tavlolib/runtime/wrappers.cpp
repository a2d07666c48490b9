#include "runtime/wrappers.h"

namespace {

struct wrapper_s {
  PyObject_HEAD void* pointer;
};

PyObject* create(PyTypeObject& type, void* pointer) {
  PyObject* obj = type.tp_alloc(&type, 0);
  if (obj) reinterpret_cast<wrapper_s*>(obj)->pointer = pointer;
  return obj;
}

void dealloc(PyObject* self) { Py_TYPE(self)->tp_free(self); }

PyTypeObject wrapperType(const char* name, const char* doc) {
  PyTypeObject type = {PyVarObject_HEAD_INIT(nullptr, 0)};
  type.tp_name = name;
  type.tp_basicsize = sizeof(wrapper_s);
  type.tp_dealloc = dealloc;
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  type.tp_doc = doc;
  return type;
}

}  // namespace

PyTypeObject tavlo_genericType = wrapperType(
    "tavlo.generic", "Internal class for unspecified objects of the optimizer library. Users cannot create one.");
PyTypeObject tavlo_tvloobjectType =
    wrapperType("tavlo.tvloobject",
                "Internal class for library objects used within an optimization problem. Users cannot declare one.");

namespace tavlo {

PyObject* voidstar_new() { return create(tavlo_genericType, nullptr); }
PyObject* voidstar_create(void* pointer) { return create(tavlo_genericType, pointer); }
void* voidstar_getobj(PyObject* obj) { return reinterpret_cast<wrapper_s*>(obj)->pointer; }

PyObject* tvloobject_new() { return create(tavlo_tvloobjectType, nullptr); }
PyObject* tvloobject_create(void* pointer) { return create(tavlo_tvloobjectType, pointer); }
void* tvloobject_getobj(PyObject* obj) { return reinterpret_cast<wrapper_s*>(obj)->pointer; }
void tvloobject_setobj(PyObject* obj, void* pointer) { reinterpret_cast<wrapper_s*>(obj)->pointer = pointer; }

}  // namespace tavlo
