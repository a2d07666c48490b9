// What a solve leaves. Values follow the model's numbering at the time of the solve; a later change of the
// model keeps them (entries of deleted lines go, new lines read 0) until the next solve.
#pragma once

#include <cstdint>
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
  double bestBound = 0;           // MIP: the proven bound of the last search
  int64_t simplexIterations = 0;  // of the last solve
  int64_t barrierIterations = 0;
  int64_t nodes = 0;
  int mipSolutions = 0;
  double seconds = 0;  // wall clock of the last solve
  NonlinearSolution nonlinear;
  Basis basis;  // kept between solves; adapted when the model changes
};

}  // namespace tvlo
