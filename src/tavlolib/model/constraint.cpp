// Constraints: the type, its constructor, and the conversion of a comparison into a constraint.
#include "model/held.h"
#include "model/nonlinear.h"
#include "model/packed_word.h"
#include "model/release.h"
#include "model/text.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

constraint_s* self_(PyObject* o) { return reinterpret_cast<constraint_s*>(o); }

enum Sense : long { kLeq = 1, kGeq = 2, kEq = 3 };
constexpr double kLbNotGiven = -2e20, kUbNotGiven = 2e20, kRhsNotGiven = -2e20;

uint64_t nextIndex() { return takeIndex(tvl_py_env.next_con_index, tvl_py_env.con_mutex); }

// Generic allocation leaves the index 0; the first use of the object gives it one of its own.
constraint_s* indexed(PyObject* o) {
  constraint_s* c = self_(o);
  if (conIndex(c) == 0) c->info |= nextIndex() & kConIndexMask;
  return c;
}

// The collector looks at constraints that can be part of a cycle only: a model has millions of others.
void track(constraint_s* c, PyObject* held) {
  auto* o = reinterpret_cast<PyObject*>(c);
  if (held && mayCloseCycle(held) && !PyObject_GC_IsTracked(o)) PyObject_GC_Track(o);
}

void setBody(constraint_s* c, PyObject* body) {  // null: none
  PyObject* old = c->body;
  c->body = body;
  Py_XINCREF(body);
  track(c, body);
  releaseChained(old);
}

int rename(constraint_s* c, PyObject* name) {
  if (set_con_name(&c->info, name) != 0) return -1;
  track(c, name);
  return 0;
}

int setBounds(constraint_s* c, double lb, double ub) {
  return set_con_lbound(&c->info, lb) == 0 ? set_con_ubound(&c->info, ub) : -1;
}

// ---- constructor ----
constexpr char kArgumentsRequired[] =
    "Arguments required for tavlo.constraint(): constraint OR {body, lb and/or ub} OR {body,sense,rhs}.";
constexpr char kBothRhsAndBounds[] = "Cannot create constraint by specifying both rhs AND lb/ub.";

// The body that an argument stands for: an array's first element, any other expression itself.
Ref bodyOf(PyObject* given) {
  Ref body = Ref::borrow(given);
  if (PyArray_Check(given)) {
    auto* array = reinterpret_cast<PyArrayObject*>(given);
    body =
        PyArray_SIZE(array) == 0 ? Ref() : Ref::steal(PyArray_GETITEM(array, static_cast<char*>(PyArray_DATA(array))));
    if (!body && PyErr_Occurred()) return body;
  }
  if (body && getExprType(body.get()) >= 0) return body;
  PyErr_Clear();
  modelError("Invalid expression passed as body of constraint");
  return {};
}

int copyFrom(constraint_s* self, PyObject* other) {
  if (Py_TYPE(other) != &tavlo_constraintType)
    return fail(
        "Attempt to generate an empty constraint failed. Consider using tavlo.constraint(body=..., sense=..., "
        "rhs=...) instead.");
  setBody(self, self_(other)->body);
  return setBounds(self, get_con_lbound(self_(other)->info), get_con_ubound(self_(other)->info));
}

