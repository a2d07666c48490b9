#include "runtime/errors.h"

#include <cstdarg>
#include <cstring>

#include "pyutil/ref.h"
#include "runtime/hooks.h"
#include "tvlo/tvlo.h"

namespace tavlo {

void raiseText(PyObject* cls, const char* text, const char* fallback) {
  // Library texts may quote file names that are not UTF-8.
  if (!*text) text = fallback;
  Ref message = Ref::steal(PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "replace"));
  if (message) PyErr_SetObject(cls, message.get());
}

#define TAVLO_RAISE(function, exception)         \
  PyObject* function(const char* format, ...) {  \
    va_list arguments;                           \
    va_start(arguments, format);                 \
    PyErr_FormatV(exception, format, arguments); \
    va_end(arguments);                           \
    return nullptr;                              \
  }
TAVLO_RAISE(modelError, tpy_model_exc)
TAVLO_RAISE(interfaceError, tpy_interf_exc)
TAVLO_RAISE(solverError, tpy_solver_exc)
#undef TAVLO_RAISE

int fail(const char* text) {
  modelError("%s", text);
  return -1;
}

void setTvloErrIfNull(PyObject* owner, PyObject* result) {
  if (result || PyErr_Occurred()) return;
  if (!owner) {
    char text[TVLO_ERRORTEXT_MAX] = "";
    int code = 0;
    TVLO_ge_getlasterror(&code, text, sizeof text, nullptr);
    raiseText(tpy_interf_exc, text, "Unidentified error associated with the global environment");
  } else if (PyObject_TypeCheck(owner, &tavlo_problemType)) {
    hooks.raiseProblemError(owner);
  } else if (PyObject_TypeCheck(owner, &tavlo_branchobjType)) {
    raiseText(tpy_solver_exc, "", "Unidentified error associated with a branching object");
  } else {
    PyErr_SetString(tpy_interf_exc, "");
  }
}

}  // namespace tavlo
