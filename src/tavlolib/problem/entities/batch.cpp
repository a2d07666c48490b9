#include "problem/entities/batch.h"

namespace tavlo {

int KeySet::remember(uint64_t key) {
  if (indexset_add(seen_, static_cast<int64_t>(key)) == 0) return 0;
  PyErr_NoMemory();
  return -1;
}

int KeySet::add(uint64_t key, bool* fresh) {
  if (size_ > 0 && !seen_ && key <= keys_[size_ - 1]) {
    seen_ = indexset_new();
    if (!seen_) return PyErr_NoMemory(), -1;
    for (int64_t i = 0; i < size_; ++i)
      if (remember(keys_[i]) != 0) return -1;
  }
  *fresh = !seen_ || !indexset_has(seen_, static_cast<int64_t>(key));
  if (!*fresh) return 0;
  if (!keys_.reserve(static_cast<size_t>(size_) + 1) || (seen_ && remember(key) != 0)) return -1;
  keys_[size_++] = key;
  return 0;
}

int Registration::enter(PyObject* objects, const KeySet& keys) {
  if (entries_.append(PySequence_Fast_ITEMS(objects), keys.data(), keys.size()) != 0) return -1;
  keys_ = &keys;
  return 0;
}

Registration::~Registration() {
  if (!keys_) return;
  ErrorStash failure;
  entries_.withdraw(keys_->data(), keys_->size());
}

}  // namespace tavlo
