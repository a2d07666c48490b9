// Names of controls and attributes: their form, the tables, and the filling of the tables.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <utility>

#include "model/objects.h"
#include "problem/controls/controls.h"
#include "pyutil/locks.h"

namespace tavlo {
namespace {

constexpr Py_ssize_t kLongestName = 1024;
constexpr Py_ssize_t kLongestTableName = 128;

bool onlyOf(const char* text, Py_ssize_t length, int (*letter)(int)) {
  return std::all_of(text, text + length, [letter](char c) {
    const unsigned char u = static_cast<unsigned char>(c);
    return u < 0x80 && (letter(u) || std::isdigit(u) || u == '_');
  });
}
int isLower(int c) { return c >= 'a' && c <= 'z'; }
int isUpper(int c) { return c >= 'A' && c <= 'Z'; }

// A new str of ASCII text in lower case.
PyObject* lowered(const char* text, Py_ssize_t length) {
  PyObject* name = PyUnicode_New(length, 127);
  if (!name) return nullptr;
  Py_UCS1* out = PyUnicode_1BYTE_DATA(name);
  for (Py_ssize_t i = 0; i < length; ++i)
    out[i] = static_cast<Py_UCS1>(isUpper(text[i]) ? text[i] - 'A' + 'a' : text[i] & 0x7f);
  return name;
}

// A problem of its own, with the library started for as long as it lives.
class TemporaryProblem {
 public:
  ~TemporaryProblem() { close(); }
  int open(bool nonlinearRuns) {
    if (TVLOinit() != 0) return -1;
    library_ = true;
    if (!nonlinearRuns) {
      if (TSLPinit() != 0) return -1;
      nonlinear_ = true;
    }
    return TVLOcreateprob(&prob) != 0 || TSLPcreateprob(&slp, &prob) != 0 ? -1 : 0;
  }
  int close() {
    if (slp) TSLPdestroyprob(std::exchange(slp, nullptr));
    if (prob) TVLOdestroyprob(std::exchange(prob, nullptr));
    int failed = 0;
    if (std::exchange(nonlinear_, false)) failed |= TSLPfree();
    if (std::exchange(library_, false)) failed |= TVLOfree();
    return failed;
  }
  TVLOprob prob = nullptr;
  TSLPprob slp = nullptr;

