// A problem in HiGHS: an instance, the model that it holds, and what its last run left. Synchronisation, basis
// and solving each have a source file. One thread at a time.
#pragma once

#include <chrono>
#include <exception>
#include <map>
#include <memory>
#include <string>

#include "engines/highs/columns.h"
#include "engines/highs/options.h"

namespace tvlo::highs {

class Session final : public EngineSession {
 public:
  Session();
  ~Session() override;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  void solve(const Model& model, const SolveRequest& request, Solution& result) override;
  void explain(const Model& model, const SolveRequest& request, LpStatus claim, Evidence& evidence) override;
  // clock.cpp: the time that HiGHS is told, in nanoseconds and in seconds
  static int64_t nowOfThisThread() noexcept;
  static int64_t secondsOfThisThread() noexcept;

 private:
  using Clock = std::chrono::steady_clock;

  // While it lives, this thread runs HiGHS for the session. A log handler may solve another problem meanwhile.
  class Running {
   public:
    explicit Running(Session& session);
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

   private:
    Session* const previous_;
  };

  // What is true while solve() or explain() runs; HiGHS's callbacks read it.
  struct Solve {
    const Model& model;
    const SolveRequest& request;
    Solution& result;
    Clock::time_point deadline;
    bool limited;                 // whether there is a deadline
    bool reshaped = false;        // lines were deleted or added
    bool retired = false;         // lines that are to be deleted were made ready for it
    double limit = 0;             // what HiGHS was told of it
    Stop stop = Stop::none;       // why the run must stop
    Clock::time_point noticed{};  // when that was found
    bool leapt = false;           // HiGHS's times are wrong since
    double calls = 0;             // of clock.cpp's seconds since then
    int improvements = 0;
    std::string line{};            // of the log, not complete yet
    std::exception_ptr failure{};  // thrown in a callback
  };

  // synchronise.cpp: whether anything went over
  bool synchronise(const Model& model, const SolveRequest& request);
  void pass(const Model& model, Semi semi, double cap, bool mayScale = true);
  void scale(const Model& model, SparseMatrix& matrix, const std::vector<HighsInt>& types);
  void passHessian(const Model& model);
  double cost(const Model& model, int column) const;  // as HiGHS has it
  void follow(const Model& model);
  void deleteLines(const Changes& changes);
  void changeLines(const Model& model);
  void addColumns(const Model& model, int first);
  void addRows(const Model& model, int first);

  // Takes the present solve back when it ends, and the output.
  struct Current {
    Session& session;
    ~Current() {
      session.now_ = nullptr;
      session.output(false);
    }
  };

  // basis.cpp
  void retire(const Changes& changes);
  bool inherited(const Model& model, const Basis& start) const;
  void place(const Model& model, const SolveRequest& request);
  Basis basis() const;

  // session.cpp
  Solve begin(const Model& model, const SolveRequest& request, Solution& result) const;
  void setLimit();
  HighsInt run();
  bool reachedLimit() const;
  void forget();  // the last solution and basis
  HighsInt settleCaps(HighsInt status);
  HighsInt centre(HighsInt status);
  Stop stopOf(HighsInt status) const;
  void extractLp();
  void extractMip();
  void readPoint(PointValues& point, bool duals) const;
  int integer(const char* info) const;
  double real(const char* info) const;

  // events.cpp
  void listen();
  void output(bool on);
  static void onEvent(int type, const char* message, const HighsCallbackDataOut* out, HighsCallbackDataIn* in,
                      void* self) noexcept;
  void logText(const char* text);
  void flushLog();
  bool mustStop();
  bool mustLeap() noexcept;
  double leap() noexcept;

  struct Destroy {
    void operator()(void* highs) const { Highs_destroy(highs); }
  };
  const std::unique_ptr<void, Destroy> owner_;
  void* const highs_;
  Options options_;
  bool output_ = true;
  Solve* now_ = nullptr;

  // The model that the instance holds.
  bool held_ = false;
  bool hasSemi_ = false;
  bool hasHessian_ = false;
  bool mirrored_ = false;  // as the minimisation of the negated costs
  Semi semi_ = Semi::relaxed;
  double cap_ = 0;
  std::vector<double> factors_;     // of columns, which are so many times HiGHS's; empty: all 1
  std::vector<double> rowFactors_;  // of rows, so many of which are HiGHS's; empty: all 1
  bool small_ = false;              // the model has coefficients that HiGHS drops by itself
  bool scaled_ = false;             // so rows and columns have factors, or because that was asked for
  bool asked_ = false;
  bool dropped_ = false;     // coefficients that count were too small even so
  std::vector<int> capped_;  // columns

  bool discrete_ = false;  // it is a MIP to HiGHS

  bool basisKnown_ = false;  // HiGHS has a basis, which the last run or place() left
  bool ended_ = false;       // the last solve ended for good with `status_`, and nothing has changed since
  HighsInt status_ = kHighsModelStatusNotset;
  int improvements_ = 0;
  PointValues centred_;                 // the last run's point, where centre() found a better one
  std::map<LpStatus, Evidence> shown_;  // for claims of the last run
  Basis last_;                          // that the last LP solve reported, in the numbering of that time
};

}  // namespace tvlo::highs
