// The table that this shared object exports.
#include "engines/piqp/session.h"

const tvlo::EngineTable* tvlo_engine() {
  static constexpr tvlo::EngineTable table = {tvlo::kEngineAbi, "piqp", TVLO_PIQP_VERSION,
                                              []() -> tvlo::EngineSession* { return new tvlo::piqp::Session; },
                                              nullptr};
  return &table;
}
