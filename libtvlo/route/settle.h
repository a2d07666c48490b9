// Whether the answer of an attempt stands: what it must hold before it is believed, recomputed from the model store.
#pragma once

#include "core/problem.h"
#include "engines/context.h"
#include "route/solve.h"

namespace tvlo {

// The solve that an answer belongs to. All that is referred to outlives it.
struct Case {
  const ControlValues& controls;
  const Model& model;
  const SolveContext& context;
  const EngineOpener& open;

  // Engines measure in scaled spaces and absolutely: an answer is wrong when it is off by more than this many times
  // what was asked for.
  static constexpr double kSlack = 10;
  double optimality() const { return kSlack * controls.getDouble(control::optimalitytol); }
  double feasibility() const { return kSlack * controls.getDouble(control::feastol); }

  Solution solveAside(Model aside, Aside how = {}) const { return solveAside(std::move(aside), controls, how); }
  Solution solveAside(Model aside, const ControlValues& by, Aside how = {}) const {
    return tvlo::solveAside(std::move(aside), by, context, open, how);
  }
};

// Whether the duals prove the point optimal. Fills the slacks.
bool proven(const Case& of, PointValues& point);
void setSlacks(const Model& model, PointValues& point);

// These take out of `result` what does not stand, and return whether there is nothing more to ask.
// Claims that there is no optimum are settled elsewhere (route/claims.h).
bool settleLp(const Case& of, Solution& result);
bool settleMip(const Case& of, Solution& result);

}  // namespace tvlo
