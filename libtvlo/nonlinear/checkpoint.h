// Where long work that no engine does, such as building a program, can be ended.
#pragma once

#include <functional>

#include "core/solution.h"
#include "engines/context.h"

namespace tvlo {

using Checkpoint = std::function<void()>;  // throws to end the work; empty: nothing ends it

// What the checkpoints of a solve throw at its limits and interrupts.
struct Stopped {
  Stop reason;
};

// The context must outlive it.
inline Checkpoint checkpointOf(const SolveContext& context) {
  return [&context] {
    if (const Stop stop = context.stop(); stop != Stop::none) throw Stopped{stop};
  };
}

}  // namespace tvlo
