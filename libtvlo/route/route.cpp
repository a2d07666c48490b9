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

// The table. Rows that take all that a problem contains, and of whose needs it has one where they have any, are tried
// from above. `asked` stands for the method that was asked for; others are the only one of an engine, or fixed.
constexpr Method asked = Method::automatic;
struct Row {
  unsigned needs, takes;
  Attempt attempt;
};
constexpr unsigned kSearched = kIntegers | kSemiContinuous;
constexpr Row kRoutes[] = {
    {0, 0, {"highs", asked, false, false}},
    {0, 0, {"highs", asked, true, false}},
    {0, 0, {"highs", Method::dualSimplex, true, true, true}},
    {0, 0, {"highs", Method::primalSimplex, true, true}},
    {0, 0, {"highs", Method::barrier, true, false}},
    {kSearched, kSearched, {"highs", asked, false, false}},
    {kSearched, kSearched, {"highs", asked, true, true}},
    {kSearched, kSearched, {"highs", asked, true, false, true}},
    {kQuadraticObjective, kQuadraticObjective, {"piqp", Method::barrier, false, false}},
    {kQuadraticObjective, kQuadraticObjective, {"ipopt", Method::barrier, false, false}},
    {kQuadraticObjective, kQuadraticObjective, {"ipopt", Method::barrier, true, false}},
    {kQuadraticObjective, kQuadraticObjective, {"highs", Method::automatic, false, false}},
    {kQuadraticRows, kQuadratic, {"cones", Method::barrier, false, false}},
    {kQuadraticRows, kQuadratic, {"ipopt", Method::barrier, false, false}},
    {kQuadraticRows, kQuadratic, {"ipopt", Method::barrier, true, false}},
    {kQuadraticRows, kQuadratic, {"ipopt", Method::barrier, true, false}},
};

// Why there is no route: the first one whose contents a problem has.
struct Refusal {
  unsigned first, second;  // one of each
  const char* text;
};
constexpr Refusal kRefusals[] = {
    {kFormulas, kFormulas, "The problem has formulas: only the nonlinear component can solve it"},
    {kQuadratic, kDiscrete, "Quadratic problems with integer entities are not supported yet"},
    {kPartialIntegers, kPartialIntegers, "Partially integer columns are not supported yet"},
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

unsigned contentOf(const Model& model, bool mip) {
  unsigned content = 0;
  if (!model.formulas().empty()) content |= kFormulas;
  const auto binds = [&](const RowQuadratic& row) { return model.rowTypes()[row.row] != 'N'; };
  if (std::any_of(model.quadraticRows().begin(), model.quadraticRows().end(), binds)) content |= kQuadraticRows;
  if (!model.quadraticObjective().empty()) content |= kQuadraticObjective;
  if (!mip) return content;
  for (const char type : model.columnTypes()) {
    if (type == 'I' || type == 'B') content |= kIntegers;
    if (type == 'S' || type == 'R') content |= kSemiContinuous;
    if (type == 'P') content |= kPartialIntegers;
  }
  return content;
}

const char* className(unsigned content) {
  if ((content & kDiscrete) != 0) return "MIP";
  if ((content & kQuadraticRows) != 0) return "QCQP";
  return (content & kQuadraticObjective) != 0 ? "QP" : "LP";
}

std::vector<Attempt> routeOf(const Model& model, unsigned content, Method method) {
  std::vector<Attempt> attempts;
  for (const Row& row : kRoutes) {
    if ((content & ~row.takes) != 0 || (row.needs != 0 && (content & row.needs) == 0)) continue;
    attempts.push_back(row.attempt);
    if ((content & kQuadratic) == 0 && row.attempt.method == asked) attempts.back().method = method;
  }
  if (attempts.empty()) {
    const auto* const refusal = std::find_if(std::begin(kRefusals), std::end(kRefusals), [&](const Refusal& r) {
      return (content & r.first) != 0 && (content & r.second) != 0;
    });
    throw Error(TVLO_ERR_UNSUPPORTED, refusal == std::end(kRefusals) ? "No engine solves this problem" : refusal->text);
  }
  const bool barrier = method == Method::barrier || method == Method::barrierWithoutCrossover;
  if ((content & kQuadratic) == kQuadraticObjective) {
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
