#include "numpy/dtypes.h"

#include "model/objects.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"
#include "runtime/env.h"

namespace tavlo {
namespace {

PyObject* npy_getitem(void* item, void*) {
  PyObject* o = loadElement(item);
  return newRef(o ? o : Py_None);
}

int npy_setitem(PyObject* o, void* item, void*) {
  PyObject* stored = PyArray_IsScalar(o, Number) || PyArray_IsScalar(o, Bool)
                         ? PyObject_CallMethod(o, "item", nullptr)  // as casts of arrays store numbers
                         : newRef(o);
  if (!stored) return -1;
  replaceElement(item, stored);
  return 0;
}

// NumPy copies elements of registered types without the interpreter lock when arrays are large. The swap flag is
// ignored: an owned pointer has no other byte order. A null source asks for a swap in place only.
void npy_copyswap(void* dst, void* src, int, void*) {
  if (!src) return;
  GilHeld lock;
  PyObject* o = loadElement(src);
  Py_XINCREF(o);
  replaceElement(dst, o);
}

void npy_copyswapn(void* dst, npy_intp dstStride, void* src, npy_intp srcStride, npy_intp n, int, void*) {
  if (!src) return;
  GilHeld lock;
  char *d = static_cast<char*>(dst), *s = static_cast<char*>(src);
  for (npy_intp i = 0; i < n; ++i, d += dstStride, s += srcStride) {
    PyObject* o = loadElement(s);
    Py_XINCREF(o);
    replaceElement(d, o);
  }
}

npy_bool npy_true_nonzero(void*, void*) { return NPY_TRUE; }

npy_bool npy_expression_nonzero(void* item, void*) {
  PyObject* o = loadElement(item);
  if (!o) return NPY_FALSE;
  double value;
  if (expression_Check(o)) {
    const auto* e = reinterpret_cast<expression_s*>(o);
    return e->constant != 0 || e->linear || e->quadratic ? NPY_TRUE : NPY_FALSE;
  }
  if (readConstant(o, &value)) return value != 0 ? NPY_TRUE : NPY_FALSE;
  return NPY_TRUE;  // other modelling objects stand for a quantity
}

// The class of a descriptor, and its table of routines, whose first entries have the numbers of NumPy's public slots.
// Every pointer is compared before anything is written.
struct TypeMeta {
  PyHeapTypeObject super;
  PyArray_Descr* singleton;
  int typeNum;
  PyTypeObject* scalarType;
  npy_uint64 flags;
  void** slots;
};
constexpr int kSlotKnownScalar = 1, kSlotClear = 8, kSlotZeroFill = 9;

// NumPy 1.25 and 1.26 overwrite the clear entry of a registered type that holds references by the zero-fill routine, so
// arrays never release their elements. The structured type carries both routines: put them where they were meant.
void repairClearSlot(void** mine, void* const* structured) {
  if (PyArray_GetNDArrayCFeatureVersion() != NPY_1_25_API_VERSION) return;
  if (mine[kSlotClear] != structured[kSlotZeroFill] || mine[kSlotZeroFill]) return;
  mine[kSlotClear] = structured[kSlotClear];
  mine[kSlotZeroFill] = structured[kSlotZeroFill];
}

// NumPy casts a scalar of its own in a buffer when it stores it in a single element, and loses the reference that the
// buffer then holds. A type that knows the scalar gets it as it is, as it gets the interpreter's numbers.
using KnownScalar = int (*)(PyObject* type, PyTypeObject* scalar);
KnownScalar knowsInterpreterNumbers;

int knowsNumbers(PyObject* type, PyTypeObject* scalar) {
  return knowsInterpreterNumbers(type, scalar) || PyType_IsSubtype(scalar, &PyBoolArrType_Type) ||
         PyType_IsSubtype(scalar, &PyIntegerArrType_Type) || PyType_IsSubtype(scalar, &PyFloatingArrType_Type);
}

void knowScalars(void** mine, void* const* structured) {
  if (!mine[kSlotKnownScalar] || mine[kSlotKnownScalar] != structured[kSlotKnownScalar]) return;
  knowsInterpreterNumbers = reinterpret_cast<KnownScalar>(mine[kSlotKnownScalar]);
  mine[kSlotKnownScalar] = reinterpret_cast<void*>(knowsNumbers);
}

int amendSlots(PyArray_Descr* descr, Element element) {
  Ref structured = Ref::steal(reinterpret_cast<PyObject*>(PyArray_DescrFromType(NPY_VOID)));
  if (!structured) return -1;
  auto* mine = reinterpret_cast<TypeMeta*>(Py_TYPE(descr));
  auto* theirs = reinterpret_cast<TypeMeta*>(Py_TYPE(structured.get()));
  if (mine->singleton != descr || mine->typeNum != descr->type_num || theirs->typeNum != NPY_VOID) return 0;
  repairClearSlot(mine->slots, theirs->slots);
  if (element == Element::expr) knowScalars(mine->slots, theirs->slots);
  return 0;
}

struct ElementType {
  Element element;
  PyTypeObject* type;
  char code;
  const char* field;
  PyArray_NonzeroFunc* nonzero;
  PyArray_Descr** descr;  // where the environment keeps it
};
// In the order of registration.
const ElementType kTypes[] = {
    {Element::constraint, &tavlo_constraintType, 'c', "constraint", npy_true_nonzero, &tvl_py_env.npconstraint_descr},
    {Element::var, &tavlo_varType, 'v', "variable", npy_true_nonzero, &tvl_py_env.npvar_descr},
    {Element::expr, &tavlo_expressionType, 'e', "expression", npy_expression_nonzero, &tvl_py_env.npexpr_descr},
};
constexpr int kTypeCount = 3;
int typeNumbers[5] = {NPY_DOUBLE, -1, -1, -1, NPY_OBJECT};
// NumPy keeps registered types for good; on 1.x the prototype is the descriptor itself.
PyArray_ArrFuncs elementFunctions[kTypeCount];
PyArray_DescrProto prototypes[kTypeCount];

int registerElementType(int slot, const ElementType& t) {
  PyArray_ArrFuncs* f = &elementFunctions[slot];
  PyArray_InitArrFuncs(f);
  f->getitem = npy_getitem;
  f->setitem = npy_setitem;
  f->copyswap = npy_copyswap;
  f->copyswapn = npy_copyswapn;
  f->nonzero = t.nonzero;

  Ref objectDescr = Ref::steal(reinterpret_cast<PyObject*>(PyArray_DescrFromType(NPY_OBJECT)));
  if (!objectDescr) return -1;
  // Registration demands a field for types with references.
  Ref fields = Ref::steal(Py_BuildValue("{s:(Oi)}", t.field, objectDescr.get(), 0));
  Ref names = Ref::steal(Py_BuildValue("(s)", t.field));
  if (!fields || !names) return -1;
  PyArray_DescrProto* d = &prototypes[slot];
  Py_SET_REFCNT(reinterpret_cast<PyObject*>(d), 1);
  Py_SET_TYPE(reinterpret_cast<PyObject*>(d), &PyArrayDescr_Type);
  Py_INCREF(t.type);
  d->typeobj = t.type;
  d->kind = 'O';
  d->type = t.code;
  d->byteorder = '|';
  d->flags = static_cast<char>(NPY_OBJECT_DTYPE_FLAGS);
  d->elsize = sizeof(PyObject*);
  d->alignment = alignof(PyObject*);
  d->fields = fields.release();
  d->names = names.release();
  d->f = f;
  d->hash = -1;
  const int number = PyArray_RegisterDataType(d);
  if (number < 0) return -1;
  typeNumbers[static_cast<int>(t.element)] = number;
  *t.descr = PyArray_DescrFromType(number);  // on NumPy 2 a different object from the prototype
  return *t.descr ? amendSlots(*t.descr, t.element) : -1;
}

}  // namespace

int typeNumber(Element e) { return typeNumbers[static_cast<int>(e)]; }

int registerElementTypes() {
  for (int i = 0; i < kTypeCount; ++i)
    if (registerElementType(i, kTypes[i]) < 0) return -1;
  return 0;
}

int setAltNumOps() {
  // The order matters: a loop's registration already looks the casts up.
  if (registerElementTypes() < 0 || registerCasts() < 0 || registerLoops() < 0) return -1;
  return installProtocol();
}

}  // namespace tavlo
