// The linear subproblem of successive linear programming, as a model that the LP engine follows by difference:
//
//   minimise  cost'u + penalty * sum(under + over)
//   where     rowLower - activity <= radius * (J u + under - over) <= rowUpper - activity,
//             lower <= u <= upper,   under, over >= 0
//
// It is feasible and bounded wherever lower <= u <= upper is a box. The step is radius * u, so the LP engine's
// tolerances are relative to the size of the steps.
#pragma once

#include <memory>
#include <vector>

#include "core/controls.h"
#include "core/model.h"
#include "core/solution.h"
#include "engines/context.h"
#include "engines/engine.h"
#include "engines/nlp.h"
#include "engines/slp/session.h"

namespace tvlo {

class Linearisation {
 public:
  explicit Linearisation(LpOpener open);
  // From here on the subproblems of this program, which must outlive its use; J's values are in the pattern's order.
  void begin(const NlpProgram& program, const std::vector<double>& jacobian);
  void setJacobian(const std::vector<double>& values);
  void setRows(const std::vector<double>& activity, double radius);
  void setCosts(const std::vector<double>& costs, double penalty);
  void setBox(const std::vector<double>& lower, const std::vector<double>& upper);

  // Throws Error when the engine fails. Anything but LpStatus::optimal comes with the reason for a stop, or from
  // numerical trouble.
  LpStatus solve(const SolveContext& context);
  Stop stop() const { return solution_.stop; }
  const std::vector<double>& step() const { return step_; }              // u
  const std::vector<double>& dual() const { return solution_.lp.dual; }  // of rows

 private:
  const NlpProgram* program_ = nullptr;
  LpOpener open_;
  Model model_;
  std::unique_ptr<EngineSession> engine_;
  ControlValues controls_;
  Solution solution_;
  std::vector<double> step_, jacobian_;
};

}  // namespace tvlo
