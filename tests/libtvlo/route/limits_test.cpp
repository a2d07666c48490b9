// Limits, interrupts, the log, and several problems at a time.
#include <fcntl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <numeric>
#include <thread>

#include "problems.h"

namespace tvlo::test {
namespace {

// Seconds that this process has computed: a busy machine must not make a solve look slow to stop. The sanitizers do.
double computed() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}
#ifdef TAVLO_SANITIZE
constexpr double kSecond = 5;
#else
constexpr double kSecond = 1;
#endif

using Clock = std::chrono::steady_clock;
double since(Clock::time_point begin) { return std::chrono::duration<double>(Clock::now() - begin).count(); }

// An LP that takes any method seconds.
void fillLongLp(Prob& p, int size, char columns = 'C') {
  unsigned seed = 3;
  const auto next = [&] { return seed = seed * 1664525u + 1013904223u; };
  const int n = 2 * size;
  std::vector<double> cost(n), upper(n, 10);
  for (double& c : cost) c = 1 + (next() >> 20) % 100;
  ASSERT_EQ(TVLOaddcols64(p.get(), n, 0, cost.data(), nullptr, nullptr, nullptr, nullptr, upper.data()), 0);
  if (columns != 'C') {
    std::vector<int> all(n);
    std::iota(all.begin(), all.end(), 0);
    ASSERT_EQ(TVLOchgcoltype(p.get(), n, all.data(), std::string(n, columns).c_str()), 0);
  }
  std::vector<int64_t> start;
  std::vector<int> column;
  std::vector<double> value;
  for (int i = 0; i < size; ++i) {
    start.push_back(static_cast<int64_t>(column.size()));
    for (int k = 0; k < 12; ++k) {
      next();
      column.push_back(k * (n / 12) + static_cast<int>((seed >> 4) % (n / 12)));
      value.push_back(0.5 + (seed >> 24) / 256.0);
    }
  }
  const std::vector<double> rhs(size, 1);
  const std::string type(size, 'G');
  ASSERT_EQ(TVLOaddrows64(p.get(), size, static_cast<int64_t>(column.size()), type.c_str(), rhs.data(), nullptr,
                          start.data(), column.data(), value.data()),
            0);
}

// Also where HiGHS offers no callback: in presolve, in the first-order method and in the relaxations of a search.
TEST(Limits, AnInterruptStopsAnyMethodWithinASecond) {
  for (const char* const flags : {"", "d", "p", "b", "f", "search"}) {
    for (const int wait : {20, 500}) {
      SCOPED_TRACE(std::string(flags) + " after " + std::to_string(wait));
      const bool search = flags == std::string("search");
      Prob p;
      fillLongLp(p, search ? 4000 : 20000, search ? 'I' : 'C');
      std::string log;
      const auto keep = [](void*, void* data, const char* text, int length, int) {
        static_cast<std::string*>(data)->append(text, length);
        return 0;
      };
      ASSERT_EQ(TVLOaddcbmessage(p.get(), keep, &log, 0), 0);
      std::atomic<double> asked = 0;
      std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(wait));
        asked = computed();
        TVLOinterrupt(p.get(), 9);
      });
      const Solution& s = search ? p.mip() : p.lp(flags);
      const double end = computed();
      other.join();
      EXPECT_LT(end - asked, kSecond);
      EXPECT_EQ(s.stop, Stop::user);
      if (search) {
        EXPECT_TRUE(s.mipStatus == MipStatus::solution || s.mipStatus == MipStatus::noSolution);
      } else {
        EXPECT_EQ(s.lpStatus, LpStatus::unfinished);
      }
      EXPECT_EQ(log.find("1000000"), std::string::npos) << log;
    }
  }
}

TEST(Limits, AnInterruptBetweenTheCallAndTheStartOfASolveCounts) {
  Prob p;
  fillLongLp(p, 20000);
  ASSERT_EQ(TVLOexpectsolve(p.get()), 0);
  ASSERT_EQ(TVLOinterrupt(p.get(), 9), 0);
  const double begin = computed();
  EXPECT_EQ(p.lp().stop, Stop::user);
  EXPECT_LT(computed() - begin, kSecond);
  Prob q;
  fillMarketSplit(q, 12, 2);
  for (const bool expected : {false, true}) {
    ASSERT_EQ(TVLOinterrupt(q.get(), 9), 0) << "while nothing runs and no solve has been called";
    if (expected) {
      ASSERT_EQ(TVLOexpectsolve(q.get()), 0);
    }
    EXPECT_EQ(q.mip().stop, Stop::none);
  }
}

TEST(Limits, ATimeLimitHoldsForAnyMethod) {
  for (const char* const flags : {"", "d", "p", "b", "f"}) {
    SCOPED_TRACE(flags);
    Prob p;
    fillLongLp(p, 20000);
    p.control(control::timelimit, 0.4);
    const double begin = computed();
    const Solution& s = p.lp(flags);
    EXPECT_LT(computed() - begin, 0.4 + kSecond);
    EXPECT_EQ(s.stop, Stop::timeLimit);
    EXPECT_EQ(s.lpStatus, LpStatus::unfinished);
    // The limit is of one solve, not of all of them.
    const auto again = Clock::now();
    p.lp(flags);
    EXPECT_GT(since(again), 0.3);
  }
}

