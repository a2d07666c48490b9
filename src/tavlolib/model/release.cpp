#include "model/release.h"

#include <new>
#include <vector>

namespace tavlo {

namespace {

constexpr int kMaxDepth = 50;
thread_local int depth = 0;
thread_local std::vector<PyObject*> waiting;

bool canWait(PyObject* o) noexcept {
  try {
    waiting.push_back(o);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void releaseNow(PyObject* o) noexcept {
  ++depth;
  Py_DECREF(o);
  --depth;
}

}  // namespace

void releaseChained(PyObject* o) noexcept {
  if (!o) return;
  if (Py_REFCNT(o) > 1 || PyUnicode_CheckExact(o)) {
    Py_DECREF(o);
    return;
  }
  if (depth >= kMaxDepth && canWait(o)) return;
  releaseNow(o);
  while (depth == 0 && !waiting.empty()) {
    PyObject* next = waiting.back();
    waiting.pop_back();
    releaseNow(next);
  }
}

}  // namespace tavlo
