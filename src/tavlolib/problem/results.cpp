// Solution values, duals, slacks and reduced costs, shaped after the arguments.
#include "problem/lifecycle.h"
#include "problem/methods.h"
#include "problem/registry.h"
#include "pyutil/guard.h"

namespace tavlo {
namespace {

using Values = std::vector<double>;

// How one kind of values is read. Null functions: not available from that source.
struct ResultKind {
  EntityKind entity;
  const char* failure;     // null: the library's own text
  const char* mipRefusal;  // null: a MIP has these values
  int (*lp)(TVLOprob, double*);
  int (*mip)(TVLOprob, double*);
};
const ResultKind kSolution = {kColumn, nullptr, nullptr,
                              [](TVLOprob p, double* v) { return TVLOgetlpsol(p, v, nullptr, nullptr, nullptr); },
                              [](TVLOprob p, double* v) { return TVLOgetmipsol(p, v, nullptr); }};
const ResultKind kSlack = {kRow, "Could not get constraints' slack", nullptr,
                           [](TVLOprob p, double* v) { return TVLOgetlpsol(p, nullptr, v, nullptr, nullptr); },
                           [](TVLOprob p, double* v) { return TVLOgetmipsol(p, nullptr, v); }};
const ResultKind kDual = {kRow, "Could not get dual solution", "Cannot retrieve dual variables in a MIP",
                          [](TVLOprob p, double* v) { return TVLOgetlpsol(p, nullptr, nullptr, v, nullptr); }, nullptr};
const ResultKind kRCost = {kColumn, "Could not retrieve reduced costs", "Cannot retrieve reduced cost in a MIP",
                           [](TVLOprob p, double* v) { return TVLOgetlpsol(p, nullptr, nullptr, nullptr, v); },
                           nullptr};

bool fill(problem_s* p, const ResultKind& kind, Values* values) {
  int n;
  if (intAttribute(p, kind.entity == kRow ? 1124 : 1214, &n) != 0) return false;
  const int mixedInteger = isMixedInteger(p);
  if (mixedInteger < 0) return false;
  if (mixedInteger && kind.mipRefusal) return solverError("%s", kind.mipRefusal) != nullptr;
  values->resize(static_cast<size_t>(n) + 1);  // never a null array, which would mean: not wanted
  const int failed = (mixedInteger ? kind.mip : kind.lp)(p->prob, values->data());
  values->resize(static_cast<size_t>(n));
  if (!failed) return true;
  return (kind.failure ? solverError("%s", kind.failure) : libraryError(p)) != nullptr;
}

// The row or column that an item stands for, within n; -1 with ModelError.
int64_t resolve(problem_s* p, EntityKind entity, PyObject* item, size_t n) {
  int64_t index = -1;
  int named;
  if (PyUnicode_Check(item) || PyBytes_Check(item)) {
    PyObject* temp = nullptr;
    const char* name = pyStrToStr(item, nullptr, &temp);
    Ref holder = Ref::steal(temp);
    if (!name) return -1;
    if (TVLOgetindex(p->prob, entity == kRow ? TVLO_NAMES_ROW : TVLO_NAMES_COLUMN, name, &named) == 0) index = named;
  } else if (!isSignedInteger(item, &index)) {
    const EntityKind kind = entity == kRow && sos_Check(item) ? kSet : entity;
    const Registry r = registryOf(p, kind);
    if (!PyObject_TypeCheck(item, r.type)) {
      modelError("Incorrect object(s) passed: need index, variable, constraint, or SOS");
      return -1;
    }
    if (rowcolmap_get(*r.map, r.key(item), &index) != 0) index = -1;
  }
  if (index >= 0 && index < static_cast<int64_t>(n)) return index;
  modelError("Index out of range");
  return -1;
}

bool isAggregate(PyObject* o) {
  return PyTuple_Check(o) || PyList_Check(o) || PySequence_Check(o) || PyIter_Check(o) ||
         (leafType(o) == kLeafOther && Py_TYPE(o)->tp_iter);
}

PyObject* listOf(const Values& values) {
  Ref list = Ref::steal(PyList_New(static_cast<Py_ssize_t>(values.size())));
  for (size_t i = 0; list && i < values.size(); ++i) {
    PyObject* number = PyFloat_FromDouble(values[i]);
    if (!number) return nullptr;
    PyList_SET_ITEM(list.get(), static_cast<Py_ssize_t>(i), number);
  }
  return list.release();
}

PyObject* problem_getVector(problem_s* p, EntityKind entity, PyObject* args, const Leaves& leaves,
                            const Values& values) {
  if (PyTuple_GET_SIZE(args) == 0) return listOf(values);
  Values picked;
  for (size_t i = 0; i < leaves.size(); ++i) {
    const int64_t index = resolve(p, entity, leaves[i], values.size());
    if (index < 0) return nullptr;
    picked.push_back(values[static_cast<size_t>(index)]);
  }
  const bool single = PyTuple_GET_SIZE(args) == 1 && !isAggregate(PyTuple_GET_ITEM(args, 0));
  return single && picked.size() == 1 ? PyFloat_FromDouble(picked[0]) : listOf(picked);
}

PyObject* problem_getResult(PyObject* self, PyObject* args, const ResultKind& kind) {
  auto* p = reinterpret_cast<problem_s*>(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  return guarded([&]() -> PyObject* {
    Leaves leaves;
    Values values;
    if (!leaves.collect(p, args) || checkProblemIsInitialized(p) != 0 || !fill(p, kind, &values)) return nullptr;
    return problem_getVector(p, kind.entity, args, leaves, values);
  });
}

struct Point {
  problem_s* p;
  const Values* values;
};

// The value of a variable at a point that is ordered like the columns.
bool valueAt(void* context, var_s* v, double* out) {
  const auto* point = static_cast<Point*>(context);
  int64_t column = -1;
  if (!point->p->varmap || rowcolmap_get(point->p->varmap, varIndex(v), &column) != 0 || column < 0 ||
      column >= static_cast<int64_t>(point->values->size()))
    return modelError("Object does not belong to problem or cannot be identified within expression") != nullptr;
  *out = (*point->values)[static_cast<size_t>(column)];
  return true;
}

// The structure of the arguments with values in place of objects: one argument gives its own, several a tuple.
PyObject* evaluateArguments(problem_s* p, PyObject* args, const Values& values) {
  Point point{p, &values};
  const ValueSource source{valueAt, &point};
  if (PyTuple_GET_SIZE(args) == 1) return evaluateStructure(PyTuple_GET_ITEM(args, 0), source, kDepthBudget);
  return evaluateStructure(args, source, kDepthBudget + 1);
}

}  // namespace

PyObject* problem_getDual(PyObject* self, PyObject* args) { return problem_getResult(self, args, kDual); }
PyObject* problem_getSlack(PyObject* self, PyObject* args) { return problem_getResult(self, args, kSlack); }
PyObject* problem_getRCost(PyObject* self, PyObject* args) { return problem_getResult(self, args, kRCost); }

PyObject* problem_getSolution(PyObject* self, PyObject* args, PyObject* kwargs) {
  static const char* const names[] = {"args", "flatten", nullptr};
  auto* p = reinterpret_cast<problem_s*>(self);
  double placeholder;
  PyObject* flatten = Py_False;
  Ref one = Ref::steal(Py_BuildValue("(d)", 0.0));
  if (checkProblemIsInitialized(p) != 0 || !one ||
      !ko_ParseTupleAndKeywords(one.get(), kwargs, "d|O", names, nullptr, &placeholder, &flatten))
    return nullptr;
  if (flatten == Py_True || PyTuple_GET_SIZE(args) == 0) return problem_getResult(self, args, kSolution);
  return guarded([&]() -> PyObject* {
    Values values;
    return fill(p, kSolution, &values) ? evaluateArguments(p, args, values) : nullptr;
  });
}

}  // namespace tavlo
