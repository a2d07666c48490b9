#include "runtime/env.h"

namespace {

PyTypeObject makeType() {
  PyTypeObject type = {PyVarObject_HEAD_INIT(nullptr, 0)};
  type.tp_name = "tavlo.branchobj";
  type.tp_basicsize = sizeof(PyObject);
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  type.tp_doc = "A user branching object: branches of a search node, each made of bounds and rows.";
  return type;
}

}  // namespace

PyTypeObject tavlo_branchobjType = makeType();
