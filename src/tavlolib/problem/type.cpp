// The problem type: its methods with their documentation, its members and slots.
#include <vector>

#include "problem/methods.h"

namespace tavlo {
namespace {

PyObject* addVariableMethod(PyObject* self, PyObject* args) {
  auto* p = reinterpret_cast<problem_s*>(self);
  return checkProblemIsInitialized(p) != 0 ? nullptr : problem_addVariable(p, args);
}
PyObject* addConstraintMethod(PyObject* self, PyObject* args) {
  auto* p = reinterpret_cast<problem_s*>(self);
  return checkProblemIsInitialized(p) != 0 ? nullptr : problem_addConstraint(p, args);
}

template <class F>
PyCFunction method(F* f) {
  return reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(f));
}
constexpr int kKeywords = METH_VARARGS | METH_KEYWORDS;

#define TAVLO_DOC(purpose, synopsis, arguments, example, further, related)                                \
  "Purpose:\n  " purpose "\nSynopsis:\n  " synopsis "\nArguments:\n  " arguments "\nExample:\n  " example \
  "\nFurther information:\n  " further "\nRelated topics:\n  " related

const PyMethodDef kMethods[] = {
    {"name", problem_name, METH_NOARGS,
     TAVLO_DOC("Returns the problem's name.", "name = problem.name()", "none", "print(p.name())",
               "A problem without a name is called noname.", "problem.write")},
    {"copy", problem_copy, METH_NOARGS,
     TAVLO_DOC(
         "Returns a copy of the problem.", "q = problem.copy()", "none", "q = p.copy()",
         "Model and controls are copied, the solution is not. The variables and constraints are the same objects.",
         "problem.reset")},
    {"reset", problem_reset, METH_NOARGS,
     TAVLO_DOC("Empties the problem: no variables, no constraints, default controls.", "problem.reset()", "none",
               "p.reset()", "Variables and constraints live on and can be added again.", "problem.copy")},
    {"__enter__", problem_enter, METH_NOARGS, "Returns the problem itself."},
    {"__exit__", problem_exit, METH_VARARGS, "Releases what the problem holds in the solver library."},
    {"read", method(problem_read), kKeywords,
     TAVLO_DOC(
         "Reads a problem from a file, in place of what the problem held.", "problem.read(filename, options='')",
         "filename: an MPS or LP file, plain or gzipped\n  options: l for LP format, x free and f fixed MPS format",
         "p.read('afiro.mps')",
         "The constraints that stand for the rows have names and bounds but no body. A file that can't be read "
         "leaves an empty problem.",
         "problem.write, problem.getVariable, problem.getConstraint")},
    {"write", method(problem_write), kKeywords,
     TAVLO_DOC("Writes the problem to a file.", "problem.write(filename, flags='')",
               "filename: name of the file; .lp gives LP format, .gz a gzipped file\n  flags: l for LP format, f for "
               "fixed MPS format, z for gzip",
               "p.write('model.mps')", "Free MPS format is the default.", "problem.read")},
    {"addVariable", addVariableMethod, METH_VARARGS,
     TAVLO_DOC("Adds variables to the problem.", "problem.addVariable(v1, v2, ...)",
               "variables, or lists, tuples, dictionaries, generators and arrays of them, nested up to 32 deep",
               "p.addVariable(x, [y, z])",
               "Variables get the next columns, in order. Either all variables of a call are added or, when it raises, "
               "none. Later changes of a variable's attributes don't reach the problem.",
               "problem.delVariable, problem.addConstraint")},
    {"addConstraint", addConstraintMethod, METH_VARARGS,
     TAVLO_DOC("Adds constraints to the problem.", "problem.addConstraint(c1, c2, ...)",
               "constraints, or lists, tuples, dictionaries, generators and arrays of them, nested up to 32 deep",
               "p.addConstraint(x + y <= 4, [x >= z[i] for i in range(3)])",
               "Constraints get the next rows, in order. Their variables must have been added before. Either all "
               "constraints of a call are added or, when it raises, none. Coefficients must be finite.",
               "problem.delConstraint, problem.addVariable")},
    {"delVariable", method(problem_delVariable), kKeywords,
     TAVLO_DOC(
         "Deletes variables from the problem.", "problem.delVariable(index=None, first=-1, last=-1)",
         "index: a variable, an index, or a list of variables, names and indices\n  first, last: range of indices",
         "p.delVariable([x, 3])", "The remaining variables move up in order.", "problem.addVariable")},
    {"delConstraint", method(problem_delConstraint), kKeywords,
     TAVLO_DOC("Deletes constraints from the problem.", "problem.delConstraint(index=None, first=-1, last=-1)",
               "index: a constraint, an index, or a list of constraints, names and indices\n  first, last: range of "
               "indices",
               "p.delConstraint(first=2, last=4)", "The remaining constraints move up in order.",
               "problem.addConstraint")},
    {"getVariable", method(problem_getVariable), kKeywords,
     TAVLO_DOC("Returns variables of the problem by their indices.",
               "v = problem.getVariable(index=None, first=-1, last=-1)",
               "index: an index, or a list of indices\n  first, last: range of indices", "x = p.getVariable(0)",
               "Without arguments, the list of all variables.", "problem.getIndex")},
    {"getConstraint", method(problem_getConstraint), kKeywords,
     TAVLO_DOC("Returns constraints of the problem by their indices.",
               "c = problem.getConstraint(index=None, first=-1, last=-1)",
               "index: an index, or a list of indices\n  first, last: range of indices", "c = p.getConstraint(0)",
               "Without arguments, the list of all constraints.", "problem.getIndex")},
    {"getSOS", method(problem_getSOS), kKeywords,
     TAVLO_DOC("Returns special ordered sets of the problem by their indices.",
               "s = problem.getSOS(index=None, first=-1, last=-1)",
               "index: an index, or a list of indices\n  first, last: range of indices", "s = p.getSOS()",
               "Without arguments, the list of all sets.", "problem.getIndex")},
    {"getIndex", problem_getIndex, METH_O,
     TAVLO_DOC("Returns the index of a variable, constraint or set in the problem.", "i = problem.getIndex(object)",
               "object: a variable, constraint or set of the problem", "i = p.getIndex(x)", "Indices start at 0.",
               "problem.getVariable, problem.getConstraint")},
    {"setObjective", method(problem_setObjective), kKeywords,
     TAVLO_DOC("Replaces the problem's objective.", "problem.setObjective(objective, sense=tavlo.minimize)",
               "objective: an expression of variables of the problem\n  sense: minimize or maximize",
               "p.setObjective(3*x + y, sense=tv.maximize)",
               "When it raises because of its arguments, the old objective stays.", "problem.getObjVal")},
    {"solve", method(problem_solve), kKeywords,
     TAVLO_DOC("Solves the problem.", "problem.solve(flags='')",
               "flags: p primal simplex, d dual simplex, b interior point, c interior point without crossover, f "
               "first-order method; l (integer problems) stops after the continuous relaxation",
               "p.solve()",
               "A solve starts from the last basis where it can. While it runs, other Python threads run too, and an "
               "interrupt from the keyboard ends the process.",
               "problem.getProbStatus, problem.getSolution")},
    {"getSolution", method(problem_getSolution), kKeywords,
     TAVLO_DOC("Returns values at the solution.", "v = problem.getSolution(*args, flatten=False)",
               "args: variables, expressions, or containers and arrays of them; none for all variables\n  flatten: "
               "return one flat list of variables' values",
               "p.getSolution([x, y], {'total': x + y})",
               "The result has the shape of the argument; of several arguments, a tuple.", "problem.getSlack")},
    {"getDual", problem_getDual, METH_VARARGS,
     TAVLO_DOC("Returns dual values of constraints.", "d = problem.getDual(*args)",
               "args: constraints, names, indices, or containers of them; none for all constraints", "p.getDual(c)",
               "A dual value is the rate at which the optimal value changes with the constraint's right-hand side, for "
               "minimisation and maximisation alike. Integer problems have none.",
               "problem.getRCost, problem.getSlack")},
    {"getSlack", problem_getSlack, METH_VARARGS,
     TAVLO_DOC("Returns slacks of constraints.", "s = problem.getSlack(*args)",
               "args: constraints, names, indices, or containers of them; none for all constraints", "p.getSlack(c)",
               "A slack is the right-hand side minus the value of the left-hand side.", "problem.getDual")},
    {"getRCost", problem_getRCost, METH_VARARGS,
     TAVLO_DOC("Returns reduced costs of variables.", "r = problem.getRCost(*args)",
               "args: variables, names, indices, or containers of them; none for all variables", "p.getRCost(x)",
               "A reduced cost is the objective coefficient minus the dual values times the column. Integer problems "
               "have none.",
               "problem.getDual")},
    {"getObjVal", problem_getObjVal, METH_NOARGS,
     TAVLO_DOC("Returns the objective value of the solution.", "z = problem.getObjVal()", "none",
               "print(p.getObjVal())", "0 when there is no solution: ask for the status first.",
               "problem.getProbStatus")},
    {"getProbStatus", problem_getProbStatus, METH_NOARGS,
     TAVLO_DOC("Returns the status of the last solve.", "s = problem.getProbStatus()", "none",
               "if p.getProbStatus() == tv.lp_optimal: ...",
               "One of the lp_ constants, for problems with integer variables of the mip_ constants.",
               "problem.getProbStatusString")},
    {"getProbStatusString", problem_getProbStatusString, METH_NOARGS,
     TAVLO_DOC("Returns the name of the status of the last solve.", "s = problem.getProbStatusString()", "none",
               "print(p.getProbStatusString())", "For example lp_optimal or mip_infeas.", "problem.getProbStatus")},
    {"getOutputEnabled", problem_getOutputEnabled, METH_NOARGS,
     TAVLO_DOC("Returns whether the problem's log is printed.", "b = problem.getOutputEnabled()", "none",
               "p.getOutputEnabled()", "It is until it is switched off.", "problem.setOutputEnabled")},
    {"setOutputEnabled", problem_setOutputEnabled, METH_O,
     TAVLO_DOC("Switches the printing of the problem's log on or off.", "problem.setOutputEnabled(enabled)",
               "enabled: True or False", "p.setOutputEnabled(False)", "The log goes to sys.stdout.",
               "problem.getOutputEnabled")},
};
#undef TAVLO_DOC

// The type wants one table: these methods, those of the controls, and an end.
PyMethodDef* methodTable() {
  static std::vector<PyMethodDef> table(std::begin(kMethods), std::end(kMethods));
  for (const PyMethodDef* m = kControlMethods; m->ml_name; ++m) table.push_back(*m);
  table.push_back({nullptr, nullptr, 0, nullptr});
  return table.data();
}

PyMemberDef members[] = {
    {"controls", T_OBJECT, offsetof(problem_s, controls), READONLY,
     "The problem's controls, read and set as attributes."},
    {"attributes", T_OBJECT, offsetof(problem_s, attributes), READONLY, "The problem's attributes, read-only."},
    {nullptr, 0, 0, 0, nullptr}};

PyTypeObject problemType() {
  PyTypeObject t = {PyVarObject_HEAD_INIT(nullptr, 0)};
  t.tp_name = "tavlo.problem";
  t.tp_basicsize = sizeof(problem_s);
  t.tp_dealloc = problem_dealloc;
  t.tp_str = problem_str;
  t.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  t.tp_doc =
      "problem(*elements, name=None, sense=tavlo.minimize)\n\n"
      "An optimisation problem. Elements are variables, constraints, containers of them, at most one expression (the "
      "objective) and at most one string (the name), handled in order: variables come before what uses them.";
  t.tp_methods = methodTable();
  t.tp_members = members;
  t.tp_init = problem_init;
  t.tp_new = problem_new;
  return t;
}

}  // namespace
}  // namespace tavlo

PyTypeObject tavlo_problemType = tavlo::problemType();
