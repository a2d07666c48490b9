// The objects that stand for a problem's columns, rows or sets, by position and by key. A position is the solver's
// index; a deletion moves up all that stand behind it.
//
// Each object keeps a slot of its own, and its position is the number of objects in the slots before. So a deletion
// leaves a hole, whatever stands behind it, and looking for a position counts the objects block by block. The holes are
// closed once they are many, or once looking past them has cost as much. Needs the interpreter lock.
#pragma once

#include <cstdint>

#include "model/maps.h"
#include "problem/entities/key_table.h"
#include "pyutil/array.h"
#include "pyutil/ref.h"

namespace tavlo {

class Entries {
 public:
  explicit Entries(uint64_t (*keyOf)(PyObject*));
  Entries(const Entries&) = delete;
  Entries& operator=(const Entries&) = delete;
  ~Entries();  // releases the objects
  bool isMade() const { return map_ != nullptr; }

  int64_t size() const { return live_; }
  bool has(uint64_t key) const { return rowcolmap_has(map_, key) != 0; }
  int64_t find(uint64_t key) const {  // its position, or -1
    const int64_t slot = table_.find(map_, key);
    return slot < 0 || !hasHoles() ? slot : findPastHoles(key);
  }
  PyObject* at(int64_t position) const;      // borrowed
  Ref list(int64_t first, int64_t n) const;  // a new list, or null with an exception
  uint64_t epoch() const { return epoch_; }  // another number after each deletion, and in every object

  // At the end; all or nothing. 0, or -1 with MemoryError.
  int append(PyObject* const* objects, const uint64_t* keys, int64_t n);
  int copyFrom(const Entries& other);  // into an empty one; 0, or -1 with MemoryError
  // What stands at ascending positions goes, and its references to `gone`. Needs no memory.
  void remove(const int32_t* positions, int64_t n, PyObject** gone);
  void withdraw(const uint64_t* keys, int64_t n);  // what was appended last, as far as it is there; needs no memory
  int traverse(visitproc visit, void* arg) const;

 private:
  static constexpr int kWordBits = 64, kBlockSlots = 4096;

  bool reserve(int64_t slots);
  void enliven(int64_t first, int64_t last) const;  // slots before `last`, all of which have objects
  bool hasHoles() const { return live_ != slots_; }
  int64_t findPastHoles(uint64_t key) const;
  bool isDue(int64_t lookups) const;  // whether the holes should be closed before so many more
  int64_t slotOf(int64_t position) const;
  int64_t positionOf(int64_t slot) const;
  PyObject* take(int64_t slot);  // the object with its reference
  void closeHoles() const;       // changes the representation only; where memory is short nothing

  uint64_t (*keyOf_)(PyObject*);
  mutable rowcolmap* map_;  // key -> slot
  mutable KeyTable table_;  // the same, for fast reading
  mutable Array<PyObject*> object_;
  mutable Array<uint64_t> alive_;  // a bit for each slot
  mutable Array<int32_t> block_;   // objects in each kBlockSlots slots
  int64_t live_ = 0;
  mutable int64_t slots_ = 0, spent_ = 0;  // slots in use; what lookups have cost since the holes were closed
  uint64_t epoch_;
};

uint64_t nextEpoch();  // of the process

}  // namespace tavlo
