// getVariable, getConstraint, getSOS and getIndex.
#include "model/objects.h"
#include "problem/problem.h"
#include "pyutil/array.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

problem_s* self_(PyObject* o) { return reinterpret_cast<problem_s*>(o); }

struct Numbers {
  Array<int64_t> at;
  size_t n = 0;
};

PyObject* collectNumber(problem_s*, PyObject* leaf, void* data) {
  auto* numbers = static_cast<Numbers*>(data);
  int64_t number = 0;
  if (!isSignedInteger(leaf, &number)) return modelError("Error in index list(s): must contain only integers");
  if (!numbers->at.reserve(numbers->n + 1)) return nullptr;
  numbers->at[numbers->n++] = number;
  return Py_None;
}

using Kind = Entries Registry::*;

// The object at a position, or null with the interpreter's IndexError.
PyObject* itemOf(const Entries& entries, int64_t position) {
  if (position >= 0 && position < entries.size()) return newRef(entries.at(position));
  PyErr_SetString(PyExc_IndexError, "list index out of range");
  return nullptr;
}

PyObject* itemsOf(problem_s* p, Kind kind, PyObject* index) {
  Numbers numbers;
  const uint64_t epoch = (p->registry().*kind).epoch();
  if (!forEachLeaf(p, index, collectNumber, &numbers, kWalkDepth)) return nullptr;
  Ref result = Ref::steal(PyList_New(0));
  if (!result || checkProblemIsInitialized(p) != 0) return nullptr;  // the walk may have released it
  const auto held = BasicRef<registry_s>::borrow(p->shared);         // as garbage collections may run code
  const Entries& entries = held->body.*kind;
  if (epoch != entries.epoch()) return modelError("The problem was changed while its objects were being listed");
  for (size_t i = 0; i < numbers.n; ++i) {
    Ref item = Ref::steal(itemOf(entries, numbers.at[i]));
    if (!item || PyList_Append(result.get(), item.get()) != 0) return nullptr;
  }
  return result.release();
}

PyObject* rangeOf(const Entries& entries, PyObject* index, int first, int last) {
  if (index) return modelError("Parameters 'first' and 'last' cannot be specified if 'index' is also specified");
  if (first < 0 || last < 0) return modelError("Parameters 'first' and 'last' must be both nonnegative when specified");
  if (first >= entries.size() || last >= entries.size())
    return modelError("Parameters 'first' and 'last' are out of range");
  if (first > last) return modelError("Parameter 'first' must be less than, or equal to, 'last'");
  return entries.list(first, int64_t{last} - first + 1).release();
}

PyObject* problem_getObjects(PyObject* self, PyObject* args, PyObject* kwargs, Kind kind) {
  problem_s* p = self_(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  static constexpr const char* kNames[] = {"index", "first", "last", nullptr};
  PyObject* index = nullptr;
  int first = -1, last = -1;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "|Oii", kNames, nullptr, &index, &first, &last)) return nullptr;
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  const auto held = BasicRef<registry_s>::borrow(p->shared);  // as garbage collections may run code
  const Entries& entries = held->body.*kind;
  if (first != -1 || last != -1) return rangeOf(entries, index, first, last);
  if (!index) return entries.list(0, entries.size()).release();
  int64_t number = 0;
  return isSignedInteger(index, &number) ? itemOf(entries, number) : itemsOf(p, kind, index);
}

PyObject* problem_getVariable(PyObject* self, PyObject* args, PyObject* kwargs) {
  return problem_getObjects(self, args, kwargs, &Registry::vars);
}
PyObject* problem_getConstraint(PyObject* self, PyObject* args, PyObject* kwargs) {
  return problem_getObjects(self, args, kwargs, &Registry::cons);
}

PyObject* problem_getSOS(PyObject* self, PyObject* args, PyObject* kwargs) {
  return problem_getObjects(self, args, kwargs, &Registry::sets);
}

PyObject* problem_getIndex(PyObject* self, PyObject* obj) {
  problem_s* p = self_(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  const Registry& registry = p->registry();
  const int64_t index = var_Check(obj)          ? columnOf(p, reinterpret_cast<var_s*>(obj))
                        : constraint_Check(obj) ? registry.cons.find(conIndex(reinterpret_cast<constraint_s*>(obj)))
                        : sos_Check(obj)        ? registry.sets.find(reinterpret_cast<sos_s*>(obj)->index)
                                                : -1;
  return index >= 0 ? PyLong_FromLongLong(index)
                    : modelError("Incorrect object(s) passed: need variable, constraint, or SOS");
}

#define TAVLO_QUERY_DOC(method, one, many, related)                                                                 \
  method                                                                                                            \
      "($self, /, index=..., first=-1, last=-1)\n--\n\n"                                                            \
      "Purpose:\n  " many                                                                                           \
      " of the problem, by number.\n\n"                                                                             \
      "Synopsis:\n  " one " = p." method                                                                            \
      "(index)\n"                                                                                                   \
      "  all = p." method "()\n  some = p." method                                                                  \
      "(first=0, last=9)\n\n"                                                                                       \
      "Arguments:\n"                                                                                                \
      "  index         A number, or an aggregate of numbers, for which a list is returned.\n"                       \
      "  first, last   Instead of index: the first and the last number of a range, for which a list is returned.\n" \
      "\nExample:\n  p." method "(0)\n  p." method                                                                  \
      "([2, 0])\n\n"                                                                                                \
      "Related topics:\n  problem.getIndex, problem." related "\n"

constexpr char kGetVariableDoc[] = TAVLO_QUERY_DOC("getVariable", "x", "Variables", "addVariable");
constexpr char kGetConstraintDoc[] = TAVLO_QUERY_DOC("getConstraint", "c", "Constraints", "addConstraint");
constexpr char kGetSOSDoc[] = TAVLO_QUERY_DOC("getSOS", "s", "Special ordered sets", "getIndex");
#undef TAVLO_QUERY_DOC

PyDoc_STRVAR(kGetIndexDoc, R"(getIndex($self, obj, /)
--

Purpose:
  Number of a variable or constraint in the problem: its column or row.

Synopsis:
  i = p.getIndex(obj)

Arguments:
  obj   A variable or constraint of the problem.

Further information:
  Numbers change when objects before it are deleted.

Related topics:
  problem.getVariable, problem.getConstraint
)");

}  // namespace

const PyMethodDef* queryMethods() {
  static const PyMethodDef methods[] = {
      {"getVariable", withKeywords(problem_getVariable), METH_VARARGS | METH_KEYWORDS, kGetVariableDoc},
      {"getConstraint", withKeywords(problem_getConstraint), METH_VARARGS | METH_KEYWORDS, kGetConstraintDoc},
      {"getSOS", withKeywords(problem_getSOS), METH_VARARGS | METH_KEYWORDS, kGetSOSDoc},
      {"getIndex", problem_getIndex, METH_O, kGetIndexDoc},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}

}  // namespace tavlo
