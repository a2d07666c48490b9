// Solving, solutions and bases through the C interface.
#include "route/solve.h"

#include "capi/guard.h"
#include "capi/solving.h"

using namespace tvlo;

namespace {

int solve(TVLOprob prob, const char* flags, void (*run)(Problem&, const char*)) {
  return guard(prob, [&] {
    requireStarted();
    const Solving solving(*prob);
    run(*prob, flags == nullptr ? "" : flags);
  });
}

void requirePoint(const PointValues& point, const char* what) {
  if (!point.available) throw Error(TVLO_ERR_STATE, format("There is no %s solution", what));
}

void requireStatuses(const int* status, int n, const char* line, int64_t& basic) {
  requireArray(status, n, "statuses");
  for (int i = 0; i < n; ++i) {
    if (status[i] < 0 || status[i] > 3) badArgument("There is no basis status %d (of %s %d)", status[i], line, i);
    basic += static_cast<int64_t>(status[i] == 1);
  }
}

}  // namespace

int TVLOlpoptimize(TVLOprob prob, const char* flags) { return solve(prob, flags, solveLp); }

int TVLOmipoptimize(TVLOprob prob, const char* flags) { return solve(prob, flags, solveMip); }

// Any thread may call this, so it leaves the problem's last error alone.
int TVLOinterrupt(TVLOprob prob, int reason) {
  if (!isAlive(prob)) return reportBadHandle(prob);
  prob->interrupt(reason);
  return TVLO_OK;
}

int TVLOexpectsolve(TVLOprob prob) {
  if (!isAlive(prob)) return reportBadHandle(prob);
  prob->expectSolve();
  return TVLO_OK;
}

int TVLOgetlpsol(TVLOprob prob, double* x, double* slack, double* dual, double* redcost) {
  return guard(prob, [&] {
    const PointValues& lp = prob->solution.lp;
    requirePoint(lp, "LP");
    const bool noDuals = lp.dual.empty() && lp.redcost.empty() && (prob->model.rows() > 0 || prob->model.columns() > 0);
    if ((dual != nullptr || redcost != nullptr) && noDuals) {
      throw Error(TVLO_ERR_STATE, "The LP solution has no dual values");
    }
    give(lp.x, prob->model.columns(), x);
    give(lp.slack, prob->model.rows(), slack);
    give(lp.dual, prob->model.rows(), dual);
    give(lp.redcost, prob->model.columns(), redcost);
  });
}

int TVLOgetmipsol(TVLOprob prob, double* x, double* slack) {
  return guard(prob, [&] {
    const PointValues& mip = prob->solution.mip;
    requirePoint(mip, "integer");
    give(mip.x, prob->model.columns(), x);
    give(mip.slack, prob->model.rows(), slack);
  });
}

int TVLOgetbasis(TVLOprob prob, int* rowstat, int* colstat) {
  return guard(prob, [&] {
    const Basis& basis = prob->solution.basis;
    if (basis.empty() && (prob->model.rows() > 0 || prob->model.columns() > 0)) {
      throw Error(TVLO_ERR_STATE, "There is no basis");
    }
    if (rowstat != nullptr) std::copy(basis.row.begin(), basis.row.end(), rowstat);
    if (colstat != nullptr) std::copy(basis.column.begin(), basis.column.end(), colstat);
  });
}

int TVLOloadbasis(TVLOprob prob, const int* rowstat, const int* colstat) {
  return guardChange(prob, [&] {
    const int rows = prob->model.rows();
    const int columns = prob->model.columns();
    int64_t basic = 0;
    requireStatuses(rowstat, rows, "row", basic);
    requireStatuses(colstat, columns, "column", basic);
    if (basic != rows) {
      badArgument("A basis of %d rows has %d basic rows and columns, not %lld", rows, rows,
                  static_cast<long long>(basic));
    }
    Basis basis;
    basis.row.assign(rowstat, rowstat + rows);
    basis.column.assign(colstat, colstat + columns);
    prob->solution.basis = std::move(basis);
  });
}
