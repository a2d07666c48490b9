// The frame of every function of the C interface: checks the handle, clears the last error, runs the body and
// turns whatever it throws into a code and a last-error text. No exception passes.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "capi/environment.h"
#include "core/error.h"
#include "core/problem.h"
#include "core/validate.h"
#include "tvlo/tvlo.h"

namespace tvlo {

// Handle types are compared by address, so these are arrays: the same one everywhere.
inline constexpr char kOptimizerType[] = "TVLOprob";
inline constexpr char kComponentType[] = "TSLPprob";

// To be called in a catch block: the code and the text of the exception that was caught.
int describeException(std::string& text) noexcept;

template <class F>
int describing(std::string& text, F&& body) noexcept {
  try {
    std::forward<F>(body)();
    return TVLO_OK;
  } catch (...) {
    return describeException(text);
  }
}

// For functions without a problem.
template <class F>
int guardGlobal(F&& body) noexcept {
  std::string text;
  const int code = describing(text, std::forward<F>(body));
  lastGlobalError() = {code, std::move(text)};  // after the body, which may call the library itself
  return code;
}

inline bool isAlive(TVLOprob prob) {
  return prob != nullptr && prob->alive.load(std::memory_order_relaxed) == tvlo_prob_s::kAlive;
}
int reportBadHandle(const void* handle) noexcept;  // in the global environment; returns the code

// For functions that do with the problem as it is, deleted lines waiting in it: body().
template <class F>
int guardUnsettled(TVLOprob prob, F&& body) noexcept {
  if (!isAlive(prob)) return reportBadHandle(prob);
  prob->lastError.clear();
  return describing(prob->lastError, std::forward<F>(body));
}

// For functions that read a problem.
template <class F>
int guard(TVLOprob prob, F&& body) noexcept {
  return guardUnsettled(prob, [&] {
    prob->settle();
    body();
  });
}

void requireIdle(const Problem& problem);  // not in the middle of a solve
void requireStarted();

// For functions that change a problem.
template <class F>
int guardChange(TVLOprob prob, F&& body) noexcept {
  return guard(prob, [&] {
    requireIdle(*prob);
    body();
  });
}

// Text into a caller's buffer, zero-terminated and cut between characters where it does not fit. `nbytes` gets the
// bytes of the whole, its terminating zero included. A null buffer is not wanted.
void copyText(std::string_view text, char* buffer, int maxbytes, int* nbytes);

// Lines first to last, inclusive; last = first - 1 is an empty range.
struct Range {
  int first, count;
};
Range requireRange(int first, int last, int size, const char* line);

}  // namespace tvlo
