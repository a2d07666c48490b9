#include "quadratic/active_set.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/check.h"
#include "linear/ldl.h"

namespace tvlo {

namespace {

constexpr int kMostSteps = 12;
constexpr int kMostCurvedSteps = 40;
constexpr int kMostRefinements = 15;
constexpr double kRegularisation = 1e-9;  // of the scaled system; the refinement takes it out again
constexpr double kMostWork = 1e9;         // multiplications of all factorisations; a second or so
constexpr double kNearlyExact = 1e-9;
constexpr double kExact = 1e-12;
constexpr double kTolerable = 1e-8;
constexpr int64_t kSmall = 20000;  // columns and coefficients of a problem whose factors take milliseconds

// A symmetric indefinite system, whose solutions need not be unique: scaled, regularised and refined.
class System {
 public:
  // The upper triangle; of the unknowns from `second` on the diagonal is zero. Takes its work off `budget`, and fails
  // where that is too small.
  bool factorise(std::vector<Eigen::Triplet<double>> upper, int size, int second, double& budget) {
    const auto n = static_cast<Eigen::Index>(size);
    scale_ = Eigen::VectorXd::Ones(n);
    for (int pass = 0; pass < 3; ++pass) {
      Eigen::VectorXd largest = Eigen::VectorXd::Zero(n);
      for (const auto& t : upper) {
        const double value = std::abs(t.value()) * scale_[t.row()] * scale_[t.col()];
        largest[t.row()] = std::max(largest[t.row()], value);
        largest[t.col()] = std::max(largest[t.col()], value);
      }
      for (Eigen::Index k = 0; k < n; ++k) {
        if (largest[k] > 0) scale_[k] /= std::sqrt(largest[k]);
      }
    }
    for (auto& t : upper) t = {t.row(), t.col(), t.value() * scale_[t.row()] * scale_[t.col()]};
    for (int k = 0; k < size; ++k) upper.emplace_back(k, k, 0);
    matrix_.resize(n, n);
    matrix_.setFromTriplets(upper.begin(), upper.end());
    Watch none;
    factors_.choose(matrix_, none);
    for (auto& t : upper) {
      const int i = factors_.position(t.row()), j = factors_.position(t.col());
      t = {std::min(i, j), std::max(i, j), t.value()};
    }
    UpperMatrix regular(n, n);
    for (int k = 0; k < size; ++k) {
      const int place = factors_.position(k);
      upper.emplace_back(place, place, k < second ? kRegularisation : -kRegularisation);
    }
    regular.setFromTriplets(upper.begin(), upper.end());
    factors_.analyse(regular, none);
    budget -= factors_.work();
    return budget >= 0 && factors_.factorise(regular, none);
  }

  Eigen::VectorXd solve(const Eigen::VectorXd& rhs) const {
    const Eigen::VectorXd right = scale_.cwiseProduct(rhs);
    Eigen::VectorXd found = solved(right);
    double last = std::numeric_limits<double>::infinity();
    for (int k = 0; k < kMostRefinements; ++k) {
      const Eigen::VectorXd rest = right - matrix_.selfadjointView<Eigen::Upper>() * found;
      const double left = rest.lpNorm<Eigen::Infinity>();
      if (!(left < 0.9 * last) || left <= 1e-15 * right.lpNorm<Eigen::Infinity>()) break;
      last = left;
      found += solved(rest);
    }
    return scale_.cwiseProduct(found);
  }

 private:
  Eigen::VectorXd solved(const Eigen::VectorXd& right) const {
    Eigen::VectorXd x(right.size());
    for (Eigen::Index k = 0; k < x.size(); ++k) x[factors_.position(k)] = right[k];
    factors_.solve(x);
    Eigen::VectorXd result(right.size());
    for (Eigen::Index k = 0; k < x.size(); ++k) result[k] = x[factors_.position(k)];
    return result;
  }

