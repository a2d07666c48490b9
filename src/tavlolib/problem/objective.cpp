// setObjective.
#include "problem/methods.h"
#include "problem/translate.h"
#include "pyutil/guard.h"

namespace tavlo {
namespace {

// The object that stands for the objective: the argument, or the one element of an array.
Ref objectiveOf(PyObject* arg) {
  if (!PyArray_Check(arg)) return Ref::borrow(arg);
  auto* array = reinterpret_cast<PyArrayObject*>(arg);
  if (PyArray_SIZE(array) != 1) {
    modelError("Only one objective can be set, passed a sequence or NumPy array");
    return {};
  }
  return Ref::steal(PyArray_GETITEM(array, static_cast<char*>(PyArray_DATA(array))));
}

bool clearObjective(problem_s* p) {
  int n, nq = 0;
  if (intAttribute(p, 1214, &n) != 0) return false;
  std::vector<int> columns(static_cast<size_t>(n) + 1);
  for (int j = 0; j <= n; ++j) columns[static_cast<size_t>(j)] = j - 1;  // -1 is the constant
  const std::vector<double> zeros(columns.size(), 0.0);
  if (TVLOchgobj(p->prob, n + 1, columns.data(), zeros.data()) != 0) return false;
  if (n == 0) return true;
  if (TVLOgetmqobj(p->prob, nullptr, nullptr, nullptr, 0, &nq, 0, n - 1) != 0) return false;
  if (nq == 0) return true;
  std::vector<int> start(static_cast<size_t>(n) + 1), second(static_cast<size_t>(nq)), first(second.size());
  const std::vector<double> none(second.size(), 0.0);
  std::vector<double> values(second.size());
  if (TVLOgetmqobj(p->prob, start.data(), second.data(), values.data(), nq, &nq, 0, n - 1) != 0) return false;
  for (int j = 0; j < n; ++j)
    for (int k = start[static_cast<size_t>(j)]; k < start[static_cast<size_t>(j) + 1]; ++k)
      first[static_cast<size_t>(k)] = j;
  return TVLOchgmqobj(p->prob, nq, first.data(), second.data(), none.data()) == 0;
}

bool sendObjective(problem_s* p, Coefficients& c, double constant, int sense) {
  if (constant != 0) {
    c.column.push_back(-1);
    c.value.push_back(-constant);
  }
  return (c.column.empty() ||
          TVLOchgobj(p->prob, static_cast<int>(c.column.size()), c.column.data(), c.value.data()) == 0) &&
         (c.qvalue.empty() || TVLOchgmqobj64(p->prob, static_cast<int64_t>(c.qvalue.size()), c.qcolumn1.data(),
                                             c.qcolumn2.data(), c.qvalue.data()) == 0) &&
         TVLOchgobjsense(p->prob, sense) == 0 && TSLPsetdblcontrol(p->slpprob, 12146, sense) == 0;
}

}  // namespace

int check_nl_unconstruct(problem_s* p) {
  if (p->nlRowCount == 0 && !p->nlObjective) return 0;
  int bits = 0;
  if (TSLPgetintattrib(p->slpprob, 12062, &bits) == 0) return 0;
  libraryError(p);
  return -1;
}

// The new objective is translated before the old one is touched: a failing call leaves the old one.
int setObjectiveTo(problem_s* p, PyObject* objective, int sense) {
  return guarded([&]() -> int {
    if (getExprTypeQuiet(objective) == kInvalid) {
      modelError("Invalid object set as objective");
      return -1;
    }
    Coefficients coefs;
    double constant = 0;
    ColumnFinder finder(p);
    if (convertExpr(objective, finder, nullptr, true, &coefs, &constant) != 0 || check_nl_unconstruct(p) != 0)
      return -1;
    if (clearObjective(p) && sendObjective(p, coefs, constant, sense)) return 0;
    libraryError(p);
    return -1;
  });
}

PyObject* problem_setObjective(PyObject* self, PyObject* args, PyObject* kwargs) {
  static const char* const names[] = {"objective", "sense", nullptr};
  auto* p = reinterpret_cast<problem_s*>(self);
  PyObject* arg;
  long sense = 1;
  if (checkProblemIsInitialized(p) != 0 || !ko_ParseTupleAndKeywords(args, kwargs, "O|l", names, nullptr, &arg, &sense))
    return nullptr;
  if (sense != 1 && sense != -1) return modelError("Invalid optimization sense");
  Ref objective = objectiveOf(arg);
  if (!objective || setObjectiveTo(p, objective.get(), static_cast<int>(sense)) != 0) return nullptr;
  return newRef(Py_None);
}

}  // namespace tavlo
