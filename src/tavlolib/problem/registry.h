// What a problem knows of its model: the objects behind its columns, rows and sets, and what its nonlinear component
// holds for it. One counted object, which the problem and the problems that its callbacks get share. Needs the
// interpreter lock.
//
// Column j of the solver is vars.at(j); likewise for rows. That holds after every call, also after a failing one: a
// call changes all of what it was given or nothing.
#pragma once

#include <memory>

#include "problem/entities/entries.h"
#include "pyutil/first_error.h"
#include "pyutil/ref.h"

namespace tavlo {

struct UserFunctions;  // translation/user_function.h

class Registry {
 public:
  Registry();
  ~Registry();
  bool isMade() const { return vars.isMade() && cons.isMade() && sets.isMade(); }
  int copyFrom(const Registry& other);  // all but what user functions it has; 0, or -1 with an exception
  void changed() { changes_ = nextEpoch(); }
  uint64_t changes() const { return changes_; }  // another number after each change, and in every registry
  bool hasNonlinearObjective() const { return transferRow >= 0; }
  // As far as known: see refreshFormulas() for where it matters.
  bool isNonlinear() const { return hasFormulas || hasNonlinearObjective(); }
  int traverse(visitproc visit, void* arg) const;

  Entries vars, cons, sets;
  // Whether rows other than the objective's transfer row have formulas; `aged` when rows have gone since that was
  // known.
  bool hasFormulas = false, aged = false;
  int32_t transferColumn = -1, transferRow = -1;  // of a nonlinear objective, entered like any other; -1: none
  std::unique_ptr<UserFunctions> userFunctions;   // null while there are none
  FirstError failure;                             // of the Python code that a solve has called, on whatever thread

 private:
  uint64_t changes_;
};

struct registry_s {
  PyObject_HEAD Registry body;
};
BasicRef<registry_s> newRegistry();  // empty; null with MemoryError
extern PyTypeObject registryType;

}  // namespace tavlo
