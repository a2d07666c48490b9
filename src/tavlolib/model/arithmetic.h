// The arithmetic of modelling objects: one rule for each operation on classified operands, and the number slots made of
// them. Operands are never changed, except the expression on the left of an in-place operation. Functions that return
// PyObject* return a new reference, or null with an exception. Internal to model/.
#pragma once

#include "model/operand.h"

namespace tavlo {

enum class Op { add, sub, mul, div, pow, land, lor };

// ---- rules, on operands that are no arrays ----
// a + s*b with s = 1 or -1.
PyObject* addScaled(double s, const Operand& a, const Operand& b);
PyObject* multiply(const Operand& a, const Operand& b);
PyObject* divide(int slot, const Operand& a, const Operand& b);  // slot: the class whose rules apply
PyObject* raise(const Operand& a, const Operand& b);
PyObject* negate(const Operand& a);
// a op b by the rules of a class (op may be any but in-place).
PyObject* apply(Op op, int slot, const Operand& a, const Operand& b);
PyObject* applyInPlace(Op op, int slot, const Operand& a, const Operand& b);

// e += s*b for any b that is not nonlinear, an array or invalid. 0 or -1.
int accumulate(expression_s* e, double s, const Operand& b);
// e += f*w*x for another expression x without quadratic entries. 0 or -1.
int accumulateProduct(expression_s* e, double f, var_s* w, const expression_s* x);
// a + s*b where one of the two is an expression; changes and returns a when that is a.
PyObject* addInPlace(double s, const Operand& a, const Operand& b);
// e * f in place.
void expression_scale(expression_s* e, double f);
PyObject* multiplyInPlace(const Operand& a, const Operand& b);
PyObject* divideInPlace(const Operand& a, const Operand& b);

// Whether an operand is of no class, with the operation's exception set.
bool refused(Op op, const Operand& a, const Operand& b);

// ---- objects ----
expression_s* newExpression();
PyObject* linterm_copy(double c, PyObject* t);
PyObject* quadterm_copy(double c, PyObject* q);
PyObject* varlinterm_extractQuadratic(PyObject*, PyObject*);  // ([], [], [])
// ---- arrays (arrays.cpp) ----
// A modelling object as an array of no dimensions, of our element types.
Ref wrapInArray(PyObject* o);
// Counts how deeply operations on arrays of arrays are nested: an array may be an element of itself, and NumPy has no
// limit.
class Nested {
 public:
  Nested() { ++depth_; }
  Nested(const Nested&) = delete;
  Nested& operator=(const Nested&) = delete;
  ~Nested() { --depth_; }
  bool tooDeep() const;  // true, with RecursionError, beyond the limit

 private:
  static thread_local int depth_;
};
// a op b for an array or sequence b, with the operands exchanged where that is the same.
PyObject* handBack(Op op, PyObject* a, PyObject* b);
// a op b, and the comparisons <=, >= and ==, for a NumPy array a and a modelling object b, element by element.
PyObject* arrayOperation(Op op, PyObject* array, PyObject* b);
PyObject* compareArray(PyObject* array, PyObject* b, int op);

// Number slots, for a type object's tp_as_number.
extern PyNumberMethods varNumbers, lintermNumbers, quadtermNumbers, expressionNumbers, nonlinearNumbers;
PyObject* modelling_richcompare(PyObject* a, PyObject* b, int op);

extern const char kExtractLinearDoc[], kExtractQuadraticDoc[];

}  // namespace tavlo
