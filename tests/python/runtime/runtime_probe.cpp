// Python entry points for the parser, the missing-argument messages, the string helpers and the allocator.
#include <array>

#include "pyutil/array.h"
#include "pyutil/memory.h"
#include "pyutil/ref.h"
#include "runtime/errors.h"

PyObject *tpy_model_exc, *tpy_interf_exc, *tpy_solver_exc;

namespace {

using namespace tavlo;

constexpr std::array<const char*, 4> kNow = {"first", "rowind", "rowcoef", nullptr};
constexpr std::array<const char*, 4> kWas = {"first", "mrwind", "dmatval", nullptr};

PyObject* values(PyObject* args, PyObject* kwargs, const char* const* former) {
  int first = 0;
  double second = -1;
  PyObject* third = Py_None;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "i|dO", kNow.data(), former, &first, &second, &third)) return nullptr;
  return Py_BuildValue("(idO)", first, second, third);
}
PyObject* parse(PyObject*, PyObject* args, PyObject* kwargs) { return values(args, kwargs, kWas.data()); }
PyObject* parseNow(PyObject*, PyObject* args, PyObject* kwargs) { return values(args, kwargs, nullptr); }

PyObject* missingRange(PyObject*, PyObject* args) {
  static const char* const names[] = {"a", "b", "c", nullptr};
  int first = 0, last = 0;
  if (!PyArg_ParseTuple(args, "ii", &first, &last)) return nullptr;
  ko_PyErr_MissingArgsRange(names, first, last);
  return nullptr;
}

PyObject* missing(PyObject*, PyObject* args) {
  const char *a = nullptr, *b = nullptr, *c = nullptr;
  if (!PyArg_ParseTuple(args, "s|ss", &a, &b, &c)) return nullptr;
  ko_PyErr_MissingArgs(a, b, c, nullptr);
  return nullptr;
}

// (text, copied text, length)
PyObject* text(PyObject*, PyObject* obj) {
  Array<char> copy;
  PyObject* temporary = nullptr;
  const char* found = pyStrToStr(obj, copy.address(), &temporary);
  Ref owner = Ref::steal(temporary);
  return found ? Py_BuildValue("(yyn)", found, copy.data(), pyStrLen(obj)) : nullptr;
}

PyObject* length(PyObject*, PyObject* obj) {
  const Py_ssize_t bytes = pyStrLen(obj);
  return PyErr_Occurred() ? nullptr : PyLong_FromSsize_t(bytes);
}

// Results of the calls that must succeed or fail in a stated way, in order.
PyObject* heap(PyObject*, PyObject*) {
  void* block = nullptr;
  ko_MemoryAllocator* const standard = ko_MemoryAllocator_DefaultHeap;
  const int freeNull = ko_MemoryAllocator_Free_Untyped(standard, &block);
  const int alloc = ko_MemoryAllocator_Alloc_Untyped(standard, 10, &block);
  static_cast<char*>(block)[9] = 'x';
  const int grow = ko_MemoryAllocator_Realloc_Untyped(standard, &block, 1000);
  const bool kept = static_cast<char*>(block)[9] == 'x';
  void* const before = block;
  const int huge = ko_MemoryAllocator_Realloc_Untyped(standard, &block, PTRDIFF_MAX);
  const bool unchanged = block == before;
  const int freed = ko_MemoryAllocator_Free_Untyped(standard, &block);
  return Py_BuildValue("(iiiNiNiNi)", freeNull, alloc, grow, PyBool_FromLong(kept), huge, PyBool_FromLong(unchanged),
                       freed, PyBool_FromLong(block == nullptr), standard->ops->query(standard->context));
}

template <class Function>
PyCFunction entry(Function* function) {
  return reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(function));
}

PyMethodDef kMethods[] = {
    {"parse", entry(parse), METH_VARARGS | METH_KEYWORDS, nullptr},
    {"parse_now", entry(parseNow), METH_VARARGS | METH_KEYWORDS, nullptr},
    {"missing_range", missingRange, METH_VARARGS, nullptr},
    {"missing", missing, METH_VARARGS, nullptr},
    {"text", text, METH_O, nullptr},
    {"length", length, METH_O, nullptr},
    {"heap", heap, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};
PyModuleDef kDefinition = {PyModuleDef_HEAD_INIT, "runtime_probe", nullptr, -1, kMethods};

}  // namespace

PyMODINIT_FUNC PyInit_runtime_probe();
PyMODINIT_FUNC PyInit_runtime_probe() {
  tpy_interf_exc = PyErr_NewException("runtime_probe.InterfaceError", nullptr, nullptr);
  PyObject* module = tpy_interf_exc ? PyModule_Create(&kDefinition) : nullptr;
  if (module && PyModule_AddObject(module, "InterfaceError", newRef(tpy_interf_exc)) != 0) return nullptr;
  return module;
}
