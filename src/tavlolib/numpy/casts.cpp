// Casts between the element types and NumPy's object type, and from numbers to npexpr.
#include "numpy/dtypes.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

// The destination may hold live objects.
void castReferences(void* from, void* to, npy_intp n, void*, void*) {
  GilHeld lock;
  PyObject **s = static_cast<PyObject**>(from), **d = static_cast<PyObject**>(to);
  for (npy_intp i = 0; i < n; ++i) {
    PyObject* o = loadElement(s + i);
    Py_XINCREF(o);
    replaceElement(d + i, o);
  }
}

// Numbers become Python numbers in the element. Needed by reductions on NumPy 1.22; also gives np.ones(n, npexpr) and
// e[:] = numbers. Not marked safe, so that no mixed operation is resolved through it.
void castNumbers(void* from, void* to, npy_intp n, void* fromArray, void*) {
  GilHeld lock;
  auto* array = static_cast<PyArrayObject*>(fromArray);
  const npy_intp size = PyDataType_ELSIZE(PyArray_DESCR(array));
  char *s = static_cast<char*>(from), *d = static_cast<char*>(to);
  for (npy_intp i = 0; i < n; ++i, s += size, d += sizeof(PyObject*)) {
    PyObject* o = PyArray_GETITEM(array, s);
    if (!o) return;
    replaceElement(d, o);
  }
}

}  // namespace

int registerCasts() {
  for (int t = NPY_BOOL; t <= NPY_HALF; t = t == NPY_LONGDOUBLE ? NPY_HALF : t + 1) {
    Ref d = Ref::steal(reinterpret_cast<PyObject*>(PyArray_DescrFromType(t)));
    if (!d ||
        PyArray_RegisterCastFunc(reinterpret_cast<PyArray_Descr*>(d.get()), typeNumber(Element::expr), castNumbers) < 0)
      return -1;
  }
  for (Element from : {Element::var, Element::expr, Element::object})
    for (Element to : {Element::var, Element::expr, Element::object}) {
      if (from == to) continue;
      Ref d = Ref::steal(reinterpret_cast<PyObject*>(PyArray_DescrFromType(typeNumber(from))));
      if (!d) return -1;
      auto* descr = reinterpret_cast<PyArray_Descr*>(d.get());
      if (PyArray_RegisterCastFunc(descr, typeNumber(to), castReferences) < 0 ||
          PyArray_RegisterCanCast(descr, typeNumber(to), NPY_NOSCALAR) < 0)
        return -1;
    }
  return 0;
}

}  // namespace tavlo
