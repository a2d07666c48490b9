// A convex quadratic problem as one over second-order cones, and what is proven by these.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "core/model.h"
#include "core/solution.h"
#include "quadratic/cone.h"
#include "quadratic/conic.h"

namespace tvlo {

// Refers to the model, which must outlive it and stay as it is. Its last column is the quadratic objective, where there
// is one.
class ConicModel {
 public:
  // None where a quadratic part is too large for it. The model has been found convex.
  static std::optional<ConicModel> of(const Model& model);

  const ConicProgram& program() const { return program_; }
  // The same with nothing to optimise.
  ConicProgram feasibility() const;
  // In the model's numbering and signs. The multipliers of quadratic rows are those of the central path: at the apex of
  // a cone, where the row's gradient vanishes, they grow without limit.
  PointValues point(const ConicPoint& result) const;

  // Recomputed: whether `z` shows that no point within 10^7 of the origin violates everything by less than the
  // tolerance.
  bool excludes(Eigen::VectorXd z, double tolerance) const;
  // Whether from any feasible point on the objective improves for ever along `x`.
  bool improvesAlong(const Eigen::VectorXd& x) const;

 private:
  struct Side {
    int row, column;  // one of them; the other is -1
    double sign;      // of what must not be negative: 1 above a lower bound, -1 below an upper one, 0 equal
    double bound;
  };
  explicit ConicModel(const Model& model) : model_(model) {}
  bool build();
  void addSide(const Side& side);
  bool addCones(bool convex);
  bool addCone(const QuadraticSet& set, bool convex, int row);

  const Model& model_;
  ConicProgram program_;
  std::vector<Side> equal_, sides_;
  std::vector<std::pair<int, Cone>> cones_;  // with their rows; -1 the objective
  int64_t entries_ = 0;                      // of their dense blocks, at most
  bool convex_ = true;                       // all functions are
};

// Whether a problem of convex quadratic functions is so small that it is solved faster over cones.
bool suitsCones(const Model& model);

// Settles by certificates whether the problem has no optimum: infeasible, unbounded, or unfinished where there is
// none. The watch's exception comes out of it.
LpStatus proveByCones(const Model& model, double tolerance, Watch& watch);

}  // namespace tvlo
