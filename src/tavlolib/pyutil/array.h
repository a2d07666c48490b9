// Native arrays from the module's default heap, freed on every path. T must be trivially copyable.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "pyutil/memory.h"

namespace tavlo {

template <class T>
class Array {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  Array() = default;
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  Array(Array&& o) noexcept : p_(std::exchange(o.p_, nullptr)), cap_(std::exchange(o.cap_, 0)) {}
  Array& operator=(Array&& o) noexcept {
    std::swap(p_, o.p_);
    std::swap(cap_, o.cap_);
    return *this;
  }
  ~Array() { release(); }

  // Room for n elements; contents up to the smaller size are kept. False, with a Python MemoryError, when there is
  // none.
  bool resize(size_t n) {
    void* p = p_;
    if (n > SIZE_MAX / sizeof(T) ||
        ko_MemoryAllocator_Realloc_Untyped(ko_MemoryAllocator_DefaultHeap, &p, n ? n * sizeof(T) : 1) != 0) {
      noMemory();
      return false;
    }
    p_ = static_cast<T*>(p);
    cap_ = n;
    return true;
  }
  bool reserve(size_t n) {  // at least n, growing by doubling
    if (n <= cap_ && p_) return true;
    size_t want = cap_ ? cap_ : 16;
    while (want < n) want *= 2;
    return resize(want);
  }
  void release() {
    void* p = p_;
    ko_MemoryAllocator_Free_Untyped(ko_MemoryAllocator_DefaultHeap, &p);
    p_ = nullptr;
    cap_ = 0;
  }

  T* data() { return p_; }
  const T* data() const { return p_; }
  T** address() { return &p_; }  // for functions that allocate from the same heap
  size_t capacity() const { return cap_; }
  T& operator[](size_t i) { return p_[i]; }
  const T& operator[](size_t i) const { return p_[i]; }

 private:
  static void noMemory();
  T* p_ = nullptr;
  size_t cap_ = 0;
};

void setNoMemory();  // PyErr_NoMemory, out of line
template <class T>
void Array<T>::noMemory() {
  setNoMemory();
}

}  // namespace tavlo
