// Points from which local solves start.
#pragma once

#include <cstdint>
#include <vector>

#include "core/model.h"
#include "nonlinear/program.h"

namespace tvlo {

// The point of an attempt, within the columns' bounds. Attempt 0: the columns' initial values, where one has none its
// bound nearest to zero, or zero between its bounds; 1: off that point; from 2 on: anywhere near, as the seed wills.
// Off the bounds by a little, too, unless it is to be as given. Where the functions have no value there, the first of
// some other points where they have.
std::vector<double> startPoint(const Model& model, ModelProgram& program, int64_t seed, int attempt,
                               bool asGiven = false);

// Within the bounds, and off them by a part of the room there is, as functions often have no derivative there.
constexpr double kInside = 1e-2;
void moveInside(const NlpProgram& program, std::vector<double>& x, double part = kInside);

}  // namespace tvlo
