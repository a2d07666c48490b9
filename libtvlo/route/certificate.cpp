#include "route/certificate.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/check.h"

namespace tvlo {

namespace {

using Long = long double;  // products of two coefficients are exact to 2^-64 of their size

// An engine's basic solutions are exact to a few roundings of the terms that cancel out in them.
constexpr double kCancelled = 1e-12;
constexpr double kRounding =
    1e-10;  // a contradiction of this size, relative to its terms, may come from the data's own
constexpr double kNoise[] = {0, 1e-13, 1e-11, 1e-9};  // entries of a certificate up to these are left out, in turn

double size(double side) { return std::max(1.0, std::abs(side)); }
bool isFinite(double side) { return std::abs(side) < TVLO_INFINITY; }

// A sum whose terms may cancel out.
struct Cancelling {
  Long sum = 0, terms = 0;
  void add(Long term) {
    sum += term;
    terms += std::abs(term);
  }
  bool cancelled() const { return std::abs(sum) <= kCancelled * terms; }
};

// The side of the row that a multiplier takes; infinite where it has none.
double sideOf(const Model& model, int row, double multiplier) {
  if (model.rowTypes()[row] == 'N' || model.rowQuadratic(row) != nullptr) return TVLO_INFINITY;
  const Bounds bounds = model.rowBounds(row);
  return multiplier > 0 ? bounds.lower : bounds.upper;
}

// sum of y_i * (row i) >= sum of y_i * (side i), where the left side is at most what the columns' bounds allow.
Proof contradiction(const Model& model, const std::vector<double>& y, const ImpliedBounds& implied, double tolerance) {
  const SparseMatrix& matrix = model.byRows();
  std::vector<Cancelling> coef(model.columns());
  Long gap = 0, terms = 0, relaxed = 0;
  for (int i = 0; i < model.rows(); ++i) {
    if (y[i] == 0) continue;
    const double side = sideOf(model, i, y[i]);
    gap += static_cast<Long>(y[i]) * side;
    terms += std::abs(static_cast<Long>(y[i]) * side);
    relaxed += std::abs(y[i]) * tolerance * size(side);
    for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) {
      coef[matrix.index[k]].add(static_cast<Long>(y[i]) * matrix.value[k]);
    }
  }
  for (int j = 0; j < model.columns(); ++j) {
    const Cancelling& c = coef[j];
    if (c.sum == 0) continue;
    const Bounds bounds = relaxedBounds(model, j);
    double bound = c.sum > 0 ? bounds.upper : bounds.lower;
    if (!isFinite(bound) && !c.cancelled()) bound = c.sum > 0 ? implied.upper[j] : implied.lower[j];
    if (!isFinite(bound)) {
      if (!c.cancelled()) return Proof::none;
      continue;
    }
    gap -= c.sum * bound;
    terms += std::abs(c.sum * bound);
    relaxed += std::abs(c.sum) * tolerance * size(bound);
  }
  if (!(gap > kRounding * terms)) return Proof::none;
  return gap > relaxed ? Proof::clear : Proof::bare;
}

class Propagation {
 public:
  Propagation(const Model& model, bool integrality, double tolerance, ImpliedBounds& bounds)
      : model_(model), integrality_(integrality), tolerance_(tolerance), lower_(bounds.lower), upper_(bounds.upper) {}

  bool crosses() {
    constexpr int kRounds = 8;
    for (int j = 0; j < model_.columns(); ++j) {
      if (setLower(j, lower_[j]) || setUpper(j, upper_[j])) return true;
    }
    for (int round = 0; round < kRounds; ++round) {
      moved_ = false;
      for (int i = 0; i < model_.rows(); ++i) {
        if (model_.rowTypes()[i] == 'N' || model_.rowQuadratic(i) != nullptr) continue;
        const Bounds sides = model_.rowBounds(i);
        // The row with its signs turned has its lower side as the upper one.
        if (isFinite(sides.upper) && visit(i, 1, sides.upper)) return true;
        if (isFinite(sides.lower) && visit(i, -1, -sides.lower)) return true;
      }
      if (!moved_) break;
    }
    return false;
  }

 private:
  static constexpr double kMargin = 1e-13;  // of sums in long double, relative to their terms, with room to spare

  bool whole(int column) const {
    const char type = model_.columnTypes()[column];
    return integrality_ && (type == 'I' || type == 'B' || type == 'R');
  }

  bool crossed(int j) const { return lower_[j] > upper_[j] + tolerance_ * size(lower_[j]); }

  bool setLower(int j, double value) {
    if (whole(j)) value = std::ceil(value - 1e-6 * size(value));
    lower_[j] = std::max(lower_[j], value);
    return crossed(j);
  }
  bool setUpper(int j, double value) {
    if (whole(j)) value = std::floor(value + 1e-6 * size(value));
    upper_[j] = std::min(upper_[j], value);
    return crossed(j);
  }

  // sign * row <= side
  bool visit(int row, double sign, double side) {
    const SparseMatrix& matrix = model_.byRows();
    const auto leastOf = [&](int64_t k) {  // value of the column at which the term is least
      return sign * matrix.value[k] > 0 ? lower_[matrix.index[k]] : upper_[matrix.index[k]];
    };
    Cancelling least;
    int open = 0;  // terms without a least value
    for (int64_t k = matrix.start[row]; k < matrix.start[row + 1]; ++k) {
      if (isFinite(leastOf(k))) {
        least.add(static_cast<Long>(sign) * matrix.value[k] * leastOf(k));
      } else if (++open > 1) {
        return false;
      }
    }
    const Long room = side + tolerance_ * size(side) + kMargin * (least.terms + std::abs(side)) - least.sum;
    if (open == 0 && room < 0) return true;
    for (int64_t k = matrix.start[row]; k < matrix.start[row + 1]; ++k) {
      const int j = matrix.index[k];
      const double coef = sign * matrix.value[k];
      const bool finite = isFinite(leastOf(k));
      if (open == 1 && finite) continue;
      const Long own = finite ? static_cast<Long>(coef) * leastOf(k) : 0;
      const auto limit = static_cast<double>((room + own) / coef);
      const double outward = kMargin * std::abs(limit);
      if (coef > 0 ? tightenUpper(j, limit + outward) : tightenLower(j, limit - outward)) return true;
    }
    return false;
  }

