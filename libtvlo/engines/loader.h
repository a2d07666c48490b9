// Opens engines: shared objects libtvlo_<name>_engine.so beside libtvlo.so, each in a scope of its own, when first
// asked for, and never closed. Any thread may use it.
#pragma once

#include <memory>
#include <string>

#include "engines/engine.h"

namespace tvlo {

// Throws Error when the engine is missing, can't be loaded or is of another build.
const EngineTable& engineTable(const std::string& name);
std::unique_ptr<EngineSession> openEngine(const std::string& name);
std::unique_ptr<NlpSession> openNlpEngine(const std::string& name);

// Where engines are looked for instead, for programs that have libtvlo in themselves. Before the first use.
void setEngineFolder(const std::string& folder);

}  // namespace tvlo
