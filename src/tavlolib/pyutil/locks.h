// Guards for the interpreter lock and for the environment's mutexes.
#pragma once

#include <pthread.h>
#include <unistd.h>

#include <exception>

#include "pyutil/python.h"

namespace tavlo {

// A call that may ask for the interpreter lock on a thread that is solving. While the interpreter exits it ends such a
// thread by pthread_exit, for which native frames can't be unwound: the thread stays here until the process is gone.
template <class Call>
decltype(auto) orStay(Call&& call) {
  try {
    return call();
  } catch (...) {
    if (std::current_exception()) throw;
    for (;;) pause();  // what unwinds is no C++ exception
  }
}

class GilReleased {  // around a call that runs long and touches no Python object
 public:
  GilReleased() : state_(PyEval_SaveThread()) {}
  ~GilReleased() {
    orStay([this] { PyEval_RestoreThread(state_); });
  }
  GilReleased(const GilReleased&) = delete;
  GilReleased& operator=(const GilReleased&) = delete;

 private:
  PyThreadState* state_;
};

class GilHeld {  // on a thread that the interpreter may not know
 public:
  GilHeld() : state_(orStay(PyGILState_Ensure)) {}
  ~GilHeld() { PyGILState_Release(state_); }
  GilHeld(const GilHeld&) = delete;
  GilHeld& operator=(const GilHeld&) = delete;

 private:
  PyGILState_STATE state_;
};

class Locked {
 public:
  explicit Locked(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
  ~Locked() { pthread_mutex_unlock(&mutex_); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  pthread_mutex_t& mutex_;
};

}  // namespace tavlo
