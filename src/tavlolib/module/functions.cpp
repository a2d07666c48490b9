#include "module/functions.h"

#include "model/objects.h"
#include "module/modelling_docs.h"
#include "numpy/dot.h"
#include "numpy/vars.h"
#include "problem/problem.h"
#include "problem/solving/solution.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"
#include "runtime/errors.h"
#include "runtime/start.h"

namespace tavlo {
namespace {

// Every function that asks the environment ends here.
PyObject* environmentResult(PyObject* result) {
  setTvloErrIfNull(nullptr, result);
  return result;
}

PyObject* tavlomod_getlasterror(PyObject*, PyObject*) {
  char text[1024] = "";
  int code = 0;
  if (turnTVLOon(0) != 0 || TVLO_ge_getlasterror(&code, text, sizeof text, nullptr) != 0)
    return environmentResult(nullptr);
  return environmentResult(Py_BuildValue("(is)", code, text));
}

PyObject* tavlomod_getversion(PyObject*, PyObject*) {
  char text[64] = "";
  if (TVLOgetversion(text) != 0) return environmentResult(nullptr);
  return environmentResult(PyUnicode_FromString(text));
}

PyObject* tavlomod_getbanner(PyObject*, PyObject*, PyObject*) {
  char text[1024] = "";
  if (turnTVLOon(0) != 0 || TVLOgetbanner(text) != 0) return environmentResult(nullptr);
  return environmentResult(PyUnicode_FromString(text));
}

PyObject* tavlomod_setdefaultcontrol(PyObject*, PyObject* args, PyObject* kwargs) {
  static const char* const kNames[] = {"ipar", nullptr};
  PyObject* name = nullptr;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "U", kNames, nullptr, &name)) return nullptr;
  Ref key = Ref::steal(normalisedName(name));
  if (!key) return nullptr;
  Ref dropped;  // released after the mutex: its release may run Python code
  {
    Locked lock(tvl_py_env.defaults_mutex);
    PyObject* value = PyDict_GetItemWithError(tvl_py_env.default_controls, key.get());
    if (value) {
      dropped = Ref::borrow(value);
      if (PyDict_DelItem(tvl_py_env.default_controls, key.get()) != 0) return nullptr;
    }
  }
  Py_RETURN_NONE;
}

PyObject* tavlomod_setdefaults(PyObject*, PyObject*) {
  Ref dropped = Ref::steal(PyDict_New());
  if (!dropped) return nullptr;
  {
    Locked lock(tvl_py_env.defaults_mutex);
    PyObject* old = tvl_py_env.default_controls;
    tvl_py_env.default_controls = dropped.release();
    dropped = Ref::steal(old);
  }
  Py_RETURN_NONE;
}

PyObject* tavlomod_getOutputEnabled(PyObject*, PyObject*) {
  Locked lock(tvl_py_env.output_mutex);
  return PyBool_FromLong(tvl_py_env.output_enabled);
}

PyObject* tavlomod_setOutputEnabled(PyObject*, PyObject* enabled) {
  int64_t value = 0;
  if (!isSignedInteger(enabled, &value)) {
    if (!PyLong_Check(enabled)) return modelError("Incorrect argument in setOutputEnabled: should be True or False");
    value = 1;  // an integer of more than 64 bits
  }
  {
    Locked lock(tvl_py_env.output_mutex);
    tvl_py_env.output_enabled = value != 0;
  }
  Py_RETURN_NONE;
}

PyObject* tavlomod_init(PyObject*, PyObject*) {
  if (turnTVLOon(1) != 0) return nullptr;
  Py_RETURN_NONE;
}

PyObject* tavlomod_free(PyObject*, PyObject*) {
  turnTVLOoff(1);
  return PyBool_FromLong(libraryIsStarted());
}

PyObject* tavlomod_getcontrols(PyObject*, PyObject*) {
  const Py_ssize_t filled = PyDict_Size(tvl_py_env.attr_table);
  if (filled < 0 || (filled == 0 && fillControlTables(0) != 0)) return environmentResult(nullptr);
  return newRef(tvl_py_env.controls);
}

}  // namespace

PyDoc_STRVAR(kGetlasterrorDoc, R"(getlasterror($module, /)
--

Purpose:
  Code and text of the last error of the global environment.

Synopsis:
  code, message = tavlo.getlasterror()

Argument:
  None. The code is 0 and the message empty when there was no error.

Example:
  code, message = tavlo.getlasterror()

Related topics:
  tavlo.init, tavlo.free
)");

PyDoc_STRVAR(kGetversionDoc, R"(getversion($module, /)
--

Purpose:
  Version of the solver library. Does not start it.

Synopsis:
  version = tavlo.getversion()

Argument:
  None. The result is a string: major, minor and build number, separated by points.

Example:
  print("Solver library", tavlo.getversion())

Related topics:
  tavlo.getbanner
)");

PyDoc_STRVAR(kSetdefaultcontrolDoc, R"(setdefaultcontrol($module, /, ipar)
--

Purpose:
  Drops the value that tavlo.controls holds for one control, so that new problems get the library's default.

Synopsis:
  tavlo.setdefaultcontrol(ipar)

Argument:
  ipar   Name of the control, all in lower case or all in upper case.

Example:
  tavlo.controls.timelimit = 60
  tavlo.setdefaultcontrol("timelimit")

Related topics:
  tavlo.setdefaults, tavlo.controls
)");

PyDoc_STRVAR(kSetdefaultsDoc, R"(setdefaults($module, /)
--

Purpose:
  Drops every value that was set in tavlo.controls, so that new problems get the library's defaults.

Synopsis:
  tavlo.setdefaults()

Argument:
  None.

Example:
  tavlo.setdefaults()

Related topics:
  tavlo.setdefaultcontrol, tavlo.controls
)");

