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
  keys_ = &keys;
  const Py_ssize_t size = PyList_GET_SIZE(list_);
  for (; entered_ < keys.size(); ++entered_)
    if (rowcolmap_set(map_, keys[entered_], size + entered_) != 0) return PyErr_NoMemory(), -1;
  if (PyList_SetSlice(list_, size, size, objects) != 0) return -1;
  listed_ = PyList_GET_SIZE(objects);
  return 0;
}

Registration::~Registration() {
  if (kept_ || !keys_) return;
  ErrorStash failure;
  for (int64_t i = 0; i < entered_; ++i) rowcolmap_del(map_, (*keys_)[i]);
  for (; listed_ > 0; --listed_) {  // without the interpreter's functions, which may need memory
    const Py_ssize_t last = PyList_GET_SIZE(list_) - 1;
    const Ref removed = Ref::steal(PyList_GET_ITEM(list_, last));
    Py_SET_SIZE(reinterpret_cast<PyVarObject*>(list_), last);
  }
}

}  // namespace tavlo
