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
  EXPECT_EQ(dlsym(RTLD_DEFAULT, "tvlo_engine"), nullptr);
  EXPECT_EQ(dlsym(RTLD_DEFAULT, "Highs_run"), nullptr);
  void* const copy = dlopen(TVLO_TEST_ENGINES "/libtvlo_highs.so", RTLD_LAZY | RTLD_LOCAL | RTLD_NOLOAD);
  ASSERT_NE(copy, nullptr) << "the private copy is the one that is loaded";
  EXPECT_EQ(dlsym(copy, "Highs_run"), nullptr);
  EXPECT_NE(dlsym(copy, "tvlo_Highs_run"), nullptr);
  dlclose(copy);
}

}  // namespace
}  // namespace tvlo