  Eigen::VectorXd scale_;
  UpperMatrix matrix_;
  Ldl factors_;
};

enum class Side : signed char { free, lower, upper, both };

// As in minimisation: `multiplier` asks for the side that it presses against.
Side guess(double multiplier, double size, double value, Bounds bounds) {
  const bool below = bounds.lower > -TVLO_INFINITY, above = bounds.upper < TVLO_INFINITY;
  if (below && above && bounds.lower >= bounds.upper) return Side::both;
  const auto pressed = [&](double force, double bound) {
    return force / size > std::abs(value - bound) / std::max(1.0, std::abs(value));
  };
  if (below && (value <= bounds.lower || pressed(multiplier, bounds.lower))) return Side::lower;
  if (above && (value >= bounds.upper || pressed(-multiplier, bounds.upper))) return Side::upper;
  return Side::free;
}

double boundOf(Side side, Bounds bounds) {
  if (side == Side::both) return bounds.lower / 2 + bounds.upper / 2;
  return side == Side::lower ? bounds.lower : bounds.upper;
}

// Where the guess and what came of it agree, nothing; else the side that is right for it. Whether it changed.
bool correct(Side& side, double multiplier, double size, double value, Bounds bounds, double scale) {
  constexpr double kTolerance = 1e-9;
  if (side == Side::both) return false;
  const Side before = side;
  if (side == Side::free) {
    if (value < bounds.lower - kTolerance * scale) side = Side::lower;
    if (value > bounds.upper + kTolerance * scale) side = Side::upper;
  } else if ((side == Side::lower ? multiplier : -multiplier) < -kTolerance * size) {
    side = Side::free;
  }
  return side != before;
}

class Newton {
 public:
  Newton(const Model& model, const PointValues& point) : model_(model), sign_(model.sense()), point_(point) {
    const int n = model.columns(), m = model.rows();
    for (int j = 0; j < n; ++j) columnBounds_.push_back(relaxedBounds(model, j));
    for (int i = 0; i < m; ++i) rowBounds_.push_back(model.rowBounds(i));
    const Activities rows(model_, point_.x);
    measure();
    for (int j = 0; j < n; ++j) {
      columnSide_.push_back(guess(sign_ * point_.redcost[j], size_, point_.x[j], columnBounds_[j]));
    }
    for (int i = 0; i < m; ++i) {
      const bool binds = model.rowTypes()[i] != 'N';
      rowSide_.push_back(binds ? guess(sign_ * point_.dual[i], size_, rows.value[i], rowBounds_[i]) : Side::free);
    }
  }

  // Whether it came to rest. Where rows are curved the steps go on as long as they get nearer: slowly where the
  // gradients of the active rows depend on each other.
  bool run() {
    const bool curved = !model_.quadraticRows().empty();
    PointValues best;
    double least = std::numeric_limits<double>::infinity();
    int idle = 0;
    for (int step = 0; step < (curved ? kMostCurvedSteps : kMostSteps); ++step) {
      if (!move()) break;
      const bool changed = correctSides();
      if (!curved && changed) continue;
      if (!curved) {
        settle();
        return true;
      }
      if (changed && least == std::numeric_limits<double>::infinity()) continue;
      PointValues kept = point_;
      settle();
      const double off = inexactness(model_, point_);
      if (off < 0.9 * least) {
        best = point_;
        least = off;
        idle = 0;
      } else if (++idle > 3) {
        break;
      }
      if (off <= kExact) break;
      point_ = std::move(kept);
    }
    point_ = std::move(best);
    return std::isfinite(least);
  }

  PointValues point() { return std::move(point_); }

 private:
  void measure() {
    size_ = 1e-300;
    const std::vector<double> gradient = reducedCosts(model_, point_.x, std::vector<double>(model_.rows(), 0));
    for (const double g : gradient) size_ = std::max(size_, std::abs(g));
  }

