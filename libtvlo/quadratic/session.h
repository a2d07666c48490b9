// A local solver as an engine for convex quadratic problems: what it finds is their optimum, up to its tolerances. A
// solve starts from the last primal-dual point of the session where that has the model's size, unless it is to be cold.
#pragma once

#include <memory>

#include "engines/engine.h"

namespace tvlo {

class QuadraticSession final : public EngineSession {
 public:
  explicit QuadraticSession(std::unique_ptr<NlpSession> solver) : solver_(std::move(solver)) {}
  void solve(const Model& model, const SolveRequest& request, Solution& result) override;

 private:
  std::unique_ptr<NlpSession> solver_;
  NlpPoint last_;     // in the model's numbering
  Solution settled_;  // the last answer, while it holds for the model: optimal, infeasible or unbounded
};

}  // namespace tvlo
