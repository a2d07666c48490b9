// delVariable and delConstraint.
#include <algorithm>

#include "bindings/convert.h"
#include "problem/methods.h"
#include "problem/registry.h"
#include "pyutil/guard.h"

namespace tavlo {
namespace {

// The indices that first and last ask for; false with ModelError.
bool rangeOfArguments(Py_ssize_t length, PyObject* index, int first, int last, std::vector<int>* out) {
  const char* problem = nullptr;
  if (index)
    problem = "Parameters 'first' and 'last' cannot be specified if 'index' is also specified";
  else if (first < 0 || last < 0)
    problem = "Parameters 'first' and 'last' must be both nonnegative when specified";
  else if (first >= length || last >= length)
    problem = "Parameters 'first' or 'last' are out of range";
  else if (first > last)
    problem = "Parameter 'first' must be less than, or equal to, 'last'";
  if (problem) return modelError("%s", problem) != nullptr;
  for (int i = first; i <= last; ++i) out->push_back(i);
  return true;
}

// Ascending, without repetitions, all of objects that are there; false with ModelError.
bool readIndices(problem_s* p, EntityKind kind, PyObject* args, PyObject* kwargs, std::vector<int>* out) {
  static const char* const names[] = {"index", "first", "last", nullptr};
  PyObject* index = nullptr;
  int first = -1, last = -1;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "|Oii", names, nullptr, &index, &first, &last)) return false;
  const Registry r = registryOf(p, kind);
  if (first >= 0 || last >= 0) return rangeOfArguments(PyList_GET_SIZE(*r.list), index, first, last, out);
  if (!index) return modelError("At least one parameter must be specified") != nullptr;
  int64_t number;
  if ((isSignedInteger(index, &number) && number >= 0) || PyObject_TypeCheck(index, r.type)) {
    out->resize(1);
    if (ObjInt2int(index, p, out->data(), kind) != 0) return false;
  } else if (!conv_obj2arr(p, index, kind, out)) {
    return false;
  }
  for (int i : *out)
    if (i < 0 || i >= PyList_GET_SIZE(*r.list)) return modelError("Index out of bounds") != nullptr;
  std::sort(out->begin(), out->end());
  out->erase(std::unique(out->begin(), out->end()), out->end());
  return true;
}

PyObject* deleteObjects(problem_s* p, EntityKind kind, const std::vector<int>& indices) {
  const Registry r = registryOf(p, kind);
  const Py_ssize_t n = PyList_GET_SIZE(*r.list), gone = static_cast<Py_ssize_t>(indices.size());
  // What can fail comes first: the list of those that stay, and the solver.
  Ref rest = Ref::steal(PyList_New(n - gone));
  if (!rest) return nullptr;
  const int failed = kind == kRow ? TVLOdelrows(p->prob, static_cast<int>(gone), indices.data())
                                  : TVLOdelcols(p->prob, static_cast<int>(gone), indices.data());
  if (failed) return libraryError(p);
  size_t next = 0;
  Py_ssize_t to = 0;
  for (Py_ssize_t i = 0; i < n; ++i) {
    PyObject* object = PyList_GET_ITEM(*r.list, i);
    if (next < indices.size() && indices[next] == i) {
      ++next;
      rowcolmap_del(*r.map, r.key(object));
      continue;
    }
    if (next > 0) rowcolmap_set(*r.map, r.key(object), to);  // present already: needs no memory
    PyList_SET_ITEM(rest.get(), to++, newRef(object));
  }
  Ref old = Ref::steal(std::exchange(*r.list, rest.release()));  // may run code when it goes; all is in step by then
  return newRef(Py_None);
}

PyObject* problem_delObjects(PyObject* self, PyObject* args, PyObject* kwargs, EntityKind kind) {
  auto* p = reinterpret_cast<problem_s*>(self);
  return guarded([&]() -> PyObject* {
    std::vector<int> indices;
    if (checkProblemIsInitialized(p) != 0 || !readIndices(p, kind, args, kwargs, &indices)) return nullptr;
    return indices.empty() ? newRef(Py_None) : deleteObjects(p, kind, indices);
  });
}

}  // namespace

PyObject* problem_delVariable(PyObject* self, PyObject* args, PyObject* kwargs) {
  return problem_delObjects(self, args, kwargs, kColumn);
}
PyObject* problem_delConstraint(PyObject* self, PyObject* args, PyObject* kwargs) {
  return problem_delObjects(self, args, kwargs, kRow);
}

}  // namespace tavlo
