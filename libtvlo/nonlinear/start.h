// Points from which local solves start.
#pragma once

#include <cstdint>
#include <vector>

#include "core/model.h"
#include "nonlinear/program.h"

namespace tvlo {

// The point of an attempt, within the columns' bounds. Attempt 0: the columns' initial values, where one has none its
// bound nearest to zero, or zero between its bounds; 1: off that point; from 2 on: anywhere near, as the seed wills.
// Where the functions have no value there, the first of some other points where they have.
std::vector<double> startPoint(const Model& model, ModelProgram& program, int64_t seed, int attempt);

// Within the bounds, and off them by a little, where functions often have no derivative.
void moveInside(const NlpProgram& program, std::vector<double>& x);

}  // namespace tvlo
