#include "route/settle_quadratic.h"

#include <algorithm>
#include <cmath>

#include "core/check.h"
#include "quadratic/active_set.h"
#include "quadratic/proof.h"

namespace tvlo {

namespace {

constexpr double kExact = 1e-9;     // an answer that needs no improvement
constexpr double kAccurate = 1e-6;  // which is as good as was asked for

}  // namespace

bool QuadraticSettlement::settleFrom(PointValues last, Solution& result) const {
  if (!sharpen(case_.model, last) || !(inexactness(case_.model, last) <= kExact)) return false;
  result.lpStatus = LpStatus::optimal;
  result.lp = std::move(last);
  return settleLp(case_, result);
}

bool QuadraticSettlement::settle(Solution& result) {
  const LpStatus claim = result.lpStatus;
  if (claim == LpStatus::infeasible || claim == LpStatus::unbounded) return settleClaim(result, claim);
  if (result.lp.available && result.stop == Stop::none) {
    // An interior-point method ends near its answer, also where it doubts that, or another one off by its tolerances.
    PointValues sharp = result.lp;
    const bool near = result.barrierIterations > 0 || inexactness(case_.model, sharp) > kExact;
    if (near && sharpen(case_.model, sharp, Effort::little) && proven(case_, sharp)) {
      result.lp = std::move(sharp);
      result.lpStatus = LpStatus::optimal;
    }
  }
  if (result.stop != Stop::none) return settleLp(case_, result);
  if (result.lpStatus != LpStatus::optimal || !settleLp(case_, result)) {
    return settleClaim(result, LpStatus::unfinished);
  }
  const double off = inexactness(case_.model, result.lp);
  if (!rows_ || off <= kAccurate) return true;
  if (off < inexactnessOf_) {
    inexact_.lpStatus = LpStatus::optimal;  // its iterations have been counted
    inexact_.lp = result.lp;
    inexactnessOf_ = off;
  }
  result.lpStatus = LpStatus::unfinished;
  result.lp = PointValues();
  return false;
}

// `result` has the point that the engine ended with, if any.
bool QuadraticSettlement::settleClaim(Solution& result, LpStatus claim) {
  result.lp = PointValues();
  result.basis = Basis();
  result.lpStatus = LpStatus::unfinished;
  if (claim == LpStatus::unfinished && searched_) return false;
  searched_ = true;
  if (rows_ && provenByCones(result)) return true;
  const LpStatus rows = solveAside(linearRows(case_.model), result).lpStatus;
  if (rows == LpStatus::infeasible) result.lpStatus = LpStatus::infeasible;
  if (rows != LpStatus::optimal) return result.lpStatus != LpStatus::unfinished;
  const Existence points = rows_ ? feasiblePoints(result) : Existence::yes;
  if (points == Existence::no && !cones_) {
    result.lpStatus = LpStatus::infeasible;
  } else if (points == Existence::yes && improvesForEver(result)) {
    result.lpStatus = LpStatus::unbounded;
  }
  return result.lpStatus != LpStatus::unfinished;
}

bool QuadraticSettlement::provenByCones(Solution& result) const {
  struct Stopped {};
  Watch watch([this] {
    if (case_.context.stop() != Stop::none) throw Stopped();
  });
  try {
    result.lpStatus = proveByCones(case_.model, case_.feasibility(), watch);
  } catch (const Stopped&) {
    result.stop = case_.context.stop();
  }
  return result.lpStatus != LpStatus::unfinished;
}

// A linear problem that helps to settle this one, by its whole route.
Solution QuadraticSettlement::solveAside(Model aside, Solution& result) const {
  if (result.stop != Stop::none) return {};
  Solution found = case_.solveAside(std::move(aside));
  result.stop = found.stop;
  return found;
}

// A quadratic one, by an engine of its own, whose answer nothing else has seen. Only a point that holds its rows
// counts.
Solution QuadraticSettlement::askAside(Model& aside, const char* engine, Solution& result) const {
  if (result.stop != Stop::none) return {};
  SolveRequest request;
  request.controls = &case_.controls;
  Solution found = case_.context.ask(*case_.open(engine), aside, request);
  result.stop = found.stop;
  found.lp.available = found.lp.available && primalViolation(aside, found.lp.x, false).relative <= case_.feasibility();
  return found;
}

bool QuadraticSettlement::improvesForEver(Solution& result) const {
  Model cone = recessionDirections(case_.model);
  double largest = 0;
  for (const double cost : cone.objective()) largest = std::max(largest, std::abs(cost));
  const Solution ray = solveAside(cone, result);
  return ray.lp.available && cone.sense() * objectiveValue(cone, ray.lp.x) < -1e-6 * largest;
}

QuadraticSettlement::Existence QuadraticSettlement::feasiblePoints(Solution& result) {
  if (existence_ != Existence::unknown || result.stop != Stop::none) return existence_;
  Model model = leastViolation(case_.model);
  const Solution least = askAside(model, "ipopt", result);
  if (!least.lp.available) return Existence::unknown;
  PointValues point = least.lp;
  point.x.resize(case_.model.columns());
  if (primalViolation(case_.model, point.x, false).relative <= case_.feasibility()) return existence_ = Existence::yes;
  // What complementarity leaves open may be less than the violation.
  const double optimal = case_.optimality();
  const DualCheck check =
      checkDuals(model, least.lp.x, Activities(model, least.lp.x), least.lp.dual, least.lp.redcost, 0);
  const double violation = least.lp.x.back();
  const bool sound = check.residual <= optimal && check.infeasibility <= optimal;
  if (sound && violation - check.gap * std::max(1.0, violation) > case_.feasibility()) existence_ = Existence::no;
  return existence_;
}

}  // namespace tvlo
