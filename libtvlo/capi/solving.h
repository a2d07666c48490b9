// What the two C interfaces share about solves.
#pragma once

#include <algorithm>
#include <limits>
#include <vector>

#include "capi/guard.h"

namespace tvlo {

// The problem is being solved while this lives; interrupts that came before are forgotten, or before it was announced.
class Solving {
 public:
  explicit Solving(Problem& problem) : problem_(problem) {
    if (problem.solving.exchange(true)) throw Error(TVLO_ERR_STATE, "The problem is being solved already");
    if (!problem.expected.exchange(false)) problem.interruptReason = 0;
  }
  ~Solving() { problem_.solving = false; }
  Solving(const Solving&) = delete;
  Solving& operator=(const Solving&) = delete;

 private:
  Problem& problem_;
};

// Values of `size` lines; NaN for those that were added after the solve.
inline void give(const std::vector<double>& values, int size, double* out) {
  if (out == nullptr) return;
  out = std::copy(values.begin(), values.end(), out);
  std::fill(out, out + (size - static_cast<int>(values.size())), std::numeric_limits<double>::quiet_NaN());
}

}  // namespace tvlo
