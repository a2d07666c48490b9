// Where a local solve starts, and what its bounds say before it does.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "engines/nlp.h"

namespace tvlo {

enum class NlpBounds { consistent, contradictory, notNumbers };

inline NlpBounds boundsOf(const std::vector<double>& lower, const std::vector<double>& upper) {
  NlpBounds bounds = NlpBounds::consistent;
  for (size_t i = 0; i < lower.size(); ++i) {
    if (std::isnan(lower[i]) || std::isnan(upper[i])) return NlpBounds::notNumbers;
    const bool crossed = lower[i] > upper[i] || lower[i] >= TVLO_INFINITY || upper[i] <= -TVLO_INFINITY;
    if (crossed) bounds = NlpBounds::contradictory;
  }
  return bounds;
}

// Whether the bounds alone end the solve; `result` then says how.
inline bool endsByBounds(const NlpProgram& program, NlpResult& result) {
  const NlpBounds columns = boundsOf(program.columnLower, program.columnUpper);
  const NlpBounds rows = boundsOf(program.rowLower, program.rowUpper);
  const NlpBounds worse = std::max(columns, rows);
  if (worse == NlpBounds::consistent) return false;
  const bool numbers = worse == NlpBounds::contradictory;
  result.status = numbers ? NlpStatus::infeasible : NlpStatus::failed;
  result.reason = numbers ? "bounds contradict each other" : "a bound is not a number";
  return true;
}

// The start within the columns' bounds; 0 where none is given.
inline std::vector<double> startWithin(const NlpProgram& program, const NlpPoint& start) {
  std::vector<double> x(program.columns(), 0);
  for (int j = 0; j < program.columns(); ++j) {
    const double value = start.x.empty() || !std::isfinite(start.x[j]) ? 0 : start.x[j];
    x[j] = std::clamp(value, program.columnLower[j], program.columnUpper[j]);
  }
  return x;
}

}  // namespace tvlo
