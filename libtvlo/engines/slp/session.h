// Local solves by successive linear programming with a trust region and the exact l1 penalty function
//
//   phi(x) = s f(x) + p v(x),   v(x) = sum of the rows' violations,   s = 1 to minimise, -1 to maximise.
//
// A step d minimises phi's linearisation over a box around x; it is taken when phi falls by a good part of what the
// linearisation predicts, and the box is widened or narrowed by that ratio. See R. Fletcher and E. Sainz de la Maza,
// Nonlinear programming and nonsmooth optimization by successive linear programming, Mathematical Programming 43
// (1989), and J. Nocedal and S. J. Wright, Numerical Optimization, 2nd edition, sections 18.5 and 18.7.
//
// Second derivatives are not used. Convergence is quadratic to vertices and slow where the solution is none.
#pragma once

#include <functional>
#include <memory>

#include "engines/engine.h"
#include "engines/nlp.h"

namespace tvlo {

using LpOpener = std::function<std::unique_ptr<EngineSession>()>;

// A session whose linear programs go to the engine that `open` gives, which is asked once they come. One thread at a
// time.
std::unique_ptr<NlpSession> openSlp(LpOpener open);

}  // namespace tvlo
