// Sum, Prod, And and Or over members of any container or iterator.
#include <utility>

#include "model/nonlinear.h"
#include "pyutil/signals.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

PyObject* invalidObject() { return modelError("Invalid object in Sum or Prod operators"); }

// Tells the kind of a member, trying first what the members so far were: sums are mostly uniform.
class AdaptiveOrder {
 public:
  bool match(PyObject* o, Operand* out) {
    for (int i = 0; i < kKinds; ++i) {
      if (!is(order_[i], o, out)) continue;
      ++hits_[i];
      for (int j = 0; j < i; ++j)
        if (hits_[j] < hits_[i]) {
          std::swap(order_[i], order_[j]);
          std::swap(hits_[i], hits_[j]);
          break;
        }
      return true;
    }
    return false;
  }

 private:
  static constexpr int kKinds = 5;

  static bool is(int kind, PyObject* o, Operand* out) {
    static PyTypeObject* const types[] = {nullptr, &tavlo_varType, &tavlo_lintermType, &tavlo_quadtermType,
                                          &tavlo_expressionType};
    if (kind == kConstant ? !readConstant(o, &out->value) : Py_TYPE(o) != types[kind]) return false;
    out->o = o;
    out->kind = kind;
    return true;
  }

  int order_[kKinds] = {kLinterm, kVar, kQuadterm, kExpression, kConstant};
  int64_t hits_[kKinds] = {};
};

// Of a plain number an expression, as of all members or none.
PyObject* asExpression(Ref total, double empty) {
  if (!total) total = Ref::steal(PyFloat_FromDouble(empty));
  Operand a;
  if (!total || !classify(total.get(), &a)) return nullptr;
  if (a.kind != kConstant) return total.release();
  auto e = BasicRef<expression_s>::steal(newExpression());
  if (e) e->constant = a.value;
  return e.releaseObject();
}

class SumTotal {
 public:
  bool add(PyObject* member) {
    Operand b;
    if (sum_) return classify(member, &b) && (takes(b) ? addTo(b) : addGeneral(member));
    if (!fast_) return addGeneral(member);
    if (order_.match(member, &b))  // classify: refuses an object that no constructor filled
      return (b.kind == kConstant || classify(member, &b)) && accumulate(expression(), 1, b) == 0;
    return addGeneral(member);
  }

  PyObject* result() { return asExpression(std::move(total_), 0); }

 private:
  static bool takes(const Operand& b) { return b.kind >= kConstant && b.kind <= kNonlinear; }
  bool addTo(const Operand& b) { return nonlin_addTo(asNode(total_.get()), 1, b) == 0; }
  expression_s* expression() { return reinterpret_cast<expression_s*>(total_.get()); }

  bool addGeneral(PyObject* member) {
    PyObject* so_far = total_ ? total_.get() : Py_None;
    // Arrays are added into a new array: the element type of the first may not hold the sum.
    const bool arrays = PyArray_Check(member) || PyArray_Check(so_far);
    total_ = Ref::steal(arrays ? general_add(so_far, member) : general_iadd(so_far, member));
    fast_ = total_ && Py_TYPE(total_.get()) == &tavlo_expressionType;
    sum_ = total_ && isListNode(total_.get(), kNodeSum);
    return static_cast<bool>(total_);
  }

  Ref total_;  // ours alone, so an expression or a sum in it may be changed
  bool fast_ = false, sum_ = false;
  AdaptiveOrder order_;
};

// The product of no members is 1.
class ProductTotal {
 public:
  bool add(PyObject* member) {
    Operand b;
    if (!classify(member, &b)) return false;
    if (b.kind == kArray && !PyArray_Check(member)) return invalidObject() != nullptr;  // a number would repeat it
    if (total_ && isListNode(total_.get(), kNodeProduct) && b.kind >= kConstant && b.kind <= kNonlinear &&
        !(b.kind == kConstant && b.value == 0))
      return nonlin_multiplyTo(asNode(total_.get()), b) == 0;
    PyObject* so_far = total_ ? total_.get() : Py_None;
    const bool arrays = PyArray_Check(member) || PyArray_Check(so_far);
    total_ = Ref::steal(arrays ? general_mul(so_far, member) : general_imul(so_far, member));
    return static_cast<bool>(total_);
  }
  PyObject* result() { return asExpression(std::move(total_), 1); }

 private:
  Ref total_;  // ours alone, so an expression or a product in it may be changed
};

// And of no members is true, Or is false.
template <int32_t code, PyObject* (*general)(PyObject*, PyObject*)>
class LogicalTotal {
 public:
  bool add(PyObject* member) {
    const bool plain = total_ && getExprTypeQuiet(total_.get()) >= 0 && getExprTypeQuiet(member) >= 0;
    total_ = Ref::steal(plain ? nonlin_inplace_generic(code, total_.get(), member)
                              : general(total_ ? total_.get() : Py_None, member));
    return static_cast<bool>(total_);
  }
  PyObject* result() { return asExpression(std::move(total_), code == kNodeAnd ? 1 : 0); }

 private:
  Ref total_;
};

PyObject* incorrectObjects() { return modelError("Incorrect objects used in Sum, Dot, Prod, or aggregate functions"); }

