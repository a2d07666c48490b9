// Setting exceptions, and the one funnel for errors that the library reports.
#pragma once

#include "runtime/env.h"

namespace tavlo {

// Each sets the exception (PyErr_Format formats, %S included) and returns null, so that a failure is one line.
PyObject* modelError(const char* format, ...);
PyObject* interfaceError(const char* format, ...);
PyObject* solverError(const char* format, ...);

// ModelError with a text taken as it stands, for functions whose failure is -1.
int fail(const char* text);

// A text of the library as an exception; `fallback` when it is empty.
void raiseText(PyObject* cls, const char* text, const char* fallback);

// After the last step of every binding. With a null result and nothing pending, raises the library's last error: of
// the global environment (owner null, InterfaceError), a problem or a branching object (SolverError).
void setTvloErrIfNull(PyObject* owner, PyObject* result);

void ko_PyErr_MissingArgs(const char* first_name, ...);  // null-terminated
void ko_PyErr_MissingArgsRange(const char* const* names, int first, int last);

// As the interpreter's parser, with a second list of names for the same arguments (null: none).
int ko_ParseTupleAndKeywords(PyObject* args, PyObject* kwargs, const char* format, const char* const* kwlist,
                             const char* const* alt_kwlist, ...);

}  // namespace tavlo
