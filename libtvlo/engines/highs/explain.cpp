// What HiGHS can show for the claim that an LP has no optimum.
#include "engines/highs/session.h"
#include "engines/highs/workers.h"

namespace tvlo::highs {

// A ray is at hand where a simplex method without presolve made the claim. Otherwise HiGHS solves once more for it.
void Session::explain(const Model& model, const SolveRequest& request, LpStatus claim, Evidence& evidence) {
  if (!held_ || hasHessian_ || dropped_ || request.mip) return;
  if (const auto known = shown_.find(claim); known != shown_.end()) {
    evidence = known->second;
    return;
  }
  Solution nothing;
  Solve solve = begin(model, request, nothing);
  const Current current{*this};
  now_ = &solve;
  const bool infeasible = claim == LpStatus::infeasible;
  const auto ask = [&](HighsInt& found, double* values) {
    return infeasible ? Highs_getDualRay(highs_, &found, values) : Highs_getPrimalRay(highs_, &found, values);
  };
  HighsInt found = 0;
  ask(found, nullptr);
  if (found == 0) {
    basisKnown_ = false;
    options_.set("solver", "simplex");
    options_.set("presolve", "off");
  }
  std::vector<double> ray(infeasible ? model.rows() : model.columns());
  setLimit();
  listen();
  {
    const Workers workers(request.controls->getInt(control::threads));
    const Running running(*this);
    if (ask(found, ray.data()) == kHighsStatusError) found = 0;
  }
  flushLog();
  if (solve.failure) std::rethrow_exception(solve.failure);
  const bool feasible = integer("primal_solution_status") == kHighsSolutionStatusFeasible;
  if (!infeasible && feasible) {
    PointValues point;
    readPoint(point, false);
    evidence.point = std::move(point.x);
  }
  const std::vector<double>& factors = infeasible ? rowFactors_ : factors_;
  for (size_t k = 0; k < factors.size(); ++k) ray[k] *= factors[k];
  if (found != 0) (infeasible ? evidence.multipliers : evidence.direction) = std::move(ray);
  options_.apply(request, model);
  options_.settle();
  if (solve.stop == Stop::none) shown_[claim] = evidence;
}

}  // namespace tvlo::highs
