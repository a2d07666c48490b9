// Convex quadratic problems over second-order cones, as an engine. Each solve starts afresh.
#pragma once

#include "engines/engine.h"

namespace tvlo {

class ConicSession final : public EngineSession {
 public:
  void solve(const Model& model, const SolveRequest& request, Solution& result) override;
};

}  // namespace tvlo