TEST(Limits, AStoppedSearchKeepsItsSolution) {
  Prob p;
  fillMarketSplit(p, 40, 5);
  std::atomic<double> asked = 0;
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    asked = computed();
    TVLOinterrupt(p.get(), 2);
  });
  const Solution& s = p.mip();
  other.join();
  EXPECT_LT(computed() - asked, kSecond);
  EXPECT_EQ(s.stop, Stop::interrupt);
  EXPECT_EQ(s.mipStatus, MipStatus::solution);
  EXPECT_LE(s.bestBound, s.mip.objective);
  EXPECT_EQ(TVLOgetmipsol(p.get(), nullptr, nullptr), 0);

  p.control(control::timelimit, 0.5);
  const double begin = computed();
  p.mip();
  EXPECT_LT(computed() - begin, 0.5 + kSecond);
  EXPECT_EQ(p.solution().stop, Stop::timeLimit);
  EXPECT_EQ(p.solution().mipStatus, MipStatus::solution);

  p.control(control::timelimit, 1e20);
  p.control(control::maxmipsol, 1);
  p.mip();
  EXPECT_EQ(p.solution().stop, Stop::solutions);
  EXPECT_EQ(p.solution().mipStatus, MipStatus::solution);
  p.control(control::maxmipsol, 0);
  p.control(control::maxnode, 20);
  p.mip();
  EXPECT_EQ(p.solution().stop, Stop::nodeLimit);
  EXPECT_LT(p.solution().nodes, 200);
}

TEST(Limits, IterationLimitsStopAndTheNextSolveGoesOn) {
  std::mt19937 random(5);
  Prob p;
  fillRandomly(p, random, 60, 120);
  p.control(control::presolve, 0);
  p.control(control::lpiterlimit, 10);
  EXPECT_EQ(p.lp().stop, Stop::iterationLimit);
  EXPECT_EQ(p.solution().lpStatus, LpStatus::unfinished);
  EXPECT_LE(p.solution().simplexIterations, 10);
  EXPECT_FALSE(p.solution().basis.empty());
  int solves = 1;
  while (p.lp().stop == Stop::iterationLimit && solves < 100) ++solves;
  EXPECT_EQ(p.solution().lpStatus, LpStatus::optimal);
  EXPECT_GT(solves, 3);
}

TEST(Log, LinesArriveAndTheTerminalStaysSilent) {
  char name[] = "/tmp/tvlo_stdout_XXXXXX";
  const int file = mkstemp(name);
  ASSERT_GE(file, 0);
  fflush(stdout);
  const int saved = dup(1);
  dup2(file, 1);
  std::vector<std::string> lines;
  {
    Prob lp, mip;
    std::mt19937 random(2);
    fillRandomly(lp, random, 20, 30);
    fillMarketSplit(mip, 12, 2);
    const auto keep = [](void* object, void* data, const char* text, int length, int) {
      EXPECT_NE(object, nullptr);
      static_cast<std::vector<std::string>*>(data)->emplace_back(text, length);
      return 0;
    };
    for (Prob* const p : {&lp, &mip}) ASSERT_EQ(TVLOaddcbmessage(p->get(), keep, &lines, 0), 0);
    for (const char* const flags : {"", "d", "b", "f"}) lp.lp(flags);
    mip.mip();
    const size_t wanted = lines.size();
    EXPECT_GT(wanted, 30u);
    mip.control(control::outputlog, 0);
    mip.cost(0, 1);
    mip.mip();
    EXPECT_EQ(lines.size(), wanted) << "the log is off";
  }
  fflush(stdout);
  dup2(saved, 1);
  close(saved);
  EXPECT_EQ(lseek(file, 0, SEEK_END), 0) << "something was written to the standard output, see " << name;
  close(file);
  if (!::testing::Test::HasFailure()) unlink(name);
  int highs = 0;
  for (const std::string& line : lines) {
    EXPECT_EQ(line.find('\n'), std::string::npos);
    highs += static_cast<int>(line.find("HiGHS run time") != std::string::npos);
  }
  EXPECT_GE(highs, 3);
}

TEST(Threads, EightProblemsAtATime) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 8; ++t) {
    threads.emplace_back([&wrong, t] {
      std::mt19937 random(t);
      for (int round = 0; round < 6; ++round) {
        Prob p, alone;
        const bool mip = round % 2 == 1;
        fillRandomly(p, random, 8, 14, mip);
        p.control(control::threads, t % 4 == 0 ? 2 : 1);
        if (TVLOcopyprob(alone.get(), p.get(), "") != 0) ++wrong;
        const Solution& first = mip ? p.mip() : p.lp();
        const Solution& second = mip ? alone.mip() : alone.lp();
        const double a = mip ? first.mip.objective : first.lp.objective;
        const double b = mip ? second.mip.objective : second.lp.objective;
        const bool done = mip ? first.mipStatus == MipStatus::optimal || first.mipStatus == MipStatus::infeasible
                              : first.lpStatus == LpStatus::optimal;
        if (!done || std::abs(a - b) > 1e-5 * (1 + std::abs(a))) ++wrong;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

// Workers that HiGHS would keep for the next run are not there in a child, which would wait for them for ever.
TEST(Threads, AChildForkedAfterASolveWithSeveralThreadsCanSolve) {
  Prob p;
  std::mt19937 random(1);
  fillRandomly(p, random, 8, 14, true);
  p.control(control::threads, 2);
  const MipStatus status = p.mip().mipStatus;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    alarm(30);
    p.cost(0, 1);
    const MipStatus again = p.mip().mipStatus;
    _exit(again == status ? 0 : 1);
  }
  int result = -1;
  ASSERT_EQ(waitpid(child, &result, 0), child);
  EXPECT_EQ(result, 0);
}

}  // namespace
}  // namespace tvlo::test
