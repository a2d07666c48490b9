// Evidence that an objective has no bound.
#pragma once

#include <vector>

#include "core/model.h"
#include "nonlinear/program.h"

namespace tvlo {

// Whether the objective keeps falling (in a maximisation: rising) on the way from one point of the program through
// another, which is feasible, and on, pushed back within the columns' bounds: every step to ten times the distance
// stays feasible and gains no less than the one before, until the objective overflows or a great many such steps are
// made. That tells -log(x), which falls slowly but forever, from 1/x, which does not. Far kinks of a function that
// levels off only beyond what is looked at go unseen. Throws what the program's functions throw.
bool fallsForever(const Model& model, ModelProgram& program, const std::vector<double>& from,
                  const std::vector<double>& through);

}  // namespace tvlo
