// The types control and attribute: attribute-style access to a problem's values, and the module-level defaults.
#include "problem/controls/controls.h"
#include "pyutil/guard.h"
#include "pyutil/locks.h"
#include "runtime/wrappers.h"

// Both types have one record. Its link is shared by all such objects of a problem and holds the problem, or null once
// that is deallocated: a problem must not be kept alive by them, and they may outlive it.
namespace tavlo {
namespace {

control_s* recordOf(PyObject* self) { return reinterpret_cast<control_s*>(self); }

bool isModuleLevel(PyObject* self) { return !recordOf(self)->link; }

// The problem that self belongs to, or null with an exception when it is gone or released.
problem_s* problemOf(PyObject* self) {
  auto* p = static_cast<problem_s*>(tvloobject_getobj(recordOf(self)->link));
  if (!p) {
    modelError("Problem is not initialized");
    return nullptr;
  }
  return checkProblemIsInitialized(p) == 0 ? p : nullptr;
}

PyObject* create(PyTypeObject* type, PyObject* link, PyObject* dict) {
  if (!dict) return nullptr;
  PyObject* self = type->tp_alloc(type, 0);
  if (!self) return nullptr;
  Py_XINCREF(link);
  recordOf(self)->link = link;
  recordOf(self)->dict = newRef(dict);
  return self;
}

void dealloc(PyObject* self) {
  Py_XDECREF(recordOf(self)->link);
  Py_XDECREF(recordOf(self)->dict);
  Py_TYPE(self)->tp_free(self);
}

// The link of p (borrowed), made on first need.
PyObject* linkOf(problem_s* p) {
  if (!p->link) p->link = tvloobject_create(p);
  return p->link;
}

PyObject* copyOf(PyObject* self, PyTypeObject* type) {
  PyObject* own = recordOf(self)->dict;
  Ref dict = Ref::steal(own ? PyDict_Copy(own) : PyDict_New());
  return create(type, recordOf(self)->link, dict.get());
}

PyObject* ctrl_copy(PyObject* self, PyObject*) { return copyOf(self, &tavlo_controlType); }
PyObject* attr_copy(PyObject* self, PyObject*) { return copyOf(self, &tavlo_attributeType); }

// The object's dictionary. A name table is shared by every problem, so that a copy of it is given away.
PyObject* dictionaryOf(PyObject* self) {
  PyObject* dict = recordOf(self)->dict;
  if (!dict) return PyDict_New();
  return dict == tvl_py_env.ctrl_table || dict == tvl_py_env.attr_table ? PyDict_Copy(dict) : newRef(dict);
}

bool isDunder(PyObject* name) {
  const Py_ssize_t length = PyUnicode_GET_LENGTH(name);
  return length > 4 && PyUnicode_READ_CHAR(name, 0) == '_' && PyUnicode_READ_CHAR(name, 1) == '_' &&
         PyUnicode_READ_CHAR(name, length - 1) == '_' && PyUnicode_READ_CHAR(name, length - 2) == '_';
}

// The module-level value of a name in the tables' form, or null (without an exception when it has none).
PyObject* moduleValue(PyObject* self, PyObject* name) {
  {
    Locked lock(tvl_py_env.defaults_mutex);
    PyObject* set = tvl_py_env.default_controls ? PyDict_GetItemWithError(tvl_py_env.default_controls, name) : nullptr;
    if (set) return newRef(set);
  }
  PyObject* standard = recordOf(self)->dict ? PyDict_GetItemWithError(recordOf(self)->dict, name) : nullptr;
  return standard ? newRef(standard) : nullptr;
}

PyObject* ctrl_attr_get(PyObject* self, PyObject* name, bool isControl) {
  if (!PyUnicode_Check(name)) return modelError(isControl ? "Bad control request" : "Bad attribute request");
  if (isDunder(name)) {
    if (PyUnicode_CompareWithASCIIString(name, "__dict__") == 0) return dictionaryOf(self);
    return PyObject_GenericGetAttr(self, name);
  }
  Ref key = Ref::steal(normalisedName(name));
  if (key && isModuleLevel(self)) {
    PyObject* value = isControl ? moduleValue(self, key.get()) : nullptr;
    if (value) return value;
  } else if (key) {
    Parameter found;
    if (findParameter(isControl ? tvl_py_env.ctrl_table : tvl_py_env.attr_table, key.get(), &found)) {
      problem_s* p = problemOf(self);
      return p ? problem_getInfo_single(p, found.code, found.type, isControl, found.kind) : nullptr;
    }
  }
  if (!PyErr_Occurred()) interfaceError(isControl ? "Incorrect control name" : "Incorrect attribute name");
  ErrorStash unknown;  // methods come last: values are asked for far more often
  PyObject* method = PyObject_GenericGetAttr(self, name);
  if (method)
    unknown.discard();
  else
    PyErr_Clear();
  return method;
}

PyObject* ctrl_get(PyObject* self, PyObject* name) { return ctrl_attr_get(self, name, true); }
PyObject* attr_get(PyObject* self, PyObject* name) { return ctrl_attr_get(self, name, false); }

int storeModuleValue(PyObject* name, PyObject* value) {
  Ref replaced;  // released after the mutex: its release may run Python code
  Locked lock(tvl_py_env.defaults_mutex);
  PyObject* old = PyDict_GetItemWithError(tvl_py_env.default_controls, name);
  if (old) replaced = Ref::borrow(old);
  return PyDict_SetItem(tvl_py_env.default_controls, name, value);
}

int ctrl_set(PyObject* self, PyObject* name, PyObject* value) {
  if (!value) {
    modelError("A control cannot be deleted");
    return -1;
  }
  Ref key = Ref::steal(normalisedName(name));
  if (!key) return -1;
  Parameter found;
  if (!findParameter(tvl_py_env.ctrl_table, key.get(), &found)) {
    interfaceError("Incorrect control name");
    return -1;
  }
  if (isModuleLevel(self)) return check_setCtrl(found.type, value) != 0 ? -1 : storeModuleValue(key.get(), value);
  problem_s* p = problemOf(self);
  return p ? problem_setControl_single(p, found.code, found.type, found.kind, value) : -1;
}

int attr_set(PyObject*, PyObject*, PyObject*) {
  modelError("A problem's attribute cannot be set");
  return -1;
}

PyObject* textOf(PyObject* self, bool isControl) {
  problem_s* p = isModuleLevel(self) ? nullptr : problemOf(self);
  if (!p && !isModuleLevel(self)) return nullptr;
  Ref values = Ref::steal(p ? getAllCtrlAttr(p, isControl) : dictionaryOf(self));
  return values ? PyUnicode_FromFormat("%S", values.get()) : nullptr;
}

PyObject* ctrl_str(PyObject* self) {
  return guarded([self] { return textOf(self, true); });
}
PyObject* attr_str(PyObject* self) {
  return guarded([self] { return textOf(self, false); });
}

PyMethodDef kControlTypeMethods[] = {
    {"copy", ctrl_copy, METH_NOARGS,
     "copy($self, /)\n--\n\nA new controls object of the same problem, with a copy of the dictionary."},
    {nullptr, nullptr, 0, nullptr},
};
PyMethodDef kAttributeTypeMethods[] = {
    {"copy", attr_copy, METH_NOARGS,
     "copy($self, /)\n--\n\nA new attributes object of the same problem, with a copy of the dictionary."},
    {nullptr, nullptr, 0, nullptr},
};

PyTypeObject makeType(const char* name, const char* doc, getattrofunc get, setattrofunc set, reprfunc text,
                      PyMethodDef* methods) {
  PyTypeObject type = {PyVarObject_HEAD_INIT(nullptr, 0)};
  type.tp_name = name;
  type.tp_basicsize = sizeof(control_s);
  type.tp_dealloc = dealloc;
  type.tp_str = text;
  type.tp_getattro = get;
  type.tp_setattro = set;
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE;
  type.tp_doc = doc;
  type.tp_methods = methods;
  return type;
}

}  // namespace

PyObject* ctrl_base(problem_s* p) {
  if (!p) {
    Ref own = Ref::steal(PyDict_New());
    return create(&tavlo_controlType, nullptr, own.get());
  }
  PyObject* link = linkOf(p);
  return link ? create(&tavlo_controlType, link, tvl_py_env.ctrl_table) : nullptr;
}

PyObject* attr_base(problem_s* p) {
  PyObject* link = linkOf(p);
  return link ? create(&tavlo_attributeType, link, tvl_py_env.attr_table) : nullptr;
}

void ctrl_dropLink(problem_s* p) {
  if (!p->link) return;
  tvloobject_setobj(p->link, nullptr);
  Py_CLEAR(p->link);
}

}  // namespace tavlo

PyTypeObject tavlo_controlType = tavlo::makeType(
    "tavlo.control",
    "Controls of a problem, or the values that new problems get: read and assigned as attributes, controls.miprelstop.",
    tavlo::ctrl_get, tavlo::ctrl_set, tavlo::ctrl_str, tavlo::kControlTypeMethods);
PyTypeObject tavlo_attributeType =
    tavlo::makeType("tavlo.attribute", "Attributes of a problem: read as attributes, attributes.rows.", tavlo::attr_get,
                    tavlo::attr_set, tavlo::attr_str, tavlo::kAttributeTypeMethods);
