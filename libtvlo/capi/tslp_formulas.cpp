// Formulas, user functions, variables and row status through the nonlinear component's C interface.
#include <cmath>
#include <cstring>

#include "capi/tslp_guard.h"

using namespace tvlo;

namespace {

using Batch = Formulas::Batch;

int changeCoefs(TSLPprob slp, const Batch& batch, void (Formulas::*change)(const Batch&, int, int)) {
  return guardSlpChange(slp, [&](tvlo_prob_s& problem) {
    (problem.model.formulas().*change)(batch, problem.model.rows(), problem.model.columns());
  });
}

void requireColumn(const Model& model, int column) {
  if (column != kConstantColumn) requireIndex(column, model.columns(), "column");
}

template <class T, class U>
void take(T& target, const U* given) {
  if (given != nullptr) target = *given;
}

void requireNumber(const double* value, int column, const char* what) {
  if (value != nullptr && !std::isfinite(*value)) badArgument("Column %d: the %s is not finite", column, what);
}

}  // namespace

int TSLPaddcoefs(TSLPprob slp, int ncoefs, const int* rowind, const int* colind, const double* factor, const int* start,
                 int parsed, const int* type, const double* value) {
  return changeCoefs(slp, {ncoefs, rowind, colind, factor, start, parsed != 0, type, value}, &Formulas::add);
}

int TSLPloadcoefs(TSLPprob slp, int ncoefs, const int* rowind, const int* colind, const double* factor,
                  const int* start, int parsed, const int* type, const double* value) {
  return changeCoefs(slp, {ncoefs, rowind, colind, factor, start, parsed != 0, type, value}, &Formulas::load);
}

int TSLPchgcoef(TSLPprob slp, int row, int col, const double* factor, int parsed, const int* type,
                const double* value) {
  if (type == nullptr) return TSLPdelcoefs(slp, 1, &row, &col);
  return changeCoefs(slp, {1, &row, &col, factor, nullptr, parsed != 0, type, value}, &Formulas::replace);
}

int TSLPdelcoefs(TSLPprob slp, int ncoefs, const int* rowind, const int* colind) {
  return guardSlpChange(slp, [&](tvlo_prob_s& problem) {
    requireCount(ncoefs, "coefficients");
    requireArray(rowind, ncoefs, "row indices");
    requireArray(colind, ncoefs, "column indices");
    requireIndices(ncoefs, rowind, problem.model.rows(), "row");
    for (int k = 0; k < ncoefs; ++k) requireColumn(problem.model, colind[k]);
    problem.model.formulas().erase(ncoefs, rowind, colind);
  });
}

int TSLPgetcoefs(TSLPprob slp, int* ncoefs, int* rowind, int* colind) {
  return guardSlp(slp, [&] {
    const auto pairs = slp->problem().model.formulas().pairs();
    if (ncoefs != nullptr) *ncoefs = static_cast<int>(pairs.size());
    for (size_t k = 0; k < pairs.size(); ++k) {
      if (rowind != nullptr) rowind[k] = pairs[k].first;
      if (colind != nullptr) colind[k] = pairs[k].second;
    }
  });
}

int TSLPgetcoefformula(TSLPprob slp, int row, int col, double* factor, int parsed, int maxtypes, int* ntokens,
                       int* type, double* value) {
  return guardSlp(slp, [&] {
    const Model& model = slp->problem().model;
    requireIndex(row, model.rows(), "row");
    requireColumn(model, col);
    Tokens run;
    const double sum = model.formulas().sumOf(row, col, run);
    if (parsed == 0) {
      Tokens infix;
      unparseTokens(run.view(), infix);
      run = std::move(infix);
    }
    run.add(TSLP_TOKEN_END, 0);
    if (ntokens != nullptr) *ntokens = static_cast<int>(run.size());
    if (run.size() > maxtypes) {
      badArgument("The formula has %lld tokens, more than the %d that there is room for",
                  static_cast<long long>(run.size()), maxtypes);
    }
    if (factor != nullptr) *factor = sum;
    if (type != nullptr) std::copy(run.type.begin(), run.type.end(), type);
    if (value != nullptr) std::copy(run.value.begin(), run.value.end(), value);
  });
}

