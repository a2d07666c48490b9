// Linear objectives over second-order cones, by a primal-dual interior-point method on the homogeneous self-dual
// embedding with Nesterov-Todd scaling: it ends with an optimum or with a certificate that there is none.
//
//   minimise c'x  where  s = b - Ax  has its first `zero` entries 0, the next `sides` not negative, and the rest in
//   cones: of each the first entry is at least the length of the others
//
// A solution z of the dual problem, maximise -b'z where A'z = -c, lies in the same cones, its first entries being free.
#pragma once

#include <Eigen/SparseCore>
#include <vector>

#include "linear/watch.h"

namespace tvlo {

struct ConicProgram {
  Eigen::SparseMatrix<double> A;
  Eigen::VectorXd b, c;
  int zero = 0, sides = 0;
  std::vector<int> cones;  // their sizes
};

enum class ConicStatus {
  optimal,     // of x, s and z
  infeasible,  // A'z = 0 and b'z = -1
  unbounded,   // Ax + s = 0 and c'x = -1
  unfinished   // x, s and z are the last
};

struct ConicPoint {
  Eigen::VectorXd x, s, z;
};

struct ConicResult : ConicPoint {
  ConicStatus status = ConicStatus::unfinished;
  // Where a cone is at its apex, at an optimum: points that are off by up to 100 times the tolerance but close to the
  // central path, where each part of s is a multiple of that of z with the signs of all but its first entry turned.
  std::vector<ConicPoint> central;
  int iterations = 0;
};

// The watch's exception comes out of it.
ConicResult solveConic(const ConicProgram& program, double tolerance, Watch& watch);

}  // namespace tvlo
