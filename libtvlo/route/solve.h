// Solving a problem by the engines of its route. Every answer is checked against the model store before it is called
// optimal; one that fails is asked for again, from nothing and by other methods, and what still fails is
// reported as unfinished.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/problem.h"
#include "engines/context.h"
#include "route/route.h"

namespace tvlo {

// Both fill problem.solution and throw Error. Flags are those of TVLOlpoptimize and TVLOmipoptimize.
// A request to stop that is still standing from before must have been cleared.
void solveLp(Problem& problem, const char* flags);
void solveMip(Problem& problem, const char* flags);

// The same with engines from elsewhere.
using EngineOpener = std::function<std::unique_ptr<EngineSession>(const std::string& name)>;
void solveWith(Problem& problem, const char* flags, bool mip, const EngineOpener& open);

// A problem that helps to solve another one, or its continuous relaxation, by all of its route: with the time, the
// requests to stop and the log of that one. Its own time limit and handlers count for nothing.
struct Aside {
  bool search = false;  // for whole numbers
  bool prove = true;    // claims of its own, by further problems, where an engine shows nothing for them
};
void solveAside(Problem& aside, const SolveContext& host, const EngineOpener& open = openForRoute, Aside how = {});
Solution solveAside(Model model, const ControlValues& controls, const SolveContext& host,
                    const EngineOpener& open = openForRoute, Aside how = {});

}  // namespace tvlo
