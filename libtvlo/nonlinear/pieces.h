// Kinks in places where no row can do for them, such as |x| + |y| = 1: a local search over the choices of one piece for
// each. With a choice made the program is smooth. Where two pieces of a kink meet at its optimum and the sign of a
// multiplier says that the other one promises better, that is chosen, until no other choice improves.
#pragma once

#include <functional>

#include "nonlinear/program.h"

namespace tvlo {

using NlpAsk = std::function<NlpResult(NlpProgram& program, const NlpPoint& start)>;

// For a program with exact kinks, which is left with the choice that belongs to the result. Choices are compared by
// their violation, where that exceeds the tolerance, then by their objectives.
NlpResult solveByPieces(ModelProgram& program, const NlpPoint& start, double tolerance, const NlpAsk& ask);

// Whether at some kink two pieces have its value at a point, whose columns for kinks are set; false, too, where
// something has no value.
bool piecesMeet(ModelProgram& program, std::vector<double>& x);

}  // namespace tvlo
