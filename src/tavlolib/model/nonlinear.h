// Nodes of nonlinear trees: an operator code and its operands. Operands are referenced, not copied: a list that the
// caller gave is the node's own list, and an expression among the operands that is later changed in place changes in
// the node too. Nodes are not changed, except by &= and |= on an and- or or-node and while the module builds a node
// that nobody else has. As lists may change under a walk, walks hold a reference to each operand that they visit, and
// every walk has a budget of kDepthBudget levels. Nodes take part in garbage collection. Internal to model/, and for
// the translation of trees.
#pragma once

#include <functional>
#include <unordered_map>

#include "model/arithmetic.h"
#include "pyutil/signals.h"

namespace tavlo {

// kNodeSum = 0 and so on.
enum NodeCode : int32_t {
#define ELEMENTARY_FUNCTION(name, Node, node, ...) kNode##Node = node,
#define ELEMENTARY_OPERATOR(name, Node, node, ...) kNode##Node = node,
#define ELEMENTARY_LIST(name, Node, node, ...) kNode##Node = node,
#define ELEMENTARY_LOGICAL(name, Node, node, ...) kNode##Node = node,
#define ELEMENTARY_CALL(name, Node, node) kNode##Node = node,
#include "elementary/functions.def"
};
inline constexpr int kNodeCodes = 27;

inline nonlinear_s* asNode(PyObject* o) { return reinterpret_cast<nonlinear_s*>(o); }
// A filled node of the code that keeps its operands in a list.
inline bool isListNode(PyObject* o, int32_t code) {
  return nonlinear_Check(o) && asNode(o)->code == code && asNode(o)->args && PyList_Check(asNode(o)->args);
}

// What a node computes: copies of a node share it. Walks over trees with shared subtrees remember by it where they
// were, and hold a reference to `args` meanwhile.
struct NodeContent {
  PyObject* args;
  int32_t code;
  bool operator==(const NodeContent& o) const { return args == o.args && code == o.code; }
  struct Hash {
    size_t operator()(const NodeContent& c) const {
      return std::hash<const void*>()(c.args) * 31 + static_cast<size_t>(c.code);
    }
  };
};
inline NodeContent contentOf(PyObject* node) { return {asNode(node)->args, asNode(node)->code}; }

// ---- constructors ----
PyObject* nonlin_base();
PyObject* nonlin_instantiate_unary(int32_t code, PyObject* a);
PyObject* nonlin_instantiate_nary(int32_t code, PyObject* container);
PyObject* nonlin_instantiate_binary(int32_t code, PyObject* a, PyObject* b);
PyObject* nonlin_instantiate_binary_flatten(int32_t code, PyObject* a, PyObject* b);
PyObject* nonlin_inplace_generic(int32_t code, PyObject* a, PyObject* b);
PyObject* nonlin_copy(double f, PyObject* node);  // f * node; with 1 a node with a list of its own

// ---- operands ----
Py_ssize_t nonlin_arg_size(PyObject* node);                 // -1 for anything but a node
PyObject* nonlin_arg_first(PyObject* node, Py_ssize_t* i);  // new reference; null without exception at the end
PyObject* nonlin_arg_next(PyObject* node, Py_ssize_t* i);
// Operand number i of a list, a tuple or (number 0) a single object; empty beyond the end.
Ref operandAt(PyObject* args, Py_ssize_t i);

// ---- arithmetic where the result is a node, or is decided by the rules of nodes ----
PyObject* nonlin_alg_sum(double s, const Operand& a, const Operand& b);  // a + s*b
PyObject* nonlin_mul(const Operand& a, const Operand& b);
PyObject* nonlin_div(const Operand& a, const Operand& b);
PyObject* nonlin_pow(const Operand& a, const Operand& b);
// Adds s*b to a sum node, or multiplies a product node by b, that nobody else refers to. 0 or -1.
int nonlin_addTo(nonlinear_s* sum, double s, const Operand& b);
int nonlin_multiplyTo(nonlinear_s* product, const Operand& b);

// ---- walks ----
PyObject* nonlin_extractLinear(PyObject* self, PyObject*);
PyObject* nonlin_extractQuadratic(PyObject* self, PyObject*);
class NodeValues {
 public:
  const double* find(PyObject* node) const;  // null: not known
  void add(const NodeContent& content, double value);
  SignalPoll poll;

 private:
  struct Known {
    Ref args;  // keeps the address from being taken by another object
    double value;
  };
  std::unordered_map<NodeContent, Known, NodeContent::Hash> values_;
};
int evaluateNode(PyObject* node, const ValueSource& source, int budget, double* out);

}  // namespace tavlo
