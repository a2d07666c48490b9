#include <cstring>

#include "pyutil/memory.h"
#include "pyutil/ref.h"
#include "runtime/env.h"

namespace tavlo {
namespace {

bool isStrSubclass(PyObject* obj) { return PyUnicode_Check(obj) && !PyUnicode_CheckExact(obj); }

}  // namespace

const char* pyStrToStr(PyObject* obj, char** copy, PyObject** temp) {
  if (temp) *temp = nullptr;
  if (!obj) return nullptr;
  Py_ssize_t length = 0;
  const char* text = PyUnicode_AsUTF8AndSize(obj, &length);
  if (!text && PyBytes_Check(obj)) {
    PyErr_Clear();
    text = PyBytes_AS_STRING(obj);
    length = PyBytes_GET_SIZE(obj);
  } else if (!text && temp && isStrSubclass(obj)) {
    PyErr_Clear();
    *temp = PyUnicode_AsASCIIString(obj);
    if (!*temp) return nullptr;
    text = PyBytes_AS_STRING(*temp);
    length = PyBytes_GET_SIZE(*temp);
  }
  if (text && copy) {
    void* block = *copy;
    const size_t size = static_cast<size_t>(length) + 1;
    if (ko_MemoryAllocator_Realloc_Untyped(ko_MemoryAllocator_DefaultHeap, &block, size) != 0) {
      PyErr_NoMemory();
      return nullptr;
    }
    *copy = static_cast<char*>(block);
    std::memcpy(*copy, text, size);
  }
  return text;
}

Py_ssize_t pyStrLen(PyObject* obj) {
  Py_ssize_t length = 0;
  if (PyBytes_Check(obj)) return PyBytes_GET_SIZE(obj);
  if (!PyUnicode_Check(obj)) return 0;
  if (PyUnicode_AsUTF8AndSize(obj, &length)) return length;
  if (!isStrSubclass(obj)) return -1;
  PyErr_Clear();
  Ref ascii = Ref::steal(PyUnicode_AsASCIIString(obj));
  return ascii ? PyBytes_GET_SIZE(ascii.get()) : -1;
}

}  // namespace tavlo
