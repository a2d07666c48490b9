// From an object, a name or a number to an index of the solver.
#include <climits>
#include <cstring>

#include "model/objects.h"
#include "problem/problem.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

int fail(const char* format, PyObject* obj) {
  modelError(format, obj);
  return -1;
}

int byName(problem_s* p, PyObject* obj, int kind, int* index) {
  PyObject* temporary = nullptr;
  const char* name = pyStrToStr(obj, nullptr, &temporary);
  Ref owner = Ref::steal(temporary);
  if (!name) return -1;
  if (std::strlen(name) != static_cast<size_t>(pyStrLen(obj))) return fail("Name %A holds a zero byte", obj);
  const int names = kind == kRow ? TVLO_NAMES_ROW : kind == kSet ? TVLO_NAMES_SET : TVLO_NAMES_COLUMN;
  return TVLOgetindex(p->prob, names, name, index) == 0 ? 0 : solverFailed(p);
}

int byKey(const Entries& entries, uint64_t key, PyObject* obj, const char* missing, int* index) {
  const int64_t position = entries.find(key);
  if (position < 0) return fail(missing, obj);
  *index = static_cast<int>(position);
  return 0;
}

int byVariable(problem_s* p, PyObject* obj, int kind, int* index) {
  if (byKey(p->registry().vars, varIndex(reinterpret_cast<var_s*>(obj)), obj, "Variable %S not in problem", index) != 0)
    return -1;
  if (kind == kColumn) return 0;
  int rows = 0, spare = 0;
  if (TVLOgetintattrib(p->prob, TVLO_ATTRIBUTE_rows, &rows) != 0 ||
      TVLOgetintattrib(p->prob, TVLO_ATTRIBUTE_sparerows, &spare) != 0)
    return solverFailed(p);
  *index -= rows + spare;
  return 0;
}

}  // namespace

int ObjInt2int(PyObject* obj, problem_s* p, int* index, int kind) {
  int64_t number = 0;
  if (isSignedInteger(obj, &number)) {
    if (number < INT_MIN || number > INT_MAX) return fail("Index %S is out of range", obj);
    *index = static_cast<int>(number);
    return 0;
  }
  if (PyUnicode_Check(obj) || PyBytes_Check(obj)) return byName(p, obj, kind, index);
  if (var_Check(obj) && (kind == kColumn || kind == kColumnOrRow)) return byVariable(p, obj, kind, index);
  if (constraint_Check(obj) && (kind == kRow || kind == kColumnOrRow))
    return byKey(p->registry().cons, conIndex(reinterpret_cast<constraint_s*>(obj)), obj,
                 "Constraint %S not in problem", index);
  if (sos_Check(obj) && kind == kSet)
    return byKey(p->registry().sets, reinterpret_cast<sos_s*>(obj)->index, obj, "SOS %S not in problem", index);
  return fail(kind == kColumn ? "Invalid variable object %S"
              : kind == kRow  ? "Invalid constraint object %S"
              : kind == kSet  ? "Invalid SOS object %S"
                              : "Invalid object %S",
              obj);
}

}  // namespace tavlo
