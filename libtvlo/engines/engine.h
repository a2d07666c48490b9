// The interface of an engine. An engine is a shared object of its own, libtvlo_<name>_engine.so beside
// libtvlo.so, that exports one C function, tvlo_engine, returning its table. It is opened when a solve first
// needs it (engines/loader.h) and never closed. The engine sees the model store through this interface only and
// shares no C++ object with libtvlo other than the ones passed here; both are built by one compiler run.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/controls.h"
#include "core/model.h"
#include "core/solution.h"
#include "tvlo/tvlo.h"

namespace tvlo {

enum class Method { automatic, primalSimplex, dualSimplex, barrier, barrierWithoutCrossover, firstOrder };

struct SolveRequest {
  bool mip = false;                        // tree search; false: the continuous relaxation
  bool cold = false;                       // forget what the engine remembers of earlier solves
  Method method = Method::automatic;
  double secondsLeft = TVLO_INFINITY;      // of the solve's time limit
  const ControlValues* controls = nullptr;
  const Basis* start = nullptr;            // basis to start from, or null
  std::function<void(std::string_view)> log;  // one line, without its newline; empty: no log wanted
  std::function<int()> interrupted;        // nonzero: stop, with this reason; polled from the solving thread
};

// One engine's copy of one problem.
class EngineSession {
 public:
  virtual ~EngineSession() = default;
  // Brings the engine's copy in step with the model (by model.changes(), which the caller then marks as
  // synchronised) and solves. Fills `result`: status, point, duals, basis, counts; signs as in tvlo.h.
  // Throws Error when the engine fails; the session is then discarded.
  virtual void solve(const Model& model, const SolveRequest& request, Solution& result) = 0;
};

struct EngineTable {
  int abi;           // kEngineAbi
  const char* name;  // "highs"
  const char* version;
  EngineSession* (*open)();
};
inline constexpr int kEngineAbi = 1;

}  // namespace tvlo

extern "C" TVLO_API const tvlo::EngineTable* tvlo_engine();
