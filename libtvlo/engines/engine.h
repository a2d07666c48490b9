// The interface of an engine. An engine is a shared object of its own, libtvlo_<name>_engine.so beside
// libtvlo.so, that exports one C function, tvlo_engine, returning its table. It is opened when a solve first
// needs it (engines/loader.h) and never closed. The engine sees the model store through this interface only and
// shares no C++ object with libtvlo other than the ones passed here; both are built by one compiler run. It has
// the code of core/ that it uses in itself, and no global state of libtvlo: what it needs comes with the request.
#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "core/controls.h"
#include "core/model.h"
#include "core/solution.h"
#include "engines/nlp.h"
#include "tvlo/tvlo.h"

namespace tvlo {

enum class Method { automatic, primalSimplex, dualSimplex, barrier, barrierWithoutCrossover, firstOrder };

struct SolveRequest {
  bool mip = false;              // tree search; false: the continuous relaxation
  bool cold = false;             // forget what the engine remembers of earlier solves
  int again = 0;                 // how many tries with this engine just failed, or were not exact enough
  bool withoutPresolve = false;  // whatever control `presolve` says
  bool withPresolve = false;
  bool scaled = false;  // hand the model over scaled, whatever its coefficients are
  Method method = Method::automatic;
  double secondsLeft = TVLO_INFINITY;  // of the solve's time limit
  const ControlValues* controls = nullptr;
  const Basis* start = nullptr;               // basis that an LP solve starts from; null: from none
  std::function<void(std::string_view)> log;  // one line, without its newline; empty: no log wanted
  std::function<int()> interrupted;           // nonzero: stop, with this reason; polled from the solving thread
};

// What an engine can show for its claim that a linear problem has no optimum. Vectors are of the model's size, or
// empty.
struct Evidence {
  std::vector<double> multipliers;       // of rows, whose sum no point meets; of either sign
  std::vector<double> point, direction;  // along which it goes on for ever
};

// One engine's copy of one problem.
class EngineSession {
 public:
  virtual ~EngineSession() = default;
  // Brings the engine's copy in step with the model (by model.changes(), which the caller then marks as
  // synchronised) and solves. Fills `result`, which comes empty: of the LP lpStatus, lp and basis, of a tree
  // search mipStatus, mip and bestBound; stop and the counts; signs as in tvlo.h. It leaves slacks, objective
  // values and the check of its point to the caller, and gives points that it does not call feasible too, such
  // as that of an interrupted LP. A solve that ends for no reason that a Stop names is `unfinished` or
  // `noSolution` without a stop. Throws Error when the engine fails; the session is then discarded.
  // An LP that is infeasible or unbounded, the engine can't tell which, is `unbounded`.
  virtual void solve(const Model& model, const SolveRequest& request, Solution& result) = 0;

  // After solve() of a relaxation that ended as infeasible or unbounded, with the same model and request: what there is
  // to show for `claim`, which may take another solve. Nothing that it leaves needs to be right.
  virtual void explain(const Model& /*model*/, const SolveRequest& /*request*/, LpStatus /*claim*/,
                       Evidence& /*evidence*/) {}
};

struct EngineTable {
  int abi;           // kEngineAbi
  const char* name;  // "highs"
  const char* version;
  EngineSession* (*open)();  // null: the engine solves no linear problems
  NlpSession* (*openNlp)();  // null: it solves no nonlinear programs
};
inline constexpr int kEngineAbi = 4;

}  // namespace tvlo

extern "C" TVLO_API const tvlo::EngineTable* tvlo_engine();
