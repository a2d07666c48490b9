#include "model/text.h"

#include <unordered_set>

#include "model/nonlinear.h"
#include "model/print_tools.h"
#include "pyutil/guard.h"
#include "pyutil/ref.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

// A number in six significant digits, whatever the locale: as printf's %g, or %+g.
Ref number(double value, bool sign = false) {
  char* text = PyOS_double_to_string(value, 'g', 6, sign ? Py_DTSF_SIGN : 0, nullptr);
  Ref r = Ref::steal(text ? PyUnicode_FromString(text) : PyErr_NoMemory());
  PyMem_Free(text);
  return r;
}

// A stored name as text: str as it is, bytes decoded, any other object by its own str().
Ref textOf(Ref name) {
  if (!name || PyUnicode_CheckExact(name.get())) return name;
  if (PyBytes_Check(name.get()))
    return Ref::steal(PyUnicode_DecodeUTF8(PyBytes_AS_STRING(name.get()), PyBytes_GET_SIZE(name.get()), "replace"));
  return Ref::steal(PyObject_Str(name.get()));
}

Ref varText(const var_s* v) {
  if (!v || varIndex(v) == 0) return Ref::steal(PyUnicode_FromString("?"));
  return textOf(Ref::steal(get_var_name(v->word)));
}

// "u*v", or "u**2" for the same variable twice.
Ref pairText(const var_s* u, const var_s* v) {
  Ref a = varText(u);
  if (!a) return a;
  if (u && v && varIndex(u) == varIndex(v)) return Ref::steal(PyUnicode_FromFormat("%U**2", a.get()));
  Ref b = varText(v);
  return b ? Ref::steal(PyUnicode_FromFormat("%U*%U", a.get(), b.get())) : Ref();
}

PyObject* termText(double coef, Ref rest) {
  if (!rest || coef == 1.0) return rest.release();
  Ref factor = number(coef);
  return factor ? PyUnicode_FromFormat("%U*%U", factor.get(), rest.get()) : nullptr;
}

class Pieces {
 public:
  Pieces() : list_(Ref::steal(PyList_New(0))) {}

  bool add(Ref piece) { return list_ && piece && PyList_Append(list_.get(), piece.get()) == 0; }
  bool addTerm(double coef, Ref term) {
    if (!list_ || !term) return false;
    const bool first = PyList_GET_SIZE(list_.get()) == 0;
    if (coef == 1) return add(Ref::steal(PyUnicode_FromFormat(" %s %U", first ? "" : "+", term.get())));
    if (coef == -1) return add(Ref::steal(PyUnicode_FromFormat(" - %U", term.get())));
    Ref factor = number(coef, !first);
    return factor && add(Ref::steal(PyUnicode_FromFormat(" %U %U", factor.get(), term.get())));
  }
  PyObject* join() {
    Ref empty = Ref::steal(PyUnicode_FromString(""));
    return empty && list_ ? PyUnicode_Join(empty.get(), list_.get()) : nullptr;
  }

 private:
  Ref list_;
};

PyObject* expressionText(PyObject* self) {
  // A name's own str() may change the expression, so the text is made from a copy.
  auto copy = BasicRef<expression_s>::steal(reinterpret_cast<expression_s*>(expression_copy(self, 1)));
  if (!copy) return nullptr;
  Pieces pieces;
  const bool no_terms = linmap_size(copy->linear) == 0 && quadmap_size(copy->quadratic) == 0;
  if ((copy->constant != 0 || no_terms) && !pieces.add(number(copy->constant))) return nullptr;
  const bool whole =
      linmap_each(copy->linear, [&](var_s* v, double c) { return c == 0 || pieces.addTerm(c, varText(v)); }) &&
      quadmap_each(copy->quadratic, [&](var_s* u, var_s* v, double c) { return pieces.addTerm(c, pairText(u, v)); });
  return whole ? pieces.join() : nullptr;
}

// Subtrees that come again are written again, but the text of a tree that shares them is exponentially long: from some
// number of repetitions on they are cut.
class Repetitions {
 public:
  bool tooMany(PyObject* node) { return !seen_.emplace(contentOf(node)).second && ++count_ > kMost; }

 private:
  static constexpr int kMost = 10000;
  std::unordered_set<NodeContent, NodeContent::Hash> seen_;
  int count_ = 0;
};

// Where in a tree the text is being made: the nodes above, and how many levels may follow. A node that &= or the
// caller's list made a part of itself is cut where it comes again: the levels of the budget would hold it 2**64 times.
struct Place {
  PyObject* node;
  const Place* above;
  int budget;
  Repetitions* repetitions;

  bool below(const PyObject* o) const {
    for (const Place* p = this; p; p = p->above)
      if (p->node == o) return true;
    return false;
  }
};

constexpr char kCut[] = "[MAX RECURS LEV]";

