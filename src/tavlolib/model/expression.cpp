// Expressions: record, type, copies, and changes of single coefficients.
#include "model/nonlinear.h"
#include "model/text.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

void expression_dealloc(PyObject* self) {
  auto* e = reinterpret_cast<expression_s*>(self);
  linmap_free(&e->linear);
  quadmap_free(&e->quadratic);
  Py_TYPE(self)->tp_free(self);
}

bool hasQuadratic(expression_s* e) {
  if (!e->quadratic) e->quadratic = quadmap_new();
  return e->quadratic != nullptr;
}

int failed(const char* text) {
  modelError("%s", text);
  return -1;
}

int addQuadTerm(expression_s* e, var_s* u, var_s* v, double c, const char* insertion_failure) {
  if (less_variable(v, u)) std::swap(u, v);
  if (!hasQuadratic(e)) return failed("Cannot amend quadratic expression");
  return quadmap_add(c, e->quadratic, u, v) == 0 ? 0 : failed(insertion_failure);
}

PyObject* copyOfExpression(const expression_s* x, double f) {
  auto r = BasicRef<expression_s>::steal(newExpression());
  if (!r) return nullptr;
  if ((x->linear && linmap_copy(&r->linear, x->linear) != 0) ||
      (x->quadratic && quadmap_copy(&r->quadratic, x->quadratic) != 0))
    return modelError("Cannot copy expression");
  r->constant = x->constant;
  if (f - 1 > 1e-15 || f - 1 < -1e-15 || f != f) expression_scale(r.get(), f);
  return r.releaseObject();
}

// Growing lists of equal length, for the extraction methods.
template <size_t N>
class Lists {
 public:
  Lists() {
    for (Ref& list : lists_) list = Ref::steal(PyList_New(0));
  }
  template <class... Item>
  bool add(Item... items) {
    static_assert(sizeof...(Item) == N);
    Ref* list = lists_;
    return (append((list++)->get(), items) && ...);
  }
  PyObject* tuple() {
    Ref t = Ref::steal(PyTuple_New(N));
    for (size_t i = 0; t && i < N; ++i) {
      if (!lists_[i]) return nullptr;
      PyTuple_SET_ITEM(t.get(), static_cast<Py_ssize_t>(i), lists_[i].release());
    }
    return t.release();
  }

 private:
  static bool append(PyObject* list, var_s* v) {
    return list && PyList_Append(list, reinterpret_cast<PyObject*>(v)) == 0;
  }
  static bool append(PyObject* list, double c) {
    Ref value = Ref::steal(PyFloat_FromDouble(c));
    return list && value && PyList_Append(list, value.get()) == 0;
  }
  Ref lists_[N];
};

PyObject* expression_extractLinear(PyObject* self, PyObject*) {
  return convert_linmap_double_list(reinterpret_cast<expression_s*>(self)->linear);
}
PyObject* expression_extractQuadratic(PyObject* self, PyObject*) {
  return convert_quadmap_triple_list(reinterpret_cast<expression_s*>(self)->quadratic);
}

// Takes the content of a copy, so that a failure changes nothing.
int expression_init(PyObject* self, PyObject* args, PyObject* kwargs) {
  PyObject* given = nullptr;
  if ((kwargs && PyDict_GET_SIZE(kwargs) > 0) || PyTuple_GET_SIZE(args) > 1) {
    PyErr_SetString(PyExc_TypeError, "tavlo.expression() takes at most one argument: what it is to be a copy of");
    return -1;
  }
  Operand a;
  if (PyTuple_GET_SIZE(args) == 1) {
    given = PyTuple_GET_ITEM(args, 0);
    if (!classify(given, &a)) return -1;
    if (a.kind == kNonlinear) return failed("A nonlinear expression cannot be the content of a tavlo.expression");
  }
  auto copy = BasicRef<expression_s>::steal(given ? reinterpret_cast<expression_s*>(expression_copy(given, 1))
                                                  : newExpression());
  if (!copy) return -1;
  auto* e = reinterpret_cast<expression_s*>(self);
  e->constant = copy->constant;
  std::swap(e->linear, copy->linear);
  std::swap(e->quadratic, copy->quadratic);
  return 0;
}

PyMethodDef expressionMethods[] = {{"extractLinear", expression_extractLinear, METH_NOARGS, kExtractLinearDoc},
                                   {"extractQuadratic", expression_extractQuadratic, METH_NOARGS, kExtractQuadraticDoc},
                                   {nullptr, nullptr, 0, nullptr}};

