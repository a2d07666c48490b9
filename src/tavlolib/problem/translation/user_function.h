// Python functions in a problem's formulas: their records, and the functions through which the solver calls them.
//
// A record is the data that the solver holds for a function. It belongs to the registry of the problem whose formulas
// call it; a copy of a problem has records of its own.
// Threads: all of it needs the interpreter lock, except the trampolines, which take it on whatever thread they run.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <tuple>

#include "pyutil/ref.h"
#include "tvlo/tslp.h"

struct problem_s;

namespace tavlo {

class Registry;

struct UserFunction {
  Ref callable;
  Registry* owner;
  int32_t nargs = 0, id = -1;
};

struct UserFunctions {
  using Key = std::tuple<PyObject*, int32_t, bool>;  // callable, number of arguments, whether with derivatives
  std::map<Key, std::unique_ptr<UserFunction>> at;
  int traverse(visitproc visit, void* arg) const;
};

// The identifier of a user function's node in the problem's formulas; registers the function at its first use. `args`
// is the node's tuple: the callable, then its arguments. 0, or -1 with an exception.
int createUserFunction(problem_s* p, PyObject* args, int* id, bool with_derivatives);
// After the library has copied the formulas. 0, or -1 with an exception.
int copyUserFunctions(problem_s* to, const problem_s* from);

// A nonzero result ends the solve; the registry keeps the exception for the method that started it.
int tpy_generic_user_function_no_derivative(const double* x, int nargs, double* value, double* derivs, void* data);
int tpy_generic_user_function_with_derivative(const double* x, int nargs, double* value, double* derivs, void* data);

}  // namespace tavlo
