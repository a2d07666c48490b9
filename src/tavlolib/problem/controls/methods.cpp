// getControl, setControl and getAttrib.
#include <vector>

#include "problem/controls/controls.h"
#include "pyutil/guard.h"
#include "pyutil/locks.h"

namespace tavlo {
namespace {

// Attributes whose reading changes the state of the solver: they are not read when all are asked for.
constexpr int kNotQueried[] = {22013, 12013};

struct Request {
  Ref key;  // of the result: an id, or a name in the tables' form
  bool byName = true;
  bool found = false;
  Parameter parameter;
};

PyObject* tableOf(bool isControl) { return isControl ? tvl_py_env.ctrl_table : tvl_py_env.attr_table; }

int unknownName(bool isControl) {
  if (!PyErr_Occurred())
    interfaceError(isControl ? "Requested value of an unknown control" : "Requested value of an unknown attribute");
  return -1;
}

int prepare(PyObject* element, bool isControl, Request* request) {
  if (isParameterId(element)) {
    request->byName = false;
    request->found = true;
    request->key = Ref::steal(PyNumber_Index(element));
    return request->key ? parameterById(element, &request->parameter) : -1;
  }
  if (!PyUnicode_Check(element) && !PyBytes_Check(element)) return unknownName(isControl);
  request->key = Ref::steal(normalisedName(element));
  return request->key ? 0 : -1;
}

int prepareAll(PyObject* elements, bool isControl, std::vector<Request>* requests) {
  const Py_ssize_t size = PyTuple_GET_SIZE(elements);
  requests->resize(static_cast<size_t>(size));
  for (Py_ssize_t i = 0; i < size; ++i)
    if (prepare(PyTuple_GET_ITEM(elements, i), isControl, &(*requests)[static_cast<size_t>(i)]) != 0) return -1;
  return 0;
}

int resolve(std::vector<Request>& requests, bool isControl) {
  bool all = true;
  {
    Locked lock(tvl_py_env.ctrl_mutex);
    for (Request& request : requests) {
      if (request.byName)
        request.found = findParameterLocked(tableOf(isControl), request.key.get(), &request.parameter);
      all = all && request.found;
    }
  }
  return all ? 0 : unknownName(isControl);
}

PyObject* valueOf(problem_s* p, const Parameter& parameter, bool isControl) {
  return problem_getInfo_single(p, parameter.code, parameter.type, isControl, parameter.kind);
}

PyObject* valuesOf(problem_s* p, PyObject* elements, bool isControl) {
  std::vector<Request> requests;
  Ref result = Ref::steal(PyDict_New());
  if (!result || prepareAll(elements, isControl, &requests) != 0 || resolve(requests, isControl) != 0) return nullptr;
  for (const Request& request : requests) {
    Ref value = Ref::steal(valueOf(p, request.parameter, isControl));
    if (!value || PyDict_SetItem(result.get(), request.key.get(), value.get()) != 0) return nullptr;
  }
  return result.release();
}

PyObject* singleValue(problem_s* p, PyObject* element, bool isControl) {
  std::vector<Request> request(1);
  if (prepare(element, isControl, &request[0]) != 0 || resolve(request, isControl) != 0) return nullptr;
  return valueOf(p, request[0].parameter, isControl);
}

PyObject* problem_getInfo(PyObject* self, PyObject* args, bool isControl) {
  auto* p = reinterpret_cast<problem_s*>(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  const Py_ssize_t count = PyTuple_GET_SIZE(args);
  if (count == 0) return getAllCtrlAttr(p, isControl);
  if (count > 1) return valuesOf(p, args, isControl);
  PyObject* only = PyTuple_GET_ITEM(args, 0);
  if (PyTuple_Check(only) || PyList_Check(only) || PyIter_Check(only)) {
    Ref elements = Ref::steal(PySequence_Tuple(only));  // a list could change while its elements are looked at
    if (!elements) return nullptr;
    if (checkProblemIsInitialized(p) != 0) return nullptr;  // an iterator may have released it
    return valuesOf(p, elements.get(), isControl);
  }
  return singleValue(p, only, isControl);
}

PyObject* problem_getControl(PyObject* self, PyObject* args) {
  return guarded([&] { return problem_getInfo(self, args, true); });
}
PyObject* problem_getAttrib(PyObject* self, PyObject* args) {
  return guarded([&] { return problem_getInfo(self, args, false); });
}

int resolveControl(PyObject* key, Parameter* parameter) {
  if (isParameterId(key)) return parameterById(key, parameter);
  const bool text = PyUnicode_Check(key) || PyBytes_Check(key);
  Ref asText = text ? Ref::borrow(key) : key == Py_None ? Ref() : Ref::steal(PyObject_Str(key));
  if (!asText) {
    PyErr_Clear();
    interfaceError("Control name can not be interpreted as string");
    return -1;
  }
  Ref name = Ref::steal(normalisedName(asText.get()));
  if (!name) return -1;
  if (findParameter(tvl_py_env.ctrl_table, name.get(), parameter)) return 0;
  interfaceError("Incorrect control name: %U", name.get());
  return -1;
}

int setOne(problem_s* p, PyObject* key, PyObject* value) {
  Parameter parameter;
  if (resolveControl(key, &parameter) != 0 || checkProblemIsInitialized(p) != 0) return -1;
  return problem_setControl_single(p, parameter.code, parameter.type, parameter.kind, value);
}

PyObject* problem_setControl(PyObject* self, PyObject* args) {
  auto* p = reinterpret_cast<problem_s*>(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  const Py_ssize_t count = PyTuple_GET_SIZE(args);
  if (count == 0)
    return modelError("setControl requires at least one argument of type dictionary or two elements: parameter, value");
  if (count > 2) return modelError("setControl: arguments mismatch");
  if (count == 2) {
    if (setOne(p, PyTuple_GET_ITEM(args, 0), PyTuple_GET_ITEM(args, 1)) != 0) return nullptr;
    Py_RETURN_NONE;
  }
  PyObject* values = PyTuple_GET_ITEM(args, 0);
  if (!PyDict_Check(values)) return modelError("Single argument to setControl must be a dictionary");
  Ref items = Ref::steal(PyDict_Items(values));  // the text of a key may be made by code that changes the dictionary
  if (!items) return nullptr;
  for (Py_ssize_t i = 0; i < PyList_GET_SIZE(items.get()); ++i) {
    PyObject* item = PyList_GET_ITEM(items.get(), i);
    if (setOne(p, PyTuple_GET_ITEM(item, 0), PyTuple_GET_ITEM(item, 1)) != 0) return nullptr;
  }
  Py_RETURN_NONE;
}

}  // namespace

PyObject* getAllCtrlAttr(problem_s* p, bool isControl) {
  std::vector<Request> requests;
  Ref result = Ref::steal(PyDict_New());
  if (!result) return nullptr;
  {
    Locked lock(tvl_py_env.ctrl_mutex);
    PyObject* table = tableOf(isControl);
    PyObject *name = nullptr, *entry = nullptr;
    for (Py_ssize_t at = 0; PyDict_Next(table, &at, &name, &entry);) {
      Request request;
      request.key = Ref::borrow(name);
      if (findParameterLocked(table, name, &request.parameter)) requests.push_back(std::move(request));
    }
  }
  for (const Request& request : requests) {
    bool queried = true;
    for (int id : kNotQueried) queried = queried && request.parameter.code != id;
    Ref value = Ref::steal(queried ? valueOf(p, request.parameter, isControl) : PyLong_FromLong(-1));
    if (!value || PyDict_SetItem(result.get(), request.key.get(), value.get()) != 0) return nullptr;
  }
  return result.release();
}

PyDoc_STRVAR(kGetControlDoc, R"(getControl($self, /, *args)
--

Purpose:
  Values of one, several or all controls of a problem.

Synopsis:
  value = p.getControl(control)
  values = p.getControl([control1, control2, ...])
  values = p.getControl(control1, control2, ...)
  values = p.getControl()

Argument:
  control   Name, all in lower case or all in upper case, or numeric id. Without an argument all controls are meant.
            More than one, or a list, tuple or iterator, gives a dictionary.

Example:
  p.getControl("miprelstop")
  p.getControl(["threads", "timelimit"])

Related topics:
  problem.setControl, problem.getAttrib, problem.controls
)");

PyDoc_STRVAR(kSetControlDoc, R"(setControl($self, /, *args)
--

Purpose:
  Sets one or more controls of a problem.

Synopsis:
  p.setControl(control, value)
  p.setControl({control1: value1, control2: value2, ...})

Argument:
  control   Name, all in lower case or all in upper case, or numeric id.
  value     An int, a float or a string, as the control asks.

Example:
  p.setControl("miprelstop", 1e-4)
  p.setControl({"threads": 2, "timelimit": 60})

Related topics:
  problem.getControl, problem.controls, tavlo.controls
)");

PyDoc_STRVAR(kGetAttribDoc, R"(getAttrib($self, /, *args)
--

Purpose:
  Values of one, several or all attributes of a problem: its sizes and the results of its last solve.

Synopsis:
  value = p.getAttrib(attribute)
  values = p.getAttrib([attribute1, attribute2, ...])
  values = p.getAttrib(attribute1, attribute2, ...)
  values = p.getAttrib()

Argument:
  attribute   Name, all in lower case or all in upper case, or numeric id. Without an argument all attributes are
              meant. More than one, or a list, tuple or iterator, gives a dictionary.

Example:
  p.getAttrib(["rows", "cols"])

Related topics:
  problem.getControl, problem.attributes
)");

PyMethodDef kControlMethods[] = {
    {"getControl", problem_getControl, METH_VARARGS, kGetControlDoc},
    {"setControl", problem_setControl, METH_VARARGS, kSetControlDoc},
    {"getAttrib", problem_getAttrib, METH_VARARGS, kGetAttribDoc},
    {nullptr, nullptr, 0, nullptr},
};

}  // namespace tavlo
