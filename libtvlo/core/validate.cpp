#include "core/validate.h"

#include <cstring>

namespace tvlo {

void requireIndices(int64_t n, const int* indices, int size, const char* line) {
  for (int64_t k = 0; k < n; ++k) {
    if (indices[k] < 0 || indices[k] >= size) requireIndex(indices[k], size, line);
  }
}

bool allFinite(int64_t n, const double* values) {
  // On the bits, so that the compiler can vectorise it: an all-ones exponent is infinite or NaN.
  constexpr uint64_t exponent = 0x7ff0000000000000ULL;
  uint64_t bad = 0;
  for (int64_t k = 0; k < n; ++k) {
    uint64_t bits;
    std::memcpy(&bits, &values[k], sizeof bits);
    bad |= static_cast<uint64_t>((bits & exponent) == exponent);
  }
  return bad == 0;
}

void requireFinite(int64_t n, const double* values, const char* what) {
  if (allFinite(n, values)) return;
  for (int64_t k = 0; k < n; ++k) {
    if (!std::isfinite(values[k])) {
      badArgument("%s %lld is %s", what, static_cast<long long>(k), std::isnan(values[k]) ? "NaN" : "infinite");
    }
  }
}

std::vector<int> sortedDistinct(int n, const int* lines, int size, const char* line) {
  requireCount(n, format("%ss", line).c_str());
  requireArray(lines, n, format("%ss", line).c_str());
  requireIndices(n, lines, size, line);
  std::vector<int> sorted(lines, lines + n);
  if (!std::is_sorted(sorted.begin(), sorted.end())) std::sort(sorted.begin(), sorted.end());
  const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
  if (twice != sorted.end()) badArgument("%s %d is given twice", line, *twice);
  return sorted;
}

std::vector<int> renumbering(const std::vector<int>& sorted, int size) {
  std::vector<int> now(size);
  size_t gone = 0;
  for (int line = 0; line < size; ++line) {
    if (gone < sorted.size() && sorted[gone] == line) {
      now[line] = -1;
      ++gone;
    } else {
      now[line] = line - static_cast<int>(gone);
    }
  }
  return now;
}

}  // namespace tvlo
