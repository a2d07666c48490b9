// Quadratic forms as sorted triplets: one entry per unordered pair, first <= second, no zero values. The caller
// has checked columns and values. A call that runs out of memory changes nothing.
#pragma once

#include <cstdint>
#include <vector>

namespace tvlo {

struct QuadraticEntry {
  int first, second;
  double value;
};

class QuadraticForm {
 public:
  const std::vector<QuadraticEntry>& entries() const { return entries_; }
  bool empty() const { return entries_.empty(); }
  double value(int c1, int c2) const;                                       // 0 where there is no entry
  void set(int64_t n, const int* c1, const int* c2, const double* values);  // replaces, 0 removes; the last one counts
  void add(int64_t n, const int* c1, const int* c2, const double* values);  // accumulates
  void eraseColumns(const std::vector<int>& newIndex) noexcept;             // -1: gone
  void clear() noexcept { entries_.clear(); }

 private:
  void merge(int64_t n, const int* c1, const int* c2, const double* values, bool accumulate);
  std::vector<QuadraticEntry> entries_;
};

struct RowQuadratic {
  int row;
  QuadraticForm form;  // x'Qx: c*x*x is c, c*x*y is c/2 on the one entry of the pair
};

}  // namespace tvlo
