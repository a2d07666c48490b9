#include "quadratic/conic_session.h"

#include "core/error.h"
#include "engines/watch.h"
#include "quadratic/active_set.h"
#include "quadratic/conic_model.h"

namespace tvlo {

void ConicSession::solve(const Model& model, const SolveRequest& request, Solution& result) {
  result.lpStatus = LpStatus::unfinished;
  const double tolerance = request.controls->getDouble(control::barriergaptol);
  Watch watch = watchOf(request);
  try {
    const auto cones = ConicModel::of(model);
    if (!cones) throw Error(TVLO_ERR_ENGINE, "The quadratic rows are too large for the method for cones");
    const ConicResult found = solveConic(cones->program(), tolerance, watch);
    result.barrierIterations = found.iterations;
    switch (found.status) {
      case ConicStatus::infeasible:
        result.lpStatus = LpStatus::infeasible;
        return;
      case ConicStatus::unbounded:
        result.lpStatus = LpStatus::unbounded;
        return;
      case ConicStatus::optimal:
        result.lpStatus = LpStatus::optimal;
        break;
      default:
        break;
    }
    result.lp = cones->point(found);
    for (const ConicPoint& other : found.central) {
      PointValues central = cones->point(other);
      if (inexactness(model, central) < inexactness(model, result.lp)) result.lp = std::move(central);
    }
  } catch (const Stopped& stopped) {
    result.stop = stopped.why;
  }
}

}  // namespace tvlo
