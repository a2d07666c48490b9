// The answers of engines to convex quadratic problems. That there is no optimum needs a proof, by other problems, and
// what is proven within the tolerances only is kept in case that nothing better comes.
#pragma once

#include <limits>

#include "quadratic/conic_model.h"
#include "route/settle.h"

namespace tvlo {

class QuadraticSettlement {
 public:
  // `rows`: some rows are quadratic. `cones`: some are second-order cones.
  QuadraticSettlement(const Case& of, bool rows, bool cones) : case_(of), rows_(rows), cones_(cones) {}

  // Whether the method for cones comes before others.
  bool startsWithCones() const { return cones_ || (rows_ && suitsCones(case_.model)); }

  // Takes out of `result` what does not stand, and returns whether there is nothing more to ask.
  bool settle(Solution& result);

  // From the answer to the problem as it was before a change. Whether that led to an optimum.
  bool settleFrom(PointValues last, Solution& result) const;

  // The answer that was proven within the tolerances, of the least inexactness; unstarted where there is none.
  Solution takeInexact() { return std::move(inexact_); }

 private:
  enum class Existence { no, unknown, yes };

  bool settleClaim(Solution& result, LpStatus claim);
  bool provenByCones(Solution& result) const;
  Solution solveAside(Model aside, Solution& result) const;
  Solution askAside(Model& aside, const char* engine, Solution& result) const;
  bool improvesForEver(Solution& result) const;
  Existence feasiblePoints(Solution& result);

  const Case& case_;
  const bool rows_, cones_;
  Existence existence_ = Existence::unknown;  // of points that hold quadratic rows
  Solution inexact_;
  double inexactnessOf_ = std::numeric_limits<double>::infinity();
  bool searched_ = false;  // for a proof that there is no optimum, whatever an engine says
};

}  // namespace tvlo
