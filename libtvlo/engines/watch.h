// The end of a solve by its limits or an interrupt, for engines that are part of our own code.
#pragma once

#include <algorithm>
#include <chrono>

#include "engines/engine.h"
#include "linear/watch.h"

namespace tvlo {

struct Stopped {
  Stop why;
};

// Throws Stopped when the time is over or an interrupt has come. The request outlives it.
inline Watch watchOf(const SolveRequest& request) {
  using Clock = std::chrono::steady_clock;
  const bool limited = request.secondsLeft < 1e9;
  const std::chrono::duration<double> left(limited ? std::max(request.secondsLeft, 0.0) : 0);
  const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(left);
  return Watch([&request, limited, deadline] {
    if (request.interrupted && request.interrupted() != 0) throw Stopped{Stop::interrupt};
    if (limited && Clock::now() >= deadline) throw Stopped{Stop::timeLimit};
  });
}

}  // namespace tvlo
