// A sum of products that is built in place: numbers in a double, linear and quadratic terms in one expression,
// nonlinear products in one sum node. Nobody else refers to any of it until result(). Needs the interpreter lock;
// functions that return bool return false with an exception set.
#pragma once

#include "model/objects.h"
#include "pyutil/ref.h"

namespace tavlo {

struct Operand;

class ProductSum {
 public:
  bool add(double c, PyObject* o) {  // c*o
    if (Py_TYPE(o) == &tavlo_varType && varIndex(reinterpret_cast<var_s*>(o)) != 0)
      return expression() && expression_addToLinTerm(expression_.get(), reinterpret_cast<var_s*>(o), c) == 0;
    return addObject(c, o);
  }
  bool add(PyObject* a, PyObject* b);  // a*b
  // What was added: an expression, also of nothing, a float when there were only numbers, or a nonlinear. Empties the
  // sum.
  PyObject* result();

 private:
  bool addObject(double c, PyObject* o);
  bool addOperand(double c, const Operand& o);
  bool addNode(PyObject* node);
  expression_s* expression() { return expression_ ? expression_.get() : newlyMade(); }
  expression_s* newlyMade();

  BasicRef<expression_s> expression_;
  Ref nodes_;                 // the first nonlinear product, later the sum of them
  bool sum_is_ours_ = false;  // nodes_ is a sum that was made here
  bool numbers_ = false;
  double constant_ = 0;
};

}  // namespace tavlo
