// Solving and solutions through the nonlinear component's C interface.
#include "capi/solving.h"
#include "capi/tslp_guard.h"
#include "nonlinear/program.h"
#include "nonlinear/solve.h"

using namespace tvlo;

int TSLPconstruct(TSLPprob slp) {
  return guardSlpChange(slp, [&](tvlo_prob_s& problem) {
    const ModelProgram program(problem.model);
    slp->setConstructed(true);
  });
}

int TSLPunconstruct(TSLPprob slp) {
  return guardSlp(slp, [&] {
    requireIdle(slp->unsettled());
    slp->setConstructed(false);
  });
}

// Solutions are those of the problem as it was given at all times.
int TSLPpostsolve(TSLPprob slp) {
  return guardSlpChange(slp, [](tvlo_prob_s&) {});
}

int TSLPnlpoptimize(TSLPprob slp, const char* flags) {
  return guardSlp(slp, [&] {
    tvlo_prob_s& problem = slp->problem();
    requireStarted();
    const Solving solving(problem);
    slp->setConstructed(true);
    solveNonlinear(problem, slp->controls(), flags);
    if (slp->getInt(slpcontrol::tslp_postsolve) != 0) slp->setConstructed(false);
  });
}

// Any thread may call this, so it leaves the last error alone.
int TSLPinterrupt(TSLPprob slp, int reason) {
  if (!isAlive(slp)) return reportBadHandle(slp);
  return guardGlobal([&] { slp->unsettled().interrupt(reason); });
}

int TSLPgetslpsol(TSLPprob slp, double* x, double* slack, double* dual, double* redcost) {
  return guardSlp(slp, [&] {
    const tvlo_prob_s& problem = slp->problem();
    const PointValues& point = problem.solution.nonlinear.point;
    if (!point.available) throw Error(TVLO_ERR_STATE, "There is no nonlinear solution");
    const bool noDuals = point.dual.empty() && point.redcost.empty();
    if ((dual != nullptr || redcost != nullptr) && noDuals &&
        (problem.model.rows() > 0 || problem.model.columns() > 0)) {
      throw Error(TVLO_ERR_STATE, "The nonlinear solution has no dual values");
    }
    give(point.x, problem.model.columns(), x);
    give(point.slack, problem.model.rows(), slack);
    give(point.dual, problem.model.rows(), dual);
    give(point.redcost, problem.model.columns(), redcost);
  });
}
