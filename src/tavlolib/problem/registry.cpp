#include "problem/registry.h"

#include <new>

#include "model/objects.h"
#include "problem/translation/user_function.h"

namespace tavlo {
namespace {

registry_s* recordOf(PyObject* self) { return reinterpret_cast<registry_s*>(self); }

void registry_dealloc(PyObject* self) {
  PyObject_GC_UnTrack(self);
  recordOf(self)->body.~Registry();
  PyObject_GC_Del(self);
}

int registry_traverse(PyObject* self, visitproc visit, void* arg) { return recordOf(self)->body.traverse(visit, arg); }

// Whatever leads back to a registry leads through a problem, which breaks the cycle: there is no tp_clear.
PyTypeObject makeType() {
  PyTypeObject t = {PyVarObject_HEAD_INIT(nullptr, 0)};
  t.tp_name = "tavlo.registry";
  t.tp_basicsize = sizeof(registry_s);
  t.tp_dealloc = registry_dealloc;
  t.tp_traverse = registry_traverse;
  t.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_GC;
  t.tp_doc = "Internal: the objects of a problem.";
  return t;
}

}  // namespace

PyTypeObject registryType = makeType();

Registry::Registry()
    : vars([](PyObject* o) { return varIndex(reinterpret_cast<var_s*>(o)); }),
      cons([](PyObject* o) { return conIndex(reinterpret_cast<constraint_s*>(o)); }),
      sets([](PyObject* o) { return reinterpret_cast<sos_s*>(o)->index; }),
      changes_(nextEpoch()) {}

Registry::~Registry() = default;

int Registry::copyFrom(const Registry& other) {
  hasFormulas = other.hasFormulas;
  aged = other.aged;
  transferColumn = other.transferColumn;
  transferRow = other.transferRow;
  return vars.copyFrom(other.vars) == 0 && cons.copyFrom(other.cons) == 0 ? sets.copyFrom(other.sets) : -1;
}

int Registry::traverse(visitproc visit, void* arg) const {
  for (const Entries* entries : {&vars, &cons, &sets})
    if (const int stop = entries->traverse(visit, arg)) return stop;
  if (const int stop = failure.traverse(visit, arg)) return stop;
  return userFunctions ? userFunctions->traverse(visit, arg) : 0;
}

BasicRef<registry_s> newRegistry() {
  if (PyType_Ready(&registryType) != 0) return {};
  registry_s* made = PyObject_GC_New(registry_s, &registryType);
  if (!made) return {};
  new (&made->body) Registry;
  PyObject_GC_Track(made);
  auto result = BasicRef<registry_s>::steal(made);
  if (result->body.isMade()) return result;
  PyErr_NoMemory();
  return {};
}

}  // namespace tavlo
