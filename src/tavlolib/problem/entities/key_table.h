// A map from keys to slots for reading in constant time, where the keys are nearly consecutive. The truth is the map:
// this is a copy of it, made when it is needed, kept by additions and removals and dropped by everything else.
#pragma once

#include <cstdint>
#include <memory>

#include "model/maps.h"

namespace tavlo {

class KeyTable {
 public:
  int64_t find(const rowcolmap* map, uint64_t key) {  // -1 when there is none
    const uint64_t at = key - base_;
    return at < size_ ? slots_[at] : findOther(map, key);
  }
  void appended(const uint64_t* keys, int64_t n, int32_t slot) noexcept;  // after it has entered the map
  void removed(uint64_t key) noexcept;                                    // after it has left the map
  void drop() noexcept;                                                   // the map has changed in another way

 private:
  enum class State { stale, dense, sparse };

  void appended(uint64_t key, int32_t slot) noexcept;
  int64_t findOther(const rowcolmap* map, uint64_t key);
  void build(const rowcolmap* map) noexcept;
  bool reserve(uint64_t size) noexcept;
  // How far indices may spread for a table to be worth its memory.
  static uint64_t widest(uint64_t count) { return 4 * count + 4096; }

  State state_ = State::stale;
  uint64_t base_ = 0, size_ = 0, room_ = 0;  // size_ is 0 unless dense
  uint64_t count_ = 0, retry_ = 0;           // entries in the map; how many make another try worth while
  std::unique_ptr<int32_t[]> slots_;
};

}  // namespace tavlo
