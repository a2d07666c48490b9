#include "nonlinear/user_sites.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/error.h"

namespace tvlo {

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();
const double kFirstStep = std::cbrt(kEps);
const double kSecondStep = std::sqrt(std::sqrt(kEps));

}  // namespace

int UserSites::add(std::shared_ptr<UserFunction> function) {
  const auto m = static_cast<size_t>(function->arguments);
  const size_t store = store_.size();
  store_.resize(store + 4 * m + m * (m + 1) / 2);
  std::fill_n(store_.begin() + static_cast<ptrdiff_t>(store + 2 * m), m, -TVLO_INFINITY);
  std::fill_n(store_.begin() + static_cast<ptrdiff_t>(store + 3 * m), m, TVLO_INFINITY);
  point_.resize(std::max(point_.size(), m));
  given_.resize(point_.size());
  work_.resize(std::max(work_.size(), 2 * m));
  sites_.push_back({std::move(function), store, 0, false, false, false});
  return static_cast<int>(sites_.size()) - 1;
}

void UserSites::setBounds(int site, int argument, double lower, double upper) {
  const Site& s = sites_[site];
  const size_t m = s.function->arguments;
  store_[s.store + 2 * m + argument] = lower;
  store_[s.store + 3 * m + argument] = std::max(lower, upper);
}

double callUser(const UserFunction& user, const double* x, double* derivs) {
  const TSLPuserfn function = user.function;
  if (function == nullptr) {
    throw Error(TVLO_ERR_STATE,
                format("User function %.100s is gone with the problem that it was added to", user.name.c_str()));
  }
  double value = std::nan("");
  if (function(x, user.arguments, &value, derivs, user.data) != 0) {
    throw Error(TVLO_ERR_CALLBACK, format("User function %.100s failed", user.name.c_str()));
  }
  return value;
}

double UserSites::call(const Site& site, const double* x, double* derivs) {
  return callUser(*site.function, x, derivs);
}

void UserSites::moveTo(Site& site, const double* x) {
  const auto m = static_cast<size_t>(site.function->arguments);
  double* const known = store_.data() + site.store;
  if (site.known && std::equal(x, x + m, known)) return;
  site.known = false;
  site.firstKnown = site.secondKnown = false;
  std::copy(x, x + m, known);
}

double UserSites::value(int at, const double* x) {
  Site& site = sites_[at];
  moveTo(site, x);
  if (!site.known) {
    site.value = call(site, x, nullptr);
    site.known = true;
  }
  return site.value;
}

double UserSites::lower(const Site& site, int argument) const {
  return store_[site.store + 2 * static_cast<size_t>(site.function->arguments) + argument];
}

double UserSites::upper(const Site& site, int argument) const {
  return store_[site.store + 3 * static_cast<size_t>(site.function->arguments) + argument];
}

// What `evaluate` gives at a step below and above the point, no farther than the bounds. The steps shrink to 0 where
// there is no room or no value; false when both do.
template <class F>
bool UserSites::difference(const Site& site, int argument, double relativeStep, F evaluate, double& below,
                           double& above) {
  const size_t m = site.function->arguments;
  const double* const known = store_.data() + site.store;
  const double x = known[argument];
  const double h = relativeStep * std::max(1.0, std::abs(x));
  below = std::min(x, std::max(x - h, lower(site, argument)));
  above = std::max(x, std::min(x + h, upper(site, argument)));
  std::copy(known, known + m, point_.begin());
  if (below < x) {
    point_[argument] = below;
    if (!evaluate(point_.data(), 0)) below = x;
  }
  if (above > x) {
    point_[argument] = above;
    if (!evaluate(point_.data(), 1)) above = x;
  }
  return above > below;
}

const double* UserSites::first(int at, const double* x) {
  value(at, x);
  Site& site = sites_[at];
  const int m = site.function->arguments;
  double* const result = store_.data() + site.store + m;
  if (site.firstKnown) return result;
  if (site.function->type == 5) {
    site.value = call(site, store_.data() + site.store, result);
  } else {
    for (int i = 0; i < m; ++i) {
      result[i] = 0;
      if (lower(site, i) == upper(site, i)) continue;
      double f[2] = {site.value, site.value};
      double below;
      double above;
      const bool any = difference(
          site, i, kFirstStep,
          [&](const double* p, int side) {
            const double v = call(site, p, nullptr);
            if (std::isfinite(v)) f[side] = v;
            return std::isfinite(v);
          },
          below, above);
      result[i] = any ? (f[1] - f[0]) / (above - below) : std::nan("");
    }
  }
  site.firstKnown = true;
  return result;
}

