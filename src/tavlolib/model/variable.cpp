// The variable type: construction, attributes, deallocation.
#include "model/arithmetic.h"
#include "model/held.h"
#include "model/packed_word.h"
#include "model/text.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

var_s* self_(PyObject* o) { return reinterpret_cast<var_s*>(o); }

// ---- construction ----
struct VarArgs {
  PyObject* name = nullptr;
  double lb = 0, ub = kInfinity, threshold = -kInfinity;
  long long vartype = 0;
};
constexpr const char* kArgNames[] = {"name", "lb", "ub", "threshold", "vartype", nullptr};
constexpr Py_ssize_t kArgs = 5;
constexpr long long kBinary = 1;

int freshIndex(var_s* v) { return rekeyVar(&v->word, takeIndex(tvl_py_env.next_var_index, tvl_py_env.var_mutex)); }

int fill(var_s* v, VarArgs a) {
  if (a.lb > a.ub + kFeasibilityTolerance) {
    modelError("Variable has empty feasible set: lower bound > upper bound");
    return -1;
  }
  if (a.vartype == kBinary) {
    if (a.lb < 0) a.lb = 0;
    if (a.ub > 1) a.ub = 1;
  }
  if (a.lb != 0 && set_var_lbound(&v->word, a.lb) != 0) return -1;
  if (a.ub != kInfinity && set_var_ubound(&v->word, a.ub) != 0) return -1;
  if (a.threshold != -kInfinity && set_var_thold(&v->word, a.threshold) != 0) return -1;
  if (a.vartype != 0) set_var_type(&v->word, static_cast<uint64_t>(a.vartype));
  if (!a.name) return 0;
  if (!PyUnicode_Check(a.name) && !PyBytes_Check(a.name)) {
    modelError("Invalid variable name (must be a string)");
    return -1;
  }
  return set_var_name(&v->word, a.name);
}

PyObject* var_new(PyTypeObject* type, PyObject*, PyObject*) {
  if (type != &tavlo_varType) noteSubclassedVariable();
  return type->tp_alloc(type, 0);
}

int var_init(PyObject* self, PyObject* args, PyObject* kwargs) {
  if (freshIndex(self_(self)) != 0) return -1;
  VarArgs a;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "|OdddL", kArgNames, nullptr, &a.name, &a.lb, &a.ub, &a.threshold,
                                &a.vartype))
    return -1;
  return fill(self_(self), a);
}

// Takes an argument of an exact type; false for anything that needs the general parser.
bool takeArgument(Py_ssize_t which, PyObject* value, VarArgs* a) {
  double* const numbers[] = {&a->lb, &a->ub, &a->threshold};
  if (which == 0) {
    a->name = value;
    return true;
  }
  if (which == kArgs - 1) {
    int overflow = 1;
    if (PyLong_CheckExact(value)) a->vartype = PyLong_AsLongLongAndOverflow(value, &overflow);
    return overflow == 0;
  }
  if (PyFloat_CheckExact(value)) {
    *numbers[which - 1] = PyFloat_AS_DOUBLE(value);
    return true;
  }
  return PyLong_CheckExact(value) && readConstant(value, numbers[which - 1]);
}

bool takeArguments(PyObject* const* args, Py_ssize_t nargs, PyObject* kwnames, VarArgs* a) {
  if (nargs > kArgs) return false;
  bool given[kArgs] = {};
  for (Py_ssize_t i = 0; i < nargs; ++i) {
    if (!takeArgument(i, args[i], a)) return false;
    given[i] = true;
  }
  for (Py_ssize_t k = 0; kwnames && k < PyTuple_GET_SIZE(kwnames); ++k) {
    PyObject* keyword = PyTuple_GET_ITEM(kwnames, k);
    Py_ssize_t i = 0;
    while (i < kArgs && PyUnicode_CompareWithASCIIString(keyword, kArgNames[i]) != 0) ++i;
    if (i == kArgs || given[i] || !takeArgument(i, args[nargs + k], a)) return false;
    given[i] = true;
  }
  return true;
}

