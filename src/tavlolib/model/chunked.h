// The one container under all maps of this folder: entries in ascending key order. A few stand in the container itself,
// more in an array that grows 4, 8, 16, ...; past kMax it becomes a table of chunks of at most kMax. Keys mostly arrive
// in ascending order, so a key beyond the last is placed without a search; the rest is binary search. Memory is the
// interpreter's, so the lock is needed; nothing throws. Entry is trivial and has key().
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "pyutil/python.h"

namespace tavlo {

template <class Entry, class Key>
class Chunked {
 public:
  struct Spot {  // where a key is, or where it belongs
    uint32_t chunk, pos;
    bool found;
  };

  Chunked() : flat_(inside_) {}
  Chunked(const Chunked&) = delete;
  Chunked& operator=(const Chunked&) = delete;
  ~Chunked() { clear(); }

  int64_t size() const { return isTable() ? table_->total : size_; }
  Entry& at(Spot s) { return isTable() ? table_->chunks[s.chunk].at[s.pos] : flat_[s.pos]; }
  const Entry& at(Spot s) const { return isTable() ? table_->chunks[s.chunk].at[s.pos] : flat_[s.pos]; }

  Spot locate(Key key) const {
    if (isTable()) {
      const Chunk& last = table_->chunks[table_->count - 1];
      return last.last < key ? Spot{table_->count - 1, last.size, false} : locateInTable(key);
    }
    if (size_ == 0) return {0, 0, false};
    const Key last = flat_[size_ - 1].key();
    if (last < key) return {0, size_, false};
    const uint32_t pos = position(flat_, size_, last, key);
    return {0, pos, flat_[pos].key() == key};
  }

  // Adds an entry whose key is beyond the last where that takes no more than storing it; false, with nothing changed,
  // otherwise. The common case of insert, without its calls.
  bool append(const Entry& entry) {
    const Key key = entry.key();
    if (!isTable()) {
      if (size_ == room_ || (size_ > 0 && !(flat_[size_ - 1].key() < key))) return false;
      flat_[size_++] = entry;
      return true;
    }
    Chunk& chunk = table_->chunks[table_->count - 1];
    if (!(chunk.last < key) || chunk.size == chunk.room) return false;
    chunk.at[chunk.size++] = entry;
    chunk.last = key;
    ++table_->total;
    return true;
  }

  // Places the entry at a spot that locate() gave for its key. False, with nothing changed, when memory is short.
  bool insert(Spot s, const Entry& entry) {
    if (!isTable()) {
      if (size_ == room_) return growAndInsert(s, entry);
      put(flat_, size_++, s.pos, entry);
      return true;
    }
    Chunk& chunk = table_->chunks[s.chunk];
    if (chunk.size == chunk.room) return growAndInsert(s, entry);
    if (s.pos == chunk.size) chunk.last = entry.key();
    put(chunk.at, chunk.size++, s.pos, entry);
    ++table_->total;
    return true;
  }

  void erase(Spot s) {
    if (!isTable()) {
      close(flat_, --size_, s.pos);
      if (size_ == 0) clear();
      return;
    }
    Chunk& chunk = table_->chunks[s.chunk];
    --table_->total;
    close(chunk.at, --chunk.size, s.pos);
    if (chunk.size == 0) {
      dropChunk(s.chunk);
      return;
    }
    if (s.pos == chunk.size) chunk.last = chunk.at[chunk.size - 1].key();
    if (chunk.size < kMerge && table_->count > 1) mergeSmall(s.chunk);
  }

  // Calls fn(entry) in ascending order until it returns false; returns whether it got to the end.
  template <class Fn>
  bool each(Fn&& fn) const {
    if (!isTable()) return eachOf(flat_, size_, fn);
    for (uint32_t c = 0; c < table_->count; ++c)
      if (!eachOf(table_->chunks[c].at, table_->chunks[c].size, fn)) return false;
    return true;
  }
  template <class Fn>
  void eachMutable(Fn&& fn) {
    const auto call = [&](Entry& e) { return fn(e), true; };
    if (!isTable()) {
      eachOf(flat_, size_, call);
      return;
    }
    for (uint32_t c = 0; c < table_->count; ++c) eachOf(table_->chunks[c].at, table_->chunks[c].size, call);
  }

