// getVariable, getConstraint, getSOS and getIndex.
#include "problem/methods.h"
#include "problem/registry.h"
#include "pyutil/guard.h"

namespace tavlo {
namespace {

PyObject* slice(PyObject* list, Py_ssize_t first, Py_ssize_t last) { return PyList_GetSlice(list, first, last + 1); }

PyObject* itemAt(PyObject* list, int64_t i) {
  PyObject* item = PyList_GetItem(list, static_cast<Py_ssize_t>(i));
  return item ? newRef(item) : nullptr;
}

PyObject* getRange(PyObject* list, PyObject* index, int first, int last) {
  const Py_ssize_t n = PyList_GET_SIZE(list);
  if (index) return modelError("Parameters 'first' and 'last' cannot be specified if 'index' is also specified");
  if (first < 0 || last < 0) return modelError("Parameters 'first' and 'last' must be both nonnegative when specified");
  if (first >= n || last >= n) return modelError("Parameters 'first' and 'last' are out of range");
  if (first > last) return modelError("Parameter 'first' must be less than, or equal to, 'last'");
  return slice(list, first, last);
}

PyObject* problem_getObjects(PyObject* self, PyObject* args, PyObject* kwargs, EntityKind kind) {
  static const char* const names[] = {"index", "first", "last", nullptr};
  auto* p = reinterpret_cast<problem_s*>(self);
  PyObject* index = nullptr;
  int first = -1, last = -1;
  if (checkProblemIsInitialized(p) != 0 ||
      !ko_ParseTupleAndKeywords(args, kwargs, "|Oii", names, nullptr, &index, &first, &last))
    return nullptr;
  PyObject** list = registryOf(p, kind).list;
  if (first != -1 || last != -1) return getRange(*list, index, first, last);
  if (!index) return slice(*list, 0, PyList_GET_SIZE(*list) - 1);
  int64_t number;
  if (isSignedInteger(index, &number)) return itemAt(*list, number);
  return guarded([&]() -> PyObject* {
    Leaves leaves;
    if (!leaves.collect(p, index) || checkProblemIsInitialized(p) != 0) return nullptr;
    Ref result = Ref::steal(PyList_New(static_cast<Py_ssize_t>(leaves.size())));
    for (size_t i = 0; result && i < leaves.size(); ++i) {
      if (!isSignedInteger(leaves[i], &number)) return modelError("Error in index list(s): must contain only integers");
      PyObject* item = itemAt(*list, number);
      if (!item) return nullptr;
      PyList_SET_ITEM(result.get(), static_cast<Py_ssize_t>(i), item);
    }
    return result.release();
  });
}

}  // namespace

PyObject* problem_getVariable(PyObject* self, PyObject* args, PyObject* kwargs) {
  return problem_getObjects(self, args, kwargs, kColumn);
}
PyObject* problem_getConstraint(PyObject* self, PyObject* args, PyObject* kwargs) {
  return problem_getObjects(self, args, kwargs, kRow);
}
PyObject* problem_getSOS(PyObject* self, PyObject* args, PyObject* kwargs) {
  return problem_getObjects(self, args, kwargs, kSet);
}

PyObject* problem_getIndex(PyObject* self, PyObject* object) {
  auto* p = reinterpret_cast<problem_s*>(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  for (EntityKind kind : {kColumn, kRow, kSet}) {
    const Registry r = registryOf(p, kind);
    int64_t index;
    if (PyObject_TypeCheck(object, r.type) && rowcolmap_get(*r.map, r.key(object), &index) == 0)
      return PyLong_FromLongLong(index);
  }
  return modelError("Incorrect object(s) passed: need variable, constraint, or SOS");
}

}  // namespace tavlo
