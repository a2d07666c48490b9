#include "runtime/env.h"

namespace {

PyTypeObject makeType() {
  PyTypeObject type = {PyVarObject_HEAD_INIT(nullptr, 0)};
  type.tp_name = "tavlo.poolcut";
  type.tp_basicsize = sizeof(PyObject);
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  type.tp_doc = "A cut that is stored in the solver's cut pool.";
  return type;
}

}  // namespace

PyTypeObject tavlo_poolcutType = makeType();
