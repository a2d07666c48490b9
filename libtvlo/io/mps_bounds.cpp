#include "io/mps_bounds.h"

#include <cmath>

#include "io/numbers.h"

namespace tvlo {

namespace {

enum class Kind { lower, upper, fixed, free, minus, plus, binary, semi, partial };
enum class Value { needed, optional };

struct BoundType {
  const char* name;
  Kind kind;
  Value value;
  bool integer;
};

constexpr BoundType kTypes[] = {
    {"up", Kind::upper, Value::needed, false},    {"lo", Kind::lower, Value::needed, false},
    {"fx", Kind::fixed, Value::needed, false},    {"fr", Kind::free, Value::optional, false},
    {"mi", Kind::minus, Value::optional, false},  {"pl", Kind::plus, Value::optional, false},
    {"bv", Kind::binary, Value::optional, false}, {"li", Kind::lower, Value::needed, true},
    {"ui", Kind::upper, Value::needed, true},     {"sc", Kind::semi, Value::optional, false},
    {"si", Kind::semi, Value::optional, true},    {"pi", Kind::partial, Value::needed, true},
};

const BoundType& findType(const MpsLines& lines, std::string_view name) {
  const std::string lower = lowerCase(name);
  for (const BoundType& type : kTypes) {
    if (lower == type.name) return type;
  }
  lines.fail("unknown bound type " + quoted(name));
}

}  // namespace

void applyMpsBound(Draft& draft, const MpsLines& lines, const MpsRecord& record) {
  const BoundType& type = findType(lines, record.type);
  const int column = draft.columns.find(record.first);
  if (column < 0) lines.fail("unknown column " + quoted(record.first));
  double value = 0;
  if (type.value == Value::needed || (type.kind == Kind::semi && !record.value.empty())) {
    if (record.value.empty()) lines.fail("the bound of column " + quoted(record.first) + " has no value");
    const auto number = parseNumber(record.value);
    if (!number || std::isnan(*number)) lines.fail("expected a bound, found " + quoted(record.value));
    value = *number;
  }
  const auto refuse = [&](const char* what) { lines.fail(what + (" of column " + quoted(record.first))); };

  ColumnTraits& traits = draft.traits[column];
  double& lower = draft.lb[column];
  double& upper = draft.ub[column];
  traits.bounded = true;
  traits.integer |= type.integer;
  const auto setLower = [&](double bound) {
    lower = bound;
    traits.lowerGiven = true;
  };
  switch (type.kind) {
    case Kind::lower:
      if (value >= TVLO_INFINITY) refuse("plus infinity is no lower bound");
      setLower(std::max(value, -TVLO_INFINITY));
      break;
    case Kind::upper:
      if (value <= -TVLO_INFINITY) refuse("minus infinity is no upper bound");
      upper = std::min(value, TVLO_INFINITY);
      if (value < 0 && !traits.lowerGiven) lower = -TVLO_INFINITY;
      break;
    case Kind::fixed:
      if (std::abs(value) >= TVLO_INFINITY) refuse("infinity is no fixed value");
      setLower(value);
      upper = value;
      break;
    case Kind::free:
      setLower(-TVLO_INFINITY);
      upper = TVLO_INFINITY;
      break;
    case Kind::minus:
      setLower(-TVLO_INFINITY);
      break;
    case Kind::plus:
      upper = TVLO_INFINITY;
      break;
    case Kind::binary:
      traits.binary = true;
      setLower(0);
      upper = 1;
      break;
    case Kind::semi:
      if (value <= -TVLO_INFINITY) refuse("minus infinity is no upper bound");
      traits.semi = true;
      upper = value == 0 ? TVLO_INFINITY : std::min(value, TVLO_INFINITY);
      break;
    case Kind::partial:
      if (value >= TVLO_INFINITY) refuse("plus infinity is no limit");
      traits.partial = true;
      draft.limit[column] = std::max(value, -TVLO_INFINITY);
      break;
  }
}

}  // namespace tvlo
