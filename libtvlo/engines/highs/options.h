// Options of one HiGHS instance: set when they differ from what was set before, so that a solve knows whether
// anything changed since the last one. Until the first change of an option its default stands.
#pragma once

#include <map>
#include <string>
#include <variant>

#include "engines/engine.h"
#include "engines/highs/highs.h"

namespace tvlo::highs {

constexpr int64_t kMostBarrier = 500;  // iterations; they need some 20 to 200
constexpr int kMostFirstOrder = 200'000;
constexpr int kDualSimplex = 1, kPrimalSimplex = 4;  // values of "simplex_strategy"

class Options {
 public:
  explicit Options(void* highs) : highs_(highs) {}
  // Everything that the request and its controls say, but the time limit and the output.
  void apply(const SolveRequest& request, const Model& model);
  void set(const char* option, bool value);
  void set(const char* option, int value);
  void set(const char* option, double value);
  void set(const char* option, const char* value);
  bool changed() const { return changed_; }
  void settle() { changed_ = false; }

 private:
  using Value = std::variant<bool, int, double, std::string>;
  bool remember(const char* option, Value value);  // whether it is news
  void* highs_;
  std::map<std::string, Value, std::less<>> values_;
  bool changed_ = false;
};

}  // namespace tvlo::highs
