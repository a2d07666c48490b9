// The one container under all maps of this folder: entries in ascending key order, kept in chunks of at most kMax.
// A small container is a single flat array that grows 4, 8, 16, ...; past kMax it becomes a table of chunks. Keys
// mostly arrive in ascending order, so a key beyond the last is placed without a search; the rest is binary search.
// Memory is the interpreter's, so the lock is needed; nothing throws. Entry is trivially copyable and has key().
#pragma once

#include <cstdint>
#include <cstring>

#include "pyutil/python.h"

namespace tavlo {

template <class Entry, class Key>
class Chunked {
 public:
  struct Spot {  // where a key is, or where it belongs
    uint32_t chunk, pos;
    bool found;
  };

  Chunked() = default;
  Chunked(const Chunked&) = delete;
  Chunked& operator=(const Chunked&) = delete;
  ~Chunked() { clear(); }

  int64_t size() const { return total_; }
  Entry& at(Spot s) { return table_[s.chunk].at[s.pos]; }
  const Entry& at(Spot s) const { return table_[s.chunk].at[s.pos]; }

  Spot locate(Key key) const {
    if (count_ == 0) return {0, 0, false};
    const Chunk& last = table_[count_ - 1];
    if (last.last < key) return {count_ - 1, last.size, false};
    uint32_t c = 0;
    for (uint32_t high = count_ - 1; c < high;) {
      const uint32_t mid = (c + high) / 2;
      if (table_[mid].last < key)
        c = mid + 1;
      else
        high = mid;
    }
    const Chunk& chunk = table_[c];
    const uint32_t pos = position(chunk, key);
    return {c, pos, chunk.at[pos].key() == key};
  }

  // Adds an entry whose key is beyond the last where that takes no more than storing it; false, with nothing changed,
  // otherwise. The common case of insert, without its calls.
  bool append(const Entry& entry) {
    if (count_ == 0) return false;
    Chunk& chunk = table_[count_ - 1];
    const Key key = entry.key();
    if (!(chunk.last < key) || chunk.size == chunk.room) return false;
    chunk.at[chunk.size++] = entry;
    chunk.last = key;
    ++total_;
    return true;
  }

  // Places the entry at a spot that locate() gave for its key. False, with nothing changed, when memory is short.
  bool insert(Spot s, const Entry& entry) {
    if (count_ == 0) {
      if (!grow(one_, kFirst)) return false;
      one_.size = 0;
      count_ = 1;
    } else if (table_[s.chunk].size == table_[s.chunk].room && !makeRoom(s)) {
      return false;
    }
    Chunk& chunk = table_[s.chunk];
    std::memmove(chunk.at + s.pos + 1, chunk.at + s.pos, (chunk.size - s.pos) * sizeof(Entry));
    chunk.at[s.pos] = entry;
    if (s.pos == chunk.size) chunk.last = entry.key();
    ++chunk.size;
    ++total_;
    return true;
  }

  void erase(Spot s) {
    Chunk& chunk = table_[s.chunk];
    --chunk.size;
    --total_;
    std::memmove(chunk.at + s.pos, chunk.at + s.pos + 1, (chunk.size - s.pos) * sizeof(Entry));
    if (chunk.size == 0) {
      dropChunk(s.chunk);
      return;
    }
    if (s.pos == chunk.size) chunk.last = chunk.at[chunk.size - 1].key();
    if (chunk.size < kMerge && count_ > 1) mergeSmall(s.chunk);
  }

  // Calls fn(entry) in ascending order until it returns false; returns whether it got to the end.
  template <class Fn>
  bool each(Fn&& fn) const {
    for (uint32_t c = 0; c < count_; ++c) {
      const Chunk& chunk = table_[c];
      for (uint32_t i = 0; i < chunk.size; ++i)
        if (!fn(chunk.at[i])) return false;
    }
    return true;
  }
  template <class Fn>
  void eachMutable(Fn&& fn) {
    for (uint32_t c = 0; c < count_; ++c)
      for (uint32_t i = 0; i < table_[c].size; ++i) fn(table_[c].at[i]);
  }

  // Keeps those entries for which keep(entry) is true; it may change anything but their order. Can't fail.
  template <class Fn>
  void filter(Fn&& keep) {
    uint32_t kept_chunks = 0;
    total_ = 0;
    for (uint32_t c = 0; c < count_; ++c) {
      Chunk chunk = table_[c];
      uint32_t kept = 0;
      for (uint32_t i = 0; i < chunk.size; ++i)
        if (keep(chunk.at[i])) chunk.at[kept++] = chunk.at[i];
      chunk.size = kept;
      total_ += kept;
      if (kept == 0) {
        PyMem_Free(chunk.at);
        continue;
      }
      chunk.last = chunk.at[kept - 1].key();
      table_[kept_chunks++] = chunk;
    }
    count_ = kept_chunks;
    if (count_ == 0) clear();
  }

  // The entry at a position and the position after it; null at the end. Positions start at 0.
  const Entry* step(uint64_t* position) const {
    const auto c = static_cast<uint32_t>(*position >> kPosBits);
    const auto i = static_cast<uint32_t>(*position & ((1U << kPosBits) - 1));
    if (c >= count_ || i >= table_[c].size) return nullptr;
    *position = i + 1 < table_[c].size ? *position + 1 : (static_cast<uint64_t>(c) + 1) << kPosBits;
    return &table_[c].at[i];
  }

