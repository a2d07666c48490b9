#include "problem/entities/entries.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <new>

#include "runtime/errors.h"

namespace tavlo {

uint64_t nextEpoch() {
  static uint64_t last = 0;
  return ++last;
}

Entries::Entries(uint64_t (*keyOf)(PyObject*)) : keyOf_(keyOf), map_(rowcolmap_new()), epoch_(nextEpoch()) {}

Entries::~Entries() {
  rowcolmap_free(&map_);
  const Array<PyObject*> objects = std::move(object_);
  for (int64_t slot = 0; slot < slots_; ++slot) Py_XDECREF(objects[static_cast<size_t>(slot)]);
}

bool Entries::reserve(int64_t slots) {
  const auto n = static_cast<size_t>(slots);
  return object_.reserve(n) && alive_.reserve(n / kWordBits + 1) && block_.reserve(n / kBlockSlots + 1);
}

void Entries::enliven(int64_t first, int64_t last) const {
  while (first < last) {
    const auto word = static_cast<size_t>(first / kWordBits), block = static_cast<size_t>(first / kBlockSlots);
    const int64_t bit = first % kWordBits, n = std::min(last - first, kWordBits - bit);
    if (bit == 0) alive_[word] = 0;
    if (first % kBlockSlots == 0) block_[block] = 0;
    alive_[word] |= (n == kWordBits ? ~uint64_t{0} : (uint64_t{1} << n) - 1) << bit;
    block_[block] += static_cast<int32_t>(n);
    first += n;
  }
}

int Entries::append(PyObject* const* objects, const uint64_t* keys, int64_t n) {
  if (!reserve(slots_ + n)) return -1;
  for (int64_t i = 0; i < n; ++i) {
    if (rowcolmap_set(map_, keys[i], slots_ + i) == 0) continue;
    while (i-- > 0) rowcolmap_del(map_, keys[i]);
    PyErr_NoMemory();
    return -1;
  }
  for (int64_t i = 0; i < n; ++i) object_[static_cast<size_t>(slots_ + i)] = newRef(objects[i]);
  table_.appended(keys, n, static_cast<int32_t>(slots_));
  enliven(slots_, slots_ + n);
  slots_ += n;
  live_ += n;
  return 0;
}

int Entries::copyFrom(const Entries& other) {
  if (other.hasHoles()) other.closeHoles();
  rowcolmap* map = nullptr;
  if (other.hasHoles() || rowcolmap_copy(&map, other.map_) != 0) return PyErr_NoMemory(), -1;
  rowcolmap_free(&map_);
  map_ = map;
  if (!reserve(other.live_)) return rowcolmap_clear(map_), -1;
  for (int64_t slot = 0; slot < other.live_; ++slot)
    object_[static_cast<size_t>(slot)] = newRef(other.object_[static_cast<size_t>(slot)]);
  enliven(0, other.live_);
  slots_ = live_ = other.live_;
  return 0;
}

bool Entries::isDue(int64_t lookups) const {
  constexpr int64_t kCost = 16;  // of a lookup past holes, in slots that are moved in the same time
  if (!hasHoles()) return false;
  spent_ += kCost * lookups;
  return spent_ > slots_;
}

int64_t Entries::findPastHoles(uint64_t key) const {
  if (isDue(1)) closeHoles();
  const int64_t slot = table_.find(map_, key);
  return hasHoles() ? positionOf(slot) : slot;
}

int64_t Entries::positionOf(int64_t slot) const {
  const int64_t block = slot / kBlockSlots, word = slot / kWordBits;
  int64_t before = 0;
  for (int64_t b = 0; b < block; ++b) before += block_[static_cast<size_t>(b)];
  for (int64_t w = block * (kBlockSlots / kWordBits); w < word; ++w)
    before += std::popcount(alive_[static_cast<size_t>(w)]);
  return before + std::popcount(alive_[static_cast<size_t>(word)] & ((uint64_t{1} << slot % kWordBits) - 1));
}

int64_t Entries::slotOf(int64_t position) const {
  if (!hasHoles()) return position;
  size_t block = 0;
  for (; position >= block_[block]; ++block) position -= block_[block];
  size_t word = block * (kBlockSlots / kWordBits);
  for (; position >= std::popcount(alive_[word]); ++word) position -= std::popcount(alive_[word]);
  uint64_t bits = alive_[word];
  for (; position > 0; --position) bits &= bits - 1;
  return static_cast<int64_t>(word) * kWordBits + std::countr_zero(bits);
}

PyObject* Entries::at(int64_t position) const {
  if (isDue(1)) closeHoles();
  return object_[static_cast<size_t>(slotOf(position))];
}

Ref Entries::list(int64_t first, int64_t n) const {
  const uint64_t epoch = epoch_;
  Ref result = Ref::steal(PyList_New(static_cast<Py_ssize_t>(n)));
  if (!result) return {};
  if (epoch != epoch_) {  // by code of a garbage collection
    modelError("The problem was changed while its objects were being listed");
    return {};
  }
  for (int64_t i = 0, slot = n > 0 ? slotOf(first) : 0; i < n; ++slot)
    if (PyObject* o = object_[static_cast<size_t>(slot)]) PyList_SET_ITEM(result.get(), i++, newRef(o));
  return result;
}

PyObject* Entries::take(int64_t slot) {
  const auto at = static_cast<size_t>(slot);
  PyObject* object = object_[at];
  int64_t known = -1;
  uint64_t key = keyOf_(object);
  if (rowcolmap_get(map_, key, &known) != 0 || known != slot)  // a second __init__ has given the object another key
    rowcolmap_each(map_, [&](uint64_t k, int64_t s) { return s != slot || (key = k, false); });
  rowcolmap_del(map_, key);
  table_.removed(key);
  object_[at] = nullptr;
  alive_[at / kWordBits] &= ~(uint64_t{1} << at % kWordBits);
  --block_[at / kBlockSlots];
  --live_;
  while (slots_ > 0 && !object_[static_cast<size_t>(slots_ - 1)]) --slots_;
  return object;
}

void Entries::remove(const int32_t* positions, int64_t n, PyObject** gone) {
  epoch_ = nextEpoch();
  if (isDue(n)) closeHoles();
  const bool direct = !hasHoles();
  for (int64_t i = n; i-- > 0;) gone[i] = take(direct ? positions[i] : slotOf(positions[i]));
  constexpr int64_t kFew = 4096;
  if (slots_ > 2 * live_ + kFew) closeHoles();
}

void Entries::withdraw(const uint64_t* keys, int64_t n) {
  for (int64_t i = n, slot = 0; i-- > 0;)
    if (rowcolmap_get(map_, keys[i], &slot) == 0) Py_DECREF(take(slot));
}

void Entries::closeHoles() const {
  spent_ = 0;
  const std::unique_ptr<int32_t[]> moved(new (std::nothrow) int32_t[static_cast<size_t>(slots_)]);
  if (!moved) return;
  size_t to = 0;
  for (size_t from = 0; from < static_cast<size_t>(slots_); ++from) {
    moved[from] = object_[from] ? static_cast<int32_t>(to) : -1;
    if (object_[from]) object_[to++] = object_[from];
  }
  slots_ = static_cast<int64_t>(to);
  enliven(0, slots_);
  rowcolmap_renumber(map_, moved.get());
  table_.drop();
}

int Entries::traverse(visitproc visit, void* arg) const {
  for (int64_t slot = 0; slot < slots_; ++slot) Py_VISIT(object_[static_cast<size_t>(slot)]);
  return 0;
}

}  // namespace tavlo
