// The constructor of problems: handles, registry, then the elements in order.
#include <cstring>
#include <optional>

#include "problem/entities/batch.h"
#include "pyutil/guard.h"

namespace tavlo {
namespace {

problem_s* self_(PyObject* o) { return reinterpret_cast<problem_s*>(o); }

// One element is walked once: its first leaf tells what it is, and decides who takes that leaf and those after it.
struct Element {
  int kind = kLeafOther;
  bool reached = false;  // a leaf
  Ref first;             // leaf; of expressions only
  std::optional<ColumnCollector> columns;
  std::optional<RowCollector> rows;
};

PyObject* takeLeaf(problem_s* p, PyObject* leaf, void* data) {
  auto* e = static_cast<Element*>(data);
  if (!e->reached) {
    if (checkProblemIsInitialized(p) != 0) return nullptr;  // the walk may have released it
    e->reached = true;
    e->kind = leafType(leaf);
    if (e->kind == kLeafVar) e->columns.emplace(p);
    if (e->kind == kLeafConstraint) e->rows.emplace(p);
    if (e->kind == kLeafExpression) e->first = Ref::borrow(leaf);
  }
  if (e->columns) return e->columns->add(leaf) == 0 ? Py_None : nullptr;
  if (e->rows) return e->rows->add(leaf) == 0 ? Py_None : nullptr;
  return nullptr;  // the kind is all that matters
}

// What stands for an element that can't be told: an error of the walk itself becomes the cause.
int erroneous() {
  constexpr char kText[] =
      "Erroneous problem declaration; argument contained object that was not a variable, constraint, or expression";
  if (!PyErr_Occurred()) return fail(kText);
  if (!PyErr_ExceptionMatches(PyExc_Exception) || PyErr_ExceptionMatches(PyExc_MemoryError)) return -1;
  PyObject *type = nullptr, *value = nullptr, *trace = nullptr;
  PyErr_Fetch(&type, &value, &trace);
  PyErr_NormalizeException(&type, &value, &trace);
  Ref cause_type = Ref::steal(type), cause = Ref::steal(value), cause_trace = Ref::steal(trace);
  fail(kText);
  PyErr_Fetch(&type, &value, &trace);
  PyErr_NormalizeException(&type, &value, &trace);
  if (value) PyException_SetCause(value, cause.release());
  PyErr_Restore(type, value, trace);
  return -1;
}

class Elements {
 public:
  Elements(problem_s* p, long sense) : p_(p), sense_(sense) {}

  int add(PyObject* element) {
    if (checkProblemIsInitialized(p_) != 0) return -1;  // code of an element before may have released it
    if (PyUnicode_Check(element) || PyBytes_Check(element)) return name(element);
    if (var_Check(element) && p_->registry().vars.has(varIndex(reinterpret_cast<var_s*>(element))))
      return objective(element);
    Element e;
    const bool whole = forEachLeaf(p_, element, takeLeaf, &e, kWalkDepth) != nullptr;
    if (e.columns || e.rows) {
      if (!whole) return -1;
      return e.columns ? e.columns->commit() : e.rows->commit();
    }
    if (e.kind == kLeafExpression) return objective(element);
    if (whole) return 0;  // nothing in it
    if (e.kind == kLeafSos) return fail("Sets cannot be added to a problem yet");
    return erroneous();
  }

 private:
  int name(PyObject* element) {
    if (named_) return fail("More than one string passed in problem declaration");
    named_ = true;
    PyObject* temporary = nullptr;
    const char* text = pyStrToStr(element, nullptr, &temporary);
    Ref owner = Ref::steal(temporary);
    if (!text) return -1;
    if (std::strlen(text) != static_cast<size_t>(pyStrLen(element))) return fail("Problem name holds a zero byte");
    return TVLOsetprobname(p_->prob, text) == 0 ? 0 : solverFailed(p_);
  }

  int objective(PyObject* element) {
    Ref given = Ref::borrow(element);
    if (PyArray_Check(element)) {
      auto* array = reinterpret_cast<PyArrayObject*>(element);
      if (PyArray_SIZE(array) != 1)
        return fail("Only one objective can be set, but a sequence or NumPy array of expressions was passed");
      given = Ref::steal(PyArray_GETITEM(array, static_cast<char*>(PyArray_DATA(array))));
      if (!given) return -1;
    }
    const int type = leafType(given.get());
    if (type != kLeafExpression && type != kLeafVar)
      return fail("Incorrect way of defining an objective function (it should not be in an aggregate structure)");
    if (has_objective_) return fail("At most one expression can be used as an objective function");
    has_objective_ = true;
    Ref args = Ref::steal(Py_BuildValue("(Ol)", given.get(), sense_));
    Ref done = Ref::steal(args ? problem_setObjective(selfOf(p_), args.get(), nullptr) : nullptr);
    return done ? 0 : -1;
  }

  problem_s* p_;
  long sense_;
  bool named_ = false, has_objective_ = false;
};

int loadEmpty(problem_s* p, const char* name) {
  int log = 0;
  if (TVLOgetintcontrol(p->prob, TVLO_CONTROL_outputlog, &log) != 0 ||
      TVLOsetintcontrol(p->prob, TVLO_CONTROL_outputlog, 0) != 0)
    return solverFailed(p);
  const int loaded = TVLOloadlp(p->prob, name, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr);
  if (loaded != 0) return solverFailed(p);
  return TVLOsetintcontrol(p->prob, TVLO_CONTROL_outputlog, log) == 0 ? 0 : solverFailed(p);
}

int build(problem_s* p, PyObject* elements, const char* name, long sense) {
  if (turnTVLOon(0) != 0 || problem_createRegistry(p) != 0 || problem_createHandles(p) != 0 ||
      loadEmpty(p, name ? name : "noname") != 0 || problem_applyDefaultControls(p) != 0)
    return -1;
  Elements all(p, sense);
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(elements); ++i)
    if (all.add(PyTuple_GET_ITEM(elements, i)) != 0) return -1;
  return 0;
}

}  // namespace

int problem_init(PyObject* self, PyObject* args, PyObject* kwargs) {
  problem_s* p = self_(self);
  static constexpr const char* kNames[] = {"elements", "name", "sense", nullptr};
  double placeholder = 0;
  const char* name = nullptr;
  long sense = 1;
  Ref no_elements = Ref::steal(Py_BuildValue("(d)", 0.0));
  if (!no_elements ||
      !ko_ParseTupleAndKeywords(no_elements.get(), kwargs, "d|$sl", kNames, nullptr, &placeholder, &name, &sense))
    return -1;
  if (p->prob) return fail("Problem is already initialized");
  if (sense != 1 && sense != -1) return fail("Invalid optimization sense");
  if (guarded([&] { return build(p, args, name, sense); }) == 0) return 0;
  ErrorStash failure;
  problem_freeresources(p);
  return -1;
}

}  // namespace tavlo
