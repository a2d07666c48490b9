#include "route/claims.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

#include "core/check.h"
#include "quadratic/proof.h"
#include "route/certificate.h"

namespace tvlo {

namespace {

Model withoutCosts(const Model& model) {
  Model aside = model;
  std::vector<int> columns(model.columns());
  std::iota(columns.begin(), columns.end(), 0);
  const std::vector<double> none(columns.size());
  aside.setObjective(model.columns(), columns.data(), none.data());
  return aside;
}

// The least sum of violations, each row scaled by a power of two to coefficients near 1; a row's are two columns after
// the model's own. The bounds hold.
struct Elastic {
  explicit Elastic(const Model& of) {
    const SparseMatrix& matrix = of.byRows();
    std::vector<double> lower, upper, rhs, rowLower, value = matrix.value;
    const int n = of.columns();
    for (int j = 0; j < n; ++j) {
      const Bounds bounds = relaxedBounds(of, j);
      lower.push_back(bounds.lower);
      upper.push_back(bounds.upper);
    }
    std::vector<double> cost(n, 0);
    std::vector<int> row, column;
    std::vector<double> sign;
    for (int i = 0; i < of.rows(); ++i) {
      const double largest = largestCoefficient(matrix, i);
      factor.push_back(largest > 0 ? std::exp2(-std::ilogb(largest)) : 1);
      for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) value[k] *= factor[i];
      rhs.push_back(of.rhs()[i] * factor[i]);
      rowLower.push_back(of.rowBounds(i).lower * factor[i]);
      for (const double by : {1.0, -1.0}) {
        if (of.rowTypes()[i] == 'N') continue;
        row.push_back(i);
        column.push_back(static_cast<int>(cost.size()));
        sign.push_back(by);
        cost.push_back(1);
        lower.push_back(0);
        upper.push_back(TVLO_INFINITY);
      }
    }
    ColumnBatch columns;
    columns.count = static_cast<int>(cost.size());
    columns.obj = cost.data();
    columns.lb = lower.data();
    columns.ub = upper.data();
    model.addColumns(columns);
    RowBatch rows;
    rows.count = of.rows();
    rows.ncoefs = matrix.nonzeros();
    rows.type = of.rowTypes().data();
    rows.rhs = rhs.data();
    rows.lower = rowLower.data();
    rows.start = matrix.start.data();
    rows.col = matrix.index.data();
    rows.coef = value.data();
    model.addRows(rows);
    model.setCoefficients(static_cast<int64_t>(row.size()), row.data(), column.data(), sign.data());
  }

  Model model;
  std::vector<double> factor;  // of rows
};

// Of proofs, which only the time of the solve limits.
ControlValues unlimited(const ControlValues& controls) {
  constexpr int kForEver = 2147483647;
  ControlValues values = controls;
  for (const int limit : {control::lpiterlimit, control::bariterlimit, control::maxnode}) {
    values.setInt(limit, kForEver);
  }
  values.setInt(control::maxmipsol, 0);
  return values;
}

// And as exact as can be asked for.
ControlValues exact(const ControlValues& controls) {
  constexpr double kTolerance = 1e-9;
  ControlValues values = unlimited(controls);
  values.setDouble(control::feastol, kTolerance);
  values.setDouble(control::optimalitytol, kTolerance);
  values.setInt(control::presolve, 0);
  values.setInt(control::defaultalg, 1);
  return values;
}

}  // namespace

bool LinearClaims::isFeasible(const std::vector<double>& point) const {
  return primalViolation(case_.model, point, false).relative <= case_.feasibility();
}

const ImpliedBounds& LinearClaims::implied() {
  if (!implied_) implied_.emplace(case_.model, false, case_.controls.getDouble(control::feastol));
  return *implied_;
}

LpStatus LinearClaims::showInfeasible(const std::vector<double>& multipliers) {
  const double tolerance = case_.controls.getDouble(control::feastol);
  const Proof proof = provesInfeasible(case_.model, multipliers, implied(), tolerance);
  bare_ = bare_ || proof == Proof::bare;
  return proof == Proof::clear ? LpStatus::infeasible : LpStatus::unfinished;
}

LpStatus LinearClaims::existence() const {
  return case_.solveAside(withoutCosts(case_.model), unlimited(case_.controls)).lpStatus;
}

LpStatus LinearClaims::confirm(LpStatus claim, const Show& show) {
  if (claim == LpStatus::unbounded) {
    const Evidence evidence = show(claim);
    if (provesUnbounded(case_.model, evidence.direction)) {
      const LpStatus points = isFeasible(evidence.point) ? LpStatus::optimal : existence();
      if (points == LpStatus::optimal) return LpStatus::unbounded;
      if (points == LpStatus::infeasible) return points;
    }
  }
  if (implied().cross) return LpStatus::infeasible;
  return showInfeasible(show(LpStatus::infeasible).multipliers);
}