  // Keeps those entries for which keep(entry) is true; it may change anything but their order. Can't fail.
  template <class Fn>
  void filter(Fn&& keep) {
    if (!isTable()) {
      size_ = filterArray(flat_, size_, keep);
      if (size_ == 0) clear();
      return;
    }
    uint32_t kept_chunks = 0;
    table_->total = 0;
    for (uint32_t c = 0; c < table_->count; ++c) {
      Chunk chunk = table_->chunks[c];
      chunk.size = filterArray(chunk.at, chunk.size, keep);
      table_->total += chunk.size;
      if (chunk.size == 0) {
        PyMem_Free(chunk.at);
        continue;
      }
      chunk.last = chunk.at[chunk.size - 1].key();
      table_->chunks[kept_chunks++] = chunk;
    }
    table_->count = kept_chunks;
    if (kept_chunks == 0) clear();
  }

  // The entry at a position and the position after it; null at the end. Positions start at 0.
  const Entry* step(uint64_t* position) const {
    const auto c = static_cast<uint32_t>(*position >> kPosBits);
    const auto i = static_cast<uint32_t>(*position & ((1U << kPosBits) - 1));
    if (c >= (isTable() ? table_->count : 1)) return nullptr;
    const Entry* at = isTable() ? table_->chunks[c].at : flat_;
    const uint32_t size = isTable() ? table_->chunks[c].size : size_;
    if (i >= size) return nullptr;
    *position = i + 1 < size ? *position + 1 : (static_cast<uint64_t>(c) + 1) << kPosBits;
    return &at[i];
  }

  // Makes this empty container a copy, packed tightly. False, and empty, when memory is short.
  bool copyFrom(const Chunked& other) {
    if (!other.isTable()) {
      if (other.size_ > kInside && !growFlat(other.size_)) return false;
      std::memcpy(flat_, other.flat_, other.size_ * sizeof(Entry));
      size_ = other.size_;
      return true;
    }
    auto* table = static_cast<Table*>(PyMem_Malloc(sizeof(Table)));
    if (!table) return false;
    *table = {};
    room_ = 0;
    table_ = table;
    if (!growTable(other.table_->count)) return clear(), false;
    for (uint32_t c = 0; c < other.table_->count; ++c) {
      const Chunk& from = other.table_->chunks[c];
      Chunk& to = table_->chunks[c];
      to = Chunk{};
      if (!grow(to, from.size)) return clear(), false;
      std::memcpy(to.at, from.at, from.size * sizeof(Entry));
      to.size = from.size;
      to.last = from.last;
      ++table_->count;
      table_->total += from.size;
    }
    return true;
  }

  void clear() {
    if (isTable()) {
      for (uint32_t c = 0; c < table_->count; ++c) PyMem_Free(table_->chunks[c].at);
      PyMem_Free(table_->chunks);
      PyMem_Free(table_);
    } else if (flat_ != inside_) {
      PyMem_Free(flat_);
    }
    flat_ = inside_;
    size_ = 0;
    room_ = kInside;
  }

 private:
  static_assert(std::is_trivially_copyable_v<Entry> && std::is_trivially_default_constructible_v<Entry>);
  struct Chunk {
    Entry* at = nullptr;
    Key last{};  // key of the last entry
    uint32_t size = 0, room = 0;
  };
  struct Table {
    Chunk* chunks;
    uint32_t count, room;  // of the chunks; count > 0
    int64_t total;
  };
  static constexpr uint32_t kInside = 2, kMax = 512, kMerge = 64, kNextChunk = 64;
  static constexpr int kPosBits = 10;
  static_assert(kMax < (1U << kPosBits));

