#include "core/quadratic.h"

#include <algorithm>
#include <cmath>

#include "core/validate.h"

namespace tvlo {

namespace {

constexpr int64_t kFew = 16;

void requireFiniteSum(const QuadraticEntry& entry) {
  if (!std::isfinite(entry.value)) {
    badArgument("The quadratic coefficients of columns %d and %d add up to infinity", entry.first, entry.second);
  }
}

bool before(const QuadraticEntry& a, const QuadraticEntry& b) {
  return a.first != b.first ? a.first < b.first : a.second < b.second;
}

}  // namespace

double QuadraticForm::value(int c1, int c2) const {
  const QuadraticEntry wanted{std::min(c1, c2), std::max(c1, c2), 0};
  const auto at = std::lower_bound(entries_.begin(), entries_.end(), wanted, before);
  return at != entries_.end() && !before(wanted, *at) ? at->value : 0;
}

void QuadraticForm::set(int64_t n, const int* c1, const int* c2, const double* values) {
  merge(n, c1, c2, values, false);
}

void QuadraticForm::add(int64_t n, const int* c1, const int* c2, const double* values) {
  merge(n, c1, c2, values, true);
}

// A few entries that are there already and stay are changed in place, so that changing one by one is quick.
bool QuadraticForm::changeFew(int64_t n, const int* c1, const int* c2, const double* values, bool accumulate) {
  if (n > (accumulate ? 1 : kFew)) return false;
  QuadraticEntry* found[kFew];
  for (int64_t k = 0; k < n; ++k) {
    const QuadraticEntry wanted{std::min(c1[k], c2[k]), std::max(c1[k], c2[k]), 0};
    const auto at = std::lower_bound(entries_.begin(), entries_.end(), wanted, before);
    if (at == entries_.end() || before(wanted, *at)) return false;
    const double value = accumulate ? at->value + values[k] : values[k];
    if (value == 0 || !std::isfinite(value)) return false;
    found[k] = &*at;
  }
  for (int64_t k = 0; k < n; ++k) found[k]->value = accumulate ? found[k]->value + values[k] : values[k];
  curvature_ = Curvature::unknown;
  return true;
}

void QuadraticForm::merge(int64_t n, const int* c1, const int* c2, const double* values, bool accumulate) {
  if (changeFew(n, c1, c2, values, accumulate)) return;
  std::vector<QuadraticEntry> given;
  given.reserve(n);
  for (int64_t k = 0; k < n; ++k) given.push_back({std::min(c1[k], c2[k]), std::max(c1[k], c2[k]), values[k]});
  // Stable, so that of several entries of a pair the last one given stays last.
  if (!std::is_sorted(given.begin(), given.end(), before)) std::stable_sort(given.begin(), given.end(), before);

  // What comes after the entries that are there is appended, so that building one by one in order is quick.
  const bool appends = !entries_.empty() && !given.empty() && before(entries_.back(), given.front());
  std::vector<QuadraticEntry> merged;
  if (!appends) merged.reserve(entries_.size() + given.size());
  auto old = appends ? entries_.end() : entries_.begin();
  for (auto next = given.begin(); next != given.end();) {
    while (old != entries_.end() && before(*old, *next)) merged.push_back(*old++);
    QuadraticEntry entry = *next;
    const bool known = old != entries_.end() && !before(entry, *old);
    if (known) {
      if (accumulate) entry.value += old->value;
      ++old;
    }
    for (++next; next != given.end() && !before(entry, *next); ++next) {
      entry.value = accumulate ? entry.value + next->value : next->value;
    }
    requireFiniteSum(entry);
    if (entry.value != 0) merged.push_back(entry);
  }
  if (appends) {
    reserveMore(entries_, merged.size());
    entries_.insert(entries_.end(), merged.begin(), merged.end());
    curvature_ = Curvature::unknown;
    return;
  }
  merged.insert(merged.end(), old, entries_.end());
  entries_ = std::move(merged);
  curvature_ = Curvature::unknown;
}

void QuadraticForm::eraseColumns(const std::vector<int>& newIndex) noexcept {
  std::erase_if(entries_, [&](QuadraticEntry& entry) {
    entry.first = newIndex[entry.first];
    entry.second = newIndex[entry.second];
    return entry.first < 0 || entry.second < 0;
  });
  curvature_ = Curvature::unknown;
}

}  // namespace tvlo
