// The objective: translated whole before the old one is touched.
#include <algorithm>

#include "problem/transfer.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

constexpr int kColumns = 1214, kObjectiveSense = 12146;

// Quadratic entries to send: the old ones as zeros, then the new ones.
int replaceQuadratic(problem_s* p, int columns, const Terms& terms) {
  int64_t old = 0;
  if (columns > 0 && TVLOgetmqobj64(p->prob, nullptr, nullptr, nullptr, 0, &old, 0, columns - 1) != 0)
    return solverFailed(p);
  if (old == 0 && terms.nquad == 0) return 0;
  const auto total = static_cast<size_t>(old + terms.nquad);
  Array<int64_t> start;
  Array<int32_t> first, second;
  Array<double> value;
  if (!start.resize(static_cast<size_t>(columns) + 1) || !first.resize(total) || !second.resize(total) ||
      !value.resize(total))
    return -1;
  if (old > 0) {
    if (TVLOgetmqobj64(p->prob, start.data(), second.data(), value.data(), old, &old, 0, columns - 1) != 0)
      return solverFailed(p);
    for (int j = 0; j < columns; ++j)
      for (int64_t k = start[j]; k < (j + 1 < columns ? start[j + 1] : old); ++k) first[k] = j;
    std::fill_n(value.data(), old, 0.0);
  }
  std::copy_n(terms.qcol1.data(), terms.nquad, first.data() + old);
  std::copy_n(terms.qcol2.data(), terms.nquad, second.data() + old);
  std::copy_n(terms.qcoef.data(), terms.nquad, value.data() + old);
  return TVLOchgmqobj64(p->prob, static_cast<int64_t>(total), first.data(), second.data(), value.data()) == 0
             ? 0
             : solverFailed(p);
}

// Every cost and, at column -1, minus the constant; `transfer` is the column that stands for the nonlinear part, or -1.
int replaceLinear(problem_s* p, int columns, int transfer, const Terms& terms) {
  const auto n = static_cast<size_t>(columns);
  Array<int32_t> column;
  Array<double> cost;
  if (!column.resize(n + 1) || !cost.resize(n + 1)) return -1;
  for (int j = 0; j < columns; ++j) column[j] = j;
  std::fill_n(cost.data(), n, 0.0);
  for (int64_t k = 0; k < terms.nlin; ++k) cost[terms.colind[k]] += terms.coef[k];
  if (transfer >= 0) cost[transfer] = 1;
  column[n] = -1;
  cost[n] = 0 - terms.constant;
  return TVLOchgobj(p->prob, columns + 1, column.data(), cost.data()) == 0 ? 0 : solverFailed(p);
}

// The new transfer column and row come before the old ones go, so that a failure finds the old objective's.
int replaceObjective(problem_s* p, PyObject* objective, int sense) {
  Terms terms;
  int columns = 0;
  const uint64_t epoch = p->epoch;
  if (convertExpr(p, objective, nullptr, &terms) != 0) return -1;
  if (epoch != p->epoch) return fail("Variables were deleted from the problem while its objective was being set");
  if (usesTransfer(p, terms))
    return fail("The new objective uses the transfer column of the old one, which goes with it");
  if (refuseUsedTransfer(p) != 0 || check_nl_unconstruct(p) != 0) return -1;
  Transfer transfer(p);
  if (terms.formulas.count > 0 && transfer.add(&terms.formulas) != 0) return -1;
  if (TVLOgetintattrib(p->prob, kColumns, &columns) != 0) return solverFailed(p);
  if (replaceQuadratic(p, columns, terms) != 0 || replaceLinear(p, columns, transfer.column(), terms) != 0) return -1;
  if (TVLOchgobjsense(p->prob, sense) != 0) return solverFailed(p);
  if (TSLPsetdblcontrol(p->slpprob, kObjectiveSense, sense) != 0) return nonlinearFailed(p);
  return removeTransfer(p) == 0 ? transfer.keep() : -1;
}

PyDoc_STRVAR(kSetObjectiveDoc, R"(setObjective($self, /, objective, sense=1)
--

Purpose:
  Replaces the objective.

Synopsis:
  p.setObjective(objective, sense=tavlo.minimize)

Arguments:
  objective   A variable, term, expression or number, or a NumPy array with one of them as its only element. Its
              variables must belong to the problem.
  sense       tavlo.minimize or tavlo.maximize.

Example:
  p.setObjective(3*x + 2*y, sense=tavlo.maximize)
  p.setObjective(0)

Further information:
  A call that fails leaves the old objective as it was. The nonlinear part of an objective stands in a row of its own,
  "objtransferrow", that makes the variable "objtransfercol" equal to it; another objective takes both away.

Related topics:
  problem.getObjVal, problem.solve
)");

}  // namespace

PyObject* problem_setObjective(PyObject* self, PyObject* args, PyObject* kwargs) {
  auto* p = reinterpret_cast<problem_s*>(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  static constexpr const char* kNames[] = {"objective", "sense", nullptr};
  PyObject* given = nullptr;
  long sense = 1;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "O|l", kNames, nullptr, &given, &sense)) return nullptr;
  if (sense != 1 && sense != -1) return modelError("Invalid optimization sense");
  Ref objective = Ref::borrow(given);
  if (PyArray_Check(given)) {
    auto* array = reinterpret_cast<PyArrayObject*>(given);
    if (PyArray_SIZE(array) > 1) return modelError("Only one objective can be set, passed a sequence or NumPy array");
    if (PyArray_SIZE(array) == 0) return modelError("Invalid object set as objective");
    objective = Ref::steal(PyArray_GETITEM(array, static_cast<char*>(PyArray_DATA(array))));
    if (!objective) return nullptr;
  }
  if (getExprTypeQuiet(objective.get()) == kInvalid) return modelError("Invalid object set as objective");
  if (checkProblemIsInitialized(p) != 0 || replaceObjective(p, objective.get(), static_cast<int>(sense)) != 0)
    return nullptr;
  Py_RETURN_NONE;
}

const PyMethodDef* objectiveMethods() {
  static const PyMethodDef methods[] = {
      {"setObjective", withKeywords(problem_setObjective), METH_VARARGS | METH_KEYWORDS, kSetObjectiveDoc},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}

}  // namespace tavlo
