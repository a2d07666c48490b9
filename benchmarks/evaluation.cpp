// Nanoseconds that a model's functions and derivatives take per operation of its formulas.
//
// usage: tvlo_evaluation FILE. It prints the operations, then the nanoseconds per operation of the values, of values
// with first derivatives, and of the second derivatives of the Lagrangian.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "core/problem.h"
#include "nonlinear/program.h"
#include "tvlo/tslp.h"
#include "tvlo/tvlo.h"

namespace {

template <class F>
double leastSeconds(F&& work) {
  using Clock = std::chrono::steady_clock;
  double least = 1e9;
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(300);
  do {
    const Clock::time_point begin = Clock::now();
    work();
    least = std::min(least, std::chrono::duration<double>(Clock::now() - begin).count());
  } while (Clock::now() < end);
  return least;
}

bool measure(const tvlo::Model& model) {
  tvlo::ModelProgram program(model);
  std::vector<double> x(program.columns(), 1.0), row(program.rows()), multipliers(program.rows(), 0.5);
  for (const auto& [column, variable] : model.formulas().variables) {
    if (const int j = program.columnOf()[column]; j >= 0 && variable.initial) x[j] = *variable.initial;
  }
  std::vector<double> gradient(program.columns()), jacobian(program.jacobian.size()), hessian(program.hessian.size());
  double value = 0;
  bool sound = true;
  const auto values = [&] {
    sound &= program.objective(x.data(), true, value) && program.constraints(x.data(), false, row.data());
  };
  const auto first = [&] {
    values();
    sound &=
        program.gradient(x.data(), false, gradient.data()) && program.jacobianValues(x.data(), false, jacobian.data());
  };
  const auto second = [&] { sound &= program.hessianValues(x.data(), true, 1, multipliers.data(), hessian.data()); };
  const double count = static_cast<double>(std::max<size_t>(1, program.operations())) / 1e9;
  const double took[] = {leastSeconds(values), leastSeconds(first), leastSeconds(second)};
  std::printf("%zu %.3f %.3f %.3f\n", program.operations(), took[0] / count, took[1] / count, took[2] / count);
  return sound;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2 || TVLOinit() != 0) return 2;
  TVLOprob problem = nullptr;
  TSLPprob nonlinear = nullptr;
  bool done = TVLOcreateprob(&problem) == 0 && TSLPcreateprob(&nonlinear, &problem) == 0 &&
              TSLPreadprob(nonlinear, arguments[1], "") == 0;
  try {
    done = done && measure(problem->model);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    done = false;
  }
  if (nonlinear != nullptr) TSLPdestroyprob(nonlinear);
  if (problem != nullptr) TVLOdestroyprob(problem);
  TVLOfree();
  return done ? 0 : 1;
}
