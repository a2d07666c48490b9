// What a solve leaves. Values follow the model's numbering; a later change of the model keeps them until the next
// solve: entries of deleted lines go, and lines that were added since have none, so that the vectors may be shorter
// than the model.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace tvlo {

enum class LpStatus {
  unstarted,
  optimal,
  infeasible,
  cutoff,
  unfinished,
  unbounded,
  cutoffInDual,
  unsolved,
  nonconvex
};
enum class MipStatus { notLoaded, lpNotOptimal, lpOptimal, noSolution, solution, infeasible, optimal, unbounded };
enum class Stop {
  none = 0,
  timeLimit = 1,
  interrupt = 2,
  nodeLimit = 3,
  iterationLimit = 4,
  gap = 5,
  solutions = 6,
  user = 9
};

struct Basis {
  std::vector<int> row, column;  // 0 at lower, 1 basic, 2 at upper, 3 nonbasic free; empty: none
  bool empty() const { return row.empty() && column.empty(); }
  bool operator==(const Basis&) const = default;
};

struct PointValues {
  std::vector<double> x, slack, dual, redcost;  // dual and redcost are empty where there are none
  double objective = 0;
  bool available = false;
};

// For a start: a point for the whole model, with zeros for lines that were added since. Nothing where there is none.
inline void extend(PointValues& point, int rows, int columns) {
  if (!point.available) return;
  const bool duals = !point.dual.empty() || !point.redcost.empty();
  point.x.resize(columns);
  point.slack.resize(rows);
  if (!duals) return;
  point.dual.resize(rows);
  point.redcost.resize(columns);
}

// Of the nonlinear component; numbered as attribute 12044.
enum class NonlinearStatus {
  unstarted,
  locallyOptimal,
  globallyOptimal,
  locallyInfeasible,
  infeasible,
  unbounded,
  unfinished
};

struct NonlinearSolution {
  NonlinearStatus status = NonlinearStatus::unstarted;
  PointValues point;
  Stop stop = Stop::none;
  bool warm = false;  // the next solve may start from the point
  int iterations = 0;
  double primalInfeasibility = 0;  // relative, as our own check found it
  double dualInfeasibility = 0;
  double seconds = 0, evaluation = 0;  // wall clock of the solve, and of that in functions and derivatives
  std::string engine;                  // that was asked last
};

struct Solution {
  LpStatus lpStatus = LpStatus::unstarted;
  MipStatus mipStatus = MipStatus::notLoaded;
  Stop stop = Stop::none;
  PointValues lp, mip;
  double bestBound = std::numeric_limits<double>::quiet_NaN();  // MIP: proven by the last search; NaN: none
  int64_t simplexIterations = 0;                                // of the last solve
  int64_t barrierIterations = 0;
  int64_t nodes = 0;
  int mipSolutions = 0;
  double seconds = 0;  // wall clock of the last solve
  NonlinearSolution nonlinear;
  Basis basis;  // kept between solves; adapted when the model changes
};

// The bound on the objective that the last solve has proven, infinite where it has proven none or infeasibility.
inline double provenBound(const Solution& solution, int sense) {
  const double nothing = -sense * std::numeric_limits<double>::infinity();
  if (solution.mipStatus == MipStatus::infeasible || solution.lpStatus == LpStatus::infeasible) return -nothing;
  if (solution.bestBound == solution.bestBound) return solution.bestBound;
  return solution.lpStatus == LpStatus::optimal ? solution.lp.objective : nothing;
}

}  // namespace tvlo
