#include "route/settle.h"

#include <algorithm>
#include <cmath>

#include "core/check.h"

namespace tvlo {

namespace {

void setSlacks(const Model& model, PointValues& point, const Activities& rows) {
  point.slack = model.rhs();
  for (size_t i = 0; i < point.slack.size(); ++i) point.slack[i] -= rows.value[i];
}

// An optimal value must be as close to the proven bound as the controls ask.
bool boundHolds(const Case& of, const Solution& result) {
  const double value = objectiveValue(of.model, result.mip.x);
  const double gap = of.model.sense() * (value - result.bestBound);
  const double allowed =
      std::max({of.controls.getDouble(control::mipabsstop),
                of.controls.getDouble(control::miprelstop) * std::abs(value), 1e-6 * std::max(1.0, std::abs(value))});
  return gap <= allowed * (1 + 1e-6);
}

// Searches leave integers as 0.9999998. The point with whole numbers is as good unless it breaks a row.
void roundIntegers(const Model& model, std::vector<double>& x, double feasible) {
  if (static_cast<int>(x.size()) != model.columns()) return;
  std::vector<double> rounded = x;
  for (int j = 0; j < model.columns(); ++j) {
    const char type = model.columnTypes()[j];
    const double nearest = std::round(x[j]);
    if (type == 'B' || type == 'I' || type == 'R') {
      if (std::abs(x[j] - nearest) <= feasible) rounded[j] = nearest + 0.0;  // no negative zero
    } else if (type == 'S' && std::abs(x[j]) <= feasible && model.semiLower(j) > feasible) {
      rounded[j] = 0;
    }
  }
  if (rounded != x && primalViolation(model, rounded, true).relative <= feasible) x = std::move(rounded);
}

}  // namespace

void setSlacks(const Model& model, PointValues& point) { setSlacks(model, point, Activities(model, point.x)); }

bool proven(const Case& of, PointValues& point) {
  const double feasible = of.feasibility();
  const double optimal = of.optimality();
  const Model& model = of.model;
  if (static_cast<int>(point.x.size()) != model.columns()) return false;
  const Activities rows(model, point.x);
  if (!(primalViolation(model, point.x, rows, false).relative <= feasible)) return false;
  const DualCheck check = checkDuals(model, point.x, rows, point.dual, point.redcost, std::max(feasible, optimal));
  setSlacks(model, point, rows);
  return check.residual <= optimal && check.infeasibility <= optimal && check.gap <= std::max(optimal, 1e-6);
}

bool settleLp(const Case& of, Solution& result) {
  PointValues& point = result.lp;
  if (result.lpStatus == LpStatus::optimal) {
    if (proven(of, point)) return true;
    result.lpStatus = LpStatus::unfinished;
    point = PointValues();
    result.basis = Basis();
    return false;
  }
  // The point of a solve that was stopped counts where it is feasible.
  if (point.available && !(primalViolation(of.model, point.x, false).relative <= of.feasibility())) {
    point = PointValues();
  }
  return result.stop != Stop::none;
}

bool settleMip(const Case& of, Solution& result) {
  PointValues& point = result.mip;
  const double feasible = std::max(of.feasibility(), of.controls.getDouble(control::miptol));
  if (point.available) roundIntegers(of.model, point.x, feasible);
  const bool sound = point.available && primalViolation(of.model, point.x, true).relative <= feasible * (1 + 1e-9);
  if (point.available && !sound) point = PointValues();
  if (result.mipStatus == MipStatus::optimal && sound && boundHolds(of, result)) return true;
  const bool claimed = result.mipStatus == MipStatus::optimal;
  result.mipStatus = sound ? MipStatus::solution : MipStatus::noSolution;
  return !claimed && result.stop != Stop::none;
}

}  // namespace tvlo
