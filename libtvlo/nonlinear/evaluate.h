// Values of formulas and of whole models, straight from the model store: what answers are checked with. It shares
// nothing with the tapes that solves evaluate but the values of single functions.
#pragma once

#include <vector>

#include "core/model.h"

namespace tvlo {

// NaN or infinite where the formula has no value. Throws Error when a user function fails.
double evaluateFormula(TokenView run, const double* x, const UserFunctions& functions);

// Of all rows of a model at a point: linear, quadratic and formula part together.
struct NonlinearActivities {
  NonlinearActivities(const Model& model, const std::vector<double>& x);
  std::vector<double> value;
  std::vector<double> largest;  // term of each row, by magnitude
};

double nonlinearObjective(const Model& model, const std::vector<double>& x);  // linear and quadratic part

}  // namespace tvlo
