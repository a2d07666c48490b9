// From a variable to its column in constant time, where the problem's variables have nearly consecutive indices. The
// truth is the problem's varmap: this is a copy of it, made when it is needed, extended by additions and dropped by
// everything else.
#pragma once

#include <cstdint>
#include <memory>

#include "problem/problem.h"

namespace tavlo {

class ColumnTable {
 public:
  int64_t find(const rowcolmap* map, uint64_t key) {  // -1 when there is none
    const uint64_t at = key - base_;
    return at < size_ ? columns_[at] : findOther(map, key);
  }
  void appended(uint64_t key, int32_t column) noexcept;  // after it has entered the map
  void drop() noexcept;                                  // the map has changed in another way

 private:
  enum class State { stale, dense, sparse };

  int64_t findOther(const rowcolmap* map, uint64_t key);
  void build(const rowcolmap* map) noexcept;
  bool reserve(uint64_t size) noexcept;
  // How far indices may spread for a table to be worth its memory.
  static uint64_t widest(uint64_t count) { return 4 * count + 4096; }

  State state_ = State::stale;
  uint64_t base_ = 0, size_ = 0, room_ = 0;  // size_ is 0 unless dense
  uint64_t count_ = 0, retry_ = 0;           // entries in the map; how many make another try worth while
  std::unique_ptr<int32_t[]> columns_;
};

inline int64_t columnOf(problem_s* p, const var_s* v) { return p->columns->find(p->varmap, varIndex(v)); }

}  // namespace tavlo