 private:
  bool library_ = false, nonlinear_ = false;
};

struct Tables {
  Ref controls = Ref::steal(PyDict_New()), attributes = Ref::steal(PyDict_New()), values = Ref::steal(PyDict_New());
};

int runtimeError(const char* text) {
  if (!PyErr_Occurred()) PyErr_SetString(PyExc_RuntimeError, text);
  return -1;
}

int addParameter(const Tables& tables, const TemporaryProblem& temporary, int kind, int code, const char* text,
                 int flags) {
  int isControl = 0, type = kUndefined;
  getParType(kind, flags, code, text, &isControl, &type);
  if (type == kUndefined) return 0;
  if (type < 0)
    return runtimeError(isControl ? "Erroneous control value/type in initialization"
                                  : "Erroneous attribute value/type in initialization");
  Ref name = Ref::steal(lowered(text, std::min(static_cast<Py_ssize_t>(std::strlen(text)), kLongestTableName)));
  Ref entry = Ref::steal(Py_BuildValue("(iii)", code, type, kind));
  if (!name || !entry) return -1;
  if (!isControl) return PyDict_SetItem(tables.attributes.get(), name.get(), entry.get());
  int failed = 0;
  Ref value = Ref::steal(readParameter(temporary.prob, temporary.slp, {code, type, kind}, true, &failed));
  if (!value) return runtimeError("Erroneous control value/type in initialization");
  return PyDict_SetItem(tables.controls.get(), name.get(), entry.get()) != 0 ||
                 PyDict_SetItem(tables.values.get(), name.get(), value.get()) != 0
             ? -1
             : 0;
}

int addList(const Tables& tables, const TemporaryProblem& temporary, int kind) {
  using List = int (*)(const int**, const char* const**, const int**);
  constexpr List kLists[] = {TVLOgetcalist_c, TSLPgetcalist, TSLPgetKTRcalist};
  const int *ids = nullptr, *types = nullptr;
  const char* const* names = nullptr;
  if (kLists[kind](&ids, &names, &types) != 0) return runtimeError("Could not get control/attribute list from Tavlo");
  for (int i = 0; kind == kOptimizerList ? ids[i] != 0 : names[i] && *names[i]; ++i)
    if (addParameter(tables, temporary, kind, ids[i], names[i], types[i]) != 0) return -1;
  return 0;
}

}  // namespace

PyObject* normalisedName(PyObject* name) {
  PyObject* temporary = nullptr;
  const char* text = pyStrToStr(name, nullptr, &temporary);
  Ref owner = Ref::steal(temporary);
  if (!text) return nullptr;
  const Py_ssize_t length = pyStrLen(name);
  if (length > kLongestName) return modelError("Control or attribute name is too long");
  const bool lower = onlyOf(text, length, isLower);
  if (lower && PyUnicode_CheckExact(name)) return newRef(name);
  if (!lower && !onlyOf(text, length, isUpper))
    return modelError("Control or attribute is neither all-lower nor all-upper case");
  return lowered(text, length);
}

bool findParameterLocked(PyObject* table, PyObject* name, Parameter* out) {
  PyObject* entry = table ? PyDict_GetItemWithError(table, name) : nullptr;
  if (!entry || !PyTuple_CheckExact(entry) || PyTuple_GET_SIZE(entry) != 3) return false;
  int* const fields[] = {&out->code, &out->type, &out->kind};
  for (int i = 0; i < 3; ++i) {
    PyObject* field = PyTuple_GET_ITEM(entry, i);
    if (!PyLong_CheckExact(field)) return false;
    *fields[i] = static_cast<int>(PyLong_AsLong(field));
  }
  return true;
}

bool findParameter(PyObject* table, PyObject* name, Parameter* out) {
  Locked lock(tvl_py_env.ctrl_mutex);
  return findParameterLocked(table, name, out);
}

bool isParameterId(PyObject* obj) {
  int64_t id = 0;
  return PyLong_Check(obj) || isSignedInteger(obj, &id);
}

int parameterById(PyObject* obj, Parameter* out) {
  int64_t id = 0;
  const int *ids = nullptr, *types = nullptr;
  const char* const* names = nullptr;
  if (TVLOgetcalist_d(&ids, &names, &types) != 0) {
    modelError("Internal error: failed to get control list");
    return -1;
  }
  if (isSignedInteger(obj, &id)) {
    for (int i = 0; names[i] && *names[i]; ++i) {
      if (ids[i] != id) continue;
      const int word = types[i] & (TVLO_TYPE_INT | TVLO_TYPE_DOUBLE | TVLO_TYPE_STRING);
      const int type = word == TVLO_TYPE_INT      ? kInteger
                       : word == TVLO_TYPE_DOUBLE ? kDouble
                       : word == TVLO_TYPE_STRING ? kText
                                                  : kUndefined;
      if (type == kUndefined) {
        interfaceError("Unknown control type %d", types[i]);
        return -1;
      }
      *out = {ids[i], type, kOptimizerList};
      return 0;
    }
  }
  interfaceError("Unknown control ID %S", obj);
  return -1;
}

int getParType(int kind, int flags, int code, const char* name, int* outIsControl, int* outType) {
  if (kind == kOptimizerList) {
    *outIsControl = flags & TVLO_TYPE_CONTROL;
    *outType = flags & TVLO_TYPE_INT ? kInteger : flags & TVLO_TYPE_DOUBLE ? kDouble : kText;
    return 0;
  }
  if (TSLPcontrolcode(code, name, &flags) != 0) return 0;  // the outputs stay as they were
  *outIsControl = flags & TSLP_FLAG_CONTROL;
  *outType = flags & TSLP_FLAG_UNDEFINED ? kUndefined
             : flags & TSLP_FLAG_INT     ? kInteger
             : flags & TSLP_FLAG_DOUBLE  ? kDouble
             : flags & TSLP_FLAG_STRING  ? kText
                                         : kUndefined;
  return 0;
}

int ctrl_attr_fill_typeobj(int withNonlinear) {
  TemporaryProblem temporary;
  if (temporary.open(withNonlinear != 0) != 0) return runtimeError("Could not create temporary problem");
  Tables tables;
  if (!tables.controls || !tables.attributes || !tables.values) return -1;
  for (int kind : {kOptimizerList, kNonlinearList, kLocalSolverList})
    if (addList(tables, temporary, kind) != 0) return -1;
  if (temporary.close() != 0) return runtimeError("Error initializing optimization environment");
  auto* defaults = reinterpret_cast<control_s*>(tvl_py_env.controls)->dict;
  if (PyDict_Update(defaults, tables.values.get()) != 0) return -1;
  Locked lock(tvl_py_env.ctrl_mutex);
  return PyDict_Update(tvl_py_env.ctrl_table, tables.controls.get()) != 0 ||
                 PyDict_Update(tvl_py_env.attr_table, tables.attributes.get()) != 0
             ? -1
             : 0;
}

int fillControlTables(int withNonlinear) {
  if (ctrl_attr_fill_typeobj(withNonlinear) != 0) return -1;
  Ref name = Ref::steal(PyUnicode_FromString("tslp_postsolve"));
  Ref one = Ref::steal(PyLong_FromLong(1));
  if (!name || !one) return -1;
  auto* controls = reinterpret_cast<control_s*>(tvl_py_env.controls);
  if (PyDict_SetItem(controls->dict, name.get(), one.get()) != 0) return -1;
  Locked lock(tvl_py_env.defaults_mutex);
  return PyDict_SetItem(tvl_py_env.default_controls, name.get(), one.get());
}

}  // namespace tavlo
