#include "problem/entities/key_table.h"

#include <algorithm>
#include <new>

namespace tavlo {

void KeyTable::drop() noexcept {
  state_ = State::stale;
  base_ = size_ = room_ = 0;
  slots_.reset();
}

bool KeyTable::reserve(uint64_t size) noexcept {
  if (size <= room_) return true;
  const uint64_t room = std::max(size, 2 * room_);
  std::unique_ptr<int32_t[]> larger(new (std::nothrow) int32_t[room]);
  if (!larger) return false;
  std::copy_n(slots_.get(), size_, larger.get());
  slots_ = std::move(larger);
  room_ = room;
  return true;
}

void KeyTable::build(const rowcolmap* map) noexcept {
  drop();
  uint64_t first = UINT64_MAX, last = 0;
  count_ = 0;
  rowcolmap_each(map, [&](uint64_t key, int64_t) {
    first = std::min(first, key);
    last = std::max(last, key);
    ++count_;
    return true;
  });
  retry_ = 2 * count_ + 64;
  const uint64_t span = count_ == 0 ? 0 : last - first + 1;
  if (span > widest(count_) || !reserve(span)) {
    state_ = State::sparse;
    return;
  }
  state_ = State::dense;
  base_ = count_ == 0 ? 0 : first;
  size_ = span;
  std::fill_n(slots_.get(), size_, -1);
  rowcolmap_each(map, [&](uint64_t key, int64_t slot) {
    slots_[key - base_] = static_cast<int32_t>(slot);
    return true;
  });
}

int64_t KeyTable::findOther(const rowcolmap* map, uint64_t key) {
  if (state_ == State::stale) {
    build(map);
    if (key - base_ < size_) return slots_[key - base_];
  }
  if (state_ == State::dense) return -1;
  int64_t slot = -1;
  return rowcolmap_get(map, key, &slot) == 0 ? slot : -1;
}

void KeyTable::appended(const uint64_t* keys, int64_t n, int32_t slot) noexcept {
  count_ += static_cast<uint64_t>(n);
  for (int64_t i = 0; i < n && state_ != State::stale; ++i) appended(keys[i], slot + static_cast<int32_t>(i));
}

void KeyTable::appended(uint64_t key, int32_t slot) noexcept {
  if (state_ == State::sparse) {
    if (count_ >= retry_) state_ = State::stale;
    return;
  }
  if (size_ == 0) base_ = key;
  const uint64_t at = key - base_;  // wraps for a key below the base
  if (at >= widest(count_) || !reserve(at + 1)) {
    drop();
    state_ = State::sparse;
    retry_ = 2 * count_ + 64;
    return;
  }
  if (at >= size_) {
    std::fill(slots_.get() + size_, slots_.get() + at + 1, -1);
    size_ = at + 1;
  }
  slots_[at] = slot;
}

void KeyTable::removed(uint64_t key) noexcept {
  --count_;
  if (state_ == State::dense && key - base_ < size_) slots_[key - base_] = -1;
}

}  // namespace tavlo
