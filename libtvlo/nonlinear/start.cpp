#include "nonlinear/start.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace tvlo {

namespace {

// Sets the columns that stand for kinks, too.
bool hasValue(ModelProgram& program, std::vector<double>& x) {
  double value;
  std::vector<double> space(std::max({x.size(), program.jacobian.size(), program.rowLower.size()}));
  return program.complete(x) && program.objective(x.data(), true, value) &&
         program.constraints(x.data(), false, space.data()) && program.gradient(x.data(), false, space.data()) &&
         program.jacobianValues(x.data(), false, space.data());
}

}  // namespace

std::vector<double> startPoint(const Model& model, ModelProgram& program, int64_t seed, int attempt, bool asGiven) {
  std::mt19937 random(static_cast<uint32_t>(seed + attempt));
  const auto& variables = model.formulas().variables;
  std::vector<double> x(program.columns());
  for (size_t j = 0; j < program.modelColumns().size(); ++j) {
    const auto known = variables.find(program.modelColumns()[j]);
    if (known != variables.end()) x[j] = known->second.initial.value_or(0);
    if (attempt == 1) x[j] += 1;
    if (attempt > 1) x[j] += std::uniform_real_distribution<double>(-10, 10)(random);
  }
  moveInside(program, x, asGiven ? 0 : kInside);
  if (hasValue(program, x)) return x;
  std::vector<double> other(x.size());
  for (const double value : {1.0, 0.5, 2.0, 0.1, -1.0, 10.0, -0.5}) {
    std::fill(other.begin(), other.end(), value);
    moveInside(program, other);
    if (hasValue(program, other)) return other;
  }
  std::uniform_real_distribution<double> exponent(-2, 1.5);
  for (int k = 0; k < 50; ++k) {
    for (double& value : other) value = std::pow(10, exponent(random)) * (random() % 4 == 0 ? -1 : 1);
    moveInside(program, other);
    if (hasValue(program, other)) return other;
  }
  return x;
}

void moveInside(const NlpProgram& program, std::vector<double>& x, double part) {
  for (size_t j = 0; j < x.size(); ++j) {
    const double lower = program.columnLower[j];
    const double upper = program.columnUpper[j];
    const double room = lower < upper ? std::min(part, part * (upper - lower)) : 0;
    x[j] = lower <= upper ? std::clamp(x[j], lower + room, upper - room) : lower;
  }
}

}  // namespace tvlo
