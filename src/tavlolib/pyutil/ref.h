// Owned references. A Ref owns; a raw PyObject* borrows. Needs the interpreter lock.
#pragma once

#include <utility>

#include "pyutil/python.h"

namespace tavlo {

template <class T = PyObject>
class BasicRef {
 public:
  BasicRef() = default;
  BasicRef(const BasicRef&) = delete;
  BasicRef& operator=(const BasicRef&) = delete;
  BasicRef(BasicRef&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
  BasicRef& operator=(BasicRef&& other) noexcept {
    T* old = std::exchange(p_, std::exchange(other.p_, nullptr));
    Py_XDECREF(reinterpret_cast<PyObject*>(old));
    return *this;
  }
  ~BasicRef() { Py_XDECREF(reinterpret_cast<PyObject*>(p_)); }

  static BasicRef steal(T* p) { return BasicRef(p); }  // takes over a new reference; null is allowed
  static BasicRef borrow(T* p) {
    Py_XINCREF(reinterpret_cast<PyObject*>(p));
    return BasicRef(p);
  }

  T* get() const { return p_; }
  T* operator->() const { return p_; }
  explicit operator bool() const { return p_ != nullptr; }
  T* release() { return std::exchange(p_, nullptr); }  // hands the reference to the caller
  PyObject* object() const { return reinterpret_cast<PyObject*>(p_); }
  PyObject* releaseObject() { return reinterpret_cast<PyObject*>(release()); }
  void reset() { *this = BasicRef(); }

 private:
  explicit BasicRef(T* p) : p_(p) {}
  T* p_ = nullptr;
};
using Ref = BasicRef<>;

// A new reference to a borrowed object, for returning it.
inline PyObject* newRef(PyObject* o) {
  Py_INCREF(o);
  return o;
}
template <class T>
PyObject* newRefOf(T* o) {
  return newRef(reinterpret_cast<PyObject*>(o));
}

// A pending exception put aside for the guard's life. On destruction it is pending again unless another was set.
class ErrorStash {
 public:
  ErrorStash() { PyErr_Fetch(&type_, &value_, &trace_); }
  ErrorStash(const ErrorStash&) = delete;
  ErrorStash& operator=(const ErrorStash&) = delete;
  ~ErrorStash() {
    if (type_ && !PyErr_Occurred())
      PyErr_Restore(type_, value_, trace_);
    else
      drop();
  }
  void discard() {
    drop();
    type_ = value_ = trace_ = nullptr;
  }

 private:
  void drop() {
    Py_XDECREF(type_);
    Py_XDECREF(value_);
    Py_XDECREF(trace_);
  }
  PyObject *type_ = nullptr, *value_ = nullptr, *trace_ = nullptr;
};

}  // namespace tavlo
