// The problem type, with the methods that the folders below give it.
#include <vector>

#include "bindings/methods.h"
#include "problem/problem.h"

namespace tavlo {
namespace {

PyDoc_STRVAR(kNameDoc, R"(name($self, /)
--

Purpose:
  Name of the problem; "noname" when none was given.

Synopsis:
  s = p.name()

Related topics:
  problem
)");

PyDoc_STRVAR(kResetDoc, R"(reset($self, /)
--

Purpose:
  Empties the problem: no variables, constraints or objective, the name "noname", and the module's default controls.

Synopsis:
  p.reset()

Further information:
  The variables and constraints themselves live on and can be added again. A problem that is being solved is refused.

Related topics:
  problem.read, problem.copy
)");

PyDoc_STRVAR(kProblemDoc, R"(Purpose:
  Creates an optimization problem.

Synopsis:
  p = tavlo.problem(*elements, name='noname', sense=tavlo.minimize)

Arguments:
  elements   Handled in the order given: variables and constraints, alone or in lists, tuples, dictionaries, iterators
             and arrays nested at will, are added; an expression, or a variable that was added before, is the
             objective; a string is the problem's name.
  name       Name of the problem.
  sense      tavlo.minimize or tavlo.maximize, for an objective among the elements.

Example:
  x, y = tavlo.var(), tavlo.var(ub=4)
  p = tavlo.problem(x, y, x + 2*y <= 10, 3*x + y, sense=tavlo.maximize)
  with tavlo.problem(name="short") as q:
      ...

Further information:
  As a context manager the problem gives its memory back at the end of the block, and can't be used any more; a solve
  that another thread runs is interrupted then. While a problem is being solved, other calls from other threads are
  refused with SolverError.

Related topics:
  problem.addVariable, problem.addConstraint, problem.setObjective, problem.solve
)");

const PyMethodDef* lifecycleMethods() {
  static const PyMethodDef methods[] = {
      {"name", problem_name, METH_NOARGS, kNameDoc},
      {"reset", problem_reset, METH_NOARGS, kResetDoc},
      {"__enter__", problem_enter, METH_NOARGS, "__enter__($self, /)\n--\n\nThe problem itself."},
      {"__exit__", problem_exit, METH_VARARGS,
       "Releases what the problem holds; it can't be used any more. Exceptions of the block go on."},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}
const PyMethodDef* controlMethods() { return kControlMethods; }

PyMemberDef kMembers[] = {
    {"controls", T_OBJECT, offsetof(problem_s, controls), READONLY, "Controls of the problem, as attributes."},
    {"attributes", T_OBJECT, offsetof(problem_s, attributes), READONLY, "Attributes of the problem."},
    {nullptr, 0, 0, 0, nullptr}};

PyMethodDef* allMethods() {
  static std::vector<PyMethodDef> all;  // lives as long as the type
  for (MethodTable table :
       {lifecycleMethods, copyMethods, fileMethods, addMethods, deletionMethods, queryMethods, objectiveMethods,
        controlMethods, solveMethods, resultMethods, statusMethods, nonlinearMethods})
    for (const PyMethodDef* method = table(); method->ml_name; ++method) all.push_back(*method);
  all.push_back({nullptr, nullptr, 0, nullptr});
  return all.data();
}

PyObject* problem_str(PyObject* self) { return problem_name(self, nullptr); }

PyTypeObject problemType() {
  PyTypeObject t = {PyVarObject_HEAD_INIT(nullptr, 0)};
  t.tp_name = "tavlo.problem";
  t.tp_basicsize = sizeof(problem_s);
  t.tp_new = problem_new;
  t.tp_init = problem_init;
  t.tp_dealloc = problem_dealloc;
  t.tp_traverse = problem_traverse;
  t.tp_clear = problem_clear;
  t.tp_free = PyObject_GC_Del;
  t.tp_str = problem_str;
  t.tp_methods = allMethods();
  t.tp_members = kMembers;
  t.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_HAVE_GC;
  t.tp_doc = kProblemDoc;
  return t;
}

}  // namespace
}  // namespace tavlo

PyTypeObject tavlo_problemType = tavlo::problemType();
