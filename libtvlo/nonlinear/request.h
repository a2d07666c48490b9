// One local solve as part of a nonlinear solve: an engine is asked under the limits, interrupts and log of the whole,
// and what it took is counted.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "core/controls.h"
#include "engines/context.h"
#include "engines/nlp.h"
#include "nonlinear/program.h"

namespace tvlo {

using NlpOpener = std::function<std::unique_ptr<NlpSession>(const std::string& name)>;

// How a local solve goes where it doesn't go as the controls say.
struct Approach {
  bool warm = false;             // the start is a primal-dual point near a solution
  bool adaptiveBarrier = false;  // which falls otherwise as the controls say
  bool unscaled = false;
  bool exactBounds = false;  // bounds and rows are not relaxed
  bool watched = false;      // ends where the objective stalls, with kStopStalled
  double barrier = 0;        // the first barrier parameter; 0: that of the controls
  int64_t iterations = INT64_MAX;
};

// An answer to an iteration that no interrupt has.
constexpr int kStopStalled = -3;

class LocalSolves {
 public:
  LocalSolves(const Problem& problem, const ControlValues& controls, const NlpOpener& open)
      : problem_(problem), controls_(controls), open_(open), context_(problem) {}

  // One solve; that of a program whose kinks are taken out exactly, with a search for their pieces.
  NlpResult solve(ModelProgram& program, const NlpPoint& start, const Approach& approach);
  // As the program stands.
  NlpResult solveOnce(NlpProgram& program, const NlpPoint& start, const Approach& approach);
  // A linear or convex quadratic program by the optimizer, with proofs.
  NlpResult solveByOptimizer(ModelProgram& program);

  const SolveContext& context() const { return context_; }
  const Problem& problem() const { return problem_; }
  bool byLinearPrograms() const;   // by successive ones
  double feasibility() const;      // the tolerance
  bool relaxesBounds() const;      // unless it is told otherwise
  int64_t iterationLimit() const;  // of one local solve

  // Of all solves.
  int iterations = 0;
  double evaluation = 0;  // seconds in functions and derivatives
  std::string engine;     // that was asked last

 private:
  const Problem& problem_;
  const ControlValues& controls_;
  const NlpOpener& open_;
  const SolveContext context_;
};

}  // namespace tvlo