  // One step; the columns on a side go to their bound.
  bool move() {
    const int n = model_.columns(), m = model_.rows();
    std::vector<int> place(n, -1), line(m, -1);
    int count = 0;
    Eigen::VectorXd jump = Eigen::VectorXd::Zero(n);  // of the columns that are fixed
    for (int j = 0; j < n; ++j) {
      if (columnSide_[j] == Side::free) {
        place[j] = count++;
      } else {
        jump[j] = boundOf(columnSide_[j], columnBounds_[j]) - point_.x[j];
      }
    }
    const int first = count;
    for (int i = 0; i < m; ++i) {
      if (rowSide_[i] == Side::free) {
        point_.dual[i] = 0;
      } else {
        line[i] = count++;
      }
    }
    Eigen::VectorXd rhs = Eigen::VectorXd::Zero(count);
    const std::vector<double> gradient = reducedCosts(model_, point_.x, point_.dual);
    for (int j = 0; j < n; ++j) {
      if (place[j] >= 0) rhs[place[j]] = -sign_ * gradient[j];
    }
    const Activities rows(model_, point_.x);
    for (int i = 0; i < m; ++i) {
      if (line[i] >= 0) rhs[line[i]] = boundOf(rowSide_[i], rowBounds_[i]) - rows.value[i];
    }

    std::vector<Eigen::Triplet<double>> upper;
    const auto addHessian = [&](int i, int j, double value) {
      if (place[i] >= 0 && place[j] >= 0) {
        upper.emplace_back(std::min(place[i], place[j]), std::max(place[i], place[j]), value);
      } else if (place[i] >= 0) {
        rhs[place[i]] -= value * jump[j];
      } else if (place[j] >= 0) {
        rhs[place[j]] -= value * jump[i];
      }
    };
    const auto addJacobian = [&](int row, int column, double value) {
      if (place[column] >= 0) {
        upper.emplace_back(place[column], line[row], value);
      } else {
        rhs[line[row]] -= value * jump[column];
      }
    };
    forEachTerm(model_.quadraticObjective(), true,
                [&](int i, int j, double c) { addHessian(i, j, sign_ * c * (i == j ? 2 : 1)); });
    const SparseMatrix& matrix = model_.byRows();
    for (int i = 0; i < m; ++i) {
      if (line[i] < 0) continue;
      for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) addJacobian(i, matrix.index[k], matrix.value[k]);
    }
    for (const RowQuadratic& row : model_.quadraticRows()) {
      if (line[row.row] < 0) continue;
      const double weight = -sign_ * point_.dual[row.row];
      forEachTerm(row.form, false, [&](int i, int j, double c) {
        addHessian(i, j, weight * c * (i == j ? 2 : 1));
        addJacobian(row.row, i, c * point_.x[j]);
        addJacobian(row.row, j, c * point_.x[i]);
      });
    }

    Eigen::VectorXd step = Eigen::VectorXd::Zero(count);
    if (count > 0) {
      System system;
      if (!system.factorise(std::move(upper), count, first, budget_)) return false;
      step = system.solve(rhs);
      if (!step.allFinite()) return false;
    }
    moved_ = 0;
    for (int j = 0; j < n; ++j) {
      const double by = place[j] >= 0 ? step[place[j]] : jump[j];
      moved_ = std::max(moved_, std::abs(by) / std::max(1.0, std::abs(point_.x[j])));
      point_.x[j] = place[j] >= 0 ? point_.x[j] + by : boundOf(columnSide_[j], columnBounds_[j]);
    }
    // The system has minus the change of the multipliers.
    for (int i = 0; i < m; ++i) {
      if (line[i] >= 0) point_.dual[i] -= sign_ * step[line[i]];
    }
    return true;
  }

  bool correctSides() {
    bool changed = false;
    measure();
    point_.redcost = reducedCosts(model_, point_.x, point_.dual);
    for (int j = 0; j < model_.columns(); ++j) {
      const double scale = std::max(1.0, std::abs(point_.x[j]));
      changed |= correct(columnSide_[j], sign_ * point_.redcost[j], size_, point_.x[j], columnBounds_[j], scale);
    }
    const Activities rows(model_, point_.x);
    for (int i = 0; i < model_.rows(); ++i) {
      if (model_.rowTypes()[i] == 'N') continue;
      const double scale = std::max(1.0, rows.largest[i]);
      changed |= correct(rowSide_[i], sign_ * point_.dual[i], size_, rows.value[i], rowBounds_[i], scale);
    }
    return changed;
  }

