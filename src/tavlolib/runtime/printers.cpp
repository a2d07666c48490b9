#include "runtime/printers.h"

#include <cstring>

#include "pyutil/locks.h"
#include "pyutil/ref.h"
#include "runtime/env.h"
#include "tvlo/tvlo.h"

namespace tavlo {
namespace {

bool outputEnabled() {
  Locked lock(tvl_py_env.output_mutex);
  return tvl_py_env.output_enabled != 0;
}

}  // namespace

int tvl_py_print_general(const char* text, int flush) {
  if (!outputEnabled() || interpreterIsFinalizing()) return 0;
  GilHeld gil;
  ErrorStash pending;  // of a callback that raised earlier
  if (text) orStay([&] { PySys_FormatStdout("%s\n", text); });
  if (flush) {
    PyObject* out = PySys_GetObject("stdout");
    Ref file = Ref::borrow(out);  // the call below may replace sys.stdout
    Ref flushed = file ? Ref::steal(orStay([&] { return PyObject_CallMethod(file.get(), "flush", nullptr); })) : Ref();
    if (!flushed) PyErr_Clear();
  }
  return 0;
}

int tvl_py_print(void* object, void*, const char* text, int, int type) {
  const char* name = nullptr;
  if (TVLOgetobjecttypename(object, &name) == 0 && name && std::strcmp(name, "TVLOprob") == 0) return 0;
  return tvl_py_print_general(text, type < 0);
}

}  // namespace tavlo