// What a call of the type does, without the tuple and the dict, when every argument is of the plain kind.
PyObject* var_vectorcall(PyObject* type, PyObject* const* args, size_t nargsf, PyObject* kwnames) {
  const Py_ssize_t nargs = PyVectorcall_NARGS(nargsf);
  VarArgs a;
  if (type == reinterpret_cast<PyObject*>(&tavlo_varType) && takeArguments(args, nargs, kwnames, &a)) {
    var_s* v = PyObject_New(var_s, &tavlo_varType);
    if (!v) return nullptr;
    v->word = 0;
    Ref r = Ref::steal(reinterpret_cast<PyObject*>(v));
    return freshIndex(v) == 0 && fill(v, a) == 0 ? r.release() : nullptr;
  }
  Ref tuple = Ref::steal(PyTuple_New(nargs));
  Ref dict = Ref::steal(kwnames ? PyDict_New() : nullptr);
  if (!tuple || (kwnames && !dict)) return nullptr;
  for (Py_ssize_t i = 0; i < nargs; ++i) PyTuple_SET_ITEM(tuple.get(), i, newRef(args[i]));
  for (Py_ssize_t k = 0; kwnames && k < PyTuple_GET_SIZE(kwnames); ++k)
    if (PyDict_SetItem(dict.get(), PyTuple_GET_ITEM(kwnames, k), args[nargs + k]) != 0) return nullptr;
  return PyType_Type.tp_call(type, tuple.get(), dict.get());
}

void var_dealloc(PyObject* self) {
  if (self_(self)->word & kVarSideBits) dropVarEntries(self_(self)->word);
  Py_TYPE(self)->tp_free(self);
}

// ---- attributes ----
template <double (*get)(uint64_t)>
PyObject* getNumber(PyObject* self, void*) {
  return checkVarIsInitialized(self) == 0 ? PyFloat_FromDouble(get(self_(self)->word)) : nullptr;
}
template <int (*set)(uint64_t*, double)>
int setNumber(PyObject* self, PyObject* value, void*) {
  const double v = PyFloat_AsDouble(value);
  return v == -1.0 && PyErr_Occurred() ? -1 : set(&self_(self)->word, v);
}

PyObject* getType(PyObject* self, void*) {
  return checkVarIsInitialized(self) == 0 ? PyLong_FromLong(get_var_type(self_(self)->word)) : nullptr;
}
int setType(PyObject* self, PyObject* value, void*) {
  const long long v = PyLong_AsLongLong(value);
  if (v == -1 && PyErr_Occurred()) return -1;
  set_var_type(&self_(self)->word, static_cast<uint64_t>(v));
  return 0;
}

PyObject* getName(PyObject* self, void*) {
  return checkVarIsInitialized(self) == 0 ? get_var_name(self_(self)->word) : nullptr;
}
int setName(PyObject* self, PyObject* value, void*) { return set_var_name(&self_(self)->word, value); }

PyObject* getDict(PyObject*, void*) {
  return Py_BuildValue("{sOsOsOsOsO}", "lb", Py_None, "ub", Py_None, "threshold", Py_None, "vartype", Py_None, "name",
                       Py_None);
}

PyGetSetDef varAttributes[] = {
    {"lb", getNumber<get_var_lbound>, setNumber<set_var_lbound>, "Lower bound.", nullptr},
    {"ub", getNumber<get_var_ubound>, setNumber<set_var_ubound>, "Upper bound.", nullptr},
    {"threshold", getNumber<get_var_thold>, setNumber<set_var_thold>,
     "Threshold of a semi-continuous, semi-integer or partially integer variable.", nullptr},
    {"vartype", getType, setType, "Type: one of the constants continuous, binary, integer, ...", nullptr},
    {"name", getName, setName, "Name; \"C\" and the variable's index when none was given.", nullptr},
    {"__dict__", getDict, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr}};

// Writing reaches the variable and nothing else: no problem is told. Subclasses may carry attributes of their own.
int var_setattro(PyObject* self, PyObject* name, PyObject* value) {
  for (const PyGetSetDef* def = varAttributes; def->set || def->get; ++def) {
    if (!def->set || !PyUnicode_Check(name) || PyUnicode_CompareWithASCIIString(name, def->name) != 0) continue;
    if (value) return checkVarIsInitialized(self) == 0 ? def->set(self, value, def->closure) : -1;
    interfaceError("Attribute %U of tavlo.var cannot be deleted", name);
    return -1;
  }
  if (Py_TYPE(self) != &tavlo_varType) return PyObject_GenericSetAttr(self, name, value);
  interfaceError("Incorrect member name of type tavlo.var");
  return -1;
}