PyTypeObject expressionType() {
  PyTypeObject t = {PyVarObject_HEAD_INIT(nullptr, 0)};
  t.tp_name = "tavlo.expression";
  t.tp_basicsize = sizeof(expression_s);
  t.tp_dealloc = expression_dealloc;
  t.tp_repr = t.tp_str = modelling_str;
  t.tp_as_number = &expressionNumbers;
  t.tp_richcompare = modelling_richcompare;
  t.tp_methods = expressionMethods;
  t.tp_init = expression_init;
  t.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  t.tp_doc =
      "An expression of degree at most two: a constant, linear terms and quadratic terms.\n\nResults from arithmetic "
      "on variables and numbers, as in x + 2*y*z - 3, and is what constraints and objectives are made of.\n"
      "tavlo.expression() is 0, tavlo.expression(e) a copy of a number, variable, term or expression e.\n"
      "On the left of +=, -=, *= and /= an expression is changed in place.";
  return t;
}

}  // namespace

const char kExtractLinearDoc[] =
    "Purpose:\n  Returns the linear part of the expression.\nSynopsis:\n  vars, coefs = e.extractLinear()\nArgument:\n"
    "  vars: list of the variables, in order of their creation\n  coefs: list of their coefficients\nExample:\n"
    "  (2*x + 3*y).extractLinear()  # ([x, y], [2.0, 3.0])\nRelated topics:\n  extractQuadratic";
const char kExtractQuadraticDoc[] =
    "Purpose:\n  Returns the quadratic part of the expression.\nSynopsis:\n  vars1, vars2, coefs = "
    "e.extractQuadratic()\nArgument:\n  vars1, vars2: lists of the first and second variables of the products\n"
    "  coefs: list of their coefficients\nExample:\n  (x**2 + 3*x*y).extractQuadratic()  # ([x, x], [x, y], [1.0, "
    "3.0])\nRelated topics:\n  extractLinear";

expression_s* newExpression() {
  expression_s* e = PyObject_New(expression_s, &tavlo_expressionType);
  if (!e) return nullptr;
  e->constant = 0;
  e->linear = nullptr;
  e->quadratic = nullptr;
  return e;
}
PyObject* expression_base() { return reinterpret_cast<PyObject*>(newExpression()); }

PyObject* expression_copy(PyObject* x, double f) {
  Operand a;
  if (!classify(x, &a)) return nullptr;
  if (f == 0) return expression_base();
  if (a.kind == kExpression) return copyOfExpression(a.expression(), f);
  if (a.kind == kNonlinear) return nonlin_copy(f, x);
  if (a.kind == kInvalid || a.kind == kArray) return invalidInOperation(x);
  auto r = BasicRef<expression_s>::steal(newExpression());
  return r && accumulate(r.get(), f, a) == 0 ? r.releaseObject() : nullptr;
}

int expression_setLinTerm(expression_s* e, var_s* v, double c) {
  if (!e->linear && c == 0) return 0;
  if (!e->linear) e->linear = linmap_new();
  return e->linear && linmap_set(c, e->linear, v) == 0 ? 0 : failed("Error amending expression");
}

int expression_addToLinTerm(expression_s* e, var_s* v, double c) {
  if (c == 0) return 0;
  if (!e->linear) e->linear = linmap_new();
  return e->linear && linmap_add(c, e->linear, v) == 0 ? 0 : failed("Error amending linear expression");
}

int expression_setQuadTerm(expression_s* e, var_s* u, var_s* v, double c) {
  return c == 0 && !e->quadratic ? 0 : addQuadTerm(e, u, v, c, "Error setting quadratic expression");
}

int expression_addToQuadTerm(expression_s* e, var_s* u, var_s* v, double c) {
  return c == 0 ? 0 : addQuadTerm(e, u, v, c, "Cannot amend quadratic expression");
}

PyObject* convert_linmap_double_list(const linmap* map) {
  Lists<2> lists;
  return linmap_each(map, [&](var_s* v, double c) { return lists.add(v, c); }) ? lists.tuple() : nullptr;
}

PyObject* convert_quadmap_triple_list(const quadmap* map) {
  Lists<3> lists;
  return quadmap_each(map, [&](var_s* u, var_s* v, double c) { return lists.add(u, v, c); }) ? lists.tuple() : nullptr;
}

}  // namespace tavlo

PyTypeObject tavlo_expressionType = tavlo::expressionType();
