#include "numpy/dot.h"

#include <array>

#include "numpy/dot_kernel.h"

namespace tavlo {
namespace {

using Product = bool (*)(PyArrayObject*, PyArrayObject*, PyArrayObject*);
template <size_t... I>
constexpr std::array<Product, sizeof...(I)> products(std::index_sequence<I...>) {
  return {tensor_mult_template<ClassAt<I / kElementClasses>, ClassAt<I % kElementClasses>>...};
}
constexpr auto kProducts = products(std::make_index_sequence<kElementClasses * kElementClasses>());
constexpr size_t kObjectClass = kNumericClasses, kVarClass = kObjectClass + 1;
constexpr int kTypeNumbers[kNumericClasses] = {NPY_BYTE, NPY_SHORT, NPY_INT, NPY_LONG, NPY_HALF, NPY_FLOAT, NPY_DOUBLE};

// The position of the array's class in the table, or kElementClasses.
size_t classOf(PyArrayObject* array) {
  const PyTypeObject* const type = PyArray_DESCR(array)->typeobj;
  if (type == &tavlo_varType) return kVarClass;
  if (type == &tavlo_expressionType || type == &PyObjectArrType_Type) return kObjectClass;
  for (size_t i = 0; i < kNumericClasses; ++i)
    if (PyArray_TYPE(array) == kTypeNumbers[i]) return i;
  return kElementClasses;
}

PyArrayObject* asArray(PyObject* o) { return reinterpret_cast<PyArrayObject*>(o); }

bool checkOutputType(PyObject* out, PyArray_Descr* wanted) {
  const PyTypeObject* const type = PyArray_Check(out) ? PyArray_DESCR(asArray(out))->typeobj : nullptr;
  const bool objects = wanted == tvl_py_env.npexpr_descr;
  if (!type || (type != wanted->typeobj && !(objects && type == &tavlo_nonlinearType)))
    return modelError(
               "Output argument set with wrong type: must be float/int for products of floats/ints and "
               "expression/nonlin for products of variables/expressions/nonlinear") != nullptr;
  return PyArray_FailUnlessWriteable(asArray(out), "output array") == 0;
}

bool checkOutputShape(PyObject* out, int nd, const npy_intp* shape) {
  if (PyArray_NDIM(asArray(out)) == nd && PyArray_CompareLists(PyArray_DIMS(asArray(out)), shape, nd)) return true;
  Ref has = Ref::steal(PyArray_IntTupleFromIntp(PyArray_NDIM(asArray(out)), PyArray_DIMS(asArray(out))));
  Ref needs = Ref::steal(PyArray_IntTupleFromIntp(nd, shape));
  if (has && needs)
    PyErr_Format(PyExc_ValueError, "the output array has shape %R, the product has shape %R", has.get(), needs.get());
  return false;
}

// The shape of the product: left's axes but the last, then right's but the contracted one.
int productShape(PyArrayObject* left, PyArrayObject* right, npy_intp* shape) {
  const int dl = PyArray_NDIM(left), dr = PyArray_NDIM(right);
  int nd = 0;
  for (int i = 0; i < dl - 1; ++i) shape[nd++] = PyArray_DIM(left, i);
  for (int i = 0; i < dr; ++i)
    if (i != (dr > 1 ? dr - 2 : 0)) shape[nd++] = PyArray_DIM(right, i);
  return nd;
}

// The array with numbers in this machine's byte order.
Ref native(PyArrayObject* array) {
  if (PyArray_ISNOTSWAPPED(array)) return Ref::borrow(reinterpret_cast<PyObject*>(array));
  return Ref::steal(PyArray_CastToType(array, PyArray_DescrFromType(PyArray_TYPE(array)), 0));
}

PyObject* multiplyArrays(PyArrayObject* left, size_t left_class, PyArrayObject* right, size_t right_class,
                         PyObject* out) {
  npy_intp shape[2 * NPY_MAXDIMS];
  const int nd = productShape(left, right, shape);
  const size_t later = left_class > right_class ? left_class : right_class;
  Ref descr = later < kNumericClasses
                  ? Ref::steal(reinterpret_cast<PyObject*>(PyArray_DescrFromType(kTypeNumbers[later])))
                  : Ref::borrow(reinterpret_cast<PyObject*>(tvl_py_env.npexpr_descr));
  if (!descr) return nullptr;
  auto* wanted = reinterpret_cast<PyArray_Descr*>(descr.get());
  if (out != Py_None && !checkOutputType(out, wanted)) return nullptr;
  if (PyArray_DIM(left, PyArray_NDIM(left) - 1) !=
      PyArray_DIM(right, PyArray_NDIM(right) > 1 ? PyArray_NDIM(right) - 2 : 0))
    return modelError("Dot product must occur between NumPy vectors with matching sizes in the multiplying dimension");
  if (out != Py_None && !checkOutputShape(out, nd, shape)) return nullptr;
  Ref a = native(left), b = native(right);
  if (!a || !b) return nullptr;
  Ref result = Ref::steal(PyArray_NewFromDescr(&PyArray_Type, reinterpret_cast<PyArray_Descr*>(descr.release()), nd,
                                               shape, nullptr, nullptr, 0, nullptr));
  if (!result ||
      !kProducts[left_class * kElementClasses + right_class](asArray(a.get()), asArray(b.get()), asArray(result.get())))
    return nullptr;
  if (out == Py_None) return result.release();
  return PyArray_CopyInto(asArray(out), asArray(result.get())) == 0 ? newRef(out) : nullptr;
}

}  // namespace

PyObject* tensor_mult(PyObject* left, PyObject* right, PyObject* out) {
  if (left == Py_None)
    return PyArray_Check(right) ? newRef(right) : modelError("Dot product should only be on NumPy arrays");
  if (!PyArray_Check(left) || !PyArray_Check(right))
    return modelError("Dot product can only occur between NumPy arrays");
  if (PyArray_NDIM(asArray(left)) == 0)
    return modelError("Dot product between incompatible objects: first one is a scalar");
  if (PyArray_NDIM(asArray(right)) == 0)
    return modelError("Dot product between incompatible objects: second one is a scalar");
  const size_t a = classOf(asArray(left)), b = classOf(asArray(right));
  if (a == kElementClasses || b == kElementClasses)
    return modelError("Dot product must be between long, double, and expressions/variables");
  return multiplyArrays(asArray(left), a, asArray(right), b, out);
}

PyObject* tavlomod_Dot(PyObject*, PyObject* args, PyObject* kwargs) {
  static const char* const names[] = {"out", nullptr};
  PyObject* out = Py_None;
  Ref none = Ref::steal(PyTuple_New(0));
  if (!none || !PyArg_ParseTupleAndKeywords(none.get(), kwargs, "|$O:Dot", const_cast<char**>(names), &out))
    return nullptr;
  Ref factors = Ref::steal(collectMembers(args));
  if (!factors) return nullptr;
  const Py_ssize_t n = PyList_GET_SIZE(factors.get());
  Ref total = Ref::borrow(Py_None);
  for (Py_ssize_t i = 0; i < n; ++i) {
    PyObject* factor = PyList_GET_ITEM(factors.get(), i);
    if (i == 0 && PyTuple_GET_SIZE(args) > 1 && !PyArray_Check(factor))
      return modelError("Dot product can only occur between NumPy arrays");
    total = Ref::steal(tensor_mult(total.get(), factor, i == n - 1 ? out : Py_None));
    if (!total) return nullptr;
  }
  return total.release();
}

}  // namespace tavlo
