// Local solves of smooth nonlinear programs: what a program must tell about itself, and what an engine leaves.
//
//   minimise or maximise f(x)  where  columnLower <= x <= columnUpper,  rowLower <= g(x) <= rowUpper
//
// Infinite bounds have a magnitude of TVLO_INFINITY or more. The engine sees a program through this interface only
// and calls it from the thread that asked for the solve. Signs of what it leaves are those of tvlo.h.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "core/controls.h"
#include "tvlo/tvlo.h"

namespace tvlo {

// Indices of a sparse matrix, 0-based and in range, without duplicates.
struct SparsePattern {
  std::vector<int> row, column;
  size_t size() const { return row.size(); }
};

// The values are asked for at points that lie within the columns' bounds, up to the engine's relaxation of them. A
// function that can't be evaluated at a point answers false, and the engine shortens its step. An exception that a
// function throws ends the solve and comes out of it.
class NlpProgram {
 public:
  virtual ~NlpProgram() = default;

  // Constant during a solve.
  int sense = 1;  // 1 minimise, -1 maximise
  std::vector<double> columnLower, columnUpper, rowLower, rowUpper;
  SparsePattern jacobian;  // of g
  SparsePattern hessian;   // of the Lagrangian: lower triangle, row >= column
  bool quadratic = false;  // f quadratic and g linear: all second derivatives and g's gradients are constant
  bool linearRows = false;

  int columns() const { return static_cast<int>(columnLower.size()); }
  int rows() const { return static_cast<int>(rowLower.size()); }

  // `fresh`: x differs from the point of the call before, so what was computed for that is void.
  virtual bool objective(const double* x, bool fresh, double& value) = 0;
  virtual bool gradient(const double* x, bool fresh, double* values) = 0;          // dense, one for each column
  virtual bool constraints(const double* x, bool fresh, double* values) = 0;       // one for each row
  virtual bool jacobianValues(const double* x, bool fresh, double* values) = 0;    // in the pattern's order
  virtual bool hessianValues(const double* x, bool fresh, double objectiveFactor,  // factor*f'' + sum multiplier*g''
                             const double* multipliers, double* values) = 0;       // in the pattern's order
};

enum class NlpStatus {
  optimal,     // first-order conditions hold within the tolerances
  acceptable,  // within the engine's looser tolerances only
  infeasible,  // converged to a point that minimises the violation locally
  unbounded,   // the iterates diverge with a falling objective
  unfinished,  // a limit or an interrupt
  failed       // numerical trouble, an evaluation that failed at the start, too few degrees of freedom
};

// A primal-dual point. Empty vectors: not given.
struct NlpPoint {
  std::vector<double> x, activity;  // activity: g(x)
  std::vector<double> dual;         // of rows, signs as in tvlo.h
  std::vector<double> redcost;      // of columns, signs as in tvlo.h
};

inline bool allFinite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

struct NlpRequest {
  bool warm = false;  // start is a primal-dual point near the solution
  // Relative, of bounds and right-hand sides, which makes room where there is none inside them. Negative: as usual.
  double relaxation = -1;
  bool exactDuals = false;  // their errors count in full, however large the duals are
  double secondsLeft = TVLO_INFINITY;
  const ControlValues* controls = nullptr;    // those with an option of the engine
  std::function<void(std::string_view)> log;  // one line, without its newline; empty: no log wanted
  std::function<int()> interrupted;           // nonzero: stop, with this reason; asked within long iterations, too
  // After each iteration; nonzero stops with NlpStatus::unfinished.
  std::function<int(int iteration, double objective, double infeasibility)> iteration;
};

struct NlpResult {
  NlpStatus status = NlpStatus::failed;
  NlpPoint point;
  double objective = 0;
  int iterations = 0;
  bool regularised = false;  // the last step had to add to the second derivatives, which were not convex along the rows
  int stop = 0;              // what `interrupted` or `iteration` answered; -1 the time limit, -2 the iteration limit
  double evaluation = 0;     // seconds spent in the program's functions
  double seconds = 0;        // seconds in all
  std::string_view reason;   // the engine's own word for how it ended; static text
};

// One engine's memory for programs of one structure.
class NlpSession {
 public:
  virtual ~NlpSession() = default;
  // Throws Error when the engine fails for reasons of its own, and what the program throws.
  virtual void solve(NlpProgram& program, const NlpPoint& start, const NlpRequest& request, NlpResult& result) = 0;
};

}  // namespace tvlo
