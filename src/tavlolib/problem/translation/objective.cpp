// The objective: translated whole before the old one is touched.
#include <algorithm>

#include "problem/translation/transfer.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

// The coefficients to send, made before any is sent.
class Coefficients {
 public:
  Coefficients(problem_s* p, const Terms& terms) : p_(p), terms_(terms) {}

  // `transfer` is the column that stands for the nonlinear part, or -1. 0, or -1 with an exception.
  int prepare(int transfer) {
    if (TVLOgetintattrib(p_->prob, TVLO_ATTRIBUTE_originalcols, &columns_) != 0) return solverFailed(p_);
    return prepareQuadratic() == 0 ? prepareLinear(transfer) : -1;
  }

  int send() {
    return (total_ == 0 || TVLOchgmqobj64(p_->prob, total_, first_.data(), second_.data(), value_.data()) == 0) &&
                   TVLOchgobj(p_->prob, columns_ + 1, column_.data(), cost_.data()) == 0
               ? 0
               : solverFailed(p_);
  }

 private:
  // The old entries as zeros, then the new ones.
  int prepareQuadratic() {
    int64_t old = 0;
    if (columns_ > 0 && TVLOgetmqobj64(p_->prob, nullptr, nullptr, nullptr, 0, &old, 0, columns_ - 1) != 0)
      return solverFailed(p_);
    total_ = old + terms_.nquad;
    if (total_ == 0) return 0;
    const auto total = static_cast<size_t>(total_);
    Array<int64_t> start;
    if (!start.resize(static_cast<size_t>(columns_) + 1) || !first_.resize(total) || !second_.resize(total) ||
        !value_.resize(total))
      return -1;
    if (old > 0) {
      if (TVLOgetmqobj64(p_->prob, start.data(), second_.data(), value_.data(), old, &old, 0, columns_ - 1) != 0)
        return solverFailed(p_);
      for (int j = 0; j < columns_; ++j)
        for (int64_t k = start[j]; k < (j + 1 < columns_ ? start[j + 1] : old); ++k) first_[k] = j;
      std::fill_n(value_.data(), old, 0.0);
    }
    std::copy_n(terms_.qcol1.data(), terms_.nquad, first_.data() + old);
    std::copy_n(terms_.qcol2.data(), terms_.nquad, second_.data() + old);
    std::copy_n(terms_.qcoef.data(), terms_.nquad, value_.data() + old);
    return 0;
  }

  // Every cost and, at column -1, minus the constant.
  int prepareLinear(int transfer) {
    const auto n = static_cast<size_t>(columns_);
    if (!column_.resize(n + 1) || !cost_.resize(n + 1)) return -1;
    for (int j = 0; j < columns_; ++j) column_[j] = j;
    std::fill_n(cost_.data(), n, 0.0);
    for (int64_t k = 0; k < terms_.nlin; ++k) cost_[terms_.colind[k]] += terms_.coef[k];
    if (transfer >= 0) cost_[transfer] = 1;
    column_[n] = -1;
    cost_[n] = 0 - terms_.constant;
    return 0;
  }

  problem_s* p_;
  const Terms& terms_;
  int columns_ = 0;
  int64_t total_ = 0;
  Array<int32_t> first_, second_, column_;
  Array<double> value_, cost_;
};

// The new transfer column and row come before the old ones go, so that a failure finds the old objective's. What needs
// memory comes before the first change of the old objective.
int replaceObjective(problem_s* p, PyObject* objective, int sense) {
  Terms terms;
  const uint64_t epoch = p->registry().vars.epoch();
  if (convertExpr(p, objective, nullptr, &terms) != 0) return -1;
  if (checkProblemIsInitialized(p) != 0) return -1;  // a signal's handler may have released it
  if (epoch != p->registry().vars.epoch())
    return fail("Variables were deleted from the problem while its objective was being set");
  if (usesTransfer(p, terms))
    return fail("The new objective uses the transfer column of the old one, which goes with it");
  if (check_nl_unconstruct(p) != 0) return -1;
  Transfer transfer(p);
  if (terms.formulas.count > 0 && transfer.add(&terms.formulas) != 0) return -1;
  OldTransfer old(p);
  Coefficients coefficients(p, terms);
  if (old.prepare() != 0 || coefficients.prepare(transfer.column()) != 0 || coefficients.send() != 0) return -1;
  if (TVLOchgobjsense(p->prob, sense) != 0) return solverFailed(p);
  if (TSLPsetdblcontrol(p->slpprob, TSLP_CONTROL_objsense, sense) != 0) return nonlinearFailed(p);
  return old.remove() == 0 ? transfer.keep() : -1;
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
