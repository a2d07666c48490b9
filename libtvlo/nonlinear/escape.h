// What may be better than a point where the first-order conditions hold, which needn't be a local optimum.
#pragma once

#include <vector>

#include "nonlinear/outcome.h"

namespace tvlo {

// A stationary point may be a saddle, an extremum of the wrong kind or an inflection point, and one far out the way to
// infinity. The result from a start that is one is replaced by a better one, if one is found; one that goes on
// improving far out becomes unfinished. Small programs are always examined, larger ones only where a solve never moved.
void leaveStationary(Task& task, const std::vector<double>& start, NlpResult& result);

// A watched solve that stalled, as beside a saddle that symmetry keeps it to, goes on from a step off.
void leaveStalled(Task& task, const NlpPoint& start, NlpResult& result);

}  // namespace tvlo
