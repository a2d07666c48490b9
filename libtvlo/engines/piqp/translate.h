// A convex quadratic problem with linear rows as PIQP takes it:
//
//   minimise x'Px/2 + c'x  where  Ax = b,  lower <= Gx <= upper,  columnLower <= x <= columnUpper
//
// Columns that can't move are left out: there is no room between their bounds.
#pragma once

#include <Eigen/SparseCore>
#include <vector>

#include "core/model.h"
#include "core/solution.h"

namespace tvlo::piqp {

using Matrix = Eigen::SparseMatrix<double, Eigen::ColMajor, int>;

struct Program {
  explicit Program(const Model& model);

  Eigen::Index columns() const { return static_cast<Eigen::Index>(column.size()); }
  // Of the model, from values of the program; duals as in minimisation, of lower minus those of upper sides.
  PointValues point(const Model& model, const Eigen::VectorXd& x, const Eigen::VectorXd& equations,
                    const Eigen::VectorXd& inequalities) const;

  Matrix P, A, G;
  Eigen::VectorXd c, b, lower, upper, columnLower, columnUpper;
  std::vector<int> column, equation, inequality;  // of the model
  std::vector<double> fixed;                      // values of all columns of the model, those that move at 0
};

}  // namespace tvlo::piqp