const double* UserSites::second(int at, const double* x) {
  first(at, x);
  Site& site = sites_[at];
  const int m = site.function->arguments;
  const double* const known = store_.data() + site.store;
  double* const result = store_.data() + site.store + 4 * static_cast<size_t>(m);
  if (site.secondKnown) return result;
  std::fill_n(result, m * (m + 1) / 2, 0.0);
  const auto entry = [&](int i, int j) -> double& {
    return i >= j ? result[i * (i + 1) / 2 + j] : result[j * (j + 1) / 2 + i];
  };
  if (site.function->type == 5) {
    const double* const gradient = known + m;
    seen_.assign(m, false);
    for (int i = 0; i < m; ++i) {
      if (lower(site, i) == upper(site, i)) continue;
      std::copy(gradient, gradient + m, work_.begin());
      std::copy(gradient, gradient + m, work_.begin() + m);
      double below;
      double above;
      const bool any = difference(
          site, i, kFirstStep,
          [&](const double* p, int side) {
            double* const there = work_.data() + static_cast<ptrdiff_t>(side) * m;
            bool sound = std::isfinite(call(site, p, there));
            for (int k = 0; k < m; ++k) sound = sound && std::isfinite(there[k]);
            if (!sound) std::copy(gradient, gradient + m, there);
            return sound;
          },
          below, above);
      if (!any) continue;
      seen_[i] = true;
      for (int k = 0; k < m; ++k) entry(i, k) += (work_[m + k] - work_[k]) / (above - below);
    }
    // Pairs that were seen from both sides get the mean.
    for (int i = 0; i < m; ++i) {
      for (int k = 0; k < i; ++k) {
        if (seen_[i] && seen_[k]) entry(i, k) /= 2;
      }
    }
  } else {
    secondByValues(site, result);
  }
  site.secondKnown = true;
  return result;
}

// By the values at the corners of a small box around the point; a box that would leave the bounds is moved inside, and
// made smaller where it is wider than they are. Where they leave no room worth it there is no curvature.
void UserSites::secondByValues(const Site& site, double* result) {
  constexpr double kLeastPart = 0.01;  // of the usual step: rounding counts by the square of that
  const int m = site.function->arguments;
  const double* const known = store_.data() + site.store;
  const auto usual = [&](int i) { return kSecondStep * std::max(1.0, std::abs(known[i])); };
  const auto step = [&](int i) { return std::min(usual(i), (upper(site, i) - lower(site, i)) / 2); };
  const auto centre = [&](int i) {
    const double least = lower(site, i) + step(i);
    return std::clamp(known[i], least, std::max(least, upper(site, i) - step(i)));
  };
  const auto at = [&](int i, double di, int j, double dj) {
    std::copy(known, known + m, point_.begin());
    const auto set = [&](int k, double steps) {  // rounding must not lead out
      point_[k] = std::clamp(centre(k) + steps * step(k), lower(site, k), upper(site, k));
    };
    set(i, di);
    if (j != i) set(j, dj);
    return call(site, point_.data(), nullptr);
  };
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j <= i; ++j) {
      double value;
      if (step(i) < kLeastPart * usual(i) || step(j) < kLeastPart * usual(j)) continue;
      if (i == j) {
        const double middle = centre(i) == known[i] ? site.value : at(i, 0, i, 0);
        value = (at(i, 1, i, 0) - 2 * middle + at(i, -1, i, 0)) / (step(i) * step(i));
      } else {
        value = (at(i, 1, j, 1) - at(i, 1, j, -1) - at(i, -1, j, 1) + at(i, -1, j, -1)) / (4 * step(i) * step(j));
      }
      // Where there is no value near, the curvature is left out.
      result[i * (i + 1) / 2 + j] = std::isfinite(value) ? value : 0;
    }
  }
}

}  // namespace tvlo
