#include "problem/entities/convert.h"

#include "pyutil/ref.h"

namespace tavlo {
namespace {

int invalid() {
  if (!PyErr_Occurred() || PyErr_ExceptionMatches(PyExc_TypeError)) interfaceError("Invalid sequence of objects");
  return -1;
}

// The elements in a list or tuple that nobody else changes.
Ref elementsOf(PyObject* obj) {
  if (PyTuple_Check(obj)) return Ref::borrow(obj);
  if (PyList_Check(obj)) return Ref::steal(PyList_GetSlice(obj, 0, PY_SSIZE_T_MAX));
  if (PyIter_Check(obj)) return Ref::steal(PySequence_List(obj));
  if (!PySequence_Check(obj)) {
    invalid();
    return {};
  }
  return Ref::steal(PySequence_Fast(obj, "Unable to scan sequence"));
}

int entityKind(ConvKind kind) { return kind == CONV_ROW ? kRow : kColumn; }

// element(object, value) is 0, or -1 with an exception.
template <class T, class Element>
int convert(problem_s* p, int64_t* length, PyObject* obj, Array<T>* out, bool* present, Element&& element) {
  *present = obj && obj != Py_None;
  if (!*present) return 0;
  Ref elements = elementsOf(obj);
  if (!elements) return -1;
  if (checkProblemIsInitialized(p) != 0) return -1;  // code of an iterator may have released it
  const Py_ssize_t n = PySequence_Fast_GET_SIZE(elements.get());
  if (length && *length >= 0 && *length != n) {
    interfaceError("Mismatched lengths in arguments: expected %d, found %d", static_cast<int>(*length),
                   static_cast<int>(n));
    return -1;
  }
  if (!out->resize(static_cast<size_t>(n))) return -1;
  for (Py_ssize_t i = 0; i < n; ++i)
    if (element(PySequence_Fast_GET_ITEM(elements.get(), i), &(*out)[static_cast<size_t>(i)]) != 0) return -1;
  if (length) *length = n;
  return 0;
}

}  // namespace

int conv_obj2arr(problem_s* p, int64_t* length, PyObject* obj, Array<int32_t>* out, bool* present, ConvKind kind) {
  return convert(p, length, obj, out, present,
                 [&](PyObject* o, int32_t* index) { return ObjInt2int(o, p, index, entityKind(kind)); });
}

int conv_obj2arr(problem_s* p, int64_t* length, PyObject* obj, Array<double>* out, bool* present) {
  return convert(p, length, obj, out, present, [](PyObject* o, double* value) {
    *value = PyFloat_AsDouble(o);
    return *value == -1.0 && PyErr_Occurred() ? -1 : 0;
  });
}

}  // namespace tavlo
