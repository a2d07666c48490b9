// The first exception of Python code that the solver has called, from whatever thread, until the method that started
// the solve raises it. Needs the interpreter lock.
#pragma once

#include <utility>

#include "pyutil/python.h"

namespace tavlo {

class FirstError {
 public:
  FirstError() = default;
  FirstError(const FirstError&) = delete;
  FirstError& operator=(const FirstError&) = delete;
  ~FirstError() {
    Py_XDECREF(type_);
    Py_XDECREF(value_);
    Py_XDECREF(trace_);
  }

  bool isSet() const { return type_ != nullptr; }
  void keep() {  // the pending exception, which is dropped when there was one before it
    if (isSet())
      PyErr_Clear();
    else
      PyErr_Fetch(&type_, &value_, &trace_);
  }
  bool raise() {  // false when there is none; none is left
    if (!isSet()) return false;
    PyErr_Restore(std::exchange(type_, nullptr), std::exchange(value_, nullptr), std::exchange(trace_, nullptr));
    return true;
  }
  int traverse(visitproc visit, void* arg) const {
    Py_VISIT(type_);
    Py_VISIT(value_);
    Py_VISIT(trace_);
    return 0;
  }

 private:
  PyObject *type_ = nullptr, *value_ = nullptr, *trace_ = nullptr;
};

}  // namespace tavlo
