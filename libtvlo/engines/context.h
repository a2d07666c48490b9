// What a solve shares with every problem that is solved aside for it: the time that is left, requests to stop with
// their reasons, and the log. All that ends a solve early is told here, so no inner solve outlives it.
#pragma once

#include <chrono>
#include <functional>
#include <string_view>

#include "core/problem.h"
#include "engines/engine.h"

namespace tvlo {

class SolveContext {
 public:
  // Of a solve that starts now: by the problem's time limit, interrupts and handlers. The problem outlives it.
  explicit SolveContext(const Problem& problem);
  // From parts; empty functions: no interrupts, no log.
  SolveContext(double secondsLeft, std::function<int()> interrupted, std::function<void(std::string_view)> log = {});

  // The same, for at most `seconds` from now.
  SolveContext within(double seconds) const;

  double secondsLeft() const;                                       // TVLO_INFINITY without a limit
  int reason() const { return interrupted_ ? interrupted_() : 0; }  // of an interrupt, 0 where there is none
  Stop stop() const;                                                // why there must be an end now

  // A line of the log. Problems solved aside are silent where the solve itself is.
  void say(std::string_view text, MessageType type = MessageType::information) const;
  bool isHeard() const { return static_cast<bool>(log_); }

  // Has an engine's session solve `model`, which is in step with it afterwards. The request needs method and controls
  // only; what ends the solve and its log come from here. A stop that was asked for has the reason that was given.
  Solution ask(EngineSession& session, Model& model, SolveRequest request) const;
  // What the session can show for a claim of its last solve, which had this request.
  Evidence explain(EngineSession& session, const Model& model, SolveRequest request, LpStatus claim) const;

 private:
  SolveRequest limited(SolveRequest request) const;

  using Clock = std::chrono::steady_clock;
  Clock::time_point deadline_ = Clock::time_point::max();  // that: none
  std::function<int()> interrupted_;
  std::function<void(std::string_view, MessageType)> log_;
};

}  // namespace tvlo
