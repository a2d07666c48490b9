// Python functions in a problem's formulas: their records, and the functions through which the solver calls them.
//
// A record is the data that the solver holds for a function. It keeps the callable, and lives as long as one of the
// maps that have it: those of the problem that registered it and of that problem's copies, whose formulas call it too.
// Threads: all of it needs the interpreter lock, except the trampolines, which take it on whatever thread they run.
#pragma once

#include <cstdint>

#include "pyutil/python.h"
#include "tvlo/tslp.h"

struct problem_s;

namespace tavlo {

struct userfuncmap;  // (callable, number of arguments, with derivatives) -> record

// The identifier of a user function's node in the problem's formulas; registers the function at its first use. `args`
// is the node's tuple: the callable, then its arguments. 0, or -1 with an exception.
int createUserFunction(problem_s* p, PyObject* args, int* id, bool with_derivatives);

int userfuncmap_copy(userfuncmap** out, userfuncmap* map);  // shares the records; 0, or -1 with MemoryError
void userfuncmap_free(userfuncmap** map);                   // may run Python code, after *map has become null

// A nonzero result, with the exception pending on this thread, ends the solve.
int tpy_generic_user_function_no_derivative(const double* x, int nargs, double* value, double* derivs, void* data);
int tpy_generic_user_function_with_derivative(const double* x, int nargs, double* value, double* derivs, void* data);

}  // namespace tavlo
