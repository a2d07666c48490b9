// Convex quadratic problems with linear rows by PIQP's proximal interior-point method. Each solve starts afresh.
#pragma once

#include "engines/engine.h"

namespace tvlo::piqp {

class Session final : public EngineSession {
 public:
  void solve(const Model& model, const SolveRequest& request, Solution& result) override;

 private:
  Solution settled_;  // the last answer, while it holds for the model
};

}  // namespace tvlo::piqp
