#include "engines/loader.h"

#include <dlfcn.h>

#include <map>
#include <mutex>

#include "core/error.h"

namespace tvlo {

namespace {

struct Loader {
  std::mutex mutex;
  std::string folder;
  std::map<std::string, const EngineTable*> tables;
};

Loader& loader() {
  static Loader& forEver = *new Loader;  // threads may still solve when static objects are destroyed
  return forEver;
}

// Neither may this engine's symbols be taken for those of others, nor symbols of the global scope for its own. The
// sanitizers' run-time library does not work with the second half of that.
#ifdef TAVLO_SANITIZE
constexpr int kScope = RTLD_NOW | RTLD_LOCAL;
#else
constexpr int kScope = RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND;
#endif

// Where the shared object with this code is.
std::string ownFolder() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&ownFolder), &info) == 0 || info.dli_fname == nullptr) {
    throw Error(TVLO_ERR_ENGINE, "The folder of the solver library can't be found");
  }
  const std::string path = info.dli_fname;
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

const EngineTable* load(const std::string& folder, const std::string& name) {
  const std::string path = folder + "/libtvlo_" + name + "_engine.so";
  void* const library = dlopen(path.c_str(), kScope);
  if (library == nullptr) {
    const char* const why = dlerror();
    throw Error(TVLO_ERR_ENGINE, format("The engine %s can't be loaded: %s", name.c_str(), why ? why : "unknown"));
  }
  const auto entry = reinterpret_cast<decltype(&tvlo_engine)>(dlsym(library, "tvlo_engine"));
  const EngineTable* const table = entry == nullptr ? nullptr : entry();
  if (table == nullptr || table->abi != kEngineAbi || name != table->name) {
    dlclose(library);
    throw Error(TVLO_ERR_ENGINE, format("%s does not belong to this build of the solver library", path.c_str()));
  }
  return table;
}

}  // namespace

const EngineTable& engineTable(const std::string& name) {
  Loader& all = loader();
  const std::lock_guard lock(all.mutex);
  const EngineTable*& table = all.tables[name];
  if (table == nullptr) table = load(all.folder.empty() ? ownFolder() : all.folder, name);
  return *table;
}

std::unique_ptr<EngineSession> openEngine(const std::string& name) {
  const EngineTable& table = engineTable(name);
  if (table.open == nullptr)
    throw Error(TVLO_ERR_ENGINE, format("The engine %s solves no linear problems", table.name));
  return std::unique_ptr<EngineSession>(table.open());
}

std::unique_ptr<NlpSession> openNlpEngine(const std::string& name) {
  const EngineTable& table = engineTable(name);
  if (table.openNlp == nullptr) {
    throw Error(TVLO_ERR_ENGINE, format("The engine %s solves no nonlinear programs", table.name));
  }
  return std::unique_ptr<NlpSession>(table.openNlp());
}

void setEngineFolder(const std::string& folder) {
  Loader& all = loader();
  const std::lock_guard lock(all.mutex);
  all.folder = folder;
}

}  // namespace tvlo
