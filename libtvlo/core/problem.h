// A problem: the model store, its control values, the last solution, the handlers of its log and its last
// error. This is what a TVLOprob points to. One thread at a time, except interrupt().
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "core/controls.h"
#include "core/messages.h"
#include "core/model.h"
#include "core/solution.h"

namespace tvlo {

class EngineSession;  // engines/engine.h

class Problem {
 public:
  Problem();
  ~Problem();
  Problem(const Problem&) = delete;
  Problem& operator=(const Problem&) = delete;

  Model model;
  ControlValues controls{optimizerControls()};
  Solution solution;
  MessageHandlers messages;
  std::string lastError;

  // The engine that solved this problem last, with its copy of the model; null before the first solve.
  std::unique_ptr<EngineSession> session;
  std::string sessionEngine;

  // Asks a running solve to stop; any thread. A request while nothing runs is forgotten at the next start.
  void interrupt(int reason) { interruptReason.store(reason ? reason : 9, std::memory_order_relaxed); }
  std::atomic<int> interruptReason{0};

  // Model changes that must keep solution and basis in step go through these.
  void rowsAdded(int n);
  void columnsAdded(int n);
  void rowsDeleted(const std::vector<int>& sorted);
  void columnsDeleted(const std::vector<int>& sorted);
  void replaced();  // another model was loaded or read: nothing of the old solution holds
};

}  // namespace tvlo

struct tvlo_prob_s : tvlo::Problem {};
