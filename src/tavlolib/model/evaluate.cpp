// Values of modelling objects, alone or in containers, for given values of the variables.
#include "model/nonlinear.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

bool withinBudget(int budget) {
  if (budget >= 1) return true;
  PyErr_SetString(PyExc_RuntimeError, "Evaluation of expression exceeded recursion depth limit");
  return false;
}

bool isText(PyObject* o) { return PyUnicode_Check(o) || PyBytes_Check(o); }

// Looking a value up may run code that changes the expression, so the walk is over a copy.
int evaluateExpression(PyObject* o, const ValueSource& source, double* out) {
  auto e = BasicRef<expression_s>::steal(reinterpret_cast<expression_s*>(expression_copy(o, 1)));
  if (!e) return -1;
  double sum = e->constant, x = 0, y = 0;
  const bool whole = linmap_each(e->linear,
                                 [&](var_s* v, double c) {
                                   if (!source.value(source.context, v, &x)) return false;
                                   sum += c * x;
                                   return true;
                                 }) &&
                     quadmap_each(e->quadratic, [&](var_s* u, var_s* v, double c) {
                       if (!source.value(source.context, u, &x)) return false;
                       if (sameVariable(u, v))
                         y = x;
                       else if (!source.value(source.context, v, &y))
                         return false;
                       sum += c * x * y;
                       return true;
                     });
  *out = sum;
  return whole ? 0 : -1;
}

int evaluateQuadterm(const quadterm_s* q, const ValueSource& source, double* out) {
  double x, y;
  if (!source.value(source.context, q->var1, &x)) return -1;
  if (sameVariable(q->var1, q->var2))
    y = x;
  else if (!source.value(source.context, q->var2, &y))
    return -1;
  *out = q->coef * x * y;
  return 0;
}

bool isEvaluable(PyTypeObject* scalar) {
  return scalar == &PyObjectArrType_Type || scalar == &tavlo_varType || scalar == &tavlo_lintermType ||
         scalar == &tavlo_quadtermType || scalar == &tavlo_expressionType || scalar == &tavlo_nonlinearType;
}

PyObject* evaluateArray(PyArrayObject* in, const ValueSource& source, int budget) {
  if (!isEvaluable(PyArray_DESCR(in)->typeobj))
    return interfaceError(
        "tavlo.evaluate() requires one or more Python objects;\nNumPy arrays must be of dtype tavlo.npvar, "
        "tavlo.npexpr, or tavlo.npconstraint.");
  Ref elements = Ref::steal(PyArray_NewCopy(in, NPY_CORDER));
  Ref result = Ref::steal(PyArray_SimpleNew(PyArray_NDIM(in), PyArray_DIMS(in), NPY_DOUBLE));
  if (!elements || !result) return nullptr;
  auto** from = static_cast<PyObject**>(PyArray_DATA(reinterpret_cast<PyArrayObject*>(elements.get())));
  auto* to = static_cast<double*>(PyArray_DATA(reinterpret_cast<PyArrayObject*>(result.get())));
  for (npy_intp i = 0, n = PyArray_SIZE(in); i < n; ++i)
    if (evaluateScalar(from[i] ? from[i] : Py_None, source, budget - 1, to + i) != 0) return nullptr;
  return result.release();
}

PyObject* evaluateTuple(PyObject* o, const ValueSource& source, int budget) {
  const Py_ssize_t n = PyTuple_GET_SIZE(o);
  Ref result = Ref::steal(PyTuple_New(n));
  for (Py_ssize_t i = 0; result && i < n; ++i) {
    PyObject* value = evaluateStructure(PyTuple_GET_ITEM(o, i), source, budget - 1);
    if (!value) return nullptr;
    PyTuple_SET_ITEM(result.get(), i, value);
  }
  return result.release();
}

PyObject* evaluateDict(PyObject* o, const ValueSource& source, int budget) {
  Ref items = Ref::steal(PyDict_Items(o)), result = Ref::steal(PyDict_New());
  if (!items || !result) return nullptr;
  for (Py_ssize_t i = 0; i < PyList_GET_SIZE(items.get()); ++i) {
    PyObject* item = PyList_GET_ITEM(items.get(), i);
    Ref value = Ref::steal(evaluateStructure(PyTuple_GET_ITEM(item, 1), source, budget - 1));
    if (!value || PyDict_SetItem(result.get(), PyTuple_GET_ITEM(item, 0), value.get()) != 0) return nullptr;
  }
  return result.release();
}

PyObject* evaluateSequence(PyObject* o, const ValueSource& source, int budget) {
  Ref fast = Ref::steal(PySequence_Fast(o, "Cannot evaluate type of sequence"));
  Ref result = Ref::steal(fast ? PyList_New(0) : nullptr);
  if (!result) return nullptr;
  for (Py_ssize_t i = 0; i < PySequence_Fast_GET_SIZE(fast.get()); ++i) {
    Ref item = Ref::borrow(PySequence_Fast_GET_ITEM(fast.get(), i));
    Ref value = Ref::steal(evaluateStructure(item.get(), source, budget - 1));
    if (!value || PyList_Append(result.get(), value.get()) != 0) return nullptr;
  }
  return result.release();
}

}  // namespace

int evaluateScalar(PyObject* o, const ValueSource& source, int budget, double* out) {
  if (!withinBudget(budget)) return -1;
  Operand a;
  if (!classify(o, &a)) return -1;
  switch (a.kind) {
    case kConstant:
      *out = a.value;
      return 0;
    case kVar:
      return source.value(source.context, a.var(), out) ? 0 : -1;
    case kLinterm:
      if (!source.value(source.context, a.linterm()->var, out)) return -1;
      *out *= a.linterm()->coef;
      return 0;
    case kQuadterm:
      return evaluateQuadterm(a.quadterm(), source, out);
    case kExpression:
      return evaluateExpression(o, source, out);
    case kNonlinear:
      return evaluateNode(o, source, budget, out);
    default:
      return modelError("Evaluation of object of incorrect type"), -1;
  }
}

PyObject* evaluateStructure(PyObject* o, const ValueSource& source, int budget) {
  if (!withinBudget(budget)) return nullptr;
  if (PyTuple_Check(o)) return evaluateTuple(o, source, budget);
  if (PyDict_Check(o)) return evaluateDict(o, source, budget);
  if (PyArray_Check(o)) return evaluateArray(reinterpret_cast<PyArrayObject*>(o), source, budget);
  if (!isText(o) && isArrayLike(o)) return evaluateSequence(o, source, budget);
  double value;
  const int indexed = source.index ? source.index(source.context, o, &value) : 1;
  if (indexed <= 0) return indexed == 0 ? PyFloat_FromDouble(value) : nullptr;
  if (isText(o)) return interfaceError("Call to tavlo.evaluate cannot contain strings as arguments");
  return evaluateScalar(o, source, budget, &value) == 0 ? PyFloat_FromDouble(value) : nullptr;
}

PyObject* evaluateArguments(PyObject* args, const ValueSource& given) {
  NodeValues known;
  ValueSource source = given;
  source.known = &known;
  if (PyTuple_GET_SIZE(args) == 1) return evaluateStructure(PyTuple_GET_ITEM(args, 0), source, kDepthBudget);
  return evaluateTuple(args, source, kDepthBudget + 1);
}

}  // namespace tavlo
