#include "bindings/convert.h"

#include "pyutil/ref.h"

namespace tavlo {

bool conv_obj2arr(problem_s* p, PyObject* obj, int kind, std::vector<int>* out) {
  const bool iterable = !PyDict_Check(obj) && (PySequence_Check(obj) || PyIter_Check(obj));
  Ref items = Ref::steal(iterable ? PySequence_List(obj) : nullptr);
  if (!items) {
    if (!PyErr_Occurred()) interfaceError("Invalid sequence of objects");
    return false;
  }
  if (checkProblemIsInitialized(p) != 0) return false;  // an iterator may have released it
  const Py_ssize_t n = PyList_GET_SIZE(items.get());
  out->resize(static_cast<size_t>(n));
  for (Py_ssize_t i = 0; i < n; ++i)
    if (ObjInt2int(PyList_GET_ITEM(items.get(), i), p, &(*out)[static_cast<size_t>(i)], kind) != 0) return false;
  return true;
}

}  // namespace tavlo
