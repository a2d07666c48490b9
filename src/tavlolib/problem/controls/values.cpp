// Reading and writing one value, and the module-level values that every new problem gets.
#include <cstring>
#include <vector>

#include "model/objects.h"
#include "problem/controls/controls.h"
#include "pyutil/guard.h"
#include "pyutil/locks.h"

namespace tavlo {
namespace {

constexpr int kTextBytes = 2048;

template <class Handle>
PyObject* readText(int (*get)(Handle, int, char*, int, int*), Handle handle, int id, int* code) {
  char text[kTextBytes] = "";
  int length = 0;
  *code = get(handle, id, text, kTextBytes, &length);
  if (*code != 0) return nullptr;
  text[kTextBytes - 1] = '\0';
  return PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "replace");
}

template <class Handle>
PyObject* readDouble(int (*get)(Handle, int, double*), Handle handle, int id, int* code) {
  double value = 0;
  *code = get(handle, id, &value);
  return *code == 0 ? PyFloat_FromDouble(value) : nullptr;
}

template <class Handle, class Integer>
PyObject* readInteger(int (*get)(Handle, int, Integer*), Handle handle, int id, int* code) {
  Integer value = 0;
  *code = get(handle, id, &value);
  return *code == 0 ? PyLong_FromLongLong(value) : nullptr;
}

PyObject* unknownId(bool isControl) {
  return modelError(isControl ? "getControl() called with unknown ID" : "getAttrib() called with unknown ID");
}

int typeError(const char* text) {
  modelError("%s", text);
  return -1;
}

// The integer that the library takes for a value that check_setCtrl has accepted.
int integerValue(PyObject* value, int64_t least, int64_t most, int64_t* out) {
  if (isSignedInteger(value, out) && *out >= least && *out <= most) return 0;
  modelError("Value %S is out of range for an integer control", value);
  return -1;
}

// The library's result, or -1 with an exception.
int storeInteger(problem_s* p, int code, int kind, PyObject* value) {
  int64_t number = 0;
  if (kind == kOptimizerList)
    return integerValue(value, INT64_MIN, INT64_MAX, &number) != 0 ? -1 : TVLOsetintcontrol64(p->prob, code, number);
  if (integerValue(value, INT32_MIN, INT32_MAX, &number) != 0) return -1;
  return TSLPsetintcontrol(p->slpprob, code, static_cast<int>(number));
}

int storeDouble(problem_s* p, int code, int kind, PyObject* value) {
  double number = 0;
  int64_t integer = 0;
  if (PyFloat_Check(value)) {
    number = PyFloat_AS_DOUBLE(value);
  } else if (isSignedInteger(value, &integer)) {
    number = static_cast<double>(integer);
  } else {
    number = PyLong_AsDouble(value);
    if (PyErr_Occurred()) return -1;
  }
  return kind == kOptimizerList ? TVLOsetdblcontrol(p->prob, code, number)
                                : TSLPsetdblcontrol(p->slpprob, code, number);
}

int storeText(problem_s* p, int code, int kind, PyObject* value) {
  Py_ssize_t length = 0;
  const char* text = PyUnicode_AsUTF8AndSize(value, &length);
  if (!text) return -1;
  if (std::strlen(text) != static_cast<size_t>(length)) return typeError("Value of a string control holds a zero byte");
  return kind == kOptimizerList ? TVLOsetstrcontrol(p->prob, code, text) : TSLPsetstrcontrol(p->slpprob, code, text);
}

struct Default {
  Parameter parameter;
  Ref value;
  bool known;
};

std::vector<Default> defaultControls() {
  std::vector<Default> defaults;
  Locked tables(tvl_py_env.ctrl_mutex);
  Locked values(tvl_py_env.defaults_mutex);
  PyObject *name = nullptr, *value = nullptr;
  for (Py_ssize_t at = 0; PyDict_Next(tvl_py_env.default_controls, &at, &name, &value);) {
    Default entry{{}, Ref::borrow(value), false};
    entry.known = findParameterLocked(tvl_py_env.ctrl_table, name, &entry.parameter);
    defaults.push_back(std::move(entry));
  }
  return defaults;
}

int applyDefaults(problem_s* p) {
  for (const Default& entry : defaultControls()) {
    const auto& [code, type, kind] = entry.parameter;
    if (!entry.known) {
      interfaceError("Incorrect control name in initialization");
      return -1;
    }
    if (problem_setControl_single(p, code, type, kind, entry.value.get()) != 0) return -1;
  }
  return 0;
}

}  // namespace

PyObject* readParameter(TVLOprob prob, TSLPprob slp, const Parameter& parameter, bool isControl, int* code) {
  *code = 0;
  const int id = parameter.code;
  const bool optimizer = parameter.kind == kOptimizerList;
  switch (parameter.type) {
    case kInteger:
      return optimizer ? readInteger(isControl ? TVLOgetintcontrol64 : TVLOgetintattrib64, prob, id, code)
                       : readInteger(isControl ? TSLPgetintcontrol : TSLPgetintattrib, slp, id, code);
    case kDouble:
      return optimizer ? readDouble(isControl ? TVLOgetdblcontrol : TVLOgetdblattrib, prob, id, code)
                       : readDouble(isControl ? TSLPgetdblcontrol : TSLPgetdblattrib, slp, id, code);
    case kText:
      return optimizer ? readText(isControl ? TVLOgetstringcontrol : TVLOgetstringattrib, prob, id, code)
                       : readText(isControl ? TSLPgetstrcontrol : TSLPgetstrattrib, slp, id, code);
    default:
      return unknownId(isControl);
  }
}

PyObject* problem_getInfo_single(problem_s* p, int code, int type, bool isControl, int kind) {
  int failed = 0;
  PyObject* value = readParameter(p->prob, p->slpprob, {code, type, kind}, isControl, &failed);
  setTvloErrIfNull(reinterpret_cast<PyObject*>(p), value);
  return value;
}

int check_setCtrl(int type, PyObject* value) {
  const bool integer = isParameterId(value);
  switch (type) {
    case kInteger:
      return integer ? 0 : typeError("Cannot set non-integer value to an integer control");
    case kDouble:
      return integer || PyFloat_Check(value) ? 0
                                             : typeError("Cannot set non-numerical value to a floating-point control");
    case kText:
      return PyUnicode_Check(value) ? 0 : typeError("Cannot set non-string value to a string control");
    default:
      return typeError("setControl called with unknown ID");
  }
}

int problem_setControl_single(problem_s* p, int code, int type, int kind, PyObject* value) {
  if (check_setCtrl(type, value) != 0) return -1;
  const int failed = type == kInteger  ? storeInteger(p, code, kind, value)
                     : type == kDouble ? storeDouble(p, code, kind, value)
                                       : storeText(p, code, kind, value);
  if (failed == 0) return 0;
  setTvloErrIfNull(reinterpret_cast<PyObject*>(p), nullptr);
  return -1;
}

int problem_applyDefaultControls(problem_s* p) {
  return guarded([p] { return applyDefaults(p); });
}

}  // namespace tavlo
