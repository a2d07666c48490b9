#include "route/route.h"

#include <algorithm>
#include <optional>

#include "core/error.h"
#include "engines/loader.h"
#include "quadratic/conic_session.h"
#include "quadratic/session.h"

namespace tvlo {

namespace {

struct FlagRow {
  char letter;
  Method method;
};
constexpr FlagRow kMethodFlags[] = {
    {'p', Method::primalSimplex},           {'d', Method::dualSimplex}, {'b', Method::barrier},
    {'c', Method::barrierWithoutCrossover}, {'f', Method::firstOrder},
};

Method defaultMethod(const ControlValues& controls) {
  switch (controls.getInt(control::defaultalg)) {
    case 2:
      return Method::dualSimplex;
    case 3:
      return Method::primalSimplex;
    case 4:
      return Method::barrier;
    case 5:
      return Method::firstOrder;
    default:
      return Method::automatic;
  }
}

// The table. Rows of one class are tried from above; automatic stands for the method that was asked for, or in a
// quadratic class for the only one that the engine has.
using Class = ProblemClass;
struct Row {
  Class of;
  Attempt attempt;
};
constexpr Row kRoutes[] = {
    {Class::lp, {"highs", Method::automatic, false, false}},
    {Class::lp, {"highs", Method::automatic, true, false}},
    {Class::lp, {"highs", Method::dualSimplex, true, true, true}},
    {Class::lp, {"highs", Method::primalSimplex, true, true}},
    {Class::lp, {"highs", Method::barrier, true, false}},
    {Class::mip, {"highs", Method::automatic, false, false}},
    {Class::mip, {"highs", Method::automatic, true, true}},
    {Class::mip, {"highs", Method::automatic, true, false, true}},
    {Class::quadratic, {"piqp", Method::barrier, false, false}},
    {Class::quadratic, {"ipopt", Method::barrier, false, false}},
    {Class::quadratic, {"ipopt", Method::barrier, true, false}},
    {Class::quadratic, {"highs", Method::automatic, false, false}},
    {Class::quadraticRows, {"cones", Method::barrier, false, false}},
    {Class::quadraticRows, {"ipopt", Method::barrier, false, false}},
    {Class::quadraticRows, {"ipopt", Method::barrier, true, false}},
    {Class::quadraticRows, {"ipopt", Method::barrier, true, false}},
};

// Where the active-set method has its place among those for a quadratic objective over linear rows: first under a
// dense Hessian with few rows, whose factors are dense; last on small problems. Elsewhere it takes long, as it makes a
// step for each column that leaves its bound and often cycles where there are many rows, and where there are none it
// factorises the whole Hessian and heeds no time limit. The limits are measured.
enum class ActiveSet { first, last, never };
ActiveSet activeSet(const Model& model) {
  constexpr int kSmall = 300;  // columns and rows
  constexpr int kMostColumns = 3000, kFewRows = 10, kDense = 30;
  const int64_t lines = static_cast<int64_t>(model.columns()) + model.rows();
  const auto products = static_cast<int64_t>(model.quadraticObjective().entries().size());
  const bool few = model.rows() > 0 && model.rows() <= kFewRows && model.columns() <= kMostColumns;
  if (few && products > kDense * lines) return ActiveSet::first;
  return lines <= kSmall ? ActiveSet::last : ActiveSet::never;
}

}  // namespace

Flags parseFlags(const char* flags, const ControlValues& controls) {
  Flags result;
  std::optional<FlagRow> chosen;
  for (const char* at = flags == nullptr ? "" : flags; *at != '\0'; ++at) {
    if (*at == 'l') {
      result.relaxation = true;
      continue;
    }
    const auto* const row = std::find_if(std::begin(kMethodFlags), std::end(kMethodFlags),
                                         [&](const FlagRow& r) { return r.letter == *at; });
    if (row == std::end(kMethodFlags)) badArgument("There is no flag '%c' (%d)", *at >= ' ' ? *at : '?', *at);
    if (chosen && chosen->letter != *at) {
      badArgument("The flags '%c' and '%c' name two algorithms", chosen->letter, *at);
    }
    chosen = *row;
  }
  result.method = chosen ? chosen->method : defaultMethod(controls);
  if (result.method == Method::barrier && controls.getInt(control::crossover) == 0) {
    result.method = Method::barrierWithoutCrossover;
  }
  return result;
}

ProblemClass classOf(const Model& model, bool mip) {
  const auto binds = [&](const RowQuadratic& row) { return model.rowTypes()[row.row] != 'N'; };
  const bool rows = std::any_of(model.quadraticRows().begin(), model.quadraticRows().end(), binds);
  if (!rows && model.quadraticObjective().empty()) return mip ? Class::mip : Class::lp;
  if (mip) throw Error(TVLO_ERR_UNSUPPORTED, "Quadratic problems with integer entities are not supported yet");
  return rows ? Class::quadraticRows : Class::quadratic;
}

std::vector<Attempt> routeOf(const Model& model, bool mip, Method method) {
  if (!model.formulas().empty()) {
    throw Error(TVLO_ERR_UNSUPPORTED, "The problem has formulas: only the nonlinear component can solve it");
  }
  const Class of = classOf(model, mip);
  const auto& types = model.columnTypes();
  if (mip && std::find(types.begin(), types.end(), 'P') != types.end()) {
    throw Error(TVLO_ERR_UNSUPPORTED, "Partially integer columns are not supported yet");
  }
  std::vector<Attempt> attempts;
  for (const Row& row : kRoutes) {
    if (row.of != of) continue;
    attempts.push_back(row.attempt);
    const bool open = of == Class::lp || of == Class::mip;
    if (open && row.attempt.method == Method::automatic) attempts.back().method = method;
  }
  const bool barrier = method == Method::barrier || method == Method::barrierWithoutCrossover;
  if (of == Class::quadratic) {
    const ActiveSet place = activeSet(model);
    if (place == ActiveSet::first && !barrier) std::rotate(attempts.begin(), attempts.end() - 1, attempts.end());
    if (place == ActiveSet::never) attempts.pop_back();
  }
  return attempts;
}

std::unique_ptr<EngineSession> openForRoute(const std::string& engine) {
  if (engine == "cones") return std::make_unique<ConicSession>();
  if (engine != "ipopt") return openEngine(engine);
  return std::make_unique<QuadraticSession>(openNlpEngine(engine));
}

}  // namespace tvlo
