// The node type of nonlinear trees: record, constructors and checks, access to operands.
#include "model/nonlinear.h"

#include "model/held.h"
#include "model/text.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

// The interpreter's trashcan bounds the recursion, however deep the tree.
void nonlin_dealloc(PyObject* self) {
  PyObject_GC_UnTrack(self);
  Py_TRASHCAN_BEGIN(self, nonlin_dealloc) Py_CLEAR(asNode(self)->args);
  Py_TYPE(self)->tp_free(self);
  Py_TRASHCAN_END
}

int nonlin_traverse(PyObject* self, visitproc visit, void* arg) { return visitHeld(asNode(self)->args, visit, arg); }

int nonlin_clear(PyObject* self) {
  Py_CLEAR(asNode(self)->args);
  return 0;
}

bool isUser(int32_t code) { return code == kNodeUser || code == kNodeUserDerivatives; }
bool isCommutative(int32_t code) {
  return code == kNodeSum || code == kNodeProduct || code == kNodeAnd || code == kNodeOr;
}

// Takes over the reference to the operands; an empty one hands on its exception.
PyObject* newNode(int32_t code, Ref args) {
  auto n = Ref::steal(args ? nonlin_base() : nullptr);
  if (!n) return nullptr;
  asNode(n.get())->code = code;
  asNode(n.get())->args = args.release();
  return n.release();
}

bool checkMember(PyObject* o) {
  Operand a;
  if (!classify(o, &a)) return false;
  return (a.kind != kInvalid && a.kind != kArray) || modelError("Invalid object in n-ary operation");
}

// Appends the members of a node of the code, or the object itself.
bool extend(PyObject* list, int32_t code, PyObject* o) {
  if (!isListNode(o, code)) return PyList_Append(list, o) == 0;
  const Py_ssize_t end = PyList_GET_SIZE(list);
  return PyList_SetSlice(list, end, end, asNode(o)->args) == 0;
}

PyMethodDef nonlinMethods[] = {{"extractLinear", nonlin_extractLinear, METH_NOARGS, kExtractLinearDoc},
                               {"extractQuadratic", nonlin_extractQuadratic, METH_NOARGS, kExtractQuadraticDoc},
                               {nullptr, nullptr, 0, nullptr}};

PyTypeObject nonlinearType() {
  PyTypeObject t = {PyVarObject_HEAD_INIT(nullptr, 0)};
  t.tp_name = "tavlo.nonlinear";
  t.tp_basicsize = sizeof(nonlinear_s);
  t.tp_dealloc = nonlin_dealloc;
  t.tp_traverse = nonlin_traverse;
  t.tp_clear = nonlin_clear;
  t.tp_free = PyObject_GC_Del;
  t.tp_repr = t.tp_str = modelling_str;
  t.tp_as_number = &nonlinearNumbers;
  t.tp_richcompare = modelling_richcompare;
  t.tp_methods = nonlinMethods;
  t.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_HAVE_GC;
  t.tp_doc =
      "A nonlinear expression: a tree of operators and functions over variables, expressions and numbers.\n\nResults "
      "from arithmetic and from the functions of the module, as in x**3, x/y or tavlo.sin(x).\nA tree refers to its "
      "operands: do not change an expression in place after it has become part of one.";
  return t;
}

}  // namespace

PyObject* nonlin_base() {
  nonlinear_s* n = PyObject_GC_New(nonlinear_s, &tavlo_nonlinearType);
  if (!n) return nullptr;
  n->args = nullptr;
  n->code = -1;
  n->mixed = -1;
  PyObject_GC_Track(n);
  return reinterpret_cast<PyObject*>(n);
}

PyObject* nonlin_instantiate_unary(int32_t code, PyObject* a) {
  if (PyList_Check(a) || PyTuple_Check(a))
    return modelError("Could not create a unary nonlinear expression: the argument must be a single expression");
  Operand x;
  if (!classify(a, &x)) return nullptr;
  if (x.kind == kInvalid || x.kind == kArray) return modelError("Invalid object in unary operation");
  return newNode(code, Ref::borrow(a));
}

