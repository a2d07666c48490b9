#include "engines/highs/columns.h"

#include <algorithm>

#include "engines/highs/highs.h"

namespace tvlo::highs {

namespace {

constexpr double kLargestSemi = 1e5;

// Of a domain {0} or [lower, upper] with 0 < lower <= upper.
ColumnForm positiveForm(int column, bool integer, double lower, double upper, Semi semi, double cap) {
  ColumnForm form{integer ? kHighsVarTypeSemiInteger : kHighsVarTypeSemiContinuous, lower, upper};
  if (upper >= TVLO_INFINITY) {
    if (semi == Semi::open) return {integer ? kHighsVarTypeInteger : kHighsVarTypeContinuous, 0, upper};
    form.capped = true;
    form.upper = std::max(integer ? kLargestSemi : cap, 10 * lower);
  }
  if (form.upper <= kLargestSemi) return form;
  if (integer) {
    throw Error(TVLO_ERR_UNSUPPORTED,
                format("Column %d: semi-integer columns above %g are not supported", column, kLargestSemi));
  }
  while (form.upper / form.factor > kLargestSemi) form.factor *= 2;
  form.lower /= form.factor;
  form.upper /= form.factor;
  return form;
}

}  // namespace

ColumnForm columnForm(const Model& model, int column, Semi semi, double cap) {
  const char type = model.columnTypes()[column];
  const double upper = model.upper()[column];
  if (!isSemi(type)) {
    return {type == 'I' || type == 'B' ? kHighsVarTypeInteger : kHighsVarTypeContinuous, model.lower()[column], upper};
  }
  const double lower = model.semiLower(column);
  const bool integer = type == 'R';
  if (lower > upper) return {kHighsVarTypeContinuous, 0, 0};
  if (semi == Semi::relaxed) return {kHighsVarTypeContinuous, std::min(lower, 0.0), std::max(upper, 0.0)};
  if (lower <= 0 && upper >= 0) return {integer ? kHighsVarTypeInteger : kHighsVarTypeContinuous, lower, upper};
  if (lower > 0) return positiveForm(column, integer, lower, upper, semi, cap);
  ColumnForm form = positiveForm(column, integer, -upper, -lower, semi, cap);
  form.factor = -form.factor;
  return form;
}

}  // namespace tvlo::highs