  // Only steps that matter, or there would be no end to them.
  bool worth(int j, double from, double to) const {
    if (!(std::abs(to) < 1e15)) return false;
    if (!isFinite(from)) return true;
    const double range = upper_[j] - lower_[j];
    return std::abs(to - from) > 1e-3 * std::max(1e-3, std::min(range, size(from)));
  }
  bool tightenUpper(int j, double value) {
    if (value >= upper_[j] || !worth(j, upper_[j], value)) return false;
    moved_ = true;
    return setUpper(j, value);
  }
  bool tightenLower(int j, double value) {
    if (value <= lower_[j] || !worth(j, lower_[j], value)) return false;
    moved_ = true;
    return setLower(j, value);
  }

  const Model& model_;
  const bool integrality_;
  const double tolerance_;
  std::vector<double>&lower_, &upper_;
  bool moved_ = false;
};

// What is left of the direction without its noise; false where a bound stands in its way.
bool along(const Model& model, std::vector<double>& direction, double noise) {
  double largest = 0;
  for (const double d : direction) largest = std::max(largest, std::abs(d));
  for (int j = 0; j < model.columns(); ++j) {
    double& d = direction[j];
    const Bounds bounds = relaxedBounds(model, j);
    const bool blocked = d != 0 && isFinite(d < 0 ? bounds.lower : bounds.upper);
    if (std::abs(d) <= noise * largest) d = 0;
    if (blocked && d != 0) return false;
  }
  return true;
}

bool improves(const Model& model, const std::vector<double>& direction) {
  Cancelling cost;
  for (int j = 0; j < model.columns(); ++j) cost.add(static_cast<Long>(model.objective()[j]) * direction[j]);
  return -model.sense() * cost.sum > 1e-9 * cost.terms && cost.terms > 0;
}

bool recedes(const Model& model, const std::vector<double>& direction) {
  const SparseMatrix& matrix = model.byRows();
  for (int i = 0; i < model.rows(); ++i) {
    if (model.rowTypes()[i] == 'N') continue;
    if (model.rowQuadratic(i) != nullptr) return false;
    Cancelling change;
    for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) {
      change.add(static_cast<Long>(matrix.value[k]) * direction[matrix.index[k]]);
    }
    const Bounds sides = model.rowBounds(i);
    if (isFinite(change.sum < 0 ? sides.lower : sides.upper) && !change.cancelled()) return false;
  }
  return true;
}

}  // namespace

ImpliedBounds::ImpliedBounds(const Model& model, bool integrality, double tolerance) {
  for (int j = 0; j < model.columns(); ++j) {
    const Bounds bounds = relaxedBounds(model, j);
    lower.push_back(bounds.lower);
    upper.push_back(bounds.upper);
  }
  cross = Propagation(model, integrality, tolerance, *this).crosses();
}

bool boundsLimitObjective(const Model& model) {
  const auto limited = [&](auto boundsOf) {
    for (int j = 0; j < model.columns(); ++j) {
      const double cost = model.sense() * model.objective()[j];
      if (cost == 0) continue;
      const Bounds bounds = boundsOf(j);
      if (!isFinite(cost > 0 ? bounds.lower : bounds.upper)) return false;
    }
    return true;
  };
  if (limited([&](int j) { return relaxedBounds(model, j); })) return true;
  const ImpliedBounds implied(model, false, 0);
  return limited([&](int j) { return Bounds{implied.lower[j], implied.upper[j]}; });
}

Proof provesInfeasible(const Model& model, const std::vector<double>& multipliers, const ImpliedBounds& implied,
                       double tolerance) {
  if (static_cast<int>(multipliers.size()) != model.rows()) return Proof::none;
  std::vector<double> weight(multipliers.size());
  double heaviest = 0;
  for (int i = 0; i < model.rows(); ++i) {
    if (!std::isfinite(multipliers[i])) return Proof::none;
    weight[i] = std::abs(multipliers[i]) * largestCoefficient(model.byRows(), i);
    heaviest = std::max(heaviest, weight[i]);
  }
  Proof best = Proof::none;
  for (const double sign : {1.0, -1.0}) {
    for (const double noise : kNoise) {
      std::vector<double> y(multipliers.size());
      for (int i = 0; i < model.rows(); ++i) {
        const double own = sign * multipliers[i];
        if (own != 0 && weight[i] > noise * heaviest && isFinite(sideOf(model, i, own))) y[i] = own;
      }
      best = std::max(best, contradiction(model, y, implied, tolerance));
      if (best == Proof::clear) return best;
    }
  }
  return best;
}

bool provesUnbounded(const Model& model, const std::vector<double>& direction) {
  if (static_cast<int>(direction.size()) != model.columns()) return false;
  if (!model.quadraticObjective().empty()) return false;
  for (const double d : direction) {
    if (!std::isfinite(d)) return false;
  }
  return std::any_of(std::begin(kNoise), std::end(kNoise), [&](double noise) {
    std::vector<double> cleaned = direction;
    return along(model, cleaned, noise) && improves(model, cleaned) && recedes(model, cleaned);
  });
}

}  // namespace tvlo
