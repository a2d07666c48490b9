// Checks of caller-supplied arrays, shared by everything that changes or reads a model. Each throws Error with
// a text that names the culprit by its index; none changes anything.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "core/error.h"

namespace tvlo {

inline void requireCount(int64_t n, const char* what) {
  if (n < 0) badArgument("The number of %s is negative (%lld)", what, static_cast<long long>(n));
}

inline void requireArray(const void* array, int64_t n, const char* what) {
  if (n > 0 && array == nullptr) badArgument("The array of %s is missing", what);
}

// `line` is "row" or "column".
inline void requireIndex(int index, int size, const char* line) {
  if (index < 0 || index >= size) badArgument("There is no %s %d: the problem has %d", line, index, size);
}

void requireIndices(int64_t n, const int* indices, int size, const char* line);
void requireFinite(int64_t n, const double* values, const char* what);  // finite and not NaN; says at which position
bool allFinite(int64_t n, const double* values);

// The given lines in ascending order; a line given twice or out of range is an error.
std::vector<int> sortedDistinct(int n, const int* lines, int size, const char* line);
// For each of `size` lines its number after `sorted` are deleted, -1 for those.
std::vector<int> renumbering(const std::vector<int>& sorted, int size);

// Deletes the entries at ascending positions; there may be none at the last of these.
template <class T>
void erasePositions(std::vector<T>& values, const std::vector<int>& sorted) {
  const auto size = static_cast<int>(values.size());
  if (sorted.empty() || sorted.front() >= size) return;
  size_t gone = 0;
  int to = sorted.front();
  for (int from = to; from < size; ++from) {
    if (gone < sorted.size() && sorted[gone] == from) {
      ++gone;
    } else {
      values[to++] = std::move(values[from]);
    }
  }
  values.resize(to);
}

// Room for n more entries, growing geometrically, so that appending them can't fail.
template <class T>
void reserveMore(std::vector<T>& values, size_t n) {
  if (values.capacity() - values.size() < n) values.reserve(std::max(values.size() + n, 2 * values.capacity()));
}

// Marks lines in turn: begin() forgets all marks at the cost of a counter.
class Stamps {
 public:
  void begin(size_t size) {
    if (stamp_.size() < size) stamp_.resize(std::max(size, 2 * stamp_.size()));
    if (++now_ == 0) {
      std::fill(stamp_.begin(), stamp_.end(), 0);
      now_ = 1;
    }
  }
  bool marked(int line) const { return stamp_[line] == now_; }
  bool mark(int line) {  // whether it was not marked yet
    const bool fresh = !marked(line);
    stamp_[line] = now_;
    return fresh;
  }

 private:
  std::vector<uint32_t> stamp_;
  uint32_t now_ = 0;
};

}  // namespace tvlo