// Each member(item) returns false to stop, with an exception set. The list may change under the loop.
template <class Fn>
bool eachOfList(PyObject* list, Fn&& member) {
  SignalPoll poll;
  for (Py_ssize_t i = 0; i < PyList_GET_SIZE(list); ++i) {
    Ref item = Ref::borrow(PyList_GET_ITEM(list, i));
    if (!poll.goesOn() || !member(item.get())) return false;
  }
  return true;
}

template <class Fn>
bool eachOfIterator(PyObject* iterable, Fn&& member) {
  Ref iterator = Ref::steal(PyObject_GetIter(iterable));
  if (!iterator) return false;
  const iternextfunc next = Py_TYPE(iterator.get())->tp_iternext;
  SignalPoll poll;
  for (;;) {
    Ref item = Ref::steal(next(iterator.get()));
    if (!item) break;
    if (!poll.goesOn() || !member(item.get())) return false;
  }
  if (!PyErr_Occurred()) return true;
  if (!PyErr_ExceptionMatches(PyExc_StopIteration)) return false;
  PyErr_Clear();
  return true;
}

template <class Fn>
bool eachOfArray(PyArrayObject* array, Fn&& member) {
  const bool numeric = PyArray_ISBOOL(array) || PyArray_ISINTEGER(array) || PyArray_ISFLOAT(array);
  if (!numeric && !holdsObjects(array)) return incorrectObjects() != nullptr;
  // A copy of the elements: what a member's addition runs may change or resize the array.
  Ref flat = Ref::steal(PyArray_Flatten(array, NPY_CORDER));
  if (flat && numeric)
    flat = Ref::steal(
        PyArray_CastToType(reinterpret_cast<PyArrayObject*>(flat.get()), PyArray_DescrFromType(NPY_DOUBLE), 0));
  if (!flat) return false;
  Ref list = Ref::steal(PyArray_ToList(reinterpret_cast<PyArrayObject*>(flat.get())));
  return list && eachOfList(list.get(), member);
}

template <class Fn>
bool eachMember(PyObject* operand, Fn&& member) {
  if (PyList_Check(operand)) return eachOfList(operand, member);
  if (PyTuple_Check(operand)) {
    SignalPoll poll;
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(operand); ++i)
      if (!poll.goesOn() || !member(PyTuple_GET_ITEM(operand, i))) return false;
    return true;
  }
  if (PyArray_Check(operand)) return eachOfArray(reinterpret_cast<PyArrayObject*>(operand), member);
  if (PyDict_Check(operand)) {
    Ref values = Ref::steal(PyDict_Values(operand));
    return values && eachOfList(values.get(), member);
  }
  Operand a;
  if (!classify(operand, &a)) return false;
  if (a.kind != kInvalid && a.kind != kArray) return member(operand);
  if (PyUnicode_Check(operand) || PyBytes_Check(operand) || PyByteArray_Check(operand))
    return invalidObject() != nullptr;
  if (a.kind == kArray) {
    Ref fast =
        Ref::steal(PySequence_Size(operand) < 0 ? nullptr : PySequence_Fast(operand, "Invalid sequence of objects"));
    if (fast) return eachMember(fast.get(), member);
    if (PyErr_ExceptionMatches(PyExc_TypeError)) modelError("Invalid sequence of objects");
    return false;
  }
  if (Py_TYPE(operand)->tp_iter) return eachOfIterator(operand, member);
  return invalidObject() != nullptr;
}

// The members of a call: its arguments, or what the one argument contains.
template <class Fn>
bool eachArgument(PyObject* args, Fn&& member) {
  return eachMember(PyTuple_GET_SIZE(args) == 1 ? PyTuple_GET_ITEM(args, 0) : args, member);
}

// None is skipped. A list as the first member would else be its own total; arrays add up element by element.
template <class Accumulator>
PyObject* aggregate(PyObject* args) {
  Accumulator total;
  bool any = false;
  const auto add = [&](PyObject* member) {
    if (member == Py_None) return true;
    if (!any && isArrayLike(member) && !PyArray_Check(member)) return invalidObject() != nullptr;
    any = true;
    return total.add(member);
  };
  return eachArgument(args, add) ? total.result() : nullptr;
}

}  // namespace

PyObject* collectMembers(PyObject* args) {
  PyObject* operand = PyTuple_GET_SIZE(args) == 1 ? PyTuple_GET_ITEM(args, 0) : args;
  if (PyArray_Check(operand)) {
    auto* array = reinterpret_cast<PyArrayObject*>(operand);
    const int type = PyArray_TYPE(array);
    if (type != NPY_DOUBLE && type != NPY_INT && type != NPY_BOOL && !holdsObjects(array)) return incorrectObjects();
  }
  Ref list = Ref::steal(PyList_New(0));
  if (!list) return nullptr;
  const bool whole =
      eachArgument(args, [&](PyObject* member) { return member == Py_None || PyList_Append(list.get(), member) == 0; });
  return whole ? list.release() : nullptr;
}

PyObject* tavlomod_Sum(PyObject*, PyObject* args) { return aggregate<SumTotal>(args); }
PyObject* tavlomod_Prod(PyObject*, PyObject* args) { return aggregate<ProductTotal>(args); }
PyObject* tavlomod_And(PyObject*, PyObject* args) { return aggregate<LogicalTotal<kNodeAnd, general_and>>(args); }
PyObject* tavlomod_Or(PyObject*, PyObject* args) { return aggregate<LogicalTotal<kNodeOr, general_or>>(args); }

}  // namespace tavlo
