// The table that this shared object exports.
#include "engines/engine.h"

#include "engines/ipopt/ipopt.h"
#include "engines/ipopt/session.h"

const tvlo::EngineTable* tvlo_engine() {
  static constexpr tvlo::EngineTable table = {tvlo::kEngineAbi, "ipopt", IPOPT_VERSION, nullptr,
                                              []() -> tvlo::NlpSession* { return new tvlo::ipopt::Session; }};
  return &table;
}
