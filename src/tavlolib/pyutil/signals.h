// Heeding Ctrl-C in loops that stay in native code.
#pragma once

#include "pyutil/python.h"

namespace tavlo {

// Asked at each turn of a loop, looks for signals at every 64th. Needs the interpreter lock.
class SignalPoll {
 public:
  bool goesOn() { return ++turn_ % 64 != 0 || PyErr_CheckSignals() == 0; }  // false with an exception

 private:
  unsigned turn_ = 0;
};

}  // namespace tavlo
