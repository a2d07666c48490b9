// The node type of nonlinear trees, and the one refusal of everything that would need such a node.
#include "model/arithmetic.h"
#include "model/text.h"
#include "module/errors.h"

namespace tavlo {

namespace {

void nonlin_dealloc(PyObject* self) {
  Py_XDECREF(reinterpret_cast<nonlinear_s*>(self)->args);
  Py_TYPE(self)->tp_free(self);
}

PyTypeObject nonlinearType() {
  PyTypeObject t = {PyVarObject_HEAD_INIT(nullptr, 0)};
  t.tp_name = "tavlo.nonlinear";
  t.tp_basicsize = sizeof(nonlinear_s);
  t.tp_dealloc = nonlin_dealloc;
  t.tp_repr = t.tp_str = modelling_str;
  t.tp_as_number = &nonlinearNumbers;
  t.tp_richcompare = modelling_richcompare;
  t.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  t.tp_doc = "Internal class for nonlinear expressions; users cannot create one.";
  return t;
}

}  // namespace

PyObject* nonlinearUnsupported() { return modelError("Nonlinear expressions are not supported yet"); }

}  // namespace tavlo

PyTypeObject tavlo_nonlinearType = tavlo::nonlinearType();
