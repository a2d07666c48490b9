#include "route/route.h"

#include <algorithm>
#include <optional>

#include "core/error.h"
#include "engines/loader.h"
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
    {Class::lp, {"highs", Method::primalSimplex, true, true}},
    {Class::lp, {"highs", Method::barrier, true, false}},
    {Class::mip, {"highs", Method::automatic, false, false}},
    {Class::mip, {"highs", Method::automatic, true, true}},
    {Class::quadratic, {"highs", Method::automatic, false, false}},
    {Class::quadratic, {"ipopt", Method::barrier, false, false}},
    {Class::quadratic, {"ipopt", Method::barrier, true, false}},
    {Class::quadraticRows, {"ipopt", Method::barrier, false, false}},
    {Class::quadraticRows, {"ipopt", Method::barrier, true, false}},
    {Class::quadraticRows, {"ipopt", Method::barrier, true, false}},
};

constexpr int kMostWithoutRows = 1000;

// Of a quadratic objective over linear rows. The active-set method takes a step for each column that leaves its bound,
// often cycles where there are many rows, and factorises the whole Hessian where there are none. It is the faster one
// on small problems, and on dense ones with few rows, whose factors are dense. The limits are measured.
bool suitsActiveSet(const Model& model) {
  constexpr int kSmall = 300;  // columns and rows
  constexpr int kMostColumns = 3000, kFewRows = 10, kDense = 30;
  const int64_t lines = static_cast<int64_t>(model.columns()) + model.rows();
  if (lines <= kSmall) return true;
  const auto products = static_cast<int64_t>(model.quadraticObjective().entries().size());
  return model.rows() > 0 && model.rows() <= kFewRows && model.columns() <= kMostColumns && products > kDense * lines;
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
  if (of == Class::quadratic && (barrier || !suitsActiveSet(model))) {
    std::rotate(attempts.begin(), attempts.begin() + 1, attempts.end());
    // Without rows the other method heeds no time limit.
    if (model.rows() == 0 && model.columns() > kMostWithoutRows) attempts.pop_back();
  }
  return attempts;
}

std::unique_ptr<EngineSession> openForRoute(const std::string& engine) {
  if (engine != "ipopt") return openEngine(engine);
  return std::make_unique<QuadraticSession>(openNlpEngine(engine));
}

}  // namespace tvlo