int constraint_init(PyObject* self, PyObject* args, PyObject* kwargs) {
  constraint_s* c = indexed(self);
  if (Py_TYPE(self) == &tavlo_constraintType && !c->body && !(c->info & kConNameBit)) PyObject_GC_UnTrack(self);
  if (rekeyCon(&c->info, nextIndex()) != 0) return -1;
  setBody(c, nullptr);
  if (setBounds(c, -kInfinity, kInfinity) != 0) return -1;
  static constexpr const char* kNames[] = {"constraint", "body", "lb", "ub", "sense", "rhs", "name", nullptr};
  PyObject *constraint = nullptr, *body = nullptr, *name = nullptr;
  double lb = kLbNotGiven, ub = kUbNotGiven, rhs = kRhsNotGiven;
  long sense = 0;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "|OOddldO", kNames, nullptr, &constraint, &body, &lb, &ub, &sense, &rhs,
                                &name))
    return -1;
  if (name && name != Py_None && rename(c, name) != 0) return -1;
  if (ub + kFeasibilityTolerance < lb) return fail("Constraint defined infeasible: lower bound > upper bound");
  const bool bounds_given = lb != kLbNotGiven || ub != kUbNotGiven, rhs_given = rhs != kRhsNotGiven;
  Ref the_body;
  if (body && body != Py_None) {
    the_body = bodyOf(body);
    if (!the_body) return -1;
  }
  if (constraint && constraint != Py_None) return copyFrom(c, constraint);
  if (!the_body) return fail(kArgumentsRequired);
  if (bounds_given && rhs_given) return fail(kBothRhsAndBounds);
  if (sense == 0 && !bounds_given) return fail(kArgumentsRequired);
  if (rhs_given && (sense == kLeq || sense == kEq)) ub = rhs;
  if (rhs_given && (sense == kGeq || sense == kEq)) lb = rhs;
  setBody(c, the_body.get());
  return setBounds(c, lb, ub);
}

PyObject* ownName(const constraint_s* c) {
  return c->info & kConNameBit ? namemap_get(tvl_py_env.con_name_map, conIndex(c)) : nullptr;
}

int constraint_traverse(PyObject* self, visitproc visit, void* arg) {
  Py_VISIT(ownName(self_(self)));
  return visitHeld(self_(self)->body, visit, arg);
}

// The name is kept: that the body goes opens every cycle through it but those through the name itself.
int constraint_clear(PyObject* self) {
  setBody(self_(self), nullptr);
  return 0;
}

void constraint_dealloc(PyObject* self) {
  PyObject_GC_UnTrack(self);
  setBody(self_(self), nullptr);
  if (self_(self)->info & kConSideBits) dropConEntries(self_(self)->info);
  Py_TYPE(self)->tp_free(self);
}

// ---- attributes ----
template <double (*get)(uint64_t)>
PyObject* getNumber(PyObject* self, void*) {
  return PyFloat_FromDouble(get(self_(self)->info));
}
int refuseDeletion() {
  interfaceError("Attributes of tavlo.constraint cannot be deleted");
  return -1;
}
template <int (*set)(uint64_t*, double)>
int setNumber(PyObject* self, PyObject* value, void*) {
  if (!value) return refuseDeletion();
  const double v = PyFloat_AsDouble(value);
  return v == -1.0 && PyErr_Occurred() ? -1 : set(&indexed(self)->info, v);
}
PyObject* getName(PyObject* self, void*) { return get_con_name(indexed(self)->info); }
int setName(PyObject* self, PyObject* value, void*) { return value ? rename(indexed(self), value) : refuseDeletion(); }
PyObject* getBody(PyObject* self, void*) {
  PyObject* body = self_(self)->body;
  return body ? newRef(body) : modelError("Constraint has no body");
}
int writeBody(PyObject* self, PyObject* value, void*) {
  if (!value) return refuseDeletion();
  setBody(self_(self), value);
  return 0;
}
PyObject* getDict(PyObject*, void*) {
  return Py_BuildValue("{sOsOsOsOsO}", "lb", Py_None, "ub", Py_None, "name", Py_None, "body", Py_None, "copy", Py_None);
}

PyGetSetDef constraintAttributes[] = {
    {"lb", getNumber<get_con_lbound>, setNumber<set_con_lbound>, "Lower bound of the body.", nullptr},
    {"ub", getNumber<get_con_ubound>, setNumber<set_con_ubound>, "Upper bound of the body.", nullptr},
    {"name", getName, setName, "Name; \"R\" and the constraint's index when none was given.", nullptr},
    {"body", getBody, writeBody, "The expression between the bounds.", nullptr},
    {"__dict__", getDict, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr}};

