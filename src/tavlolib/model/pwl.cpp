// Piecewise linear functions of one variable.
#include <algorithm>
#include <cmath>
#include <vector>

#include "model/nonlinear.h"
#include "pyutil/guard.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

constexpr double kJointTolerance = 1e-6;

struct Piece {
  double a, b, at_a, at_b;
  PyObject* key;  // the tuple (a, b), borrowed from the items
  PyObject* start() const { return PyTuple_GET_ITEM(key, 0); }
  PyObject* end() const { return PyTuple_GET_ITEM(key, 1); }
};

// The one variable of an expression's linear part with its coefficient; false, with an exception, when there are more.
bool oneVariable(PyObject* e, var_s** v, double* coef) {
  const bool single = linmap_each(reinterpret_cast<expression_s*>(e)->linear, [&](var_s* u, double c) {
    if (c == 0) return true;
    if (*v) return false;
    *v = u;
    *coef = c;
    return true;
  });
  return single ||
         modelError("Expression %S not suitable for a piecewise linear function; it must contain one variable only",
                    e) != nullptr;
}

class PiecewiseLinear {
 public:
  explicit PiecewiseLinear(PyObject* dict) : dict_(dict) {}

  PyObject* node() {
    items_ = Ref::steal(PyDict_Items(dict_));
    if (!items_ || !eachItem(&PiecewiseLinear::takeVariable) || !eachItem(&PiecewiseLinear::takePiece)) return nullptr;
    if (!variable_)
      return modelError(
          "No variable specified for this piecewise linear function: %S; Are all values constant? If so, add a "
          "key-value pair (None: x) to the dictionary with the variable associated to the piecewise linear",
          dict_);
    std::stable_sort(pieces_.begin(), pieces_.end(), [](const Piece& p, const Piece& q) { return p.a < q.a; });
    Ref points = Ref::steal(overlap() ? nullptr : pointList());
    return points ? nonlin_instantiate_nary(kNodePwl, points.get()) : nullptr;
  }

 private:
  bool eachItem(bool (PiecewiseLinear::*take)(PyObject* key, PyObject* value)) {
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(items_.get()); ++i) {
      PyObject* item = PyList_GET_ITEM(items_.get(), i);
      if (!(this->*take)(PyTuple_GET_ITEM(item, 0), PyTuple_GET_ITEM(item, 1))) return false;
    }
    return true;
  }

  bool takeVariable(PyObject* key, PyObject* value) {
    if (key != Py_None) return true;
    if (!var_Check(value))
      return modelError("Tuple (None, Obj) must have an tavlo.var() object as Obj, found <%S>", value) != nullptr;
    variable_ = reinterpret_cast<var_s*>(value);
    return checkVarIsInitialized(value) == 0;
  }

  bool takePiece(PyObject* key, PyObject* value) {
    if (key == Py_None) return true;
    if (!PyTuple_Check(key) || PyTuple_GET_SIZE(key) != 2)
      return modelError("All keys in the dictionary argument of tavlo.pwl must be two-tuples; <%S> is not", key) !=
             nullptr;
    Piece p{0, 0, 0, 0, key};
    if (!readConstant(p.start(), &p.a) || !readConstant(p.end(), &p.b) || !(p.a < p.b) || !std::isfinite(p.b - p.a))
      return modelError(
                 "All keys in the dictionary argument of tavlo.pwl must be two-tuples with two constant numbers: "
                 "[a,b] such that a<b; <%S> is not",
                 key) != nullptr;
    var_s* v = nullptr;
    double slope = 0, constant = 0;
    if (!linear(value, &v, &slope, &constant)) return false;
    if (v && variable_ && !sameVariable(v, variable_))
      return modelError(
                 "Expression in [%S,%S] interval contains variable %S while another variable has been used in the "
                 "same function",
                 p.start(), p.end(), v) != nullptr;
    if (v) variable_ = v;
    p.at_a = slope * p.a + constant;
    p.at_b = slope * p.b + constant;
    pieces_.push_back(p);
    return true;
  }

  static bool linear(PyObject* value, var_s** v, double* slope, double* constant) {
    Operand x;
    if (!classify(value, &x)) return false;
    if (constantValue(x, constant)) return true;
    if (x.isLinear()) {
      *v = x.linearVar();
      *slope = x.linearCoef();
      return true;
    }
    if (x.kind != kExpression || quadmap_size(x.expression()->quadratic) != 0)
      return modelError(
                 "Expression %S not suitable for a piecewise linear function; it must be a constant or a linear "
                 "function",
                 value) != nullptr;
    *constant = x.expression()->constant;
    return oneVariable(value, v, slope);
  }

  bool overlap() {
    for (size_t i = 1; i < pieces_.size(); ++i) {
      const Piece &p = pieces_[i - 1], &q = pieces_[i];
      if (p.b > q.a)
        return !modelError("Interval [%S,%S] overlaps with [%S,%S] in piecewise linear function", p.start(), p.end(),
                           q.start(), q.end());
    }
    return false;
  }

  // The variable, then breakpoints and values. Pieces that meet share a point.
  PyObject* pointList() {
    Ref list = Ref::steal(PyList_New(0));
    if (!list || PyList_Append(list.get(), reinterpret_cast<PyObject*>(variable_)) != 0) return nullptr;
    const auto append = [&](double breakpoint, double value) {
      for (const double number : {breakpoint, value}) {
        Ref item = Ref::steal(PyFloat_FromDouble(number));
        if (!item || PyList_Append(list.get(), item.get()) != 0) return false;
      }
      return true;
    };
    for (size_t i = 0; i < pieces_.size(); ++i) {
      const Piece& p = pieces_[i];
      const bool meets = i + 1 < pieces_.size() && pieces_[i + 1].a - p.b <= kJointTolerance &&
                         std::fabs(pieces_[i + 1].at_a - p.at_b) <= kJointTolerance;
      if (!append(p.a, p.at_a) || (!meets && !append(p.b, p.at_b))) return nullptr;
    }
    return list.release();
  }

  PyObject* dict_;
  Ref items_;  // keeps keys, values and so the variable
  var_s* variable_ = nullptr;
  std::vector<Piece> pieces_;
};

}  // namespace

PyObject* tavlomod_pwl(PyObject*, PyObject* dict) {
  if (!PyDict_Check(dict))
    return modelError(
        "Function tavlo.pwl only accepts a dictionary; a call must be for example tavlo.pwl({(1,4): 2*x+1, (4,6): "
        "4*x+5, ...})");
  return guarded([&] { return PiecewiseLinear(dict).node(); });
}

}  // namespace tavlo