PyObject* var_extractLinear(PyObject* self, PyObject*) {
  return checkVarIsInitialized(self) == 0 ? Py_BuildValue("([O][d])", self, 1.0) : nullptr;
}

Py_hash_t var_hash(PyObject* self) {
  return checkVarIsInitialized(self) == 0 ? static_cast<Py_hash_t>(varIndex(self_(self))) : -1;
}

PyMethodDef varMethods[] = {{"extractLinear", var_extractLinear, METH_NOARGS, kExtractLinearDoc},
                            {"extractQuadratic", varlinterm_extractQuadratic, METH_NOARGS, kExtractQuadraticDoc},
                            {nullptr, nullptr, 0, nullptr}};

constexpr char kVarDoc[] =
    "Purpose:\n  Creates a decision variable. It belongs to no problem until it is added to one.\n"
    "Synopsis:\n  x = tavlo.var(name, lb=0, ub=tavlo.infinity, threshold=-tavlo.infinity, vartype=tavlo.continuous)\n"
    "Argument:\n  name: name of the variable; \"C\" and its index when omitted\n  lb, ub: lower and upper bound\n"
    "  threshold: threshold of a semi-continuous, semi-integer or partially integer variable\n"
    "  vartype: continuous, binary, integer, semicontinuous, semiinteger or partiallyinteger\n"
    "Example:\n  x = tavlo.var(ub=10)\n  y = tavlo.var(name=\"open\", vartype=tavlo.binary)\n"
    "Related topics:\n  problem.addVariable";

PyTypeObject varType() {
  PyTypeObject t = {PyVarObject_HEAD_INIT(nullptr, 0)};
  t.tp_name = "tavlo.var";
  t.tp_basicsize = sizeof(var_s);
  t.tp_dealloc = var_dealloc;
  t.tp_repr = t.tp_str = modelling_str;
  t.tp_as_number = &varNumbers;
  t.tp_hash = var_hash;
  t.tp_setattro = var_setattro;
  t.tp_richcompare = modelling_richcompare;
  t.tp_methods = varMethods;
  t.tp_getset = varAttributes;
  t.tp_init = var_init;
  t.tp_new = var_new;
  t.tp_vectorcall = var_vectorcall;
  t.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  t.tp_doc = kVarDoc;
  return t;
}

}  // namespace

PyObject* var_base() { return var_vectorcall(reinterpret_cast<PyObject*>(&tavlo_varType), nullptr, 0, nullptr); }

PyObject* var_copy(PyObject* x, double c) { return c == 1 ? newRef(x) : linterm_fill(c, self_(x)); }

double get_var_lbound(uint64_t word) { return readBound(kVarLower, word); }
double get_var_ubound(uint64_t word) { return readBound(kVarUpper, word); }
int set_var_lbound(uint64_t* word, double value) { return writeBound(kVarLower, word, value); }
int set_var_ubound(uint64_t* word, double value) { return writeBound(kVarUpper, word, value); }

double get_var_thold(uint64_t word) {
  return word & kVarTholdBit ? boundmap_get(tvl_py_env.var_thold_map, word & kVarIndexMask) : -kInfinity;
}
int set_var_thold(uint64_t* word, double value) {
  if (value == -kInfinity) return 0;
  if (boundmap_set(tvl_py_env.var_thold_map, *word & kVarIndexMask, value) != 0) {
    PyErr_NoMemory();
    return -1;
  }
  *word |= kVarTholdBit;
  return 0;
}

int get_var_type(uint64_t word) { return static_cast<int>((word >> kVarTypeShift) & 7); }
void set_var_type(uint64_t* word, uint64_t type) {
  *word = (*word & ~(7ULL << kVarTypeShift)) | ((type & 7) << kVarTypeShift);
}

PyObject* get_var_name(uint64_t word) { return readName(kVarName, word); }
int set_var_name(uint64_t* word, PyObject* name) { return writeName(kVarName, word, name); }

}  // namespace tavlo

PyTypeObject tavlo_varType = tavlo::varType();
