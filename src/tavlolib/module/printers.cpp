#include "module/printers.h"

#include <atomic>
#include <cstring>

#include "problem/problem.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

bool outputEnabled() {
  Locked lock(tvl_py_env.output_mutex);
  return tvl_py_env.output_enabled != 0;
}

int printForProblem(void* data, const char* text, int type) {
  // Written by the interpreter's thread while a solver thread reads it.
  std::atomic_ref<int32_t> enabled(static_cast<problem_s*>(data)->outputEnabled);
  return enabled.load(std::memory_order_relaxed) == 0 ? 0 : tvl_py_print_general(text, type < 0);
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

int tvl_py_print_prob(void*, void* data, const char* text, int, int type) { return printForProblem(data, text, type); }

int tvl_py_print_probNL(void*, void* data, const char* text, int, int type) {
  return printForProblem(data, text, type);
}

}  // namespace tavlo
