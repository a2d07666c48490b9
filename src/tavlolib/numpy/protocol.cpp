// What happens when NumPy meets a bare modelling object: beside an array it becomes a 0-d array of our element type, so
// that the registered loops run (NumPy's own object loops would turn a comparison into a silent bool). Beside a NumPy
// scalar, the commonest case (c[i] * x[i]), the operation goes straight to the operator.
#include "numpy/dtypes.h"
#include "pyutil/ref.h"
#include "runtime/errors.h"

namespace tavlo {
namespace {

struct DirectOperator {
  const char* ufunc;
  PyObject* (*binary)(PyObject*, PyObject*);
  PyObject* (*unary)(PyObject*);
};
const DirectOperator kDirect[] = {
    {"multiply", general_mul, nullptr},        {"add", general_add, nullptr},
    {"subtract", general_sub, nullptr},        {"less_equal", relate<Py_LE>, nullptr},
    {"greater_equal", relate<Py_GE>, nullptr}, {"equal", relate<Py_EQ>, nullptr},
    {"true_divide", general_div, nullptr},     {"power", general_pow, nullptr},
    {"bitwise_and", general_and, nullptr},     {"bitwise_or", general_or, nullptr},
    {"less", relate<Py_LT>, nullptr},          {"greater", relate<Py_GT>, nullptr},
    {"not_equal", relate<Py_NE>, nullptr},     {"negative", nullptr, general_neg},
    {"square", nullptr, general_sqr},          {"absolute", nullptr, PyNumber_Absolute},
};
constexpr size_t kDirectCount = sizeof kDirect / sizeof kDirect[0];
PyObject* ufuncs[kDirectCount];  // kept for the process's life
PyObject* callName;              // the interned "__call__"

bool isModelling(PyObject* o) {
  return var_Check(o) || expression_Check(o) || linterm_Check(o) || quadterm_Check(o) || nonlinear_Check(o);
}

PyObject* asArray(PyObject* o) {  // a modelling object as a 0-d array; anything else as it is
  if (!isModelling(o)) return newRef(o);
  PyArray_Descr* d = var_Check(o) ? tvl_py_env.npvar_descr : tvl_py_env.npexpr_descr;
  Py_INCREF(d);
  PyObject* array = PyArray_Zeros(0, nullptr, d, 0);
  if (array) replaceElement(PyArray_DATA(reinterpret_cast<PyArrayObject*>(array)), newRef(o));
  return array;
}

// An input that stands for one value: itself, or what an array without dimensions holds, as which NumPy hands its
// scalars to comparisons. Null without an exception for anything else.
Ref scalarOf(PyObject* o) {
  const PyTypeObject* type = Py_TYPE(o);
  if (type == &PyDoubleArrType_Type || type == &tavlo_varType || type == &tavlo_lintermType || !isArrayLike(o))
    return Ref::borrow(o);
  if (!PyArray_Check(o) || PyArray_NDIM(reinterpret_cast<PyArrayObject*>(o)) != 0) return {};
  auto* array = reinterpret_cast<PyArrayObject*>(o);
  return Ref::steal(PyArray_ToScalar(PyArray_DATA(array), array));
}

bool isCallMethod(PyObject* method) {
  if (method == callName) return true;
  return PyUnicode_Check(method) && PyUnicode_Compare(method, callName) == 0;
}

bool holdsModelling(PyObject* out) {
  if (!PyTuple_Check(out)) return isModelling(out);
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(out); ++i)
    if (isModelling(PyTuple_GET_ITEM(out, i))) return true;
  return false;
}

// Whether it was a call on scalars that has an operator; *result is then what that gave.
bool callDirectly(PyObject* ufunc, PyObject* const* inputs, Py_ssize_t n, PyObject** result) {
  const DirectOperator* direct = nullptr;
  for (size_t k = 0; k < kDirectCount && !direct; ++k)
    if (ufunc == ufuncs[k] && (n == 2 ? kDirect[k].binary != nullptr : kDirect[k].unary != nullptr))
      direct = &kDirect[k];
  if (!direct) return false;
  Ref a = scalarOf(inputs[0]), b = a && n == 2 ? scalarOf(inputs[1]) : Ref();
  if (PyErr_Occurred()) return true;
  if (!a || (n == 2 && !b)) return false;
  *result = n == 2 ? direct->binary(a.get(), b.get()) : direct->unary(a.get());
  return true;
}

PyObject* arrayUfunc(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* kwnames) {
  if (nargs < 3) {
    PyErr_SetString(PyExc_TypeError, "__array_ufunc__ needs a universal function, a method and its inputs");
    return nullptr;
  }
  PyObject *ufunc = args[0], *method = args[1];
  PyObject* const* inputs = args + 2;
  const Py_ssize_t n = nargs - 2, nkw = kwnames ? PyTuple_GET_SIZE(kwnames) : 0;
  if (n <= 2 && !nkw && isCallMethod(method)) {
    PyObject* result = nullptr;
    if (callDirectly(ufunc, inputs, n, &result)) return result;
  }
  Ref call = Ref::steal(PyObject_GetAttr(ufunc, method));
  Ref positional = Ref::steal(PyTuple_New(n));
  Ref keywords = Ref::steal(nkw ? PyDict_New() : nullptr);
  if (!call || !positional || (nkw && !keywords)) return nullptr;
  for (Py_ssize_t i = 0; i < n; ++i) {
    PyObject* o = asArray(inputs[i]);
    if (!o) return nullptr;
    PyTuple_SET_ITEM(positional.get(), i, o);
  }
  for (Py_ssize_t i = 0; i < nkw; ++i) {
    PyObject* name = PyTuple_GET_ITEM(kwnames, i);
    PyObject* value = args[nargs + i];
    // NumPy would come back here with it for ever.
    if (PyUnicode_CompareWithASCIIString(name, "out") == 0 && holdsModelling(value))
      return modelError("A modelling object cannot be the output of a NumPy function");
    if (PyDict_SetItem(keywords.get(), name, value) < 0) return nullptr;
  }
  return PyObject_Call(call.get(), positional.get(), keywords.get());
}

PyMethodDef kArrayUfunc = {"__array_ufunc__", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(arrayUfunc)),
                           METH_FASTCALL | METH_KEYWORDS,
                           "__array_ufunc__($self, ufunc, method, /, *inputs, **kwargs)\n--\n\nLets NumPy's functions "
                           "and arrays meet the object."};

int installOn(PyTypeObject* type) {
  Ref method = Ref::steal(PyDescr_NewMethod(type, &kArrayUfunc));
  if (!method || PyDict_SetItemString(type->tp_dict, kArrayUfunc.ml_name, method.get()) < 0) return -1;
  PyType_Modified(type);
  return 0;
}

}  // namespace

int installProtocol() {
  callName = PyUnicode_InternFromString("__call__");
  Ref numpy = Ref::steal(PyImport_ImportModule("numpy"));
  if (!callName || !numpy) return -1;
  for (size_t k = 0; k < kDirectCount; ++k) {
    ufuncs[k] = PyObject_GetAttrString(numpy.get(), kDirect[k].ufunc);
    if (!ufuncs[k]) return -1;
  }
  for (PyTypeObject* type :
       {&tavlo_varType, &tavlo_lintermType, &tavlo_quadtermType, &tavlo_expressionType, &tavlo_nonlinearType})
    if (installOn(type) < 0) return -1;
  return 0;
}

}  // namespace tavlo