LpStatus LinearClaims::prove() {
  const ControlValues controls = exact(case_.controls);
  Elastic elastic(case_.model);
  const Solution least = case_.solveAside(std::move(elastic.model), controls, {.prove = false});
  if (least.lpStatus == LpStatus::optimal) {
    std::vector<double> point = least.lp.x;
    point.resize(case_.model.columns());
    std::vector<double> multipliers = least.lp.dual;
    for (size_t i = 0; i < multipliers.size(); ++i) multipliers[i] *= elastic.factor[i];
    if (isFeasible(point)) {
      const Solution ray = case_.solveAside(recessionDirections(case_.model), controls, {.prove = false});
      if (ray.lpStatus == LpStatus::optimal && provesUnbounded(case_.model, ray.lp.x)) return LpStatus::unbounded;
    } else if (showInfeasible(multipliers) == LpStatus::infeasible) {
      return LpStatus::infeasible;
    }
  }
  return bare_ ? LpStatus::infeasible : LpStatus::unfinished;
}

Solution SearchClaims::relaxation(bool costs) const {
  return case_.solveAside(costs ? case_.model : withoutCosts(case_.model), unlimited(case_.controls));
}

// A search among infinitely many whole numbers may go on for ever, so one among those near a point of the relaxation
// comes first.
MipStatus SearchClaims::existence() const {
  constexpr double kNear = 1000;
  constexpr int kNodes = 10000;
  const Solution relaxed = relaxation(false);
  if (relaxed.lpStatus == LpStatus::infeasible) return MipStatus::infeasible;
  if (!relaxed.lp.available) return MipStatus::noSolution;
  ControlValues controls = unlimited(case_.controls);
  controls.setInt(control::maxmipsol, 1);
  controls.setInt(control::maxnode, kNodes);
  Model all = withoutCosts(case_.model);
  std::vector<int> column;
  std::string side;
  std::vector<double> bound;
  for (int j = 0; j < all.columns(); ++j) {
    if (all.columnTypes()[j] != 'I') continue;
    const double center = std::round(relaxed.lp.x[j]);
    const auto limit = [&](char which, double value) {
      column.push_back(j);
      side += which;
      bound.push_back(value);
    };
    if (all.lower()[j] <= -TVLO_INFINITY) limit('L', center - kNear);
    if (all.upper()[j] >= TVLO_INFINITY) limit('U', center + kNear);
  }
  if (!column.empty()) {
    Model near = all;
    near.setBounds(static_cast<int>(column.size()), column.data(), side.c_str(), bound.data());
    if (case_.solveAside(std::move(near), controls, {.search = true}).mip.available) return MipStatus::solution;
  }
  const Solution found = case_.solveAside(std::move(all), controls, {.search = true});
  if (found.mip.available) return MipStatus::solution;
  return found.mipStatus == MipStatus::infeasible ? found.mipStatus : MipStatus::noSolution;
}

bool SearchClaims::settle(Solution& result) {
  switch (result.mipStatus) {
    case MipStatus::infeasible:
      return settleInfeasible(result);
    case MipStatus::unbounded:
      return settleUnbounded(result);
    case MipStatus::optimal:
      return settleMip(case_, result) && settleOptimal(result);
    default: {
      const bool ended = settleMip(case_, result);
      return settleSecond(result) || ended;
    }
  }
}

// Without presolve, a search may take the best point that it meets for the optimum of an unbounded problem.
bool SearchClaims::settleOptimal(Solution& result) const {
  if (boundsLimitObjective(case_.model)) return true;
  const Solution ray = case_.solveAside(recessionDirections(case_.model), unlimited(case_.controls));
  if (ray.lpStatus == LpStatus::optimal && provesUnbounded(case_.model, ray.lp.x)) {
    result.mip = PointValues();
    result.mipStatus = MipStatus::unbounded;
  }
  return true;
}

bool SearchClaims::settleInfeasible(Solution& result) {
  result.mip = PointValues();
  if (open_ || ImpliedBounds(case_.model, true, case_.controls.getDouble(control::feastol)).cross ||
      relaxation(false).lpStatus == LpStatus::infeasible) {
    return true;
  }
  open_ = true;
  early_ = result.nodes <= 1;
  result.mipStatus = MipStatus::noSolution;
  return false;
}

// Reductions before the search err rather than a tree, and what they take says little of what a tree would.
double SearchClaims::budget(double taken) const {
  constexpr double kEarly = 2, kShare = 0.05;
  return early_ ? kEarly + taken : std::max(kShare, kShare * taken);
}

bool SearchClaims::settleUnbounded(Solution& result) {
  result.mipStatus = MipStatus::noSolution;
  settleMip(case_, result);  // a point that the search has found
  const LpStatus relaxed = relaxation(true).lpStatus;
  if (relaxed != LpStatus::infeasible && relaxed != LpStatus::unbounded) return false;
  const MipStatus points = relaxed == LpStatus::infeasible ? MipStatus::infeasible
                           : result.mip.available          ? MipStatus::solution
                                                           : existence();
  if (points == MipStatus::infeasible) result.mipStatus = points;
  if (points != MipStatus::solution) return points == MipStatus::infeasible;
  result.mip = PointValues();
  result.mipStatus = MipStatus::unbounded;
  return true;
}

bool SearchClaims::settleSecond(Solution& result) const {
  const bool more = result.mip.available || case_.context.stop() != Stop::none;
  if (!open_ || more || result.stop == Stop::none) return false;
  result.stop = Stop::none;
  result.mipStatus = MipStatus::infeasible;
  return true;
}

}  // namespace tvlo
