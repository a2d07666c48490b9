// Results of the last solve: solution, slacks, duals and reduced costs, shaped after the arguments.
#include <climits>
#include <cmath>
#include <cstring>

#include "problem/solving/solution.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

problem_s* self_(PyObject* o) { return reinterpret_cast<problem_s*>(o); }

// A vector of results: of rows or columns, how it is fetched, and what is said when that fails (null: the solver's
// own error) or when the problem has integer entities (null: it is there then, too).
struct Vector {
  bool rows;
  int (*linear)(TVLOprob, double*);
  int (*mixed)(TVLOprob, double*);
  int (*nonlinear)(TSLPprob, double*);
  const char *failure, *refusal;
};
const Vector kSolution{false,
                       [](TVLOprob prob, double* to) { return TVLOgetlpsol(prob, to, nullptr, nullptr, nullptr); },
                       [](TVLOprob prob, double* to) { return TVLOgetmipsol(prob, to, nullptr); },
                       [](TSLPprob slp, double* to) { return TSLPgetslpsol(slp, to, nullptr, nullptr, nullptr); },
                       nullptr,
                       nullptr};
const Vector kSlack{true,
                    [](TVLOprob prob, double* to) { return TVLOgetlpsol(prob, nullptr, to, nullptr, nullptr); },
                    [](TVLOprob prob, double* to) { return TVLOgetmipsol(prob, nullptr, to); },
                    [](TSLPprob slp, double* to) { return TSLPgetslpsol(slp, nullptr, to, nullptr, nullptr); },
                    "Could not get constraints' slack",
                    nullptr};
const Vector kDual{true,
                   [](TVLOprob prob, double* to) { return TVLOgetlpsol(prob, nullptr, nullptr, to, nullptr); },
                   nullptr,
                   [](TSLPprob slp, double* to) { return TSLPgetslpsol(slp, nullptr, nullptr, to, nullptr); },
                   "Could not get dual solution",
                   "Cannot retrieve dual variables in a MIP"};
const Vector kRCost{false,
                    [](TVLOprob prob, double* to) { return TVLOgetlpsol(prob, nullptr, nullptr, nullptr, to); },
                    nullptr,
                    [](TSLPprob slp, double* to) { return TSLPgetslpsol(slp, nullptr, nullptr, nullptr, to); },
                    "Could not retrieve reduced costs",
                    "Cannot retrieve reduced cost in a MIP"};

int fetch(problem_s* p, const Vector& vector, Values* out) {
  Source source;
  out->rows = vector.rows;
  out->solved = true;
  if (sourceOf(p, &source) != 0) return -1;
  const bool mixed = source == Source::mixed, nonlinear = source == Source::nonlinear;
  out->epoch = entriesOf(p, *out).epoch();
  if (mixed && vector.refusal) return solverError("%s", vector.refusal), -1;
  if (TVLOgetintattrib(p->prob, vector.rows ? TVLO_ATTRIBUTE_originalrows : TVLO_ATTRIBUTE_originalcols, &out->n) != 0)
    return solverFailed(p);
  if (!out->at.resize(static_cast<size_t>(out->n))) return -1;
  const int code = nonlinear ? vector.nonlinear(p->slpprob, out->at.data())
                             : (mixed ? vector.mixed : vector.linear)(p->prob, out->at.data());
  if (code == 0) return 0;
  if (vector.failure) return solverError("%s", vector.failure), -1;
  return nonlinear ? nonlinearFailed(p) : solverFailed(p);
}

// The index of a name, -1 when there is none, -2 with an exception.
int64_t indexOfName(problem_s* p, bool rows, PyObject* obj) {
  PyObject* temporary = nullptr;
  const char* name = pyStrToStr(obj, nullptr, &temporary);
  Ref owner = Ref::steal(temporary);
  if (!name) return -2;
  if (std::strlen(name) != static_cast<size_t>(pyStrLen(obj))) return -1;
  int index = -1;
  return TVLOgetindex(p->prob, rows ? TVLO_NAMES_ROW : TVLO_NAMES_COLUMN, name, &index) == 0 ? index : -1;
}

// The value of one row or column.
int resolve(problem_s* p, const Values& values, PyObject* obj, double* out) {
  int64_t index = -1;
  if (checkProblemIsInitialized(p) != 0) return -1;  // the walk may have released it
  if (!values.rows && var_Check(obj))
    index = columnOf(p, reinterpret_cast<var_s*>(obj));
  else if (values.rows && constraint_Check(obj))
    index = p->registry().cons.find(conIndex(reinterpret_cast<constraint_s*>(obj)));
  else if (values.rows && sos_Check(obj))
    index = p->registry().sets.find(reinterpret_cast<sos_s*>(obj)->index);
  else if (PyUnicode_Check(obj) || PyBytes_Check(obj))
    index = indexOfName(p, values.rows, obj);
  else if (PyLong_Check(obj) || PyArray_IsScalar(obj, SignedInteger))
    index = isSignedInteger(obj, &index) ? index : -1;
  else
    return modelError("Incorrect object(s) passed: need index, variable, constraint, or SOS"), -1;
  if (index == -2 && PyErr_Occurred()) return -1;
  if (index < 0 || index >= values.n) return modelError("Index out of range"), -1;
  return valueAt(p, values, index, out);
}

