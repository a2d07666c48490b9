// Counted start and stop of the solver library.
#include "runtime/start.h"

#include <cstdint>

#include "pyutil/locks.h"
#include "runtime/errors.h"
#include "runtime/hooks.h"
#include "runtime/printers.h"
#include "tvlo/tslp.h"

namespace tavlo {

Hooks hooks;

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

// Waits for lines that other threads are printing, which takes the interpreter lock.
void removePrinter() {
  const GilReleased released;
  TVLO_ge_removecbmsghandler(tvl_py_print, nullptr);
}

// Undoes, when it goes out of scope, those steps of a start that were taken and not kept.
struct Started {
  bool printer = false, nonlinear = false, optimizer = false;
  ~Started() {
    if (!optimizer) return;
    if (printer) removePrinter();
    if (nonlinear) TSLPfree();
    TVLOfree();
    dropStart();
  }
  int keep() {
    optimizer = false;
    return 0;
  }
};

}  // namespace

int32_t nlState() {
  Locked lock(tvl_py_env.start_mutex);
  return tvl_py_env.nl_state;
}

bool libraryIsStarted() { return startCount() > 0; }

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
  if (filled == 0 && hooks.fillControlTables(1) != 0) return -1;
  return started.keep();
}

int turnTVLOoff(int once) {
  int32_t count = startCount();
  while (count > 0) {
    if (count == 1) {
      removePrinter();
      hooks.releaseProblems();
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
