// The walker over nested aggregates. It runs Python code of iterators and sequences, so it holds what it looks at.
#include "model/objects.h"
#include "problem/problem.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

constexpr char kBadObjects[] = "Incorrect objects used in Sum, Dot, Prod, or aggregate functions";

struct Walk {
  problem_s* p;
  LeafFn fn;
  void* data;
};

PyObject* walk(const Walk& w, PyObject* obj, int depth);

bool isModellingType(PyTypeObject* type) {
  return type == &tavlo_varType || type == &tavlo_constraintType || type == &tavlo_expressionType ||
         type == &tavlo_lintermType || type == &tavlo_quadtermType || type == &tavlo_nonlinearType;
}

bool isText(PyObject* obj) { return PyUnicode_Check(obj) || PyBytes_Check(obj); }

// Everything that is never opened, whatever protocols a subclass of it adds.
bool isPlainLeaf(PyObject* obj) {
  return isModellingType(Py_TYPE(obj)) || isText(obj) || PyFloat_Check(obj) || PyLong_Check(obj) ||
         PyArray_IsScalar(obj, Generic) || constraint_Check(obj) || sos_Check(obj) || getExprTypeQuiet(obj) != kInvalid;
}

PyObject* walkList(const Walk& w, PyObject* list, int depth) {
  for (Py_ssize_t i = 0; i < PyList_GET_SIZE(list); ++i) {  // which may change under the loop
    Ref item = Ref::borrow(PyList_GET_ITEM(list, i));
    if (!walk(w, item.get(), depth - 1)) return nullptr;
  }
  return Py_None;
}

PyObject* walkTuple(const Walk& w, PyObject* tuple, int depth) {
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i)
    if (!walk(w, PyTuple_GET_ITEM(tuple, i), depth - 1)) return nullptr;
  return Py_None;
}

PyObject* walkIterator(const Walk& w, PyObject* iterator, int depth) {
  const iternextfunc next = Py_TYPE(iterator)->tp_iternext;
  for (;;) {
    Ref item = Ref::steal(next(iterator));
    if (!item) break;
    if (!walk(w, item.get(), depth - 1)) return nullptr;
  }
  if (!PyErr_Occurred()) return Py_None;
  if (!PyErr_ExceptionMatches(PyExc_StopIteration)) return nullptr;
  PyErr_Clear();
  return Py_None;
}

PyObject* walkArray(const Walk& w, PyArrayObject* array, int depth) {
  if (PyArray_SIZE(array) == 1) {
    Ref item = Ref::steal(PyArray_GETITEM(array, static_cast<char*>(PyArray_DATA(array))));
    return item ? walk(w, item.get(), depth - 1) : nullptr;
  }
  const int type = PyArray_TYPE(array);
  const bool numeric = type == NPY_DOUBLE || type == NPY_INT || type == NPY_BYTE;
  if (!numeric && type != NPY_OBJECT && !isModellingType(PyArray_DESCR(array)->typeobj)) return modelError(kBadObjects);
  // A copy of the elements: the array may change under the loop.
  Ref flat = Ref::steal(PyArray_Flatten(array, NPY_CORDER));
  if (flat && numeric)
    flat = Ref::steal(
        PyArray_CastToType(reinterpret_cast<PyArrayObject*>(flat.get()), PyArray_DescrFromType(NPY_DOUBLE), 0));
  Ref list = Ref::steal(flat ? PyArray_ToList(reinterpret_cast<PyArrayObject*>(flat.get())) : nullptr);
  return list ? walkList(w, list.get(), depth) : nullptr;
}

// A sequence, dictionary, iterator or other iterable.
PyObject* walkOther(const Walk& w, PyObject* obj, int depth) {
  if (PySequence_Check(obj)) {
    Ref fast = Ref::steal(PySequence_Fast(obj, "Cannot iterate over sequence"));
    if (!fast) return nullptr;
    return PyList_Check(fast.get()) ? walkList(w, fast.get(), depth) : walkTuple(w, fast.get(), depth);
  }
  if (PyDict_Check(obj)) {
    Ref values = Ref::steal(PyDict_Values(obj));
    return values ? walkList(w, values.get(), depth) : nullptr;
  }
  Ref iterator = PyIter_Check(obj) ? Ref::borrow(obj) : Ref::steal(PyObject_GetIter(obj));
  return iterator ? walkIterator(w, iterator.get(), depth) : nullptr;
}

PyObject* walk(const Walk& w, PyObject* obj, int depth) {
  if (!obj)
    return modelError(
        "Incorrect (nested) array/list/sequence passed. Perhaps this is a NumPy array containing a tuple?");
  if (depth < 0) return modelError("Maximum recursion (inclusion) level reached");
  PyTypeObject* type = Py_TYPE(obj);
  if (isModellingType(type)) return w.fn(w.p, obj, w.data);
  if (PyList_Check(obj)) return walkList(w, obj, depth);
  if (PyTuple_Check(obj)) return walkTuple(w, obj, depth);
  if (PyArray_Check(obj)) return walkArray(w, reinterpret_cast<PyArrayObject*>(obj), depth);
  return isAggregate(obj) ? walkOther(w, obj, depth) : w.fn(w.p, obj, w.data);
}

}  // namespace

bool isAggregate(PyObject* obj) {
  return !isPlainLeaf(obj) && (PySequence_Check(obj) || PyDict_Check(obj) || PyIter_Check(obj) ||
                               Py_TYPE(obj)->tp_iter || PyArray_Check(obj));
}

PyObject* forEachLeaf(problem_s* p, PyObject* obj, LeafFn fn, void* data, int depth) {
  return walk({p, fn, data}, obj, depth);
}

int leafType(PyObject* leaf) {
  if (var_Check(leaf)) return kLeafVar;
  if (constraint_Check(leaf)) return kLeafConstraint;
  if (sos_Check(leaf)) return kLeafSos;
  if (expression_Check(leaf) || linterm_Check(leaf) || quadterm_Check(leaf) || nonlinear_Check(leaf))
    return kLeafExpression;
  return isText(leaf) ? kLeafString : kLeafOther;
}

}  // namespace tavlo
