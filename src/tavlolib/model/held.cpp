#include "model/held.h"

namespace tavlo {

namespace {

bool variables_are_plain = true;

int visitVariable(var_s* v, visitproc visit, void* arg) {
  PyObject* o = reinterpret_cast<PyObject*>(v);
  return o && Py_TYPE(o) != &tavlo_varType ? visit(o, arg) : 0;
}

int visitExpression(const expression_s* e, visitproc visit, void* arg) {
  int stopped = 0;
  linmap_each(e->linear, [&](var_s* v, double) { return (stopped = visitVariable(v, visit, arg)) == 0; });
  if (stopped == 0)
    quadmap_each_held(e->quadratic, [&](var_s* v) { return (stopped = visitVariable(v, visit, arg)) == 0; });
  return stopped;
}

// The variables of a term or expression that only one object holds.
int visitVariables(PyObject* o, visitproc visit, void* arg) {
  if (!o || Py_REFCNT(o) != 1) return 0;
  PyTypeObject* type = Py_TYPE(o);
  if (type == &tavlo_expressionType) return visitExpression(reinterpret_cast<expression_s*>(o), visit, arg);
  if (type == &tavlo_lintermType) return visitVariable(reinterpret_cast<linterm_s*>(o)->var, visit, arg);
  if (type != &tavlo_quadtermType) return 0;
  const auto* q = reinterpret_cast<quadterm_s*>(o);
  const int stopped = visitVariable(q->var1, visit, arg);
  return stopped ? stopped : visitVariable(q->var2, visit, arg);
}

}  // namespace

void noteSubclassedVariable() { variables_are_plain = false; }

bool mayCloseCycle(PyObject* o) {
  PyTypeObject* type = Py_TYPE(o);
  if (type == &tavlo_expressionType || type == &tavlo_lintermType || type == &tavlo_quadtermType)
    return !variables_are_plain;
  return type != &tavlo_varType && type != &PyFloat_Type && type != &PyLong_Type && type != &PyUnicode_Type &&
         type != &PyBytes_Type;
}

int visitHeld(PyObject* o, visitproc visit, void* arg) {
  Py_VISIT(o);
  if (!o || variables_are_plain) return 0;
  const bool list = PyList_CheckExact(o);
  if (!list && !PyTuple_CheckExact(o)) return visitVariables(o, visit, arg);
  if (Py_REFCNT(o) != 1) return 0;
  const Py_ssize_t n = list ? PyList_GET_SIZE(o) : PyTuple_GET_SIZE(o);
  for (Py_ssize_t i = 0; i < n; ++i)
    if (const int stopped = visitVariables(list ? PyList_GET_ITEM(o, i) : PyTuple_GET_ITEM(o, i), visit, arg))
      return stopped;
  return 0;
}

}  // namespace tavlo