  bool isTable() const { return room_ == 0; }

  static void put(Entry* at, uint32_t size, uint32_t pos, const Entry& entry) {
    if (pos < size) std::memmove(static_cast<void*>(at + pos + 1), at + pos, (size - pos) * sizeof(Entry));
    at[pos] = entry;
  }
  static void close(Entry* at, uint32_t size, uint32_t pos) {  // size: without the entry at pos
    std::memmove(static_cast<void*>(at + pos), at + pos + 1, (size - pos) * sizeof(Entry));
  }
  template <class E, class Fn>
  static bool eachOf(E* at, uint32_t size, Fn&& fn) {
    for (uint32_t i = 0; i < size; ++i)
      if (!fn(at[i])) return false;
    return true;
  }
  template <class Fn>
  static uint32_t filterArray(Entry* at, uint32_t size, Fn&& keep) {
    uint32_t kept = 0;
    for (uint32_t i = 0; i < size; ++i)
      if (keep(at[i])) at[kept++] = at[i];
    return kept;
  }

  // Of a key that is not beyond the last.
  [[gnu::noinline]] Spot locateInTable(Key key) const {
    const Chunk* chunks = table_->chunks;
    const uint32_t count = table_->count;
    uint32_t c = 0;
    for (uint32_t high = count - 1; c < high;) {
      const uint32_t mid = (c + high) / 2;
      if (chunks[mid].last < key)
        c = mid + 1;
      else
        high = mid;
    }
    const uint32_t pos = position(chunks[c].at, chunks[c].size, chunks[c].last, key);
    return {c, pos, chunks[c].at[pos].key() == key};
  }

  // The first entry not below the key; the key is not beyond the last. Reading a variable's key is a cache miss in a
  // large model, and keys are mostly dense: a guess by proportion, then growing steps around it, reads few of them.
  static uint32_t position(const Entry* at, uint32_t size, Key last, Key key) {
    uint32_t low = 0, high = size - 1;  // the answer is in [low, high]
    if (high > 8) {
      const Key first = at[0].key();
      if (!(first < key)) return 0;
      const double part = (static_cast<double>(key) - static_cast<double>(first)) /
                          (static_cast<double>(last) - static_cast<double>(first));
      const uint32_t guess = part > 0 && part < 1 ? static_cast<uint32_t>(part * high) : high - 1;
      low = 1;
      if (at[guess].key() < key) {
        low = guess + 1;
        for (uint32_t step = 1; guess + step < high; step *= 4) {
          if (!(at[guess + step].key() < key)) {
            high = guess + step;
            break;
          }
          low = guess + step + 1;
        }
      } else {
        high = guess;
        for (uint32_t step = 1; step < guess; step *= 4) {
          if (at[guess - step].key() < key) {
            low = guess - step + 1;
            break;
          }
          high = guess - step;
        }
      }
    }
    while (low < high) {
      const uint32_t mid = (low + high) / 2;
      if (at[mid].key() < key)
        low = mid + 1;
      else
        high = mid;
    }
    return low;
  }

  [[gnu::noinline]] bool growAndInsert(Spot s, const Entry& entry) {
    const bool grown = isTable()       ? makeRoom(s)
                       : room_ == kMax ? becomeTable() && makeRoom(s)
                                       : growFlat(2 * room_ < kMax ? 2 * room_ : kMax);
    return grown && insert(s, entry);
  }

  bool growFlat(uint32_t room) {
    const bool inside = flat_ == inside_;
    auto* p = static_cast<Entry*>(PyMem_Realloc(inside ? nullptr : flat_, room * sizeof(Entry)));
    if (!p) return false;
    if (inside) std::memcpy(static_cast<void*>(p), inside_, size_ * sizeof(Entry));
    flat_ = p;
    room_ = room;
    return true;
  }

