#include "engines/context.h"

#include <algorithm>

namespace tvlo {

namespace {

constexpr double kForEver = 1e9;  // seconds

}  // namespace

SolveContext::SolveContext(double secondsLeft, std::function<int()> interrupted,
                           std::function<void(std::string_view)> log)
    : interrupted_(std::move(interrupted)) {
  if (log) log_ = [log = std::move(log)](std::string_view text, MessageType) { log(text); };
  if (secondsLeft >= kForEver) return;
  const std::chrono::duration<double> left(std::max(secondsLeft, 0.0));
  deadline_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(left);
}

SolveContext::SolveContext(const Problem& problem)
    : SolveContext(problem.controls.getDouble(control::timelimit),
                   [&problem] { return problem.interruptReason.load(std::memory_order_relaxed); }) {
  if (problem.isHeard()) log_ = [&problem](std::string_view text, MessageType type) { problem.say(text, type); };
}

SolveContext SolveContext::within(double seconds) const {
  SolveContext limited(seconds, interrupted_);
  limited.deadline_ = std::min(limited.deadline_, deadline_);
  limited.log_ = log_;
  return limited;
}

double SolveContext::secondsLeft() const {
  if (deadline_ == Clock::time_point::max()) return TVLO_INFINITY;
  return std::chrono::duration<double>(deadline_ - Clock::now()).count();
}

Stop SolveContext::stop() const {
  if (const int why = reason(); why != 0) return static_cast<Stop>(why);
  return secondsLeft() <= 0 ? Stop::timeLimit : Stop::none;
}

void SolveContext::say(std::string_view text, MessageType type) const {
  if (log_) log_(text, type);
}

SolveRequest SolveContext::limited(SolveRequest request) const {
  request.secondsLeft = secondsLeft();
  request.interrupted = interrupted_;
  if (log_) request.log = [this](std::string_view line) { log_(line, MessageType::information); };
  return request;
}

Solution SolveContext::ask(EngineSession& session, Model& model, SolveRequest request) const {
  Solution result;
  session.solve(model, limited(std::move(request)), result);
  model.changes().synchronised(model.rows(), model.columns());
  if (result.stop == Stop::interrupt) {
    if (const int why = reason(); why != 0) result.stop = static_cast<Stop>(why);
  }
  return result;
}

Evidence SolveContext::explain(EngineSession& session, const Model& model, SolveRequest request, LpStatus claim) const {
  Evidence evidence;
  if (stop() == Stop::none) session.explain(model, limited(std::move(request)), claim, evidence);
  return evidence;
}

}  // namespace tvlo
