// Special ordered sets.
#include "model/objects.h"
#include "model/packed_word.h"
#include "model/release.h"
#include "model/text.h"
#include "pyutil/ref.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

sos_s* self_(PyObject* o) { return reinterpret_cast<sos_s*>(o); }
uint64_t nextIndex() { return takeIndex(tvl_py_env.next_sos_index, tvl_py_env.sos_mutex); }

void put(PyObject** field, PyObject* value) {
  Ref old = Ref::steal(*field);
  *field = newRef(value);
}

int sos_init(PyObject* self, PyObject* args, PyObject* kwargs) {
  sos_s* s = self_(self);
  if (s->index == 0) nextIndex();  // generic allocation took none; each set made by the constructor uses two
  s->index = nextIndex();
  s->type = 1;
  static constexpr const char* kNames[] = {"indices", "weights", "type", "name", nullptr};
  PyObject *indices = nullptr, *weights = nullptr, *type = nullptr, *name = nullptr;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "OO|OO", kNames, nullptr, &indices, &weights, &type, &name)) return -1;
  Ref the_name = Ref::borrow(name);
  if (!name) the_name = Ref::steal(PyUnicode_FromFormat("sos%llu", static_cast<unsigned long long>(s->index)));
  if (!the_name) return -1;
  int64_t number = 1;
  if (type && (!isSignedInteger(type, &number) || (number != 1 && number != 2))) return fail("SOS type must be 1 or 2");
  if (!PyList_Check(weights)) return fail("SOS weights must be passed as a list");
  if (!PyList_Check(indices)) return fail("SOS indices must be passed as a list");
  s->type = static_cast<int32_t>(number);
  put(&s->name, the_name.get());
  put(&s->indices, indices);
  put(&s->weights, weights);
  return 0;
}

int sos_traverse(PyObject* self, visitproc visit, void* arg) {
  Py_VISIT(self_(self)->name);
  Py_VISIT(self_(self)->indices);
  Py_VISIT(self_(self)->weights);
  return 0;
}

int sos_clear(PyObject* self) {
  Py_CLEAR(self_(self)->name);
  Py_CLEAR(self_(self)->indices);
  Py_CLEAR(self_(self)->weights);
  return 0;
}

void sos_dealloc(PyObject* self) {
  PyObject_GC_UnTrack(self);
  releaseChained(self_(self)->name);
  releaseChained(self_(self)->indices);
  releaseChained(self_(self)->weights);
  Py_TYPE(self)->tp_free(self);
}

PyObject* sos_copy(PyObject* self, PyObject*) {
  const sos_s* s = self_(self);
  Ref r = Ref::steal(PyType_GenericAlloc(&tavlo_sosType, 0)), name = Ref::steal(modelling_str(self));
  if (!r || !name) return nullptr;
  // Looked at only now: the name's own str() may have initialised the set again. The rest runs no code of the lists.
  if (!s->indices || !s->weights) return modelError("Set is not initialized");
  sos_s* to = self_(r.get());
  to->index = nextIndex();
  to->type = s->type;
  to->name = PyUnicode_FromFormat("sos%llu_copy_%U", static_cast<unsigned long long>(s->index), name.get());
  to->indices = to->name ? PyList_GetSlice(s->indices, 0, PY_SSIZE_T_MAX) : nullptr;
  to->weights = to->indices ? PyList_GetSlice(s->weights, 0, PY_SSIZE_T_MAX) : nullptr;
  return to->weights ? r.release() : nullptr;
}

PyMemberDef sosMembers[] = {{"name", T_OBJECT_EX, offsetof(sos_s, name), 0, "Name of the set."},
                            {nullptr, 0, 0, 0, nullptr}};

PyMethodDef sosMethods[] = {{"copy", sos_copy, METH_NOARGS,
                             "Purpose:\n  Returns a copy of the set, with lists of its own.\nSynopsis:\n  s2 = "
                             "s1.copy()\nRelated topics:\n  sos"},
                            {nullptr, nullptr, 0, nullptr}};

constexpr char kSosDoc[] =
    "Purpose:\n  Creates a special ordered set: of type 1, at most one of the variables is nonzero; of type 2, at most "
    "two, which are neighbours in the order of their weights.\n"
    "Synopsis:\n  s = tavlo.sos(indices, weights, type=1, name='')\n"
    "Argument:\n  indices: list of variables\n  weights: list of their weights\n  type: 1 or 2\n"
    "  name: name of the set; \"sos\" and its index when omitted\n"
    "Example:\n  s = tavlo.sos([x, y, z], [1, 2, 3], type=2)\nRelated topics:\n  problem.addSOS";

PyTypeObject sosType() {
  PyTypeObject t = {PyVarObject_HEAD_INIT(nullptr, 0)};
  t.tp_name = "tavlo.sos";
  t.tp_basicsize = sizeof(sos_s);
  t.tp_dealloc = sos_dealloc;
  t.tp_repr = t.tp_str = modelling_str;
  t.tp_methods = sosMethods;
  t.tp_members = sosMembers;
  t.tp_init = sos_init;
  t.tp_traverse = sos_traverse;
  t.tp_clear = sos_clear;
  t.tp_free = PyObject_GC_Del;
  t.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_HAVE_GC;
  t.tp_doc = kSosDoc;
  return t;
}

}  // namespace

}  // namespace tavlo

PyTypeObject tavlo_sosType = tavlo::sosType();
