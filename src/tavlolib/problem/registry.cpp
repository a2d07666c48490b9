#include "problem/registry.h"

#include <cstdio>
#include <cstring>

namespace tavlo {

bool Leaves::collect(problem_s* p, PyObject* obj) { return forEachLeaf(p, obj, append, this, kWalkDepth) != nullptr; }

PyObject* Leaves::append(problem_s*, PyObject* leaf, void* self) {
  static_cast<Leaves*>(self)->leaves_.push_back(Ref::borrow(leaf));
  return leaf;
}

namespace {
uint64_t varKey(PyObject* o) { return varIndex(reinterpret_cast<var_s*>(o)); }
uint64_t conKey(PyObject* o) { return conIndex(reinterpret_cast<constraint_s*>(o)); }
uint64_t sosKey(PyObject* o) { return reinterpret_cast<sos_s*>(o)->index; }
}  // namespace

Registry registryOf(problem_s* p, EntityKind kind) {
  switch (kind) {
    case kRow:
      return {&p->cons, &p->conmap, conKey, &tavlo_constraintType};
    case kColumn:
      return {&p->vars, &p->varmap, varKey, &tavlo_varType};
    default:
      return {&p->sets, &p->sosmap, sosKey, &tavlo_sosType};
  }
}

int createRegistry(problem_s* p) {
  for (EntityKind kind : {kRow, kColumn, kSet}) {
    const Registry r = registryOf(p, kind);
    *r.list = PyList_New(0);
    *r.map = rowcolmap_new();
    if (!*r.list) return -1;
    if (!*r.map) {
      PyErr_NoMemory();
      return -1;
    }
  }
  return 0;
}

void releaseRegistry(problem_s* p) {
  for (EntityKind kind : {kRow, kColumn, kSet}) {
    const Registry r = registryOf(p, kind);
    if (*r.map) rowcolmap_free(r.map);
    Py_CLEAR(*r.list);
  }
}

Registration::~Registration() {
  if (first_ == end_) return;
  ErrorStash failure;
  for (Py_ssize_t i = first_; i < end_; ++i)
    rowcolmap_del(*registry_.map, registry_.key(PyList_GET_ITEM(*registry_.list, i)));
  // From the end, a few at a time: larger slices would need memory. The caller's leaves still own every object.
  for (Py_ssize_t end = end_; end > first_;) {
    const Py_ssize_t begin = end - first_ > 8 ? end - 8 : first_;
    if (PyList_SetSlice(*registry_.list, begin, end, nullptr) != 0) PyErr_Clear();
    end = begin;
  }
}

bool Registration::add(PyObject* object) {
  if (PyList_Append(*registry_.list, object) != 0) return false;
  ++end_;
  if (rowcolmap_set(*registry_.map, registry_.key(object), end_ - 1) == 0) return true;
  PyErr_NoMemory();
  return false;
}

int ColumnFinder::search(uint64_t key) {
  int64_t column;
  if (rowcolmap_get(p_->varmap, key, &column) != 0) return -1;
  column_ = column;
  key_ = static_cast<int64_t>(key);
  return static_cast<int>(column);
}

bool NameBuffer::add(PyObject* name, size_t limit, const char* what) {
  PyObject* temp = nullptr;
  const char* text = PyUnicode_Check(name) || PyBytes_Check(name) ? pyStrToStr(name, nullptr, &temp) : nullptr;
  Ref holder = Ref::steal(temp);
  if (!text) {
    if (!PyErr_Occurred()) modelError("Invalid %s name (must be a string)", what);
    return false;
  }
  size_t length = static_cast<size_t>(pyStrLen(name));
  if (std::memchr(text, 0, length)) {
    modelError("Invalid %s name (it contains a null character)", what);
    return false;
  }
  if (length > limit)  // cut between characters
    for (length = limit; length > 0 && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80;) --length;
  bytes_.insert(bytes_.end(), text, text + length);
  bytes_.push_back(0);
  return true;
}

void NameBuffer::addDefault(char letter, uint64_t index) {
  char text[24];
  char* at = text + sizeof text;
  *--at = 0;
  do *--at = static_cast<char>('0' + index % 10);
  while (index /= 10);
  *--at = letter;
  bytes_.insert(bytes_.end(), at, text + sizeof text);
}

int intAttribute(problem_s* p, int id, int* value) {
  if (TVLOgetintattrib(p->prob, id, value) == 0) return 0;
  libraryError(p);
  return -1;
}

PyObject* libraryError(problem_s* p) {
  setTvloErrIfNull(reinterpret_cast<PyObject*>(p), nullptr);
  return nullptr;
}

}  // namespace tavlo
