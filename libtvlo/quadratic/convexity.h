// Whether a quadratic problem is convex.
//
// Tolerance: a form counts as convex when its matrix, scaled to a unit diagonal, has no eigenvalue below -1e-7. Before
// that, diagonal entries of at most 1e-11 of the largest entry in their row (or of min(1, the largest entry of all))
// are noise and raised by as much; others are not, since a badly scaled column is as good as any. So neither rounding
// noise nor the digits that a file cut off make a semidefinite matrix nonconvex, and what an eigenvalue within the
// tolerance can change is within the tolerances of the solve.
#pragma once

#include <string>

#include "core/model.h"
#include "linear/watch.h"

namespace tvlo {

// Remembered in the form until it changes. The watch's exception comes out of it.
Curvature curvatureOf(const QuadraticForm& form, Watch& watch);
Curvature curvatureOf(const QuadraticForm& form);

struct Convexity {
  std::string nonconvex;  // what is not convex, for a message: "the objective", "row c1"; empty: nothing
  bool cones = false;     // some rows are second-order cones (quadratic/cone.h), which are convex as sets only
};
// The objective by the sense and rows by their type. Rows of type N do not count, nor do sides at infinity.
Convexity convexityOf(const Model& model, Watch& watch);

}  // namespace tvlo