Ref treeText(PyObject* o, const Place& at);

Ref unaryText(const PrintTool& tool, PyObject* operand, const Place& at) {
  if (PyList_Check(operand) || PyTuple_Check(operand)) {
    modelError("Invalid unary nonlinear expression");
    return {};
  }
  Ref text = treeText(operand, at);
  if (!text) return {};
  return Ref::steal(tool.position < 0 ? PyUnicode_FromFormat("%s (%U)", tool.symbol, text.get())
                                      : PyUnicode_FromFormat("(%U) %s", text.get(), tool.symbol));
}

Ref binaryText(const PrintTool& tool, PyObject* args, const Place& at) {
  if (!PyTuple_Check(args) || PyTuple_GET_SIZE(args) != 2) {
    modelError("Invalid binary nonlinear expression");
    return {};
  }
  Ref a = treeText(PyTuple_GET_ITEM(args, 0), at);
  Ref b = a ? treeText(PyTuple_GET_ITEM(args, 1), at) : Ref();
  if (!b) return {};
  if (tool.position < 0) return Ref::steal(PyUnicode_FromFormat("%s (%U, %U)", tool.symbol, a.get(), b.get()));
  if (tool.position == 0) return Ref::steal(PyUnicode_FromFormat("(%U %s %U)", a.get(), tool.symbol, b.get()));
  return Ref::steal(PyUnicode_FromFormat("(%U, %U) %s", a.get(), b.get(), tool.symbol));
}

Ref naryText(const PrintTool& tool, PyObject* args, const Place& at) {
  Pieces pieces;
  const auto fixed = [](const char* format, const char* symbol) {
    return Ref::steal(PyUnicode_FromFormat(format, symbol));
  };
  if (!pieces.add(tool.position < 0 ? fixed("%s (", tool.symbol) : fixed("(", ""))) return {};
  Ref between = tool.position == 0 ? fixed(" %s ", tool.symbol) : fixed(", ", "");
  for (Py_ssize_t i = 0; Ref item = operandAt(args, i); ++i)
    if ((i > 0 && !pieces.add(Ref::borrow(between.get()))) || !pieces.add(treeText(item.get(), at))) return {};
  return pieces.add(tool.position > 0 ? fixed(") %s", tool.symbol) : fixed(")", "")) ? Ref::steal(pieces.join())
                                                                                     : Ref();
}

// Numbers are never cut by the budget.
Ref treeText(PyObject* o, const Place& at) {
  Operand a;
  if (!classify(o, &a)) return {};
  if (a.kind == kConstant) return Ref::steal(PyObject_Str(o));
  if (at.budget < 0 || at.below(o)) return Ref::steal(PyUnicode_FromString(kCut));
  if (a.isModelling() && a.kind != kNonlinear) return Ref::steal(modelling_str(o));
  if (a.kind != kNonlinear && PyCallable_Check(o)) return Ref::steal(PyUnicode_FromString("user"));
  const int32_t code = a.kind == kNonlinear ? asNode(o)->code : -1;
  if (code < 0 || code > kNodeUserDerivatives) {
    modelError("Invalid object in nonlinear expression");
    return {};
  }
  if (at.repetitions->tooMany(o)) return Ref::steal(PyUnicode_FromString(kCut));
  if (PyErr_CheckSignals() != 0) return {};
  const PrintTool& tool = printTool(code);
  Ref args = Ref::borrow(asNode(o)->args);
  return (tool.arity == 1   ? unaryText
          : tool.arity == 2 ? binaryText
                            : naryText)(tool, args.get(), {o, &at, at.budget - 1, at.repetitions});
}

}  // namespace

PyObject* modelling_str(PyObject* self) {
  if (var_Check(self)) return varText(reinterpret_cast<var_s*>(self)).release();
  if (linterm_Check(self)) {
    const auto* t = reinterpret_cast<linterm_s*>(self);
    return termText(t->coef, varText(t->var));
  }
  if (quadterm_Check(self)) {
    const auto* q = reinterpret_cast<quadterm_s*>(self);
    return termText(q->coef, pairText(q->var1, q->var2));
  }
  if (expression_Check(self)) return expressionText(self);
  if (constraint_Check(self)) {
    const auto* c = reinterpret_cast<constraint_s*>(self);
    return textOf(Ref::steal(get_con_name(c->info))).release();
  }
  if (sos_Check(self)) {
    PyObject* name = reinterpret_cast<sos_s*>(self)->name;
    return name ? textOf(Ref::borrow(name)).release() : PyUnicode_FromString("?");
  }
  if (nonlinear_Check(self) && asNode(self)->args)
    return guarded([&] {
      Repetitions repetitions;
      return treeText(self, {nullptr, nullptr, kDepthBudget, &repetitions}).release();
    });
  return PyUnicode_FromString("?");  // a node that was never filled
}

}  // namespace tavlo
