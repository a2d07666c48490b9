// HiGHS's clock. Its callbacks are not called in presolve, in the relaxations of a search and in the first-order
// method, but it looks at the clock everywhere. So our copy takes the time from here, and where a request to stop is
// not heeded soon, the time leaps past its time limit.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>

#include "engines/highs/session.h"

namespace tvlo::highs {

namespace {

thread_local Session* running = nullptr;

}  // namespace

Session::Running::Running(Session& session) : previous_(running) { running = &session; }
Session::Running::~Running() { running = previous_; }

bool Session::mustLeap() noexcept {
  try {
    return now_ != nullptr && mustStop();
  } catch (...) {
    return false;
  }
}

// Where a callback ends the run, it does so with less ado, so there is time for that. A part of HiGHS may start its
// clock only after a leap; therefore they repeat.
double Session::leap() noexcept {
  constexpr auto kPatience = std::chrono::milliseconds(100);
  constexpr int64_t kMost = 500;  // more would exceed what nanoseconds can count
  if (!mustLeap()) return 0;
  const int64_t leaps = (Clock::now() - now_->noticed) / kPatience;
  now_->leapt = now_->leapt || leaps > 0;
  return static_cast<double>(std::min(leaps, kMost)) * (now_->limit + 1);
}

int64_t Session::nowOfThisThread() noexcept {
  using std::chrono::system_clock;
  const double leap = running == nullptr ? 0 : running->leap();
  const auto time = system_clock::now().time_since_epoch();
  return (time + std::chrono::duration_cast<system_clock::duration>(std::chrono::duration<double>(leap))).count();
}

// The first-order method counts whole seconds of the day, which would stop it up to a second early or late. It is
// told that the time stands still until it must stop, and leaps from then on.
int64_t Session::secondsOfThisThread() noexcept {
  if (running == nullptr) return std::time(nullptr);
  if (!running->mustLeap()) return 0;
  return static_cast<int64_t>(++running->now_->calls * std::ceil(running->now_->limit + 1));
}

}  // namespace tvlo::highs

extern "C" {

// In place of std::chrono::system_clock::now, whose result is returned like an integer.
TVLO_API int64_t tvlo_highs_now() noexcept { return tvlo::highs::Session::nowOfThisThread(); }

// In place of time.
TVLO_API int64_t tvlo_highs_time(int64_t* result) noexcept {
  const int64_t seconds = tvlo::highs::Session::secondsOfThisThread();
  if (result != nullptr) *result = seconds;
  return seconds;
}
}
