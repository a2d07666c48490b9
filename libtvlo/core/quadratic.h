// Quadratic forms as sorted triplets: one entry per unordered pair, first <= second, no zero values, none infinite. The
// caller has checked columns and values. A call that fails changes nothing.
#pragma once

#include <cstdint>
#include <vector>

namespace tvlo {

struct QuadraticEntry {
  int first, second;
  double value;
};

// Of a symmetric matrix, up to a tolerance (quadratic/convexity.h); a flat one is both convex and concave.
enum class Curvature : uint8_t { unknown, flat, convex, concave, indefinite };

class QuadraticForm {
 public:
  const std::vector<QuadraticEntry>& entries() const { return entries_; }
  bool empty() const { return entries_.empty(); }
  double value(int c1, int c2) const;                                       // 0 where there is no entry
  void set(int64_t n, const int* c1, const int* c2, const double* values);  // replaces, 0 removes; the last one counts
  // Accumulates; throws Error where a sum is infinite.
  void add(int64_t n, const int* c1, const int* c2, const double* values);
  void eraseColumns(const std::vector<int>& newIndex) noexcept;  // -1: gone

  // What was found of it since it last changed.
  Curvature curvature() const { return curvature_; }
  void setCurvature(Curvature found) const { curvature_ = found; }

 private:
  bool changeFew(int64_t n, const int* c1, const int* c2, const double* values, bool accumulate);
  void merge(int64_t n, const int* c1, const int* c2, const double* values, bool accumulate);
  std::vector<QuadraticEntry> entries_;
  mutable Curvature curvature_ = Curvature::unknown;
};

// What the form stands for in the objective, x'Qx/2, and in a row, x'Qx: calls visit(first, second, c) for each term
// c*x[first]*x[second].
template <class Visit>
void forEachTerm(const QuadraticForm& form, bool objective, Visit visit) {
  for (const QuadraticEntry& e : form.entries()) {
    visit(e.first, e.second, e.value * (e.first == e.second ? 1 : 2) * (objective ? 0.5 : 1));
  }
}

struct RowQuadratic {
  int row;
  QuadraticForm form;  // x'Qx: c*x*x is c, c*x*y is c/2 on the one entry of the pair
};

}  // namespace tvlo
