#include "engines/loader.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "core/error.h"

namespace tvlo {
namespace {

TEST(Loader, SaysWhichEngineIsMissing) {
  try {
    openEngine("nowhere");
    FAIL() << "there is no such engine";
  } catch (const Error& error) {
    EXPECT_EQ(error.code(), TVLO_ERR_ENGINE);
    EXPECT_NE(std::string(error.what()).find("libtvlo_nowhere_engine.so"), std::string::npos) << error.what();
  }
}

TEST(Loader, SaysThatAnEngineSolvesNoNonlinearPrograms) {
  EXPECT_EQ(engineTable("highs").openNlp, nullptr);
  EXPECT_THROW(openNlpEngine("highs"), Error);
}

TEST(Loader, OpensAnEngineOnceFromAnyThread) {
  std::vector<const EngineTable*> tables(8);
  std::vector<std::thread> threads;
  for (auto& table : tables) threads.emplace_back([&table] { table = &engineTable("highs"); });
  for (auto& thread : threads) thread.join();
  for (const auto* table : tables) EXPECT_EQ(table, tables.front());
  EXPECT_STREQ(tables.front()->name, "highs");
  EXPECT_STREQ(tables.front()->version, "1.15.1");
}

TEST(Loader, KeepsTheEnginesSymbolsToItself) {
  openEngine("highs");
  openNlpEngine("ipopt");
  EXPECT_EQ(dlsym(RTLD_DEFAULT, "tvlo_engine"), nullptr);
  const struct {
    const char *library, *symbol;
  } copies[] = {{"highs", "Highs_run"}, {"ipopt", "IpoptSolve"}, {"mumps", "dmumps_c"}, {"blas", "dgemm_"}};
  for (const auto& [library, symbol] : copies) {
    EXPECT_EQ(dlsym(RTLD_DEFAULT, symbol), nullptr) << symbol;
    const std::string path = std::string(TVLO_TEST_ENGINES "/libtvlo_") + library + ".so";
    void* const copy = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL | RTLD_NOLOAD);
    ASSERT_NE(copy, nullptr) << path << ": the private copy is the one that is loaded";
    EXPECT_EQ(dlsym(copy, symbol), nullptr) << symbol;
    EXPECT_NE(dlsym(copy, (std::string("tvlo_") + symbol).c_str()), nullptr) << symbol;
    dlclose(copy);
  }
}

}  // namespace
}  // namespace tvlo
