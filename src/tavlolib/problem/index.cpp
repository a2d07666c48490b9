// From objects, names and integers to solver indices.
#include "problem/registry.h"

namespace tavlo {
namespace {

int lookUp(PyObject* obj, const Registry& r, const char* missing, int* index) {
  int64_t at;
  if (rowcolmap_get(*r.map, r.key(obj), &at) != 0) {
    modelError(missing, obj);
    return -1;
  }
  *index = static_cast<int>(at);
  return 0;
}

int byName(PyObject* obj, problem_s* p, int* index, int kind) {
  PyObject* temp = nullptr;
  const char* name = pyStrToStr(obj, nullptr, &temp);
  Ref holder = Ref::steal(temp);
  if (!name) return -1;
  const int names = kind == kRow ? TVLO_NAMES_ROW : kind == kSet ? TVLO_NAMES_SET : TVLO_NAMES_COLUMN;
  if (TVLOgetindex(p->prob, names, name, index) == 0) return 0;
  libraryError(p);
  return -1;
}

int invalidObject(PyObject* obj, int kind) {
  modelError(kind == kColumn ? "Invalid variable object %S"
             : kind == kRow  ? "Invalid constraint object %S"
             : kind == kSet  ? "Invalid SOS object %S"
                             : "Invalid object %S",
             obj);
  return -1;
}

}  // namespace

// Names of sets are looked up among the sets.
int ObjInt2int(PyObject* obj, problem_s* p, int* index, int kind) {
  int64_t number;
  if (isSignedInteger(obj, &number)) {
    if (number < INT32_MIN || number > INT32_MAX) {
      modelError("Index out of bounds");
      return -1;
    }
    *index = static_cast<int>(number);
    return 0;
  }
  if (PyUnicode_Check(obj) || PyBytes_Check(obj)) return byName(obj, p, index, kind);
  if (var_Check(obj) && (kind == kColumn || kind == kColumnOrRow)) {
    if (lookUp(obj, registryOf(p, kColumn), "Variable %S not in problem", index) != 0) return -1;
    int rows = 0, spare = 0;
    if (kind == kColumnOrRow && (intAttribute(p, 1001, &rows) != 0 || intAttribute(p, 1019, &spare) != 0)) return -1;
    *index -= rows + spare;
    return 0;
  }
  if (constraint_Check(obj) && (kind == kRow || kind == kColumnOrRow))
    return lookUp(obj, registryOf(p, kRow), "Constraint %S not in problem", index);
  if (sos_Check(obj) && kind == kSet) return lookUp(obj, registryOf(p, kSet), "SOS %S not in problem", index);
  return invalidObject(obj, kind);
}

}  // namespace tavlo
