// The table that this shared object exports.
#include "engines/highs/session.h"

#define TVLO_TEXT(x) #x
#define TVLO_VERSION_TEXT(a, b, c) TVLO_TEXT(a) "." TVLO_TEXT(b) "." TVLO_TEXT(c)

const tvlo::EngineTable* tvlo_engine() {
  static constexpr tvlo::EngineTable table = {
      tvlo::kEngineAbi, "highs", TVLO_VERSION_TEXT(HIGHS_VERSION_MAJOR, HIGHS_VERSION_MINOR, HIGHS_VERSION_PATCH),
      []() -> tvlo::EngineSession* { return new tvlo::highs::Session; }, nullptr};
  return &table;
}
