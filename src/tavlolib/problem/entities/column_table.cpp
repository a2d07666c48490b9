#include "problem/entities/column_table.h"

#include <algorithm>
#include <new>

namespace tavlo {

void ColumnTable::drop() noexcept {
  state_ = State::stale;
  base_ = size_ = room_ = 0;
  columns_.reset();
}

bool ColumnTable::reserve(uint64_t size) noexcept {
  if (size <= room_) return true;
  const uint64_t room = std::max(size, 2 * room_);
  std::unique_ptr<int32_t[]> larger(new (std::nothrow) int32_t[room]);
  if (!larger) return false;
  std::copy_n(columns_.get(), size_, larger.get());
  columns_ = std::move(larger);
  room_ = room;
  return true;
}

void ColumnTable::build(const rowcolmap* map) noexcept {
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
  std::fill_n(columns_.get(), size_, -1);
  rowcolmap_each(map, [&](uint64_t key, int64_t column) {
    columns_[key - base_] = static_cast<int32_t>(column);
    return true;
  });
}

int64_t ColumnTable::findOther(const rowcolmap* map, uint64_t key) {
  if (state_ == State::stale) {
    build(map);
    if (key - base_ < size_) return columns_[key - base_];
  }
  if (state_ == State::dense) return -1;
  int64_t column = -1;
  return rowcolmap_get(map, key, &column) == 0 ? column : -1;
}

void ColumnTable::appended(uint64_t key, int32_t column) noexcept {
  ++count_;
  if (state_ == State::stale) return;
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
    std::fill(columns_.get() + size_, columns_.get() + at + 1, -1);
    size_ = at + 1;
  }
  columns_[at] = column;
}

}  // namespace tavlo
