// Element-by-element loops of NumPy's universal functions over the three types, doubles and objects.
#include "numpy/dtypes.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"
#include "pyutil/signals.h"
#include "runtime/errors.h"

namespace tavlo {
namespace {

using Binary = PyObject* (*)(PyObject*, PyObject*);
using Unary = PyObject* (*)(PyObject*);

// The dispatcher takes None and null for an empty accumulator; in an array such an element is an error.
bool isOperand(PyObject* o) {
  if (o && o != Py_None) return true;
  modelError("Invalid object in operation: <%S>", Py_None);
  return false;
}

// The last float that a mixed loop made, reused while the double repeats.
class FloatCache {
 public:
  PyObject* get(const char* p) {  // borrowed; null with an exception
    double d;
    __builtin_memcpy(&d, p, sizeof d);
    if (!held_ || d != value_) {
      held_ = Ref::steal(PyFloat_FromDouble(d));
      value_ = d;
    }
    return held_.get();
  }

 private:
  Ref held_;
  double value_ = 0;
};

template <Binary F>
constexpr double kAbsorbs = 0;  // the sign with which an accumulator takes the right operand in; 0: it can't
template <>
constexpr double kAbsorbs<general_add> = 1;
template <>
constexpr double kAbsorbs<general_sub> = -1;

// A reduction gives its accumulator as the left operand and as the output. Where the array and we alone hold that, it
// grows in place: a new object for each term would make a sum of n terms cost n*n.
inline int absorb(PyObject* x, double sign, PyObject* y) { return Py_REFCNT(x) == 2 ? general_absorb(x, sign, y) : 0; }

// Both inputs are owned during the call: the output may alias one of them, and the operation may run Python code.
template <Binary F, bool DoubleLeft, bool DoubleRight>
void binaryLoop(char** args, const npy_intp* dims, const npy_intp* steps, void*) {
  GilHeld lock;
  char *a = args[0], *b = args[1], *r = args[2];
  FloatCache cache;
  SignalPoll poll;
  for (npy_intp i = 0, n = dims[0]; i < n; ++i, a += steps[0], b += steps[1], r += steps[2]) {
    Ref x = Ref::borrow(DoubleLeft ? cache.get(a) : loadElement(a));
    Ref y = Ref::borrow(DoubleRight ? cache.get(b) : loadElement(b));
    if (PyErr_Occurred() || !poll.goesOn() || !isOperand(x.get()) || !isOperand(y.get())) return;
    if constexpr (kAbsorbs<F> != 0 && !DoubleLeft) {
      const int absorbed = a == r ? absorb(x.get(), kAbsorbs<F>, y.get()) : 0;
      if (absorbed < 0) return;
      if (absorbed > 0) continue;
    }
    PyObject* result = F(x.get(), y.get());
    if (!result) return;
    replaceElement(r, result);
  }
}

template <Unary F>
void unaryLoop(char** args, const npy_intp* dims, const npy_intp* steps, void*) {
  GilHeld lock;
  char *a = args[0], *r = args[1];
  SignalPoll poll;
  for (npy_intp i = 0, n = dims[0]; i < n; ++i, a += steps[0], r += steps[1]) {
    Ref x = Ref::borrow(loadElement(a));
    if (PyErr_Occurred() || !poll.goesOn() || !isOperand(x.get())) return;
    PyObject* result = F(x.get());
    if (!result) return;
    replaceElement(r, result);
  }
}

struct BinaryRow {
  const char* ufunc;
  Element result;
  PyUFuncGenericFunction oo, of, fo;  // object with object, object with double, double with object
};
template <Binary F>
constexpr BinaryRow row(const char* ufunc, Element result) {
  return {ufunc, result, binaryLoop<F, false, false>, binaryLoop<F, false, true>, binaryLoop<F, true, false>};
}
const BinaryRow kBinary[] = {
    row<relate<Py_LE>>("less_equal", Element::constraint),
    row<relate<Py_EQ>>("equal", Element::constraint),
    row<relate<Py_GE>>("greater_equal", Element::constraint),
    // These raise the model's own error.
    row<relate<Py_LT>>("less", Element::constraint),
    row<relate<Py_GT>>("greater", Element::constraint),
    row<relate<Py_NE>>("not_equal", Element::constraint),
    row<general_add>("add", Element::expr),
    row<general_sub>("subtract", Element::expr),
    row<general_mul>("multiply", Element::expr),
    row<general_div>("true_divide", Element::expr),
    row<general_pow>("power", Element::expr),
    row<general_and>("bitwise_and", Element::expr),
    row<general_or>("bitwise_or", Element::expr),
};
struct UnaryRow {
  const char* ufunc;
  PyUFuncGenericFunction loop;
};
const UnaryRow kUnary[] = {{"negative", unaryLoop<general_neg>}, {"square", unaryLoop<general_sqr>}};

int registerLoop(PyObject* numpy, const char* name, Element user, PyUFuncGenericFunction loop, const Element* types,
                 int ntypes) {
  Ref ufunc = Ref::steal(PyObject_GetAttrString(numpy, name));
  if (!ufunc) return -1;
  int numbers[3];
  for (int i = 0; i < ntypes; ++i) numbers[i] = typeNumber(types[i]);
  return PyUFunc_RegisterLoopForType(reinterpret_cast<PyUFuncObject*>(ufunc.get()), typeNumber(user), loop, numbers,
                                     nullptr);
}

int registerBinary(PyObject* numpy, const BinaryRow& r, Element u) {
  auto add = [&](Element user, PyUFuncGenericFunction loop, Element left, Element right, Element result) {
    const Element types[] = {left, right, result};
    return registerLoop(numpy, r.ufunc, user, loop, types, 3);
  };
  for (Element v : {Element::var, Element::expr})
    if (add(u > v ? u : v, r.oo, u, v, r.result) < 0) return -1;
  if (add(u, r.of, u, Element::number, r.result) < 0 || add(u, r.fo, Element::number, u, r.result) < 0) return -1;
  // With plain objects the left operand decides the result, so that an in-place operator never casts its output.
  const Element left = r.result == Element::constraint ? Element::constraint : Element::object;
  return add(u, r.oo, u, Element::object, r.result) < 0 || add(u, r.oo, Element::object, u, left) < 0 ? -1 : 0;
}

}  // namespace

int registerLoops() {
  Ref numpy = Ref::steal(PyImport_ImportModule("numpy"));
  if (!numpy) return -1;
  for (Element u : {Element::var, Element::expr}) {
    for (const BinaryRow& r : kBinary)
      if (registerBinary(numpy.get(), r, u) < 0) return -1;
    for (const UnaryRow& r : kUnary) {
      const Element types[] = {u, Element::expr};
      if (registerLoop(numpy.get(), r.ufunc, u, r.loop, types, 2) < 0) return -1;
    }
  }
  return 0;
}

}  // namespace tavlo
