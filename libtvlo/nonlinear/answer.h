// Checks of a local solver's answers: feasibility from the model store by plain evaluation, first-order conditions from
// our own derivatives.
#pragma once

#include "core/check.h"
#include "core/model.h"
#include "core/solution.h"
#include "engines/nlp.h"
#include "nonlinear/program.h"

namespace tvlo {

struct AnswerCheck {
  double primalAbsolute = 0;
  double primal = 0;           // relative to the bound and the largest term of what is violated
  double dual = 0;             // residual of stationarity and duals that no bound allows, relative to the terms of each
  double farther = 0;          // what the residual of stationarity may gain as far out again, relative to the objective
  double complementarity = 0;  // |dual| times distance from the bound that its sign asks for, relative to the objective
};

// A point of the model from one of its program: the transfer column is filled in, slacks and objective are recomputed.
PointValues modelPoint(const Model& model, const ModelProgram& program, const NlpPoint& point);
// Without duals where the program has more rows than the model, for which it knows none.
NlpPoint programPoint(ModelProgram& program, const PointValues& point);

// Of bounds, rows and integrality, as core/check.h has it for models without formulas.
Violation nonlinearViolation(const Model& model, const std::vector<double>& x);

// Infinite where something can't be evaluated, and of a point without duals.
AnswerCheck checkAnswer(const Model& model, ModelProgram& program, const PointValues& whole, NlpPoint point);

}  // namespace tvlo
