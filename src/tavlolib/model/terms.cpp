// Linear and quadratic terms: records, types, and how they are made.
#include "model/arithmetic.h"
#include "model/text.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

void linterm_dealloc(PyObject* self) {
  Py_XDECREF(reinterpret_cast<linterm_s*>(self)->var);
  Py_TYPE(self)->tp_free(self);
}

void quadterm_dealloc(PyObject* self) {
  Py_XDECREF(reinterpret_cast<quadterm_s*>(self)->var1);
  Py_XDECREF(reinterpret_cast<quadterm_s*>(self)->var2);
  Py_TYPE(self)->tp_free(self);
}

PyObject* linterm_extractLinear(PyObject* self, PyObject*) {
  Operand a;
  return classify(self, &a) ? Py_BuildValue("([O][d])", a.linearVar(), a.linearCoef()) : nullptr;
}

PyObject* quadterm_extractLinear(PyObject*, PyObject*) { return Py_BuildValue("([][])"); }

PyObject* quadterm_extractQuadratic(PyObject* self, PyObject*) {
  Operand a;
  if (!classify(self, &a)) return nullptr;
  const quadterm_s* q = a.quadterm();
  return Py_BuildValue("([O][O][d])", q->var1, q->var2, q->coef);
}

template <PyCFunction linear, PyCFunction quadratic>
PyMethodDef methods[] = {{"extractLinear", linear, METH_NOARGS, kExtractLinearDoc},
                         {"extractQuadratic", quadratic, METH_NOARGS, kExtractQuadraticDoc},
                         {nullptr, nullptr, 0, nullptr}};

PyTypeObject termType(const char* name, Py_ssize_t size, destructor dealloc, PyNumberMethods* slots, PyMethodDef* defs,
                      const char* doc) {
  PyTypeObject t = {PyVarObject_HEAD_INIT(nullptr, 0)};
  t.tp_name = name;
  t.tp_basicsize = size;
  t.tp_dealloc = dealloc;
  t.tp_repr = t.tp_str = modelling_str;
  t.tp_as_number = slots;
  t.tp_richcompare = modelling_richcompare;
  t.tp_methods = defs;
  t.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  t.tp_doc = doc;
  return t;
}

}  // namespace

PyObject* varlinterm_extractQuadratic(PyObject*, PyObject*) { return Py_BuildValue("([][][])"); }

PyObject* linterm_fill(double c, var_s* v) {
  if (c == 0) return PyFloat_FromDouble(0.0);
  linterm_s* t = PyObject_New(linterm_s, &tavlo_lintermType);
  if (!t) return nullptr;
  t->coef = c;
  t->var = v;
  Py_INCREF(v);
  return reinterpret_cast<PyObject*>(t);
}

PyObject* linterm_copy(double c, PyObject* t) {
  Operand a;
  if (!classify(t, &a)) return nullptr;
  if (a.kind != kLinterm) return modelError("Linterm copy using an invalid object");
  return linterm_fill(c * a.linterm()->coef, a.linterm()->var);
}

PyObject* quadterm_fill(double c, var_s* u, var_s* v) {
  quadterm_s* q = PyObject_New(quadterm_s, &tavlo_quadtermType);
  if (!q) return nullptr;
  const bool swap = less_variable(v, u);
  q->coef = c;
  q->var1 = swap ? v : u;
  q->var2 = swap ? u : v;
  Py_INCREF(u);
  Py_INCREF(v);
  return reinterpret_cast<PyObject*>(q);
}

PyObject* quadterm_copy(double c, PyObject* q) {
  Operand a;
  if (!classify(q, &a)) return nullptr;
  if (a.kind != kQuadterm) return modelError("Quadterm copy using an invalid object");
  return quadterm_fill(c * a.quadterm()->coef, a.quadterm()->var1, a.quadterm()->var2);
}

}  // namespace tavlo

using namespace tavlo;  // NOLINT: the type objects have C names

PyTypeObject tavlo_lintermType =
    termType("tavlo.linterm", sizeof(linterm_s), linterm_dealloc, &lintermNumbers,
             methods<linterm_extractLinear, varlinterm_extractQuadratic>,
             "A linear term: a coefficient times a variable.\n\nResults from arithmetic on variables, as in 2*x.");
PyTypeObject tavlo_quadtermType =
    termType("tavlo.quadterm", sizeof(quadterm_s), quadterm_dealloc, &quadtermNumbers,
             methods<quadterm_extractLinear, quadterm_extractQuadratic>,
             "A quadratic term: a coefficient times the product of two variables.\n\nResults from arithmetic on "
             "variables, as in 3*x*y or x**2.");
