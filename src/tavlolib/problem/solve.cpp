// solve: the right entry of the library, with the interpreter lock released and SIGINT at its default action.
#include <csignal>

#include "problem/lifecycle.h"
#include "problem/methods.h"
#include "problem/registry.h"
#include "problem/signals.h"
#include "pyutil/locks.h"

namespace tavlo {
namespace {

// Process-wide; changed only with the interpreter lock held.
int interruptNesting = 0;
struct sigaction previousInterrupt;

// Marks the problem as being solved by this thread, and keeps it alive. A release that was asked for meanwhile is
// carried out at the end.
class Solving {
 public:
  explicit Solving(problem_s* p) : p_(p), owner_(Ref::borrow(reinterpret_cast<PyObject*>(p))) {
    outermost_ = p->solvingThread == 0;
    if (outermost_) p->solvingThread = PyThread_get_thread_ident();
    setSigIntHandler();
  }
  ~Solving() {
    resetSigIntHandler();
    if (!outermost_) return;
    p_->solvingThread = 0;
    if (!p_->releaseAfterSolve) return;
    p_->releaseAfterSolve = 0;
    ErrorStash pending;
    problem_freeresources(p_);
  }
  Solving(const Solving&) = delete;
  Solving& operator=(const Solving&) = delete;

 private:
  problem_s* p_;
  Ref owner_;
  bool outermost_;
};

PyObject* failure(problem_s* p, bool mixedInteger) {
  int status = 0;
  char text[TVLO_ERRORTEXT_MAX] = "";
  TVLOgetlasterror(p->prob, text);  // before the next call clears it
  if (TVLOgetintattrib(p->prob, mixedInteger ? 1011 : 1010, &status) == 0 && status == 8)
    return solverError(
        "The problem was determined to be nonconvex, and the optimizer cannot solve it. Call nlpoptimize() to find a "
        "solution using SLP");
  if (*text) return solverError("%s", text);
  return libraryError(p);
}

}  // namespace

void setSigIntHandler() {
  if (interruptNesting++ > 0) return;
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, &previousInterrupt);
}

void resetSigIntHandler() {
  if (--interruptNesting == 0) sigaction(SIGINT, &previousInterrupt, nullptr);
}

PyObject* problem_solve(PyObject* self, PyObject* args, PyObject* kwargs) {
  static const char* const names[] = {"flags", nullptr};
  auto* p = reinterpret_cast<problem_s*>(self);
  PyObject *flagsObject = nullptr, *temp = nullptr;
  if (checkProblemIsInitialized(p) != 0 || !ko_ParseTupleAndKeywords(args, kwargs, "|O", names, nullptr, &flagsObject))
    return nullptr;
  const int mixedInteger = isMixedInteger(p);
  if (mixedInteger < 0) return nullptr;
  if (flagsObject && !PyUnicode_Check(flagsObject) && !PyBytes_Check(flagsObject))
    return interfaceError("The optional 'flags' parameter should be a string");
  Ref owner = Ref::borrow(flagsObject);
  const char* flags = flagsObject ? pyStrToStr(flagsObject, nullptr, &temp) : nullptr;
  Ref holder = Ref::steal(temp);
  if (flagsObject && !flags) return nullptr;

  int failed;
  Solving solving(p);
  {
    GilReleased released;
    failed = mixedInteger ? TVLOmipoptimize(p->prob, flags) : TVLOlpoptimize(p->prob, flags);
  }
  if (PyErr_Occurred()) return nullptr;  // raised by a callback
  return failed ? failure(p, mixedInteger) : newRef(Py_None);
}

}  // namespace tavlo
