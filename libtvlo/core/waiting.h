// Lines that are deleted but not taken out of the store yet, so that deleting one by one costs no pass over the model
// each. Callers number the lines as if these were gone; the store still has them.
#pragma once

#include <algorithm>
#include <vector>

#include "core/validate.h"

namespace tvlo {

class WaitingDeletions {
 public:
  bool empty() const { return stored_.empty(); }
  int count() const { return static_cast<int>(stored_.size()); }
  const std::vector<int>& stored() const { return stored_; }  // in the store's numbers, ascending

  // The store's number of a caller's line: above as many waiting ones as it has below it.
  int storedAt(int line) const {
    int below = 0;
    for (int most = count(); below < most;) {
      const int middle = below + (most - below) / 2;
      if (stored_[middle] - middle <= line) {
        below = middle + 1;
      } else {
        most = middle;
      }
    }
    return line + below;
  }
  // The caller's number of a stored line; -1 when it is a waiting one.
  int lineOf(int stored) const {
    const auto at = std::lower_bound(stored_.begin(), stored_.end(), stored);
    return at != stored_.end() && *at == stored ? -1 : stored - static_cast<int>(at - stored_.begin());
  }

  // In callers' numbers, ascending, distinct. Changes nothing when memory runs out.
  void add(const std::vector<int>& lines) {
    std::vector<int> fresh(lines.size());
    std::transform(lines.begin(), lines.end(), fresh.begin(), [this](int line) { return storedAt(line); });
    reserveMore(stored_, fresh.size());
    if (fresh.size() == 1) {
      stored_.insert(std::lower_bound(stored_.begin(), stored_.end(), fresh[0]), fresh[0]);
      return;
    }
    std::vector<int> merged(stored_.size() + fresh.size());
    std::merge(stored_.begin(), stored_.end(), fresh.begin(), fresh.end(), merged.begin());
    stored_ = std::move(merged);
  }
  void clear() noexcept { stored_.clear(); }

 private:
  std::vector<int> stored_;
};

}  // namespace tvlo