struct FlatList {
  const Values& values;
  Ref list;
};

PyObject* appendLeaf(problem_s* p, PyObject* leaf, void* data) {
  auto* flat = static_cast<FlatList*>(data);
  double value = 0;
  if (resolve(p, flat->values, leaf, &value) != 0) return nullptr;
  Ref number = Ref::steal(PyFloat_FromDouble(value));
  return number && PyList_Append(flat->list.get(), number.get()) == 0 ? Py_None : nullptr;
}

PyObject* listOfAll(problem_s* p, const Values& values) {
  Ref list = Ref::steal(PyList_New(values.n));
  for (int i = 0; list && i < values.n; ++i) {
    double value = 0;
    PyObject* number = valueAt(p, values, i, &value) == 0 ? PyFloat_FromDouble(value) : nullptr;
    if (!number) return nullptr;
    PyList_SET_ITEM(list.get(), i, number);
  }
  return list.release();
}

// The flat form: everything, one value, or one list of the values of all leaves.
PyObject* problem_getVector(problem_s* p, const Values& values, PyObject* args) {
  const Py_ssize_t n = PyTuple_GET_SIZE(args);
  if (n == 0) return listOfAll(p, values);
  PyObject* only = PyTuple_GET_ITEM(args, 0);
  if (n == 1 && !PyUnicode_Check(only) && !PyBytes_Check(only) && !isAggregate(only)) {
    double value = 0;
    return resolve(p, values, only, &value) == 0 ? PyFloat_FromDouble(value) : nullptr;
  }
  FlatList flat{values, Ref::steal(PyList_New(0))};
  for (Py_ssize_t i = 0; flat.list && i < n; ++i)
    if (!forEachLeaf(p, PyTuple_GET_ITEM(args, i), appendLeaf, &flat, kWalkDepth)) return nullptr;
  return flat.list.release();
}

