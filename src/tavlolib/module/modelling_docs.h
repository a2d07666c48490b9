// Doc strings of the module functions that build and evaluate modelling objects. For the function table only.
#pragma once

#include "pyutil/python.h"

namespace tavlo {

PyDoc_STRVAR(kSumDoc, R"(Sum($module, /, *args)
--

Purpose:
  Sum of any number of objects.

Synopsis:
  s = tavlo.Sum(v1, v2, ...)

Argument:
  v1, v2, ...   Numbers, variables, terms, expressions, or lists, tuples, dictionaries, iterators, generators and
                NumPy arrays of these, nested at will. Of a dictionary the values are added.

Example:
  x = [tavlo.var() for i in range(10)]
  total = tavlo.Sum(i * x[i] for i in range(10))

Related topics:
  tavlo.expression
)");

PyDoc_STRVAR(kProdDoc, R"(Prod($module, /, *args)
--

Purpose:
  Product of any number of objects; 1 without any.

Synopsis:
  p = tavlo.Prod(v1, v2, ...)

Argument:
  v1, v2, ...   As for tavlo.Sum.

Example:
  x = [tavlo.var() for i in range(10)]
  volume = tavlo.Prod(x[:3])

Related topics:
  tavlo.Sum
)");

#define TAVLO_FUNCTION_DOC(name, words)                                                                              \
  name "($module, arg, /)\n--\n\n"                                                                                   \
       "Purpose:\n  " words                                                                                          \
       " of an expression.\n\n"                                                                                      \
       "Synopsis:\n  e = tavlo." name                                                                                \
       "(arg)\n\n"                                                                                                   \
       "Argument:\n  arg   Number, variable, term or expression. A number gives a float; a NumPy array an array of " \
       "the results.\n\n"                                                                                            \
       "Example:\n  x = tavlo.var()\n  c = tavlo." name                                                              \
       "(2*x) <= 0.5\n\n"                                                                                            \
       "Related topics:\n  tavlo.evaluate, tavlo.user\n"

#define TAVLO_EXTREMUM_DOC(name, word)                                                                            \
  name "($module, /, *args)\n--\n\n"                                                                              \
       "Purpose:\n  " word                                                                                        \
       " of one or more expressions.\n\n"                                                                         \
       "Synopsis:\n  e = tavlo." name "(v1, v2, ...)\n  e = tavlo." name                                          \
       "(values)\n\n"                                                                                             \
       "Argument:\n  v1, v2, ...   Numbers, variables, terms or expressions.\n"                                   \
       "  values        Instead of these: a list (which becomes part of the result and must not be changed), a\n" \
       "                tuple, another sequence or a one-dimensional NumPy array of them.\n\n"                    \
       "Example:\n  e = tavlo." name                                                                              \
       "(x, 2*y, 3)\n\n"                                                                                          \
       "Related topics:\n  tavlo.abs, tavlo.pwl\n"

#define TAVLO_LOGICAL_DOC(name, word, sign)                                                     \
  name "($module, /, *args)\n--\n\n"                                                            \
       "Purpose:\n  Logical " word                                                              \
       " of any number of binary variables or expressions.\n\n"                                 \
       "Synopsis:\n  e = tavlo." name                                                           \
       "(v1, v2, ...)\n\n"                                                                      \
       "Argument:\n  v1, v2, ...   As for tavlo.Sum. The operator " sign                        \
       " on two expressions gives the same.\n\n"                                                \
       "Example:\n  x = [tavlo.var(vartype=tavlo.binary) for i in range(3)]\n  c = tavlo." name \
       "(x) == 1\n\n"                                                                           \
       "Related topics:\n  tavlo.max, tavlo.min\n"

PyDoc_STRVAR(kUserDoc, R"(user($module, /, *args, derivatives=False)
--

Purpose:
  Expression whose value a Python function computes.

Synopsis:
  e = tavlo.user(f, t1, t2, ..., derivatives=False)

Argument:
  f             Any callable. It gets the values of t1, t2, ... as floats and returns the value, or with derivatives a
                tuple of the value and the derivatives with respect to each of them.
  t1, t2, ...   Numbers, variables, terms or expressions.
  derivatives   Whether f returns derivatives, too.

Example:
  import math
  e = tavlo.user(math.hypot, x, y)

Related topics:
  tavlo.evaluate, tavlo.pwl
)");

PyDoc_STRVAR(kEvaluateDoc, R"(evaluate($module, /, *expressions, problem=None, solution=None)
--

Purpose:
  Values of expressions at given values of the variables.

Synopsis:
  value = tavlo.evaluate(e, solution={x: 1, y: 2})
  values = tavlo.evaluate(e1, [e2, e3], problem=p)
  values = tavlo.evaluate(e1, e2, problem=p, solution=values_by_column)

Argument:
  expressions   Numbers, variables, terms and expressions, and lists, tuples, dictionaries and NumPy arrays of them. The
                result has the same shape; of several arguments it is a tuple.
  problem       Problem whose columns the values are of. Without solution: its last solution is taken.
  solution      Dictionary from variables to values, or list or one-dimensional array of the values of all columns.

  Beyond its last breakpoint a piecewise linear function continues along its last segment, before the first along its
  first. The logical operators use the module-level value of the control miptol as their tolerance, else 5e-6. Trees of
  more than 64 levels raise RuntimeError.

Example:
  tavlo.evaluate({"area": x * y, "angle": tavlo.atan(y / x)}, solution={x: 3, y: 4})

Related topics:
  problem.getSolution
)");

PyDoc_STRVAR(kPwlDoc, R"(pwl($module, pieces, /)
--

Purpose:
  Piecewise linear function of one variable.

Synopsis:
  e = tavlo.pwl({(a1, b1): piece1, (a2, b2): piece2, ..., None: x})

Argument:
  pieces   Dictionary from intervals, which may touch but not overlap, to the functions there: numbers, or linear
           expressions in one variable, the same in all pieces. The key None gives the variable where all are numbers.

  Where two pieces meet with different values, the function jumps; between intervals that do not touch it is linear.
  Outside of all intervals it continues along the first and the last piece.

Example:
  cost = tavlo.pwl({(0, 10): 2*x, (10, 50): 20 + (x - 10)})

Related topics:
  tavlo.max, tavlo.evaluate
)");

PyDoc_STRVAR(
    kVarsDoc,
    R"(vars($module, /, *indices, name='x', lb=0, ub=tavlo.infinity, threshold=-tavlo.infinity, vartype=tavlo.continuous)
--

Purpose:
  Creates many variables at once, one for each combination of the given indices.

Synopsis:
  x = tavlo.vars(*indices, name='x', lb=0, ub=tavlo.infinity, threshold=-tavlo.infinity, vartype=tavlo.continuous)

Argument:
  indices       Lists, sets, ranges or other iterables of distinct objects, or positive numbers k, each of which stands for
                range(k).
  name          Prefix of the names: the variable of the indices i and 'a' is called name(i,a). Names are made when they
                are asked for and cost nothing until then. The empty string gives the default names, such as C25.
  lb, ub, threshold, vartype
                As for tavlo.var, for all variables alike.

Return value:
  With numbers only, a NumPy array of type npvar with these dimensions, at most 32; otherwise a dictionary from tuples of
  indices to variables. The variables are in the order of their indices, the last index varying fastest.

Example:
  x = tavlo.vars(3, 4)
  y = tavlo.vars(['oil', 'gas'], range(12), name='y', vartype=tavlo.binary)
  y['gas', 0] + y['gas', 1] <= 1

Related topics:
  tavlo.var, tavlo.Dot
)");

PyDoc_STRVAR(kDotDoc, R"(Dot($module, /, *factors, out=None)
--

Purpose:
  Product of NumPy arrays of numbers, variables and expressions, as numpy.dot is for numbers: the last axis of the left
  factor is summed over with the second-to-last axis of the right one, or its only one.

Synopsis:
  r = tavlo.Dot(t1, t2, ..., out=None)

Argument:
  t1, t2, ...   NumPy arrays of at least one dimension, multiplied from left to right. Numbers may be signed integers and
                floats. A single argument is the collection of the factors: a list, a tuple, a dictionary (its values)
                or an iterator. None is skipped.
  out           Array that receives the last product, of its shape and type; it may be one of the factors. After an
                exception it is as before.

Return value:
  A new array, or out. It is of type npexpr when a variable or an expression is involved, and of the wider type of
  numbers otherwise. The product of two vectors has no dimensions: r.item() is its value. A single factor is returned
  itself, and without any the result is None.

Example:
  x = tavlo.vars(4)
  rows = tavlo.Dot(A, x) <= b    # A is an array of 3 by 4 numbers
  p.setObjective(tavlo.Dot(x, Q, x).item())

Related topics:
  tavlo.Sum, tavlo.vars
)");

}  // namespace tavlo