  bool becomeTable() {  // of one full chunk
    auto* table = static_cast<Table*>(PyMem_Malloc(sizeof(Table)));
    auto* chunks = static_cast<Chunk*>(PyMem_Malloc(kFirstChunks * sizeof(Chunk)));
    if (!table || !chunks) {
      PyMem_Free(table);
      PyMem_Free(chunks);
      return false;
    }
    chunks[0] = {flat_, flat_[size_ - 1].key(), size_, room_};
    *table = {chunks, 1, kFirstChunks, size_};
    table_ = table;
    room_ = 0;
    return true;
  }

  static bool grow(Chunk& chunk, uint32_t room) {
    void* p = PyMem_Realloc(chunk.at, room * sizeof(Entry));
    if (!p) return false;
    chunk.at = static_cast<Entry*>(p);
    chunk.room = room;
    return true;
  }

  bool growTable(uint32_t room) {
    if (room <= table_->room) return true;
    uint32_t want = table_->room ? table_->room : kFirstChunks;
    while (want < room) want *= 2;
    auto* p = static_cast<Chunk*>(PyMem_Realloc(table_->chunks, want * sizeof(Chunk)));
    if (!p) return false;
    table_->chunks = p;
    table_->room = want;
    return true;
  }

  void openSlot(uint32_t c) {  // the table has room
    Chunk* chunks = table_->chunks;
    std::memmove(static_cast<void*>(chunks + c + 1), chunks + c, (table_->count - c) * sizeof(Chunk));
    chunks[c] = Chunk{};
    ++table_->count;
  }

  bool makeRoom(Spot& s) {
    Chunk& full = table_->chunks[s.chunk];
    if (full.room < kMax) return grow(full, full.room * 2 < kMax ? full.room * 2 : kMax);
    if (!growTable(table_->count + 1)) return false;
    Chunk fresh;
    const uint32_t last = table_->count - 1;
    if (s.chunk == last && s.pos == table_->chunks[last].size) {  // keys arrive in order: keep the full chunk full
      if (!grow(fresh, kNextChunk)) return false;
      openSlot(last + 1);
      table_->chunks[last + 1] = fresh;
      s = {last + 1, 0, false};
      return true;
    }
    if (!grow(fresh, kMax)) return false;
    openSlot(s.chunk + 1);
    Chunk &low = table_->chunks[s.chunk], &high = table_->chunks[s.chunk + 1];
    high = fresh;
    high.size = low.size / 2;
    low.size -= high.size;
    std::memcpy(static_cast<void*>(high.at), low.at + low.size, high.size * sizeof(Entry));
    high.last = low.last;
    low.last = low.at[low.size - 1].key();
    if (s.pos > low.size) s = {s.chunk + 1, s.pos - low.size, false};
    return true;
  }

  void dropChunk(uint32_t c) {
    Chunk* chunks = table_->chunks;
    PyMem_Free(chunks[c].at);
    --table_->count;
    std::memmove(static_cast<void*>(chunks + c), chunks + c + 1, (table_->count - c) * sizeof(Chunk));
    if (table_->count == 0) clear();
  }

  void mergeSmall(uint32_t c) {  // keeps deletions in any order from leaving many nearly empty chunks
    if (c + 1 == table_->count) --c;
    Chunk &low = table_->chunks[c], &high = table_->chunks[c + 1];
    const uint32_t together = low.size + high.size;
    if (together > kMax / 2 || (together > low.room && !grow(low, kMax))) return;
    std::memcpy(static_cast<void*>(low.at + low.size), high.at, high.size * sizeof(Entry));
    low.size = together;
    low.last = high.last;
    dropChunk(c + 1);
  }

  static constexpr uint32_t kFirstChunks = 4;

  union {
    Entry* flat_;
    Table* table_;  // when room_ is 0
  };
  uint32_t size_ = 0, room_ = kInside;  // of the flat array
  Entry inside_[kInside];
};

}  // namespace tavlo
