// A problem: the model store, its control values, the last solution, the handlers of its log and its last
// error. This is what a TVLOprob points to. One thread at a time, except interrupt() and say().
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "core/controls.h"
#include "core/messages.h"
#include "core/model.h"
#include "core/solution.h"
#include "core/waiting.h"

namespace tvlo {

class EngineSession;  // above this layer: a shared pointer knows how to end it

class Problem {
 public:
  Problem() : Problem(std::make_shared<Model>()) {}
  explicit Problem(std::shared_ptr<Model> shared) : model_(std::move(shared)), model(*model_) {}
  Problem(const Problem&) = delete;
  Problem& operator=(const Problem&) = delete;

 private:
  void settleIfPossible() noexcept;
  std::shared_ptr<Model> model_;
  WaitingDeletions waitingRows_, waitingColumns_;

 public:
  Model& model;  // may be that of several problems; callers of settle() see no deleted lines in it
  ControlValues controls{optimizerControls()};
  Solution solution;
  MessageHandlers messages;
  std::string lastError;

  // The engine that solved this problem last, with its copy of the model; null before the first solve.
  std::shared_ptr<EngineSession> session;
  std::string sessionEngine;

  // A line of the log, without its newline: to this problem's handlers, then to the environment's, unless
  // control `outputlog` is off.
  void say(std::string_view text, MessageType type = MessageType::information) const;
  bool isHeard() const;  // whether a line of the log would reach anyone

  // Asks a running solve to stop; any thread. A request while nothing runs is forgotten at the next start, unless that
  // start was announced by expectSolve().
  void interrupt(int reason) { interruptReason.store(reason ? reason : 9, std::memory_order_relaxed); }
  void expectSolve() noexcept {
    if (solving) return;  // whose requests stand
    interruptReason = 0;
    expected = true;
  }
  std::atomic<int> interruptReason{0};
  std::atomic<bool> expected{false};
  std::atomic<bool> solving{false};  // the C border refuses changes while it is set

  // Deleting a few lines costs a pass over the model only once something else than their numbers and names is asked
  // for: whoever does that calls settle() first, which may run out of memory and then has changed nothing. Lines are
  // in callers' numbers, in any order, without duplicates; throws Error as Model does.
  int rows() const { return model.rows() - waitingRows_.count(); }
  int columns() const { return model.columns() - waitingColumns_.count(); }
  void deleteRows(int n, const int* rows);
  void deleteColumns(int n, const int* columns);
  void settle();
  int findRow(std::string_view name);  // -1 when there is none
  int findColumn(std::string_view name);

  // Called after the model has changed, these keep solution and basis in step with it: new lines have no values; new
  // rows are basic, new columns nonbasic at their bound nearest zero. When memory runs out, what can't be kept is
  // dropped.
  void rowsAdded(int n) noexcept;
  void columnsAdded(int n) noexcept;
  void rowsDeleted(const std::vector<int>& sorted) noexcept;
  void columnsDeleted(const std::vector<int>& sorted) noexcept;
  void replaced() noexcept;  // another model was loaded or read: nothing of the old solution holds
};

}  // namespace tvlo

struct tvlo_prob_s : tvlo::Problem {
  static constexpr uint64_t kAlive = 0x74766c6f70726f62;
  // A word that tells a live handle from a stray pointer as far as that can be told.
  std::atomic<uint64_t> alive{kAlive};
  const std::shared_ptr<const bool> life = std::make_shared<const bool>(true);  // whoever refers to it watches this
  ~tvlo_prob_s() { alive.store(0, std::memory_order_relaxed); }
};
