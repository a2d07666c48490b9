// __array_ufunc__ of the modelling types: what NumPy calls when an operand of one of its functions is a bare modelling
// object. Without it NumPy would compare and multiply such objects by its own rules, with silent wrong answers.
#include "model/arithmetic.h"
#include "module/errors.h"

namespace tavlo {

const char kArrayUfuncDoc[] = "Applies a NumPy function to modelling objects and arrays.";

namespace {

struct Operator {
  const char* name;
  int op;  // of Op, or of the rich comparison
  bool comparison;
};
constexpr Operator kOperators[] = {
    {"multiply", static_cast<int>(Op::mul), false},
    {"add", static_cast<int>(Op::add), false},
    {"subtract", static_cast<int>(Op::sub), false},
    {"divide", static_cast<int>(Op::div), false},
    {"less_equal", Py_LE, true},
    {"greater_equal", Py_GE, true},
    {"equal", Py_EQ, true},
    {"power", static_cast<int>(Op::pow), false},
    {"less", Py_LT, true},
    {"greater", Py_GT, true},
    {"not_equal", Py_NE, true},
    {"bitwise_and", static_cast<int>(Op::land), false},
    {"bitwise_or", static_cast<int>(Op::lor), false},
};
constexpr size_t kOperatorCount = sizeof kOperators / sizeof kOperators[0];

// NumPy's functions, looked up once; they live as long as the process.
const Operator* operatorOf(PyObject* ufunc) {
  static PyObject* functions[kOperatorCount] = {};
  if (!functions[kOperatorCount - 1]) {
    Ref numpy = Ref::steal(PyImport_ImportModule("numpy"));
    for (size_t i = 0; numpy && i < kOperatorCount; ++i)
      if (!functions[i]) functions[i] = PyObject_GetAttrString(numpy.get(), kOperators[i].name);
    PyErr_Clear();
  }
  for (size_t i = 0; i < kOperatorCount; ++i)
    if (functions[i] == ufunc) return &kOperators[i];
  return nullptr;
}

bool isModelling(PyObject* o) {
  return var_Check(o) || linterm_Check(o) || expression_Check(o) || quadterm_Check(o) || nonlinear_Check(o);
}

// As the interpreter's operator between a NumPy scalar and a modelling object, but never back into NumPy.
PyObject* scalarOperation(const Operator& o, PyObject* a, PyObject* b) {
  if (o.comparison) {
    if (isModelling(a)) return make_constraint(a, b, o.op);
    static constexpr int kMirrored[] = {Py_GT, Py_GE, Py_EQ, Py_NE, Py_LT, Py_LE};
    return make_constraint(b, a, kMirrored[o.op]);
  }
  Operand x, y;
  if (!classify(a, &x) || !classify(b, &y)) return nullptr;
  return apply(static_cast<Op>(o.op), x.kind > y.kind ? x.kind : y.kind, x, y);
}

Ref wrapped(PyObject* o) {
  npy_intp none = 0;
  Ref array = Ref::steal(PyArray_SimpleNew(0, &none, NPY_OBJECT));
  if (array) {
    auto* a = reinterpret_cast<PyArrayObject*>(array.get());
    if (PyArray_SETITEM(a, static_cast<char*>(PyArray_DATA(a)), o) != 0) return {};
  }
  return array;
}

// Whether a keyword argument holds a modelling object, which no output, mask or start value may be.
bool holdsModelling(PyObject* value) {
  if (isModelling(value)) return true;
  if (PyTuple_Check(value))
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(value); ++i)
      if (isModelling(PyTuple_GET_ITEM(value, i))) return true;
  return false;
}

}  // namespace

PyObject* modelling_array_ufunc(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* kwnames) {
  if (nargs < 3 || !PyUnicode_Check(args[1])) {
    PyErr_SetString(PyExc_TypeError, "__array_ufunc__ needs a function, a method and operands");
    return nullptr;
  }
  PyObject *ufunc = args[0], *method = args[1];
  const bool call = PyUnicode_CompareWithASCIIString(method, "__call__") == 0;
  const Operator* op = call ? operatorOf(ufunc) : nullptr;
  if (op && !kwnames && nargs == 4 && !isArrayLike(args[2]) && !isArrayLike(args[3]))
    return scalarOperation(*op, args[2], args[3]);

  // With an array among the operands: the same call again, each bare object in an array of one element.
  Ref inputs = Ref::steal(PyTuple_New(nargs - 2)), keywords = Ref::steal(PyDict_New());
  if (!inputs || !keywords) return nullptr;
  for (Py_ssize_t i = 2; i < nargs; ++i) {
    Ref input = isModelling(args[i]) ? wrapped(args[i]) : Ref::borrow(args[i]);
    if (!input) return nullptr;
    PyTuple_SET_ITEM(inputs.get(), i - 2, input.release());
  }
  bool typed = false;
  for (Py_ssize_t k = 0; kwnames && k < PyTuple_GET_SIZE(kwnames); ++k) {
    PyObject *name = PyTuple_GET_ITEM(kwnames, k), *value = args[nargs + k];
    if (holdsModelling(value)) return newRef(Py_NotImplemented);
    typed = typed || PyUnicode_CompareWithASCIIString(name, "dtype") == 0 ||
            PyUnicode_CompareWithASCIIString(name, "signature") == 0;
    if (PyDict_SetItem(keywords.get(), name, value) != 0) return nullptr;
  }
  // A comparison of object arrays would ask each constraint for its truth value; as objects they are kept.
  if (op && op->comparison && !typed &&
      PyDict_SetItemString(keywords.get(), "dtype", reinterpret_cast<PyObject*>(&PyBaseObject_Type)) != 0)
    return nullptr;
  Ref function = Ref::steal(PyObject_GetAttr(ufunc, method));
  return function ? PyObject_Call(function.get(), inputs.get(), keywords.get()) : nullptr;
}

}  // namespace tavlo