PyObject* problem_getResult(PyObject* self, PyObject* args, const Vector& vector) {
  problem_s* p = self_(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  Values values;
  return fetch(p, vector, &values) == 0 ? problem_getVector(p, values, args) : nullptr;
}

PyObject* problem_getSlack(PyObject* self, PyObject* args) { return problem_getResult(self, args, kSlack); }
PyObject* problem_getDual(PyObject* self, PyObject* args) { return problem_getResult(self, args, kDual); }
PyObject* problem_getRCost(PyObject* self, PyObject* args) { return problem_getResult(self, args, kRCost); }

// ---- the solution in the shape of the arguments ----
// Names and numbers stand for columns.
int valueOfIndex(void* context, PyObject* obj, double* out) {
  auto* s = static_cast<Solution*>(context);
  int64_t column = -1;
  if (PyUnicode_Check(obj) || PyBytes_Check(obj)) {
    if (checkProblemIsInitialized(s->p) != 0) return -1;
    column = indexOfName(s->p, false, obj);
    if (column == -2) return -1;
  } else if (PyLong_Check(obj) || PyArray_IsScalar(obj, SignedInteger)) {
    if (!isSignedInteger(obj, &column)) column = -1;
  } else {
    return 1;
  }
  if (column < 0 || column >= s->values.n)
    return interfaceError("Call to tavlo.problem.getSolution() contains an out-of-range index"), -1;
  return valueAt(s->p, s->values, column, out);
}

PyObject* problem_getSolution(PyObject* self, PyObject* args, PyObject* kwargs) {
  problem_s* p = self_(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  static constexpr const char* kNames[] = {"args", "flatten", nullptr};
  double placeholder = 0;
  PyObject* flatten = nullptr;
  Ref no_args = Ref::steal(Py_BuildValue("(d)", 0.0));
  if (!no_args || !ko_ParseTupleAndKeywords(no_args.get(), kwargs, "d|O", kNames, nullptr, &placeholder, &flatten))
    return nullptr;
  const int flat = flatten ? PyObject_IsTrue(flatten) : 0;
  Solution solution{p, {}};
  if (flat < 0 || checkProblemIsInitialized(p) != 0 || fetchSolution(p, &solution.values) != 0) return nullptr;
  const Py_ssize_t n = PyTuple_GET_SIZE(args);
  if (n == 0 || flat) return problem_getVector(p, solution.values, args);
  const ValueSource source{valueOfVariable, &solution, valueOfIndex};
  return evaluateArguments(args, source);
}

PyDoc_STRVAR(kGetSolutionDoc, R"(getSolution($self, /, *args, flatten=False)
--

Purpose:
  Values of variables and expressions in the last solution.

Synopsis:
  values = p.getSolution()
  value = p.getSolution(x)
  structure = p.getSolution(structure of variables and expressions)
  values = p.getSolution(x, [y, z], flatten=True)

Arguments:
  args      Variables, expressions, names and numbers of columns, and lists, tuples, dictionaries and arrays of them.
            The result has the same shape; of several arguments it is a tuple. Without any: all values, by column.
  flatten   True for one flat list of the values of all variables, names and numbers among the arguments.

Further information:
  The values stay as they are until the next solve, also while the problem is changed. A variable that was added after
  the last solve has none: asking for it raises SolverError.

Example:
  p.getSolution(x, 2*x + y)
  p.getSolution({"north": x, "south": [y, z]})

Related topics:
  problem.solve, problem.getSlack, problem.getObjVal
)");

#define TAVLO_RESULT_DOC(method, what, of, more, related)                                                       \
  method                                                                                                        \
      "($self, /, *args)\n--\n\n"                                                                               \
      "Purpose:\n  " what                                                                                       \
      " of the last solution.\n\n"                                                                              \
      "Synopsis:\n  values = p." method "()\n  value = p." method "(one)\n  values = p." method                 \
      "(one, [another, third])\n\n"                                                                             \
      "Arguments:\n  args   " of                                                                                \
      ", names and numbers, and aggregates of them. One object or number gives a float, anything else a flat\n" \
      "         list; without any argument the list of all values.\n\n"                                         \
      "Further information:\n  " more                                                                           \
      "\n\n"                                                                                                    \
      "Related topics:\n  " related "\n"

constexpr char kGetSlackDoc[] = TAVLO_RESULT_DOC(
    "getSlack", "Slacks of constraints", "Constraints",
    "A slack is the right-hand side minus the value of the left-hand side. A constraint that was added after the last\n"
    "  solve has none, and asking for it raises SolverError.",
    "problem.getSolution, problem.getDual");
constexpr char kGetDualDoc[] = TAVLO_RESULT_DOC(
    "getDual", "Dual values of constraints", "Constraints",
    "A dual value is the rate at which the optimal objective value changes with the right-hand side, whatever the "
    "sense.\n  A problem with integer variables has none, nor has a constraint that was added after the last solve.",
    "problem.getRCost, problem.getSlack");
constexpr char kGetRCostDoc[] = TAVLO_RESULT_DOC(
    "getRCost", "Reduced costs of variables", "Variables",
    "A reduced cost is the objective coefficient minus the duals times the variable's coefficients, whatever the "
    "sense.\n  A problem with integer variables has none, nor has a variable that was added after the last solve.",
    "problem.getDual, problem.getSolution");
#undef TAVLO_RESULT_DOC

}  // namespace

int valueAt(problem_s* p, const Values& values, int64_t index, double* out) {
  if (checkProblemIsInitialized(p) != 0) return -1;
  const Entries& entries = entriesOf(p, values);
  if (values.epoch != entries.epoch())
    return fail("Objects were deleted from the problem while values were being read by their numbers");
  *out = values.at[static_cast<size_t>(index)];
  if (!values.solved || !std::isnan(*out)) return 0;
  Ref object = index < entries.size() ? Ref::borrow(entries.at(index)) : Ref();
  Ref name = Ref::steal(object ? PyObject_GetAttrString(object.get(), "name") : nullptr);
  if (!name) return modelError("Index out of range"), -1;
  solverError("%s %S was added after the last solve, which has left no value for it",
              values.rows ? "Constraint" : "Variable", name.get());
  return -1;
}

int fetchSolution(problem_s* p, Values* out) { return fetch(p, kSolution, out); }

bool valueOfVariable(void* context, var_s* v, double* out) {
  auto* s = static_cast<Solution*>(context);
  if (checkProblemIsInitialized(s->p) != 0) return false;
  const int64_t column = columnOf(s->p, v);
  if (column < 0 || column >= s->values.n)
    return modelError("Object does not belong to problem or cannot be identified within expression") != nullptr;
  return valueAt(s->p, s->values, column, out) == 0;
}

const PyMethodDef* resultMethods() {
  static const PyMethodDef methods[] = {
      {"getSolution", withKeywords(problem_getSolution), METH_VARARGS | METH_KEYWORDS, kGetSolutionDoc},
      {"getSlack", problem_getSlack, METH_VARARGS, kGetSlackDoc},
      {"getDual", problem_getDual, METH_VARARGS, kGetDualDoc},
      {"getRCost", problem_getRCost, METH_VARARGS, kGetRCostDoc},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}

}  // namespace tavlo
