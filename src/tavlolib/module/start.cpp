// Counted start and stop of the solver library.
#include "module/start.h"

#include <cstdint>

#include "module/errors.h"
#include "module/printers.h"
#include "problem/problem.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

int32_t startCount() {
  Locked lock(tvl_py_env.start_mutex);
  return tvl_py_env.start_count;
}

int32_t addStart() {  // the count before
  Locked lock(tvl_py_env.start_mutex);
  const int32_t old = tvl_py_env.start_count;
  tvl_py_env.start_count = old < INT32_MAX ? old + 1 : 0;
  return old;
}

void dropStart() {
  Locked lock(tvl_py_env.start_mutex);
  if (tvl_py_env.start_count > 0) --tvl_py_env.start_count;
}

// Undoes, when it goes out of scope, those steps of a start that were taken and not kept.
struct Started {
  bool printer = false, nonlinear = false, optimizer = false;
  ~Started() {
    if (!optimizer) return;
    if (printer) TVLO_ge_removecbmsghandler(tvl_py_print, nullptr);
    if (nonlinear) TSLPfree();
    TVLOfree();
    dropStart();
  }
  int keep() {
    optimizer = false;
    return 0;
  }
};

// Releases the solver objects of every live problem. That may run Python code, which may create and delete problems.
void releaseProblems() {
  for (problem_s* p = tvl_py_env.problems; p;) {
    if (Py_REFCNT(reinterpret_cast<PyObject*>(p)) == 0) {  // being deallocated: it releases itself
      p = p->nextProblem;
      continue;
    }
    auto held = BasicRef<problem_s>::borrow(p);
    problem_freeresources(p);
    p = p->nextProblem;
  }
}

}  // namespace

int32_t nlState() {
  Locked lock(tvl_py_env.start_mutex);
  return tvl_py_env.nl_state;
}

bool libraryIsStarted() { return startCount() > 0; }

int fillControlTables(int withNonlinear) {
  if (ctrl_attr_fill_typeobj(withNonlinear) != 0) return -1;
  Ref name = Ref::steal(PyUnicode_FromString("tslp_postsolve"));
  Ref one = Ref::steal(PyLong_FromLong(1));
  if (!name || !one) return -1;
  auto* controls = reinterpret_cast<control_s*>(tvl_py_env.controls);
  if (PyDict_SetItem(controls->dict, name.get(), one.get()) != 0) return -1;
  Locked lock(tvl_py_env.defaults_mutex);
  return PyDict_SetItem(tvl_py_env.default_controls, name.get(), one.get());
}

int turnTVLOon(int force) {
  if (!force && startCount() > 0) return 0;
  const bool second = addStart() == 1;
  if (TVLOinit() != 0) {
    char text[2048] = "";
    dropStart();
    TVLOgetiniterror(text, sizeof text);
    interfaceError("%s", text);
    return -1;
  }
  Started started;
  started.optimizer = true;
  if (nlState() != 0) {
    if (TSLPinit() != 0) {
      interfaceError("Error initializing TSLP environment");
      return -1;
    }
    Locked lock(tvl_py_env.start_mutex);
    tvl_py_env.nl_state = 1;
    started.nonlinear = true;
  }
  if (second) {
    if (TVLO_ge_addcbmsghandler(tvl_py_print, nullptr, 1) != 0) {
      setTvloErrIfNull(nullptr, nullptr);
      return -1;
    }
    started.printer = true;
  }
  const Py_ssize_t filled = PyDict_Size(tvl_py_env.attr_table);
  if (filled < 0) return -1;
  if (filled == 0 && fillControlTables(1) != 0) return -1;
  return started.keep();
}

int turnTVLOoff(int once) {
  int32_t count = startCount();
  while (count > 0) {
    if (count == 1) {
      TVLO_ge_removecbmsghandler(tvl_py_print, nullptr);
      releaseProblems();
    }
    if (nlState() != 0) TSLPfree();
    TVLOfree();
    dropStart();
    if (once) break;
    count = startCount();
  }
  return 0;
}

}  // namespace tavlo
