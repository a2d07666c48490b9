// Checks of points against the model store, in code that no engine shares. A point that has not the model's size or
// is not finite violates everything.
#pragma once

#include <vector>

#include "core/model.h"

namespace tvlo {

// The rows' activities at a point of the model's size, by compensated sums.
struct Activities {
  Activities(const Model& model, const std::vector<double>& x);
  std::vector<double> value;
  std::vector<double> largest;  // term of each row, in absolute value
};

// Of a column in the continuous relaxation; those of semi-continuous ones reach to 0.
Bounds relaxedBounds(const Model& model, int column);

double largestCoefficient(const SparseMatrix& matrix, int line);  // absolute; 0 where there is none

// A relative violation is divided by max(1, |bound|) of what it violates, for a row also by its largest term.
struct Violation {
  double absolute = 0, relative = 0;
};

// Of bounds and rows and, where asked for, of integrality and semi-continuity.
Violation primalViolation(const Model& model, const std::vector<double>& x, bool integrality);
Violation primalViolation(const Model& model, const std::vector<double>& x, const Activities& rows, bool integrality);

// The reduced costs that the duals give by definition: the objective's gradient minus the duals times the rows'.
std::vector<double> reducedCosts(const Model& model, const std::vector<double>& x, const std::vector<double>& dual);

// How far the duals of a convex problem are from proving that x is optimal.
struct DualCheck {
  double residual = 0;       // reduced costs against their definition, relative
  double infeasibility = 0;  // of signs that no bound allows, relative to the costs
  double gap = 0;            // objective lost to complementary slackness, relative
  double violation = 0;      // largest wrong-signed reduced cost or dual, or distance from the bound that it asks for
};
// Violations up to `tolerance` count neither as distances from a bound nor as reduced costs and duals.
DualCheck checkDuals(const Model& model, const std::vector<double>& x, const Activities& rows,
                     const std::vector<double>& dual, const std::vector<double>& redcost, double tolerance);

double dualViolation(const Model& model, const std::vector<double>& dual, const std::vector<double>& redcost,
                     const std::vector<double>& x);

// By a compensated sum.
double objectiveValue(const Model& model, const std::vector<double>& x);

}  // namespace tvlo
