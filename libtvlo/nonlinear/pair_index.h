// Numbers of pairs of indices: a hash table with open addressing, as dense Hessians have millions of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace tvlo {

class PairIndex {
 public:
  size_t size() const { return size_; }

  // The number of a pair, which is -1 when it is new: the caller then sets it before the next call.
  int& at(int high, int low) {
    if (2 * (size_ + 1) > slots_.size()) grow();
    Slot& slot = find(static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32 | static_cast<uint32_t>(low));
    if (slot.number < 0) ++size_;
    return slot.number;
  }

  void clear() {
    slots_ = {};
    size_ = 0;
  }

 private:
  struct Slot {
    uint64_t key = 0;
    int number = -1;
  };

  Slot& find(uint64_t key) {
    const size_t mask = slots_.size() - 1;
    size_t at = static_cast<size_t>((key * 0x9e3779b97f4a7c15ULL) >> 20) & mask;
    while (slots_[at].number >= 0 && slots_[at].key != key) at = (at + 1) & mask;
    slots_[at].key = key;
    return slots_[at];
  }

  void grow() {
    std::vector<Slot> old(slots_.empty() ? 64 : 2 * slots_.size());
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.number >= 0) find(slot.key).number = slot.number;
    }
  }

  std::vector<Slot> slots_;
  size_t size_ = 0;
};

}  // namespace tvlo