  // Makes this empty container a copy, packed tightly. False, and empty, when memory is short.
  bool copyFrom(const Chunked& other) {
    if (other.count_ == 0) return true;
    if (other.count_ > 1 && !growTable(other.count_)) return false;
    for (uint32_t c = 0; c < other.count_; ++c) {
      const Chunk& from = other.table_[c];
      Chunk& to = table_[c];
      to = Chunk{};
      if (!grow(to, from.size < kFirst ? kFirst : from.size)) {
        clear();
        return false;
      }
      std::memcpy(to.at, from.at, from.size * sizeof(Entry));
      to.size = from.size;
      to.last = from.last;
      ++count_;
      total_ += from.size;
    }
    return true;
  }

  void clear() {
    for (uint32_t c = 0; c < count_; ++c) PyMem_Free(table_[c].at);
    if (table_ != &one_) PyMem_Free(table_);
    table_ = &one_;
    one_ = Chunk{};
    count_ = table_room_ = 0;
    total_ = 0;
  }

 private:
  struct Chunk {
    Entry* at = nullptr;
    Key last{};  // key of the last entry
    uint32_t size = 0, room = 0;
  };
  static constexpr uint32_t kFirst = 4, kMax = 512, kMerge = 64, kNextChunk = 64;
  static constexpr int kPosBits = 10;
  static_assert(kMax < (1U << kPosBits));

  // The first entry not below the key; the key is not beyond the last. Reading a variable's key is a cache miss in a
  // large model, and keys are mostly dense: a guess by proportion, then growing steps around it, reads few of them.
  static uint32_t position(const Chunk& chunk, Key key) {
    uint32_t low = 0, high = chunk.size - 1;  // the answer is in [low, high]
    if (high > 8) {
      const Key first = chunk.at[0].key();
      if (!(first < key)) return 0;
      const double part = (static_cast<double>(key) - static_cast<double>(first)) /
                          (static_cast<double>(chunk.last) - static_cast<double>(first));
      const uint32_t guess = part > 0 && part < 1 ? static_cast<uint32_t>(part * high) : high - 1;
      low = 1;
      if (chunk.at[guess].key() < key) {
        low = guess + 1;
        for (uint32_t step = 1; guess + step < high; step *= 4) {
          if (!(chunk.at[guess + step].key() < key)) {
            high = guess + step;
            break;
          }
          low = guess + step + 1;
        }
      } else {
        high = guess;
        for (uint32_t step = 1; step < guess; step *= 4) {
          if (chunk.at[guess - step].key() < key) {
            low = guess - step + 1;
            break;
          }
          high = guess - step;
        }
      }
    }
    while (low < high) {
      const uint32_t mid = (low + high) / 2;
      if (chunk.at[mid].key() < key)
        low = mid + 1;
      else
        high = mid;
    }
    return low;
  }

  static bool grow(Chunk& chunk, uint32_t room) {
    void* p = PyMem_Realloc(chunk.at, room * sizeof(Entry));
    if (!p) return false;
    chunk.at = static_cast<Entry*>(p);
    chunk.room = room;
    return true;
  }

  bool growTable(uint32_t room) {
    if (room <= table_room_) return true;
    uint32_t want = table_room_ ? table_room_ : 4;
    while (want < room) want *= 2;
    auto* p = static_cast<Chunk*>(PyMem_Realloc(table_ == &one_ ? nullptr : table_, want * sizeof(Chunk)));
    if (!p) return false;
    if (table_ == &one_) p[0] = one_;
    table_ = p;
    table_room_ = want;
    return true;
  }

  void openSlot(uint32_t c) {  // the table has room
    std::memmove(static_cast<void*>(table_ + c + 1), table_ + c, (count_ - c) * sizeof(Chunk));
    table_[c] = Chunk{};
    ++count_;
  }

  bool makeRoom(Spot& s) {
    Chunk& full = table_[s.chunk];
    if (full.room < kMax) return grow(full, full.room * 2 < kMax ? full.room * 2 : kMax);
    if (!growTable(count_ + 1)) return false;
    Chunk fresh;
    if (s.chunk == count_ - 1 && s.pos == table_[s.chunk].size) {  // keys arrive in order: keep the full chunk full
      if (!grow(fresh, kNextChunk)) return false;
      openSlot(count_);
      table_[count_ - 1] = fresh;
      s = {count_ - 1, 0, false};
      return true;
    }
    if (!grow(fresh, kMax)) return false;
    openSlot(s.chunk + 1);
    Chunk &low = table_[s.chunk], &high = table_[s.chunk + 1];
    high = fresh;
    high.size = low.size / 2;
    low.size -= high.size;
    std::memcpy(high.at, low.at + low.size, high.size * sizeof(Entry));
    high.last = low.last;
    low.last = low.at[low.size - 1].key();
    if (s.pos > low.size) s = {s.chunk + 1, s.pos - low.size, false};
    return true;
  }

  void dropChunk(uint32_t c) {
    PyMem_Free(table_[c].at);
    --count_;
    std::memmove(static_cast<void*>(table_ + c), table_ + c + 1, (count_ - c) * sizeof(Chunk));
    if (count_ == 0) clear();
  }

  void mergeSmall(uint32_t c) {  // keeps deletions in any order from leaving many nearly empty chunks
    if (c + 1 == count_) --c;
    Chunk &low = table_[c], &high = table_[c + 1];
    const uint32_t together = low.size + high.size;
    if (together > kMax / 2 || (together > low.room && !grow(low, kMax))) return;
    std::memcpy(low.at + low.size, high.at, high.size * sizeof(Entry));
    low.size = together;
    low.last = high.last;
    dropChunk(c + 1);
  }

  Chunk one_;
  Chunk* table_ = &one_;  // &one_ until a second chunk is needed
  uint32_t count_ = 0, table_room_ = 0;
  int64_t total_ = 0;
};

}  // namespace tavlo