  // What is zero but for rounding.
  void settle() {
    for (int j = 0; j < model_.columns(); ++j) {
      if (columnSide_[j] == Side::free) {
        if (std::abs(point_.redcost[j]) <= kNearlyExact * size_) point_.redcost[j] = 0;
        point_.x[j] = std::clamp(point_.x[j], columnBounds_[j].lower, columnBounds_[j].upper);
      } else if (columnSide_[j] != Side::both && (columnSide_[j] == Side::lower) != (sign_ * point_.redcost[j] > 0)) {
        point_.redcost[j] = 0;
      }
    }
    for (int i = 0; i < model_.rows(); ++i) {
      if (rowSide_[i] == Side::both || rowSide_[i] == Side::free) continue;
      if ((rowSide_[i] == Side::lower) != (sign_ * point_.dual[i] > 0)) point_.dual[i] = 0;
    }
  }

  const Model& model_;
  const double sign_;
  PointValues point_;
  std::vector<Bounds> columnBounds_, rowBounds_;
  std::vector<Side> columnSide_, rowSide_;
  double budget_ = kMostWork;
  double size_ = 1;   // of the objective's gradient
  double moved_ = 0;  // by the last step, relative
};

// Columns that are as good as at a bound go there.
PointValues onBounds(const Model& model, const PointValues& point, double near) {
  PointValues moved = point;
  for (int j = 0; j < model.columns(); ++j) {
    const Bounds bounds = relaxedBounds(model, j);
    const double cost = model.sense() * point.redcost[j];
    const double bound = cost > 0 ? bounds.lower : bounds.upper;
    const double distance = std::abs(point.x[j] - bound);
    if (distance <= near * std::max(1.0, std::abs(bound)) && distance < std::abs(cost)) moved.x[j] = bound;
  }
  moved.redcost = reducedCosts(model, moved.x, moved.dual);
  return moved;
}

// What is left to do without Newton steps: whether the point came to be no less exact than `enough`.
bool settleOnBounds(const Model& model, PointValues& point, double enough) {
  for (const double near : {1e-6, 1e-9}) {
    PointValues found = onBounds(model, point, near);
    if (!(inexactness(model, found) <= enough)) continue;
    point = std::move(found);
    return true;
  }
  return false;
}

}  // namespace

double inexactness(const Model& model, const PointValues& point) {
  const auto n = static_cast<size_t>(model.columns());
  if (point.x.size() != n || point.redcost.size() != n || point.dual.size() != static_cast<size_t>(model.rows())) {
    return std::numeric_limits<double>::infinity();
  }
  const Activities rows(model, point.x);
  const DualCheck check = checkDuals(model, point.x, rows, point.dual, point.redcost, 0);
  return std::max(
      {primalViolation(model, point.x, rows, false).relative, check.residual, check.infeasibility, check.gap});
}

bool sharpen(const Model& model, PointValues& point, Effort effort) {
  const double before = inexactness(model, point);
  if (!std::isfinite(before)) return false;
  const int64_t size =
      model.columns() + model.nonzeros() + static_cast<int64_t>(model.quadraticObjective().entries().size());
  if (effort == Effort::little && before <= kTolerable && size > kSmall) {
    settleOnBounds(model, point, std::max(kNearlyExact, before));
    return true;
  }
  Newton newton(model, point);
  if (newton.run()) {
    PointValues found = newton.point();
    if (inexactness(model, found) <= std::max(kNearlyExact, before)) {
      point = std::move(found);
      point.available = true;
      return true;
    }
  }
  return settleOnBounds(model, point, std::max(kTolerable, before));
}

}  // namespace tvlo
