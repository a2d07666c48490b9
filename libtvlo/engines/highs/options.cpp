#include "engines/highs/options.h"

#include <algorithm>
#include <limits>
#include <string>

#include "engines/options.h"

namespace tvlo::highs {

namespace {

const char* solverOf(Method method) {
  switch (method) {
    case Method::primalSimplex:
    case Method::dualSimplex:
      return "simplex";
    case Method::barrier:
    case Method::barrierWithoutCrossover:
      return "ipx";
    case Method::firstOrder:
      return "pdlp";
    case Method::automatic:
      break;
  }
  return "choose";
}

// Free rows and rows with two different bounds in one model: HiGHS's interior-point code, unless presolve takes the
// free rows away, mixes rows up and returns a wrong point.
bool confusesInteriorPoint(const Model& model) {
  const std::vector<char>& types = model.rowTypes();
  return std::find(types.begin(), types.end(), 'N') != types.end() &&
         std::find(types.begin(), types.end(), 'R') != types.end();
}

}  // namespace

bool Options::remember(const char* option, Value value) {
  const auto at = values_.find(option);
  if (at != values_.end() && at->second == value) return false;
  values_.insert_or_assign(option, std::move(value));
  return changed_ = true;
}

void Options::set(const char* option, bool value) {
  if (remember(option, value)) must(Highs_setBoolOptionValue(highs_, option, value), option);
}
void Options::set(const char* option, int value) {
  if (remember(option, value)) must(Highs_setIntOptionValue(highs_, option, value), option);
}
void Options::set(const char* option, double value) {
  if (remember(option, value)) must(Highs_setDoubleOptionValue(highs_, option, value), option);
}
void Options::set(const char* option, const char* value) {
  if (remember(option, std::string(value))) must(Highs_setStringOptionValue(highs_, option, value), option);
}

void Options::apply(const SolveRequest& request, const Model& model) {
  const ControlValues& controls = *request.controls;
  for (const ControlRow& row : controls.table().rows()) {
    const std::string option(engineOption(row, "highs"));
    if (option.empty()) continue;
    if (row.type == TVLO_TYPE_INT) {
      // Iterations of the interior-point method that come to no end bring nothing any more; another method does.
      const int64_t most = row.id == control::bariterlimit ? kMostBarrier : std::numeric_limits<int>::max();
      set(option.c_str(), static_cast<int>(std::min(most, controls.getInt(row.id))));
    } else {
      set(option.c_str(), controls.getDouble(row.id));
    }
  }
  set("pdlp_iteration_limit", kMostFirstOrder);
  const int64_t solutions = controls.getInt(control::maxmipsol);
  set("mip_max_improving_sols", solutions > 0 ? static_cast<int>(solutions) : std::numeric_limits<int>::max());

  // A MIP whose `solver` is not "choose" would be solved as an LP; its relaxations have an option of their own.
  const Method method = request.method;
  const bool barrier = method == Method::barrier || method == Method::barrierWithoutCrossover;
  const bool confused = barrier && confusesInteriorPoint(model);
  set("solve_relaxation", !request.mip);
  set("solver", request.mip ? "choose" : solverOf(method));
  set("mip_lp_solver", request.mip && barrier && !confused ? "ipx" : "choose");
  set("simplex_strategy", method == Method::primalSimplex ? kPrimalSimplex : kDualSimplex);
  const int64_t presolve = confused && !request.mip  ? 1
                           : request.withoutPresolve ? 0
                           : request.withPresolve    ? 1
                                                     : request.controls->getInt(control::presolve);
  set("presolve", presolve < 0 ? "choose" : presolve == 0 ? "off" : "on");
  set("run_crossover", method == Method::barrierWithoutCrossover ? "off" : "on");
}

}  // namespace tvlo::highs