PyObject* constraint_copy(PyObject* self, PyObject*) {
  constraint_s* c = self_(self);
  if (!c->body) return modelError("Constraint has no body");
  const Ref original = Ref::borrow(c->body);  // a sequence's own copy may set another body
  Ref copy = Ref::steal(constraint_base()), body = Ref::steal(general_copy(1, original.get())),
      name = Ref::steal(modelling_str(self));
  if (!copy || !body || !name) return nullptr;
  name = Ref::steal(PyUnicode_FromFormat("R%llu_copy_%U", static_cast<unsigned long long>(conIndex(c)), name.get()));
  constraint_s* to = self_(copy.get());
  if (!name || set_con_name(&to->info, name.get()) != 0 ||
      setBounds(to, get_con_lbound(c->info), get_con_ubound(c->info)) != 0)
    return nullptr;
  setBody(to, body.get());
  return copy.release();
}

int constraint_bool(PyObject*) {
  modelError(
      "A constraint has no truth value: combine constraints by adding each to the problem, and write "
      "tavlo.constraint(body=..., lb=..., ub=...) instead of a chained comparison");
  return -1;
}

PyMethodDef constraintMethods[] = {
    {"copy", constraint_copy, METH_NOARGS,
     "Purpose:\n  Returns a copy of the constraint, with a body and an index of its own.\nSynopsis:\n  c2 = "
     "c1.copy()\nRelated topics:\n  constraint"},
    {nullptr, nullptr, 0, nullptr}};

constexpr char kConstraintDoc[] =
    "Purpose:\n  Creates a constraint: an expression between two bounds. Comparisons with <=, >= and == create one "
    "too.\n"
    "Synopsis:\n  c = tavlo.constraint(constraint=None, body=None, lb=-tavlo.infinity, ub=tavlo.infinity, sense, rhs, "
    "name)\n"
    "Argument:\n  constraint: another constraint, whose body and bounds are taken\n  body: the expression\n"
    "  lb, ub: its bounds\n  sense, rhs: instead of the bounds: leq, geq or eq, and the right-hand side\n"
    "  name: name of the constraint; \"R\" and its index when omitted\n"
    "Example:\n  c1 = tavlo.constraint(body=x + 2*y, lb=1, ub=4)\n  c2 = x + 2*y <= 4\n"
    "  A constraint has no truth value: 1 <= x <= 4 is an error, as it would lose one of its sides.\n"
    "Related topics:\n  problem.addConstraint";

PyNumberMethods constraintNumbers{};  // only for refusing bool()

PyTypeObject constraintType() {
  constraintNumbers.nb_bool = constraint_bool;
  PyTypeObject t = {PyVarObject_HEAD_INIT(nullptr, 0)};
  t.tp_name = "tavlo.constraint";
  t.tp_basicsize = sizeof(constraint_s);
  t.tp_dealloc = constraint_dealloc;
  t.tp_repr = t.tp_str = modelling_str;
  t.tp_as_number = &constraintNumbers;
  t.tp_methods = constraintMethods;
  t.tp_getset = constraintAttributes;
  t.tp_init = constraint_init;
  t.tp_traverse = constraint_traverse;
  t.tp_clear = constraint_clear;
  t.tp_free = PyObject_GC_Del;
  t.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_HAVE_GC;
  t.tp_doc = kConstraintDoc;
  return t;
}

// ---- comparisons ----
PyObject* unrelated(int op) {
  if (op == Py_LT || op == Py_NE || op == Py_GT)
    return modelError("Invalid constraint: cannot enforce f(x) != 0, f(x) > 0, or f(x) < 0");
  return modelError("Invalid constraint: unrecognized comparison operator");
}
bool isRelation(int op) { return op == Py_LE || op == Py_GE || op == Py_EQ; }

PyObject* compareWithArray(PyObject* a, PyObject* array, int op) {
  if (PyArray_Check(a)) return interfaceError("Ill-defined constraint array");
  if (!isRelation(op)) return unrelated(op);
  return compareArray(array, a, op == Py_LE ? Py_GE : op == Py_GE ? Py_LE : Py_EQ);
}

