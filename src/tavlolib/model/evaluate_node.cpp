// Values of nonlinear nodes.
#include "elementary/functions.h"
#include "model/nonlinear.h"
#include "pyutil/guard.h"
#include "pyutil/locks.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

constexpr double kDefaultTolerance = 5e-6;

// The module-level value of the control miptol.
double logicalTolerance() {
  Ref value;
  {
    Locked lock(tvl_py_env.defaults_mutex);
    PyObject* found =
        tvl_py_env.default_controls ? PyDict_GetItemString(tvl_py_env.default_controls, "miptol") : nullptr;
    if (found) value = Ref::borrow(found);
  }
  double tolerance;
  return value && readConstant(value.get(), &tolerance) ? tolerance : kDefaultTolerance;
}

class NodeEvaluator {
 public:
  NodeEvaluator(PyObject* args, const ValueSource& source, int budget)
      : args_(args), source_(source), budget_(budget) {}

  bool value(int32_t code, double* out) {
    switch (code) {
      case kNodeSum:
        *out = 0;
        return each([&](double v) { return *out += v, true; });
      case kNodeProduct:
        *out = 1;
        return each([&](double v) { return *out *= v, true; });
      case kNodeMax:
        return extreme(out, [](double v, double best) { return v > best; });
      case kNodeMin:
        return extreme(out, [](double v, double best) { return v < best; });
      case kNodeAnd:
        return logical(1, out, [t = logicalTolerance()](double v) { return v <= t; });
      case kNodeOr:
        return logical(0, out, [t = logicalTolerance()](double v) { return v > 1 - t; });
      case kNodePwl:
        return piecewiseLinear(out);
      case kNodeUser:
      case kNodeUserDerivatives:
        return user(out);
      case kNodeDifference:
      case kNodeDivision:
      case kNodePower:
        return binary(code, out);
      default:
        return unary(code, out);
    }
  }

 private:
  bool at(Py_ssize_t i, double* out) {
    Ref operand = operandAt(args_, i);
    if (!operand) return modelError("Invalid object in n-ary operation") != nullptr;
    return evaluateScalar(operand.get(), source_, budget_ - 1, out) == 0;
  }

  // fn(value) returns false to stop before the end.
  template <class Fn>
  bool each(Fn&& fn) {
    for (Py_ssize_t i = 0; Ref operand = operandAt(args_, i); ++i) {
      double v;
      if (evaluateScalar(operand.get(), source_, budget_ - 1, &v) != 0) return false;
      if (!fn(v)) break;
    }
    return true;
  }

  template <class Better>
  bool extreme(double* out, Better&& better) {
    bool first = true;
    const bool whole = each([&](double v) {
      if (first || better(v, *out)) *out = v;
      first = false;
      return true;
    });
    return whole && (!first || modelError("Invalid object in n-ary operation"));
  }

  template <class Decisive>
  bool logical(double otherwise, double* out, Decisive&& decisive) {
    *out = otherwise;
    return each([&](double v) {
      if (!decisive(v)) return true;
      *out = 1 - otherwise;
      return false;
    });
  }

  bool binary(int32_t code, double* out) {
    double a, b;
    if (!PyTuple_Check(args_) || PyTuple_GET_SIZE(args_) != 2)
      return modelError("Invalid binary nonlinear expression") != nullptr;
    if (!at(0, &a) || !at(1, &b)) return false;
    if (code == kNodeDivision && b == 0) {
      PyErr_SetString(PyExc_ZeroDivisionError, "Division by zero in evaluation of expression containing fraction");
      return false;
    }
    switch (code) {
#define ELEMENTARY_OPERATOR(name, Node, ...) \
  case kNode##Node:                          \
    *out = elementary::name(a, b);           \
    break;
#include "elementary/functions.def"
      default:
        break;
    }
    return true;
  }

  bool unary(int32_t code, double* out) {
    double (*fn)(double) = functionOf(code);
    double v;
    if (!fn) return modelError("Unknown nonlinear type") != nullptr;
    if (evaluateScalar(args_, source_, budget_ - 1, &v) != 0) return false;
    *out = fn(v);
    return true;
  }

  static double (*functionOf(int32_t code))(double) {
    switch (code) {
      case kNodeNegation:
        return [](double v) { return elementary::neg(v, 0); };
#define ELEMENTARY_FUNCTION(name, Node, ...) \
  case kNode##Node:                          \
    return elementary::name;
#include "elementary/functions.def"
      default:
        return nullptr;
    }
  }

