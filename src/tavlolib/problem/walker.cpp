// The walk over nested lists, tuples, dictionaries, iterators and arrays.
#include "problem/registry.h"

namespace tavlo {
namespace {

struct Walk {
  problem_s* p;
  LeafFn fn;
  void* data;
};

PyObject* walk(const Walk& w, PyObject* obj, int depth);

bool withinDepth(int depth) {
  if (depth >= 0) return true;
  modelError("Maximum recursion (inclusion) level reached");
  return false;
}

PyObject* leaf(const Walk& w, PyObject* obj, int depth) {
  return withinDepth(depth) ? w.fn(w.p, obj, w.data) : nullptr;
}

// The list may change under the loop.
PyObject* walkList(const Walk& w, PyObject* list, int depth) {
  for (Py_ssize_t i = 0; i < PyList_GET_SIZE(list); ++i) {
    Ref item = Ref::borrow(PyList_GET_ITEM(list, i));
    if (!walk(w, item.get(), depth - 1)) return nullptr;
  }
  return list;
}

PyObject* walkTuple(const Walk& w, PyObject* tuple, int depth) {
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i)
    if (!walk(w, PyTuple_GET_ITEM(tuple, i), depth - 1)) return nullptr;
  return tuple;
}

PyObject* walkArray(const Walk& w, PyObject* obj, int depth) {
  auto* array = reinterpret_cast<PyArrayObject*>(obj);
  const int type = PyArray_TYPE(array);
  const bool objects = PyArray_ISOBJECT(array) || PyTypeNum_ISUSERDEF(type);
  const bool numbers = type == NPY_DOUBLE || type == NPY_INT || type == NPY_BYTE || type == NPY_UBYTE;
  Ref list = Ref::steal(objects || numbers ? PyObject_CallMethod(obj, "ravel", nullptr) : nullptr);
  if (list) list = Ref::steal(PyArray_ToList(reinterpret_cast<PyArrayObject*>(list.get())));
  if (!list) {
    if (!PyErr_Occurred()) modelError("Incorrect objects used in Sum, Dot, Prod, or aggregate functions");
    return nullptr;
  }
  if (objects) return walkList(w, list.get(), depth);
  for (Py_ssize_t i = 0; i < PyList_GET_SIZE(list.get()); ++i) {
    Ref number = Ref::steal(PyNumber_Float(PyList_GET_ITEM(list.get(), i)));
    if (!number || !leaf(w, number.get(), depth)) return nullptr;
  }
  return obj;
}

PyObject* walkIterator(const Walk& w, PyObject* iterator, int depth) {
  for (;;) {
    Ref item = Ref::steal(PyIter_Next(iterator));
    if (!item) return PyErr_Occurred() ? nullptr : iterator;
    if (!walk(w, item.get(), depth - 1)) return nullptr;
  }
}

PyObject* walk(const Walk& w, PyObject* obj, int depth) {
  if (!obj)
    return modelError(
        "Incorrect (nested) array/list/sequence passed. Perhaps this is a NumPy array containing a tuple?");
  if (leafType(obj) != kLeafOther) return leaf(w, obj, depth);
  const bool list = PyList_Check(obj), tuple = PyTuple_Check(obj), array = PyArray_Check(obj);
  const bool sequence = !list && !tuple && !array && PySequence_Check(obj) && !PyDict_Check(obj);
  // Sets and views of dictionaries are no iterators but can be iterated; as leaves they could only be errors.
  const bool iterable = PyIter_Check(obj) || Py_TYPE(obj)->tp_iter;
  if (!list && !tuple && !array && !sequence && !iterable) return leaf(w, obj, depth);
  if (!withinDepth(depth)) return nullptr;
  if (list) return walkList(w, obj, depth);
  if (tuple) return walkTuple(w, obj, depth);
  if (array) return walkArray(w, obj, depth);
  if (sequence) {
    Ref fast = Ref::steal(PySequence_Fast(obj, "Cannot iterate over sequence"));
    if (!fast) return nullptr;
    return PyList_Check(fast.get()) ? walkList(w, fast.get(), depth) : walkTuple(w, fast.get(), depth);
  }
  if (PyDict_Check(obj)) {
    Ref values = Ref::steal(PyDict_Values(obj));
    return values ? walkList(w, values.get(), depth) : nullptr;
  }
  Ref iterator = Ref::steal(PyObject_GetIter(obj));
  return iterator ? walkIterator(w, iterator.get(), depth) : nullptr;
}

}  // namespace

PyObject* forEachLeaf(problem_s* p, PyObject* obj, LeafFn fn, void* data, int depth) {
  return walk({p, fn, data}, obj, depth);
}

int leafType(PyObject* o) {
  if (var_Check(o)) return kLeafVar;
  if (constraint_Check(o)) return kLeafConstraint;
  if (sos_Check(o)) return kLeafSos;
  if (expression_Check(o) || linterm_Check(o) || quadterm_Check(o) || nonlinear_Check(o)) return kLeafExpression;
  return PyUnicode_Check(o) || PyBytes_Check(o) ? kLeafString : kLeafOther;
}

}  // namespace tavlo
