#include "problem/batch.h"

#include <algorithm>

namespace tavlo {

int KeySet::remember(uint64_t key) {
  if (rowcolmap_set(seen_, key, 0) == 0) return 0;
  PyErr_NoMemory();
  return -1;
}

int KeySet::add(uint64_t key, bool* fresh) {
  if (size_ > 0 && !seen_ && key <= keys_[size_ - 1]) {
    seen_ = rowcolmap_new();
    if (!seen_) return PyErr_NoMemory(), -1;
    for (int64_t i = 0; i < size_; ++i)
      if (remember(keys_[i]) != 0) return -1;
  }
  *fresh = !seen_ || !rowcolmap_has(seen_, key);
  if (!*fresh) return 0;
  if (!keys_.reserve(static_cast<size_t>(size_) + 1) || (seen_ && remember(key) != 0)) return -1;
  keys_[size_++] = key;
  return 0;
}

int Registration::enter(PyObject* objects, const KeySet& keys) {
  keys_ = &keys;
  for (; entered_ < keys.size(); ++entered_)
    if (rowcolmap_set(map_, keys[entered_], old_size_ + entered_) != 0) return PyErr_NoMemory(), -1;
  return PyList_SetSlice(list_, old_size_, old_size_, objects);
}

Registration::~Registration() {
  if (kept_ || !keys_) return;
  ErrorStash failure;
  for (int64_t i = 0; i < entered_; ++i) rowcolmap_del(map_, (*keys_)[i]);
  constexpr Py_ssize_t kWithoutMemory = 8;  // the interpreter removes so many items without allocating
  for (Py_ssize_t size = PyList_GET_SIZE(list_); size > old_size_; size = PyList_GET_SIZE(list_))
    PyList_SetSlice(list_, std::max(old_size_, size - kWithoutMemory), size, nullptr);
}

}  // namespace tavlo