// What a comparison of a - b with 0 comes to: the body, what it is compared with, and whether the relation turns round.
struct Relation {
  Ref body;  // empty: failed, with an exception
  double rhs = 0;
  bool reversed = false;
};

// Takes a number out of a nonlinear difference that nobody else refers to.
Relation relationOf(Ref node) {
  nonlinear_s* n = asNode(node.get());
  double c = 0;
  if (isListNode(node.get(), kNodeSum)) {
    const Py_ssize_t size = PyList_GET_SIZE(n->args);
    if (size < 2 || !readConstant(PyList_GET_ITEM(n->args, size - 1), &c)) return {std::move(node)};
    if (PyList_SetSlice(n->args, size - 1, size, nullptr) != 0) return {};
    n->mixed = -1;
    return {std::move(node), 0 - c};  // no negative zero
  }
  if (n->code == kNodeDifference) {
    Ref first = operandAt(n->args, 0), second = operandAt(n->args, 1);
    if (readConstant(first.get(), &c)) return {std::move(second), c, true};
    if (readConstant(second.get(), &c)) return {std::move(first), c};
  }
  return {std::move(node)};
}

Relation difference(PyObject* a, PyObject* b) {
  Operand x, y;
  if (!classify(a, &x) || !classify(b, &y)) return {};
  Ref d;
  if (x.kind == kConstant && y.kind == kConstant) {
    d = Ref::steal(expression_base());
    if (d) reinterpret_cast<expression_s*>(d.get())->constant = x.value - y.value;
  } else if (!x.isModelling() && !y.isModelling()) {
    modelError("Invalid object in operation");
  } else {
    d = Ref::steal(y.kind == kArray ? handBack(Op::sub, a, b) : addScaled(-1, x, y));
  }
  if (!d || !classify(d.get(), &x)) return {};
  if (x.kind == kNonlinear) return relationOf(std::move(d));
  double rhs = 0;
  if (x.kind == kExpression) {
    rhs = 0 - x.expression()->constant;
    x.expression()->constant = 0;
  } else if (x.kind == kInvalid || x.kind == kArray) {
    modelError("Invalid constraint body");
    return {};
  }
  return {std::move(d), rhs};
}

}  // namespace

PyObject* make_constraint(PyObject* a, PyObject* b, int op) {
  if (PyArray_Check(b)) return compareWithArray(a, b, op);
  auto [body, rhs, reversed] = difference(a, b);
  if (!body) return nullptr;
  if (!isRelation(op)) return unrelated(op);
  if (reversed && op != Py_EQ) op = op == Py_LE ? Py_GE : Py_LE;
  Ref r = Ref::steal(constraint_base());
  if (!r) return nullptr;
  constraint_s* c = self_(r.get());
  if ((op != Py_LE && set_con_lbound(&c->info, rhs) != 0) || (op != Py_GE && set_con_ubound(&c->info, rhs) != 0))
    return nullptr;
  c->body = body.release();
  track(c, c->body);
  return r.release();
}

PyObject* constraint_base() {
  constraint_s* c = PyObject_GC_New(constraint_s, &tavlo_constraintType);
  if (!c) return nullptr;
  c->info = nextIndex() & kConIndexMask;
  c->body = nullptr;
  return reinterpret_cast<PyObject*>(c);
}

double get_con_lbound(uint64_t info) { return readBound(kConLower, info); }
double get_con_ubound(uint64_t info) { return readBound(kConUpper, info); }
int set_con_lbound(uint64_t* info, double value) { return writeBound(kConLower, info, value); }
int set_con_ubound(uint64_t* info, double value) { return writeBound(kConUpper, info, value); }
PyObject* get_con_name(uint64_t info) { return readName(kConName, info); }
int set_con_name(uint64_t* info, PyObject* name) { return writeName(kConName, info, name); }

}  // namespace tavlo

PyTypeObject tavlo_constraintType = tavlo::constraintType();
