// HiGHS's callbacks: its log, and the points at which a run can be stopped.
#include "engines/highs/session.h"

namespace tvlo::highs {

// Runs report to whoever asks, but never to the terminal. The first-order method prints there regardless, unless
// all output is off.
void Session::listen() { output(now_->request.log && now_->request.method != Method::firstOrder); }

void Session::output(bool on) {
  if (on == output_) return;
  output_ = on;
  Highs_setBoolOptionValue(highs_, "output_flag", on);
  on ? Highs_startCallback(highs_, kHighsCallbackLogging) : Highs_stopCallback(highs_, kHighsCallbackLogging);
}

// Its own clock reads -1 in some of these callbacks, and a limit that it counts itself is not looked at in all of them.
bool Session::mustStop() {
  if (now_->stop != Stop::none) return true;
  if (now_->failure || (now_->request.interrupted && now_->request.interrupted() != 0)) {
    now_->stop = Stop::interrupt;
  } else if (now_->limited && Clock::now() >= now_->deadline) {
    now_->stop = Stop::timeLimit;
  }
  if (now_->stop == Stop::none) return false;
  now_->noticed = Clock::now();
  return true;
}

void Session::onEvent(int type, const char* message, const HighsCallbackDataOut*, HighsCallbackDataIn* in,
                      void* self) noexcept {
  auto& session = *static_cast<Session*>(self);
  if (session.now_ == nullptr) return;
  try {
    switch (type) {
      case kHighsCallbackLogging:
        session.logText(message);
        break;
      case kHighsCallbackMipImprovingSolution:
        ++session.now_->improvements;
        break;
      default:
        // Said each time: a yes would stand until the next run.
        if (in != nullptr) in->user_interrupt = session.mustStop() ? 1 : 0;
    }
  } catch (...) {
    session.now_->failure = std::current_exception();  // thrown again when HiGHS is out of the way
    if (in != nullptr) in->user_interrupt = 1;
  }
}

// Its messages are parts of lines or several lines. The last report of a run that a leap of its clock has ended would
// tell absurd times.
void Session::logText(const char* text) {
  if (text == nullptr || now_->leapt) return;
  std::string& line = now_->line;
  for (; *text != '\0'; ++text) {
    if (*text != '\n') {
      line += *text;
      continue;
    }
    now_->request.log(line);
    line.clear();
  }
}

void Session::flushLog() {
  if (now_->line.empty()) return;
  now_->request.log(now_->line);
  now_->line.clear();
}

}  // namespace tvlo::highs