int TSLPadduserfunction(TSLPprob slp, const char* name, int type, int nargs, int nresults, int options, TSLPuserfn func,
                        void* data, int* id) {
  return guardSlpChange(slp, [&](tvlo_prob_s& problem) {
    requireArray(id, 1, "results");
    if (type != 2 && type != 5) badArgument("There is no type %d of user functions", type);
    if (nargs < 0 || nresults != 1 || options != 0) {
      badArgument("A user function can't have %d arguments, %d results and options %d", nargs, nresults, options);
    }
    if (func == nullptr) badArgument("The user function is missing");
    auto function = std::make_shared<UserFunction>();
    if (name != nullptr) function->name = name;
    function->type = type;
    function->arguments = nargs;
    function->function = func;
    function->data = data;
    *id = problem.model.formulas().functions.add(std::move(function));
  });
}

int TSLPchguserfunction(TSLPprob slp, int id, TSLPuserfn func, void* data) {
  return guardSlpChange(slp, [&](tvlo_prob_s& problem) {
    UserFunctions& functions = problem.model.formulas().functions;
    if (!functions.find(id)) badArgument("There is no user function %d", id);
    if (func == nullptr) badArgument("The user function is missing");
    auto changed = std::make_shared<UserFunction>(*functions.find(id));  // copies of the problem share the old one
    changed->function = func;
    changed->data = data;
    functions.replace(id, std::move(changed));
  });
}

int TSLPchgvar(TSLPprob slp, int col, const int* detrow, const double* initstepbound, const double* stepbound,
               const double* penalty, const double* damp, const double* initial, const double* value, const int* tolset,
               const int* history, const int* converged, const int* vartype) {
  return guardSlpChange(slp, [&](tvlo_prob_s& problem) {
    Model& model = problem.model;
    requireIndex(col, model.columns(), "column");
    if (detrow != nullptr && *detrow != -1) requireIndex(*detrow, model.rows(), "row");
    requireNumber(initstepbound, col, "initial step bound");
    requireNumber(stepbound, col, "step bound");
    requireNumber(penalty, col, "penalty");
    requireNumber(damp, col, "damping factor");
    requireNumber(initial, col, "initial value");
    requireNumber(value, col, "value");
    NlVariable& variable = model.formulas().variables[col];
    take(variable.determiningRow, detrow);
    take(variable.initialStepBound, initstepbound);
    take(variable.stepBound, stepbound);
    take(variable.penalty, penalty);
    take(variable.damp, damp);
    take(variable.initial, initial);
    take(variable.value, value);
    take(variable.toleranceSet, tolset);
    take(variable.history, history);
    take(variable.converged, converged);
    take(variable.type, vartype);
    if (initial != nullptr) problem.solution.nonlinear.warm = false;  // whoever gives a start means it
  });
}

int TSLPdelvars(TSLPprob slp, int n, const int* colind) {
  return guardSlpChange(slp, [&](tvlo_prob_s& problem) {
    requireCount(n, "columns");
    requireArray(colind, n, "columns");
    requireIndices(n, colind, problem.model.columns(), "column");
    for (int k = 0; k < n; ++k) problem.model.formulas().variables.erase(colind[k]);
  });
}

int TSLPchgrowstatus(TSLPprob slp, int row, const int* status) {
  return guardSlpChange(slp, [&](tvlo_prob_s& problem) {
    requireIndex(row, problem.model.rows(), "row");
    auto& statuses = problem.model.formulas().rowStatus;
    if (status == nullptr) return;
    if (*status == 0) {
      statuses.erase(row);
    } else {
      statuses[row] = *status;
    }
  });
}

int TSLPgetrowstatus(TSLPprob slp, int row, int* status) {
  return guardSlp(slp, [&] {
    requireArray(status, 1, "results");
    const Model& model = slp->problem().model;
    requireIndex(row, model.rows(), "row");
    const auto& statuses = model.formulas().rowStatus;
    const auto at = statuses.find(row);
    *status = at == statuses.end() ? 0 : at->second;
  });
}
