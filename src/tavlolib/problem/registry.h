// The registry: which modelling object stands for which row, column or set. Position in a kind's list, entry in its map
// and solver index agree after every call, also after a failing one: a call first collects its objects (which may run
// user code), then checks and registers all of them, then sends them; a failure withdraws them all.
#pragma once

#include <vector>

#include "model/objects.h"
#include "problem/problem.h"
#include "pyutil/ref.h"

namespace tavlo {

// Owned references to the leaves of nested arguments, collected before anything of the problem is looked at, so that no
// user code (generators, iterators) can run in the middle of a change.
class Leaves {
 public:
  // False with an exception; what was collected before it stays. Throws std::bad_alloc.
  bool collect(problem_s* p, PyObject* obj);
  size_t size() const { return leaves_.size(); }
  PyObject* operator[](size_t i) const { return leaves_[i].get(); }

 private:
  static PyObject* append(problem_s* p, PyObject* leaf, void* self);
  std::vector<Ref> leaves_;
};

// One kind of registered objects.
struct Registry {
  PyObject** list;
  rowcolmap** map;
  uint64_t (*key)(PyObject* object);
  PyTypeObject* type;
};
Registry registryOf(problem_s* p, EntityKind kind);  // kRow, kColumn or kSet
int createRegistry(problem_s* p);                    // empty lists and maps; -1 with an exception
void releaseRegistry(problem_s* p);

// Objects of one call on their way into a registry. Unless commit() is called, the destructor takes them out again.
class Registration {
 public:
  explicit Registration(const Registry& registry)
      : registry_(registry), first_(PyList_GET_SIZE(*registry.list)), end_(first_) {}
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;
  ~Registration();
  bool has(PyObject* object) const { return rowcolmap_has(*registry_.map, registry_.key(object)); }
  bool add(PyObject* object);  // false with MemoryError
  Py_ssize_t count() const { return end_ - first_; }
  void commit() { first_ = end_; }

 private:
  Registry registry_;
  Py_ssize_t first_, end_;  // list positions of this call's objects
};

// Finds columns of variables: nearly always the variable's place relative to the last one found, checked against the
// list; else the map.
class ColumnFinder {
 public:
  explicit ColumnFinder(problem_s* p) : p_(p) {}
  int find(const var_s* v) {  // -1, without an exception, when the variable is not in the problem
    const int64_t key = static_cast<int64_t>(varIndex(v));
    const int64_t guess = column_ + (key - key_);
    if (guess >= 0 && guess < PyList_GET_SIZE(p_->vars) &&
        varIndex(reinterpret_cast<var_s*>(PyList_GET_ITEM(p_->vars, guess))) == static_cast<uint64_t>(key)) {
      column_ = guess;
      key_ = key;
      return static_cast<int>(guess);
    }
    return search(static_cast<uint64_t>(key));
  }

 private:
  int search(uint64_t key);
  problem_s* p_;
  int64_t column_ = 0, key_ = 0;
};

// Zero-separated names on their way to the solver.
class NameBuffer {
 public:
  bool add(PyObject* name, size_t limit, const char* what);  // str or bytes; false with ModelError
  void addDefault(char letter, uint64_t index);
  const char* data() const { return bytes_.data(); }

 private:
  std::vector<char> bytes_;
};

int intAttribute(problem_s* p, int id, int* value);  // of the optimizer; -1 with SolverError
// After a failing library call: its text as SolverError, and null.
PyObject* libraryError(problem_s* p);

}  // namespace tavlo
