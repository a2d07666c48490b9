// The nonlinear component's problem: what a TSLPprob points to. It stands over an optimizer problem, whose model it
// shares, formulas included, and holds control values, a message handler and a last error of its own.
// Its optimizer problem should outlive it; one that does not is found out and reported.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "capi/guard.h"
#include "core/problem.h"
#include "nonlinear/parameters.h"
#include "tvlo/tslp.h"

namespace tvlo {

class Component {
 public:
  explicit Component(TVLOprob problem) : problem_(problem), life_(problem->life) {}
  ~Component();
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;

  std::string lastError;
  int lastErrorCode = 0;

  tvlo_prob_s& problem() const;    // with no deleted lines waiting; throws Error when it is gone
  tvlo_prob_s& unsettled() const;  // as it is
  void setMessageHandler(TVLOmessagefn handler, void* data);

  void setInt(int id, int64_t value);
  void setDouble(int id, double value);
  int64_t getInt(int id) const { return controls_.getInt(id); }
  double getDouble(int id) const;
  const std::string& getString(int id) const { return controls_.getString(id); }
  void setString(int id, const char* value) { controls_.setString(id, value); }
  void copyControls(const Component& source);

  const ControlValues& controls() const { return controls_; }

  bool solving() const { return problemLives() && problem_->solving; }

  // Whether a solve's augmented problem stands: the status bit that tells callers to take it away before they change
  // the model. Solves build their own.
  void setConstructed(bool constructed) { constructed_ = constructed; }

  bool constructed() const { return constructed_; }
  const NonlinearSolution& result() const { return problem().solution.nonlinear; }

  int64_t intAttribute(int id) const;
  double doubleAttribute(int id) const;

 private:
  static int echo(void* object, void* component, const char* text, int length, int type);
  void connect();  // to the optimizer problem's log, or off it, as handler and control echolog say
  bool problemLives() const { return !life_.expired(); }

  TVLOprob problem_;
  std::weak_ptr<const bool> life_;  // of the problem: another one may come to stand at its address
  ControlValues controls_{componentControls()};
  std::atomic<TVLOmessagefn> handler_{nullptr};
  std::atomic<void*> handlerData_{nullptr};
  bool connected_ = false;
  bool constructed_ = false;
};

}  // namespace tvlo

struct tslp_prob_s : tvlo::Component {
  static constexpr uint64_t kAlive = 0x74736c7070726f62;
  using Component::Component;
  std::atomic<uint64_t> alive{kAlive};
  ~tslp_prob_s() { alive.store(0, std::memory_order_relaxed); }
};
