// What the two C interfaces share about solves.
#pragma once

#include <algorithm>
#include <vector>

#include "capi/guard.h"

namespace tvlo {

// The problem is being solved while this lives; interrupts that came before are forgotten.
class Solving {
 public:
  explicit Solving(Problem& problem) : problem_(problem) {
    if (problem.solving.exchange(true)) throw Error(TVLO_ERR_STATE, "The problem is being solved already");
    problem.interruptReason = 0;
  }
  ~Solving() { problem_.solving = false; }
  Solving(const Solving&) = delete;
  Solving& operator=(const Solving&) = delete;

 private:
  Problem& problem_;
};

inline void give(const std::vector<double>& values, double* out) {
  if (out != nullptr) std::copy(values.begin(), values.end(), out);
}

}  // namespace tvlo
