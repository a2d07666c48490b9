// Initialisation and release of the module.
#define TAVLO_IMPORTS_NUMPY
#include <cmath>
#include <cstring>

#include "model/objects.h"
#include "module/constants.h"
#include "module/functions.h"
#include "numpy/dtypes.h"
#include "problem/problem.h"
#include "pyutil/ref.h"
#include "runtime/errors.h"
#include "runtime/hooks.h"

namespace tavlo {
namespace {

pthread_mutex_t* const kMutexes[] = {&tvl_py_env.var_mutex,   &tvl_py_env.con_mutex,      &tvl_py_env.sos_mutex,
                                     &tvl_py_env.ctrl_mutex,  &tvl_py_env.defaults_mutex, &tvl_py_env.msg_mutex,
                                     &tvl_py_env.start_mutex, &tvl_py_env.output_mutex};

int init_mutexes() {
  int failed = 0;
  for (pthread_mutex_t* mutex : kMutexes) failed |= pthread_mutex_init(mutex, nullptr);
  return failed;
}

int destroyMutexes() {
  int failed = 0;
  for (pthread_mutex_t* mutex : kMutexes) failed |= pthread_mutex_destroy(mutex);
  return failed;
}

void releaseEnvironment() {
  Py_CLEAR(tvl_py_env.controls);
  Py_CLEAR(tvl_py_env.default_controls);
  Py_CLEAR(tvl_py_env.ctrl_table);
  Py_CLEAR(tvl_py_env.attr_table);
  Py_CLEAR(tvl_py_env.msghandlers);
  for (boundmap** map : {&tvl_py_env.con_lb_map, &tvl_py_env.con_ub_map, &tvl_py_env.var_lb_map, &tvl_py_env.var_ub_map,
                         &tvl_py_env.var_thold_map})
    if (*map) boundmap_free(map);
  for (namemap** map : {&tvl_py_env.con_name_map, &tvl_py_env.var_name_map})
    if (*map) namemap_free(map);
}

// The release of the module, which every live problem keeps alive. Other objects may be deallocated after it: they
// find the maps of the environment null. The types are released with the dictionary that holds them.
int tavlomod_freeModule(void*) {
  if (!interpreterIsFinalizing()) {
    // Another module object has taken this one's place (a second import after sys.modules was cleared); the
    // interpreter does not initialise us again, so the environment lives on for it.
    tvl_py_env.module = newRef(Py_None);
    return 0;
  }
  turnTVLOoff(0);
  releaseEnvironment();
  tvl_py_env.module = nullptr;
  return destroyMutexes();
}

struct NamedType {
  const char* name;  // null: not exported
  PyTypeObject* type;
  bool generic;  // constructed by generic allocation
};
// In the order in which they are readied.
const NamedType kTypes[] = {
    {"var", &tavlo_varType, false},
    {"sos", &tavlo_sosType, true},
    {"expression", &tavlo_expressionType, true},
    {"constraint", &tavlo_constraintType, true},
    {nullptr, &tavlo_controlType, true},
    {nullptr, &tavlo_attributeType, true},
    {"problem", &tavlo_problemType, false},
    {"branchobj", &tavlo_branchobjType, true},
    {"poolcut", &tavlo_poolcutType, true},
    {nullptr, &tavlo_tvloobjectType, true},
    {nullptr, &tavlo_genericType, true},
    {nullptr, &tavlo_lintermType, true},
    {nullptr, &tavlo_quadtermType, true},
    {nullptr, &tavlo_nonlinearType, true},
};
const char* const kExported[] = {"var", "expression", "sos", "constraint", "problem", "branchobj", "poolcut"};

PyTypeObject* exportedType(const char* name) {
  for (const NamedType& row : kTypes)
    if (row.name && std::strcmp(row.name, name) == 0) return row.type;
  return nullptr;
}

int readyTypes() {
  for (const NamedType& row : kTypes) {
    if (row.generic) row.type->tp_new = PyType_GenericNew;
    if (PyType_Ready(row.type) != 0) return -1;
  }
  return 0;
}

int fillEnvironment() {
  tvl_py_env.ctrl_table = PyDict_New();
  tvl_py_env.attr_table = PyDict_New();
  tvl_py_env.default_controls = PyDict_New();
  tvl_py_env.controls = ctrl_base(nullptr);
  tvl_py_env.msghandlers = PyList_New(0);
  tvl_py_env.start_count = 0;
  tvl_py_env.nl_state = -1;
  tvl_py_env.output_enabled = 1;
  for (boundmap** map : {&tvl_py_env.con_lb_map, &tvl_py_env.con_ub_map, &tvl_py_env.var_lb_map, &tvl_py_env.var_ub_map,
                         &tvl_py_env.var_thold_map})
    if (!(*map = boundmap_new())) return -1;
  for (namemap** map : {&tvl_py_env.con_name_map, &tvl_py_env.var_name_map})
    if (!(*map = namemap_new())) return -1;
  return tvl_py_env.controls && tvl_py_env.ctrl_table && tvl_py_env.attr_table && tvl_py_env.default_controls &&
                 tvl_py_env.msghandlers
             ? 0
             : -1;
}

int addObject(PyObject* module, const char* name, PyObject* object) {
  Ref owned = Ref::borrow(object);
  if (PyModule_AddObject(module, name, owned.get()) != 0) return -1;
  owned.release();  // the module has it now
  return 0;
}

int addExceptions(PyObject* module) {
  const struct {
    const char *name, *attribute;
    PyObject** exception;
  } rows[] = {{"tavlo.ModelError", "ModelError", &tpy_model_exc},
              {"tavlo.InterfaceError", "InterfaceError", &tpy_interf_exc},
              {"tavlo.SolverError", "SolverError", &tpy_solver_exc}};
  for (const auto& row : rows) {
    *row.exception = PyErr_NewException(row.name, nullptr, nullptr);
    if (!*row.exception || addObject(module, row.attribute, *row.exception) != 0) return -1;
  }
  return 0;
}

int init_structures(PyObject* module) {
  tvl_py_env.next_var_index = tvl_py_env.next_con_index = tvl_py_env.next_sos_index = 1;
  for (const Constant* row = kConstants; row->name; ++row) {
    Ref value = Ref::steal(row->kind == kConstantInt ? PyLong_FromDouble(std::floor(row->value))
                                                     : PyFloat_FromDouble(row->value));
    if (!value || addObject(module, row->name, value.get()) != 0) return -1;
  }
  return 0;
}

int addElementTypes(PyObject* module) {
  const struct {
    const char* name;
    PyArray_Descr* descr;
  } elements[] = {{"npvar", tvl_py_env.npvar_descr},
                  {"npexpr", tvl_py_env.npexpr_descr},
                  {"npconstraint", tvl_py_env.npconstraint_descr}};
  for (const auto& row : elements)
    if (addObject(module, row.name, reinterpret_cast<PyObject*>(row.descr)) != 0) return -1;
  return 0;
}

int fillModule(PyObject* module) {
  if (fillEnvironment() != 0) return -1;
  for (const char* name : kExported)
    if (addObject(module, name, reinterpret_cast<PyObject*>(exportedType(name))) != 0) return -1;
  return addExceptions(module) != 0 || init_structures(module) != 0 ? -1 : addElementTypes(module);
}

PyObject* initialisationError() {
  if (!PyErr_Occurred()) PyErr_SetString(PyExc_RuntimeError, "Error initializing the Tavlo module");
  return nullptr;
}

PyModuleDef moduleDefinition = {
    PyModuleDef_HEAD_INIT,
    "tavlolib",
    "Creating, solving, querying and handling optimization problems with the solver library.",
    -1,
    kModuleMethods,
    nullptr,
    nullptr,
    nullptr,
    nullptr,  // set once initialisation has succeeded: a failed one has released everything itself
};

PyObject* initialise() {
  hooks = {raiseProblemError, fillControlTables, releaseProblems};
  if (init_mutexes() != 0) return initialisationError();
  if (_import_array() < 0 || _import_umath() < 0 || readyTypes() != 0 || setAltNumOps() != 0)
    return initialisationError();
  Ref module = Ref::steal(PyModule_Create2(&moduleDefinition, PYTHON_API_VERSION));
  if (!module) return initialisationError();
  if (fillModule(module.get()) != 0) {
    initialisationError();
    ErrorStash failure;
    releaseEnvironment();
    destroyMutexes();
    module.reset();
    return nullptr;
  }
  moduleDefinition.m_free = reinterpret_cast<freefunc>(tavlomod_freeModule);
  tvl_py_env.module = module.get();  // borrowed: the module must be able to go
  return module.release();
}

}  // namespace
}  // namespace tavlo

PyMODINIT_FUNC PyInit_tavlolib();
PyMODINIT_FUNC PyInit_tavlolib() { return tavlo::initialise(); }