  // Beyond either end along the outermost segment; a breakpoint belongs to the segment that starts there.
  bool piecewiseLinear(double* out) {
    const Py_ssize_t pairs = ((PyList_Check(args_)    ? PyList_GET_SIZE(args_)
                               : PyTuple_Check(args_) ? PyTuple_GET_SIZE(args_)
                                                      : 0) -
                              1) /
                             2;
    double t, b1 = 0, v1 = 0, b2 = 0, v2 = 0;
    if (!at(0, &t)) return false;
    if (pairs < 2)
      return failsAt(t,
                     "Not enough points to extrapolate value of piecewise linear containing fraction for "
                     "%S = %S");
    Py_ssize_t last = 0;  // the number of the pair (b2, v2)
    if (!pair(0, &b2, &v2)) return false;
    do {
      b1 = b2;
      v1 = v2;
      if (!pair(++last, &b2, &v2)) return false;
    } while (last + 1 < pairs && !(t < b2));
    if (b1 == b2) {
      Ref breakpoint = Ref::steal(PyFloat_FromDouble(b1));
      return breakpoint && failsAt(t,
                                   "Piecewise linear function has discontinuity at first breakpoint %S = %S and can't "
                                   "be evaluated at %S",
                                   breakpoint.get());
    }
    *out = elementary::Segment{b1, v1, b2, v2}.at(t);
    return true;
  }

  bool pair(Py_ssize_t number, double* b, double* v) { return at(1 + 2 * number, b) && at(2 + 2 * number, v); }

  bool failsAt(double t, const char* format, PyObject* breakpoint = nullptr) {
    Ref x = operandAt(args_, 0), at = Ref::steal(PyFloat_FromDouble(t));
    if (at) interfaceError(format, x.get(), breakpoint ? breakpoint : at.get(), at.get());
    return false;
  }

  bool user(double* out) {
    Ref function = operandAt(args_, 0);
    const Py_ssize_t n = PyTuple_Check(args_) ? PyTuple_GET_SIZE(args_) - 1 : -1;
    if (n < 0 || !function) return modelError("Insufficient number of arguments declared for operator") != nullptr;
    Ref values = Ref::steal(PyTuple_New(n));
    for (Py_ssize_t i = 0; values && i < n; ++i) {
      double v;
      if (!at(i + 1, &v)) return false;
      PyObject* number = PyFloat_FromDouble(v);
      if (!number) return false;
      PyTuple_SET_ITEM(values.get(), i, number);
    }
    Ref result = Ref::steal(values ? PyObject_CallObject(function.get(), values.get()) : nullptr);
    if (result && PyTuple_Check(result.get())) {
      result = operandAt(result.get(), 0);
      if (!result) return modelError("User function must return a value, or a tuple that begins with it") != nullptr;
    }
    if (!result) return false;
    *out = PyFloat_AsDouble(result.get());
    return *out != -1.0 || !PyErr_Occurred();
  }

  PyObject* args_;
  const ValueSource& source_;
  int budget_;
};

// Whether a walk may come to the node again: more refer to it, or to its operands, than the one that it is reached by
// and the walk itself. Trees without such nodes pay for no memory.
bool isShared(PyObject* node) {
  PyObject* args = asNode(node)->args;
  return Py_REFCNT(node) > 2 || (PyTuple_CheckExact(args) && Py_REFCNT(args) > 1);
}

}  // namespace

const double* NodeValues::find(PyObject* node) const {
  const auto found = values_.find(contentOf(node));
  return found == values_.end() ? nullptr : &found->second.value;
}

void NodeValues::add(const NodeContent& content, double value) {
  values_.emplace(content, Known{Ref::borrow(content.args), value});
}

int evaluateNode(PyObject* node, const ValueSource& source, int budget, double* out) {
  if (!source.known) {
    NodeValues known;
    ValueSource remembering = source;
    remembering.known = &known;
    return evaluateNode(node, remembering, budget, out);
  }
  const bool shared = isShared(node);
  if (const double* value = shared ? source.known->find(node) : nullptr) {
    *out = *value;
    return 0;
  }
  if (!source.known->poll.goesOn()) return -1;
  const NodeContent content = contentOf(node);
  Ref args = Ref::borrow(content.args);
  if (!NodeEvaluator(args.get(), source, budget).value(content.code, out)) return -1;
  return guarded([&] {
    if (shared) source.known->add(content, *out);
    return 0;
  });
}

}  // namespace tavlo
