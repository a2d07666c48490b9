// HiGHS keeps a pool of workers for each thread that solves. A pool of another size must be ended before a run, and one
// with workers after it, or a later fork would hang in the child.
#pragma once

#include <cstdint>

#include "engines/highs/highs.h"

namespace tvlo::highs {

class Workers {
 public:
  explicit Workers(int64_t threads) : threads_(threads) {
    if (threads_ > 1) Highs_resetGlobalScheduler(1);
  }
  ~Workers() {
    if (threads_ > 1) Highs_resetGlobalScheduler(1);
  }
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

 private:
  const int64_t threads_;
};

}  // namespace tvlo::highs