PyDoc_STRVAR(kGetbannerDoc, R"(getbanner($module, /, *args, **kwargs)
--

Purpose:
  Banner of the solver library: its name, version and engines.

Synopsis:
  banner = tavlo.getbanner()

Argument:
  None is needed; any that is given is ignored.

Example:
  print(tavlo.getbanner())

Related topics:
  tavlo.getversion
)");

PyDoc_STRVAR(kInitDoc, R"(_init($module, arg, /)
--

Purpose:
  Starts the solver library once more. It is started by itself when it is first needed; each start that is forced here
  is undone by one call of tavlo.free.

Synopsis:
  tavlo.init()

Argument:
  None (tavlo._init takes one, which it ignores).

Example:
  tavlo.init()
  p = tavlo.problem()
  tavlo.free()

Related topics:
  tavlo.free
)");

PyDoc_STRVAR(kFreeDoc, R"(free($module, /)
--

Purpose:
  Undoes one start of the solver library. The last stop releases the solver's part of every live problem.

Synopsis:
  running = tavlo.free()

Argument:
  None. The result is True while the library is still started and False when it is stopped.

Example:
  while tavlo.free():
      pass

Related topics:
  tavlo.init
)");

PyDoc_STRVAR(kGetOutputEnabledDoc, R"(getOutputEnabled($module, /)
--

Purpose:
  Whether messages of the solver library are written to Python's standard output.

Synopsis:
  enabled = tavlo.getOutputEnabled()

Argument:
  None.

Example:
  if tavlo.getOutputEnabled():
      print("log follows")

Related topics:
  tavlo.setOutputEnabled, problem.setOutputEnabled
)");

PyDoc_STRVAR(kSetOutputEnabledDoc, R"(setOutputEnabled($module, enabled, /)
--

Purpose:
  Switches the messages of the solver library to Python's standard output on or off, for all problems.

Synopsis:
  tavlo.setOutputEnabled(enabled)

Argument:
  enabled   True or False.

Example:
  tavlo.setOutputEnabled(False)

Related topics:
  tavlo.getOutputEnabled, problem.setOutputEnabled
)");

PyDoc_STRVAR(kGetcontrolsDoc, R"(_getcontrols($module, /)
--

Purpose:
  The module-level controls object: reading gives the default of a control, assigning sets it for problems created
  afterwards.

Synopsis:
  controls = tavlo.controls

Argument:
  None.

Example:
  tavlo.controls.miprelstop = 1e-4
  p = tavlo.problem()

Related topics:
  tavlo.setdefaultcontrol, tavlo.setdefaults, problem.setControl
)");

#define TAVLO_KEYWORDS(function) reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(function))

PyMethodDef kModuleMethods[] = {
    {"Sum", tavlomod_Sum, METH_VARARGS, kSumDoc},
    {"Prod", tavlomod_Prod, METH_VARARGS, kProdDoc},
#define ELEMENTARY_FUNCTION(name, Node, node, TOKEN, formula, words, ...) \
  {#name, tavlomod_function<node>, METH_O, TAVLO_FUNCTION_DOC(#name, words)},
#include "elementary/functions.def"
    {"max", tavlomod_max, METH_VARARGS, TAVLO_EXTREMUM_DOC("max", "Maximum")},
    {"min", tavlomod_min, METH_VARARGS, TAVLO_EXTREMUM_DOC("min", "Minimum")},
    {"user", TAVLO_KEYWORDS(tavlomod_user), METH_VARARGS | METH_KEYWORDS, kUserDoc},
    {"vars", TAVLO_KEYWORDS(tavlomod_vars), METH_VARARGS | METH_KEYWORDS, kVarsDoc},
    {"Dot", TAVLO_KEYWORDS(tavlomod_Dot), METH_VARARGS | METH_KEYWORDS, kDotDoc},
    {"getlasterror", tavlomod_getlasterror, METH_NOARGS, kGetlasterrorDoc},
    {"getversion", tavlomod_getversion, METH_NOARGS, kGetversionDoc},
    {"setdefaultcontrol", TAVLO_KEYWORDS(tavlomod_setdefaultcontrol), METH_VARARGS | METH_KEYWORDS,
     kSetdefaultcontrolDoc},
    {"setdefaults", tavlomod_setdefaults, METH_NOARGS, kSetdefaultsDoc},
    {"getbanner", TAVLO_KEYWORDS(tavlomod_getbanner), METH_VARARGS | METH_KEYWORDS, kGetbannerDoc},
    {"_init", tavlomod_init, METH_O, kInitDoc},
    {"free", tavlomod_free, METH_NOARGS, kFreeDoc},
    {"evaluate", TAVLO_KEYWORDS(tavlomod_evaluate), METH_VARARGS | METH_KEYWORDS, kEvaluateDoc},
    {"pwl", tavlomod_pwl, METH_O, kPwlDoc},
    {"And", tavlomod_And, METH_VARARGS, TAVLO_LOGICAL_DOC("And", "and", "&")},
    {"Or", tavlomod_Or, METH_VARARGS, TAVLO_LOGICAL_DOC("Or", "or", "|")},
    {"getOutputEnabled", tavlomod_getOutputEnabled, METH_NOARGS, kGetOutputEnabledDoc},
    {"setOutputEnabled", tavlomod_setOutputEnabled, METH_O, kSetOutputEnabledDoc},
    {"_getcontrols", tavlomod_getcontrols, METH_NOARGS, kGetcontrolsDoc},
    {nullptr, nullptr, 0, nullptr},
};

}  // namespace tavlo
