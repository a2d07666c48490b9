// Ipopt's callbacks: the program's functions, and what happens after each iteration.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <numeric>

#include "core/error.h"
#include "engines/ipopt/session.h"

namespace tvlo::ipopt {

namespace {

Solve& solveOf(void* data) { return *static_cast<Solve*>(data); }

// Runs one of the program's functions. After an exception all answer false, so that Ipopt soon comes to its end.
template <class F>
bool evaluate(void* data, F&& function) noexcept {
  using Clock = std::chrono::steady_clock;
  Solve& solve = solveOf(data);
  if (solve.failure) return false;
  const Clock::time_point begin = Clock::now();
  bool done = false;
  try {
    done = function(solve);
  } catch (...) {
    solve.failure = std::current_exception();
  }
  solve.evaluation += std::chrono::duration<double>(Clock::now() - begin).count();
  return done;
}

bool objective(int, double* x, bool fresh, double* value, void* data) {
  return evaluate(data, [&](Solve& solve) {
    if (!solve.program.objective(x, fresh, *value)) return false;
    *value *= solve.program.sense;
    const double* const padding = x + solve.program.columns();
    *value += 0.5 * std::inner_product(padding, padding + solve.padding, padding, 0.0);
    return std::isfinite(*value);
  });
}

bool gradient(int, double* x, bool fresh, double* values, void* data) {
  return evaluate(data, [&](Solve& solve) {
    const int columns = solve.program.columns();
    if (!solve.program.gradient(x, fresh, values)) return false;
    if (solve.program.sense < 0) std::transform(values, values + columns, values, std::negate<>());
    std::copy_n(x + columns, solve.padding, values + columns);
    return true;
  });
}

bool constraints(int, double* x, bool fresh, int, double* values, void* data) {
  return evaluate(data, [&](Solve& solve) { return solve.program.constraints(x, fresh, values); });
}

// Ipopt takes no rows without any derivative: their first one is then a zero.
size_t jacobianEntries(const NlpProgram& program) {
  return std::max<size_t>(program.jacobian.size(), program.rows() > 0);
}

bool jacobian(int, double* x, bool fresh, int, int, int* row, int* column, double* values, void* data) {
  return evaluate(data, [&](Solve& solve) {
    const SparsePattern& pattern = solve.program.jacobian;
    const bool zero = jacobianEntries(solve.program) > pattern.size();
    if (values != nullptr) {
      if (zero) *values = 0;
      return zero || solve.program.jacobianValues(x, fresh, values);
    }
    if (zero) *row = *column = 0;
    std::copy(pattern.row.begin(), pattern.row.end(), row);
    std::copy(pattern.column.begin(), pattern.column.end(), column);
    return true;
  });
}

bool hessian(int, double* x, bool fresh, double factor, int, double* multipliers, bool, int, int* row, int* column,
             double* values, void* data) {
  return evaluate(data, [&](Solve& solve) {
    const SparsePattern& pattern = solve.program.hessian;
    const int entries = static_cast<int>(pattern.size());
    if (values != nullptr) {
      std::fill_n(values + entries, solve.padding, factor);
      return solve.program.hessianValues(x, fresh, factor * solve.program.sense, multipliers, values);
    }
    std::copy(pattern.row.begin(), pattern.row.end(), row);
    std::copy(pattern.column.begin(), pattern.column.end(), column);
    std::iota(row + entries, row + entries + solve.padding, solve.program.columns());
    std::iota(column + entries, column + entries + solve.padding, solve.program.columns());
    return true;
  });
}

void logIteration(const Solve& solve, int iteration, bool restoring, double value, double barrier, double step,
                  double dualLength, double primalLength) {
  if (iteration % solve.settings.logEvery != 0) return;
  if (iteration % (20 * static_cast<int64_t>(solve.settings.logEvery)) == 0) {
    solve.request.log("  Iter          Objective  Infeasible  Dual inf.   Barrier      Step  Dual len.  Primal len.");
  }
  solve.request.log(format("%6d%c %18.10e   %.2e   %.2e  %.2e  %.2e   %.2e     %.2e", iteration, restoring ? 'r' : ' ',
                           value, solve.infeasibility, solve.dualInfeasibility, barrier, step, dualLength,
                           primalLength));
}

bool iterated(int mode, int iteration, double value, double infeasibility, double dualInfeasibility, double barrier,
              double step, double regularisation, double dualLength, double primalLength, int, void* data) {
  Solve& solve = solveOf(data);
  if (solve.failure) return false;
  iteration += solve.before;
  solve.iterations = iteration;
  solve.infeasibility = infeasibility;
  solve.dualInfeasibility = dualInfeasibility;
  solve.regularised = regularisation > 0;
  try {
    value *= solve.program.sense;
    if (solve.request.log) logIteration(solve, iteration, mode == 1, value, barrier, step, dualLength, primalLength);
    if (solve.request.iteration) solve.stop = solve.request.iteration(iteration, value, infeasibility);
  } catch (...) {
    solve.failure = std::current_exception();
  }
  return solve.stop == 0 && !solve.failure;
}

}  // namespace

IpoptProblem createProblem(Solve& solve) {
  NlpProgram& program = solve.program;
  std::vector<double> lower = program.columnLower, upper = program.columnUpper;
  lower.resize(solve.columns(), -TVLO_INFINITY);
  upper.resize(solve.columns(), TVLO_INFINITY);
  const size_t hessianEntries = program.hessian.size() + solve.padding;
  const IpoptProblem problem =
      CreateIpoptProblem(solve.columns(), lower.data(), upper.data(), program.rows(), program.rowLower.data(),
                         program.rowUpper.data(), static_cast<int>(jacobianEntries(program)),
                         static_cast<int>(hessianEntries), 0, objective, constraints, gradient, jacobian, hessian);
  if (problem != nullptr) SetIntermediateCallback(problem, iterated);
  return problem;
}

}  // namespace tvlo::ipopt
