// What a local solve has shown, once its answer is checked.
#pragma once

#include <optional>
#include <vector>

#include "core/solution.h"
#include "nonlinear/answer.h"
#include "nonlinear/request.h"

namespace tvlo {

// Something to solve locally, and what is known of it.
struct Task {
  LocalSolves& solves;
  const Model& model;
  ModelProgram& program;
  bool convex = false;             // proven, so a local optimum is a global one
  bool mayStall = false;           // has kinks that another program takes out
  std::optional<bool> hopeless{};  // whether infeasibility could be proven, once that was tried

  bool isFinite(const NlpResult& result) const;
  AnswerCheck check(const NlpResult& result) const;
  bool isFeasible(const NlpResult& result) const;
  // Where a solve takes milliseconds, so that others may follow it.
  bool isSmall() const;
};

// A point and its status belong together.
struct Outcome {
  NonlinearStatus status = NonlinearStatus::unfinished;
  PointValues point;
  AnswerCheck check{TVLO_INFINITY, TVLO_INFINITY, TVLO_INFINITY, TVLO_INFINITY, TVLO_INFINITY};
  Stop stop = Stop::none;
  std::string_view reason;  // the engine's word for how it ended; static text

  bool isOptimal() const {
    return status == NonlinearStatus::locallyOptimal || status == NonlinearStatus::globallyOptimal;
  }
  // Nothing more to ask.
  bool isProven() const {
    return status == NonlinearStatus::globallyOptimal || status == NonlinearStatus::infeasible ||
           status == NonlinearStatus::unbounded;
  }
};

// Of a result from a start. Tries to prove what ends without a feasible point infeasible, and looks for a feasible
// point nearer by before it calls something unbounded.
Outcome judge(Task& task, const NlpResult& result, const std::vector<double>& start);

// Whether one of two outcomes of a problem should be told rather than the other: what is proven, local optima by their
// objectives, feasible points, violations that could not be lessened, what is left.
bool isBetter(const Task& task, const Outcome& one, const Outcome& other);

// Farther from the start than an optimum of a well-scaled problem would be.
bool isFar(const std::vector<double>& start, const std::vector<double>& x);

}  // namespace tvlo
