// The frame of the nonlinear component's C functions, as capi/guard.h is that of the optimizer's.
#pragma once

#include <utility>

#include "capi/component.h"
#include "capi/guard.h"

namespace tvlo {

inline bool isAlive(TSLPprob slp) {
  return slp != nullptr && slp->alive.load(std::memory_order_relaxed) == tslp_prob_s::kAlive;
}

template <class F>
int guardSlp(TSLPprob slp, F&& body) noexcept {
  if (!isAlive(slp)) return reportBadHandle(slp);
  slp->lastError.clear();
  return slp->lastErrorCode = describing(slp->lastError, std::forward<F>(body));
}

// For functions that change the model: body(problem).
template <class F>
int guardSlpChange(TSLPprob slp, F&& body) noexcept {
  return guardSlp(slp, [&] {
    tvlo_prob_s& problem = slp->problem();
    requireIdle(problem);
    body(problem);
  });
}

}  // namespace tvlo