PyObject* nonlin_instantiate_nary(int32_t code, PyObject* container) {
  if (!PyList_Check(container) && !PyTuple_Check(container))
    return modelError("Could not create an n-ary nonlinear expression: the arguments must be in a list or tuple");
  for (Py_ssize_t i = 0; Ref member = operandAt(container, i); ++i) {
    if (i == 0 && isUser(code)) {
      if (!PyCallable_Check(member.get())) return modelError("Invalid object in n-ary operation");
    } else if (!checkMember(member.get())) {
      return nullptr;
    }
  }
  return newNode(code, Ref::borrow(container));
}

PyObject* nonlin_instantiate_binary(int32_t code, PyObject* a, PyObject* b) {
  const int kind = getExprType(a);
  if (kind < 0 || getExprType(b) < 0) return nullptr;
  if (!isCommutative(code)) return newNode(code, Ref::steal(PyTuple_Pack(2, a, b)));
  Ref list = Ref::steal(PyList_New(2));
  if (!list) return nullptr;
  PyList_SET_ITEM(list.get(), 0, newRef(kind == kConstant ? b : a));
  PyList_SET_ITEM(list.get(), 1, newRef(kind == kConstant ? a : b));
  return newNode(code, std::move(list));
}

PyObject* nonlin_instantiate_binary_flatten(int32_t code, PyObject* a, PyObject* b) {
  if (getExprType(a) < 0 || getExprType(b) < 0) return nullptr;
  Ref list = Ref::steal(PyList_New(0));
  if (!list || !extend(list.get(), code, a) || !extend(list.get(), code, b)) return nullptr;
  return newNode(code, std::move(list));
}

PyObject* nonlin_inplace_generic(int32_t code, PyObject* a, PyObject* b) {
  if (!isListNode(a, code)) return nonlin_instantiate_binary_flatten(code, a, b);
  return getExprType(b) >= 0 && extend(asNode(a)->args, code, b) ? newRef(a) : nullptr;
}

PyObject* nonlin_copy(double f, PyObject* node) {
  Operand a;
  if (!classify(node, &a)) return nullptr;
  if (a.kind != kNonlinear) return invalidInOperation(node);
  if (f == 0) return PyFloat_FromDouble(0.0);
  if (f == -1) return nonlin_instantiate_unary(kNodeNegation, node);
  if (f != 1) {
    Ref factor = Ref::steal(PyFloat_FromDouble(f));
    return factor ? nonlin_instantiate_binary(kNodeProduct, node, factor.get()) : nullptr;
  }
  const nonlinear_s* from = asNode(node);
  Ref args =
      PyList_Check(from->args) ? Ref::steal(PyList_GetSlice(from->args, 0, PY_SSIZE_T_MAX)) : Ref::borrow(from->args);
  Ref copy = Ref::steal(newNode(from->code, std::move(args)));
  if (copy) asNode(copy.get())->mixed = from->mixed;
  return copy.release();
}

Ref operandAt(PyObject* args, Py_ssize_t i) {
  if (PyList_Check(args)) return i < PyList_GET_SIZE(args) ? Ref::borrow(PyList_GET_ITEM(args, i)) : Ref();
  if (PyTuple_Check(args)) return i < PyTuple_GET_SIZE(args) ? Ref::borrow(PyTuple_GET_ITEM(args, i)) : Ref();
  return i == 0 ? Ref::borrow(args) : Ref();
}

Py_ssize_t nonlin_arg_size(PyObject* node) {
  if (!nonlinear_Check(node)) return -1;
  PyObject* args = asNode(node)->args;
  if (!args) return 0;
  return PyList_Check(args) ? PyList_GET_SIZE(args) : PyTuple_Check(args) ? PyTuple_GET_SIZE(args) : 1;
}

PyObject* nonlin_arg_first(PyObject* node, Py_ssize_t* i) {
  if (!nonlinear_Check(node))
    return modelError("Accessing first argument list of an object that is not a nonlinear expression");
  *i = 0;
  return asNode(node)->args ? operandAt(asNode(node)->args, 0).release() : nullptr;
}

PyObject* nonlin_arg_next(PyObject* node, Py_ssize_t* i) {
  if (!nonlinear_Check(node))
    return modelError("Accessing next argument list of an object that is not a nonlinear expression");
  return asNode(node)->args ? operandAt(asNode(node)->args, ++*i).release() : nullptr;
}

}  // namespace tavlo

PyTypeObject tavlo_nonlinearType = tavlo::nonlinearType();
