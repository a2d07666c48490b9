#include <atomic>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "capi/guard.h"
#include "fixture.h"

namespace tvlo::test {
namespace {

int count(void*, void* data, const char*, int, int) { return ++*static_cast<int*>(data); }

TEST(Environment, StartsAndStopsAreCounted) {
  EXPECT_EQ(TVLOfree(), TVLO_ERR_STATE);
  EXPECT_EQ(globalError(), "The library is not started");
  TVLOprob prob = nullptr;
  EXPECT_EQ(TVLOcreateprob(&prob), TVLO_ERR_STATE);
  EXPECT_EQ(TVLOinit(), 0);
  EXPECT_EQ(globalError(), "") << "a call that works clears the last error";
  EXPECT_EQ(TVLOinit(), 0);
  EXPECT_EQ(TVLOfree(), 0);
  EXPECT_EQ(TVLOcreateprob(&prob), 0);
  EXPECT_EQ(TVLOfree(), 0);
  EXPECT_EQ(TVLOlpoptimize(prob, ""), TVLO_ERR_STATE);
  EXPECT_EQ(TVLOdestroyprob(prob), 0) << "even after the last stop";
  EXPECT_EQ(TVLOfree(), TVLO_ERR_STATE);
}

TEST(Environment, TellsVersionAndBanner) {
  char version[16], banner[512], tiny[3];
  EXPECT_EQ(TVLOgetversion(version), 0);
  int major, minor, build;
  EXPECT_EQ(std::sscanf(version, "%d.%d.%d", &major, &minor, &build), 3);
  EXPECT_EQ(TVLOgetbanner(banner), 0);
  EXPECT_NE(std::strstr(banner, version), nullptr);
  EXPECT_EQ(TVLOgetversion(nullptr), TVLO_ERR_ARGUMENT);
  EXPECT_EQ(TVLOgetiniterror(tiny, sizeof tiny), 0);
}

TEST(Environment, RefusesHandlesThatAreNotLive) {
  double value;
  EXPECT_EQ(TVLOgetdblattrib(nullptr, TVLO_ATTRIBUTE_lpobjval, &value), TVLO_ERR_ARGUMENT);
  int code;
  EXPECT_EQ(globalError(&code), "The problem handle is null");
  EXPECT_EQ(code, TVLO_ERR_ARGUMENT);
  alignas(64) char garbage[4096] = {};
  const char* name = nullptr;
  EXPECT_EQ(TVLOgetobjecttypename(garbage, &name), TVLO_ERR_ARGUMENT);
  EXPECT_EQ(TVLOgetobjecttypename(reinterpret_cast<void*>(1), &name), TVLO_ERR_ARGUMENT);
  EXPECT_EQ(TVLOgetobjecttypename(nullptr, &name), TVLO_ERR_ARGUMENT);
  EXPECT_EQ(TVLOdestroyprob(reinterpret_cast<TVLOprob>(garbage)), TVLO_ERR_ARGUMENT);
  EXPECT_EQ(TVLOdestroyprob(nullptr), TVLO_ERR_ARGUMENT);
  EXPECT_EQ(TVLOinterrupt(nullptr, 1), TVLO_ERR_ARGUMENT);
  EXPECT_EQ(TVLOgetlasterror(nullptr, garbage), TVLO_ERR_ARGUMENT);
  EXPECT_EQ(TSLPdestroyprob(nullptr), TVLO_ERR_ARGUMENT);
  EXPECT_EQ(TVLOcreateprob(nullptr), TVLO_ERR_ARGUMENT);
}

TEST_F(Interface, KnowsTheTypesOfLiveHandles) {
  TSLPprob slp = nullptr;
  ASSERT_EQ(TSLPcreateprob(&slp, &prob_), 0);
  const char* name = nullptr;
  EXPECT_EQ(TVLOgetobjecttypename(prob_, &name), 0);
  EXPECT_STREQ(name, "TVLOprob");
  EXPECT_EQ(TVLOgetobjecttypename(slp, &name), 0);
  EXPECT_STREQ(name, "TSLPprob");
  EXPECT_EQ(TVLOdestroyprob(reinterpret_cast<TVLOprob>(slp)), TVLO_ERR_ARGUMENT) << "of the other type";
  EXPECT_EQ(TSLPdestroyprob(slp), 0);
  EXPECT_EQ(TSLPdestroyprob(slp), TVLO_ERR_ARGUMENT) << "destroyed twice";
  EXPECT_EQ(TVLOgetobjecttypename(slp, &name), TVLO_ERR_ARGUMENT);
}

TEST(Environment, DropsItsMessageHandlersWithTheLastStop) {
  int calls = 0;
  EXPECT_EQ(TVLO_ge_addcbmsghandler(count, &calls, 0), TVLO_ERR_STATE);
  ASSERT_EQ(TVLOinit(), 0);
  EXPECT_EQ(TVLO_ge_addcbmsghandler(nullptr, &calls, 0), TVLO_ERR_ARGUMENT);
  EXPECT_EQ(TVLO_ge_addcbmsghandler(count, &calls, 0), 0);
  ASSERT_EQ(TVLOfree(), 0);
  ASSERT_EQ(TVLOinit(), 0);
  EXPECT_TRUE(environmentMessages().empty());
  ASSERT_EQ(TVLOfree(), 0);
}

TEST(Environment, EachThreadHasALastErrorOfItsOwn) {
  EXPECT_NE(TVLOcreateprob(nullptr), 0);
  std::thread([] {
    EXPECT_EQ(globalError(), "");
    EXPECT_NE(TVLOfree(), 0);
  }).join();
  EXPECT_EQ(globalError(), "The array of handles is missing");
}

// As handlers of log lines do.
TEST_F(Interface, AskingForTheTypeOfAHandleLeavesTheLastError) {
  EXPECT_NE(TVLOcreateprob(nullptr), 0);
  const char* name = nullptr;
  EXPECT_EQ(TVLOgetobjecttypename(prob_, &name), 0);
  EXPECT_EQ(globalError(), "The array of handles is missing");
}

TEST(Environment, CutsTextBetweenCharactersWhereItDoesNotFit) {
  char buffer[6];
  int bytes = 0;
  copyText("ab\u20accd", buffer, 5, &bytes);
  EXPECT_STREQ(buffer, "ab");
  EXPECT_EQ(bytes, 8);
  copyText("ab\u20accd", buffer, 6, nullptr);
  EXPECT_STREQ(buffer, "ab\u20ac");
}

TEST(Environment, DifferentProblemsMayBeUsedByDifferentThreads) {
  ASSERT_EQ(TVLOinit(), 0);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int n = 0; n < 50; ++n) {
        TVLOprob prob = nullptr;
        const int* ids = nullptr;
        wrong += TVLOcreateprob(&prob) != 0;
        wrong += TVLOgetcalist_c(&ids, nullptr, nullptr) != 0;
        wrong += TVLOaddcols64(prob, 3, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) != 0;
        wrong += TVLOchgobjsense(prob, 5) == 0;
        wrong += TVLOinterrupt(prob, 2) != 0;
        wrong += TVLOdestroyprob(prob) != 0;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  ASSERT_EQ(TVLOfree(), 0);
}

}  // namespace
}  // namespace tvlo::test
