// The linear and quadratic parts of nonlinear trees: what can be read off without any algebra beyond constant factors.
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/nonlinear.h"
#include "pyutil/guard.h"
#include "pyutil/signals.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

struct Maps {  // only one of the two is wanted
  linmap* linear = nullptr;
  quadmap* quadratic = nullptr;

  explicit Maps(bool quad) { quad ? void(quadratic = quadmap_new()) : void(linear = linmap_new()); }
  Maps(const Maps&) = delete;
  Maps& operator=(const Maps&) = delete;
  ~Maps() {
    linmap_free(&linear);
    quadmap_free(&quadratic);
  }

  bool add(double c, var_s* v) { return !linear || linmap_add(c, linear, v) == 0 || PyErr_NoMemory(); }
  bool add(double c, var_s* u, var_s* v) {
    return !quadratic || quadmap_add(c, quadratic, u, v) == 0 || PyErr_NoMemory();
  }
};

bool collectLeaf(const Operand& a, double f, Maps& maps) {
  if (a.isLinear()) return maps.add(f * a.linearCoef(), a.linearVar());
  if (a.kind == kQuadterm) return maps.add(f * a.quadterm()->coef, a.quadterm()->var1, a.quadterm()->var2);
  if (a.kind != kExpression) return true;
  const expression_s* e = a.expression();
  return (!maps.linear || linmap_each(e->linear, [&](var_s* v, double c) { return maps.add(f * c, v); })) &&
         (!maps.quadratic ||
          quadmap_each(e->quadratic, [&](var_s* u, var_s* v, double c) { return maps.add(f * c, u, v); }));
}

// The walk goes down level by level, each distinct node of a level once, with the sum of the factors with which it is
// reached: along its paths, a tree that shares its subtrees can be walked 2**64 times.
class Collector {
 public:
  explicit Collector(Maps& maps) : maps_(maps) {}

  bool walk(PyObject* root) {
    if (!add(root, 1)) return false;
    for (int budget = kDepthBudget; budget > 1 && !below_.empty(); --budget) {
      const std::vector<Reached> level = std::move(below_);
      below_.clear();
      places_.clear();
      for (const Reached& r : level)
        if (!poll_.goesOn() || !expand(asNode(r.node.get()), r.factor)) return false;
    }
    return true;
  }

 private:
  struct Reached {
    Ref node;
    double factor;
  };

  bool add(PyObject* o, double f) {
    Operand a;
    if (!classify(o, &a)) return false;
    if (a.kind != kNonlinear) return collectLeaf(a, f, maps_);
    const auto [place, fresh] = places_.emplace(contentOf(o), below_.size());
    if (fresh)
      below_.push_back({Ref::borrow(o), f});
    else
      below_[place->second].factor += f;
    return true;
  }

  bool expand(const nonlinear_s* n, double f) {
    Ref args = Ref::borrow(n->args);
    switch (n->code) {
      case kNodeSum:
        for (Py_ssize_t i = 0; Ref member = operandAt(args.get(), i); ++i)
          if (!add(member.get(), f)) return false;
        return true;
      case kNodeNegation:
        return add(args.get(), -f);
      case kNodeProduct:
        return addProduct(args.get(), f);
      case kNodeDifference:
      case kNodeDivision:
      case kNodePower:
        return addPair(n->code, args.get(), f);
      default:
        return true;
    }
  }

  // The one member that is no number, when there is exactly one, with the product of the others.
  bool addProduct(PyObject* args, double f) {
    Ref other;
    for (Py_ssize_t i = 0; Ref member = operandAt(args, i); ++i) {
      Operand a;
      double c;
      if (!classify(member.get(), &a)) return false;
      if (constantValue(a, &c)) {
        f *= c;
      } else {
        if (other) return true;
        std::swap(other, member);
      }
    }
    return !other || add(other.get(), f);
  }

  bool addPair(int32_t code, PyObject* args, double f) {
    Ref a = operandAt(args, 0), b = operandAt(args, 1);
    Operand second;
    double c;
    if (!a || !b) return true;
    if (!classify(b.get(), &second)) return false;
    switch (code) {
      case kNodeDifference:
        return add(a.get(), f) && add(b.get(), -f);
      case kNodeDivision:
        return !constantValue(second, &c) || c == 0 || add(a.get(), f / c);
      default:
        return !constantValue(second, &c) || c != 1 || add(a.get(), f);
    }
  }

  Maps& maps_;
  std::vector<Reached> below_;                                         // the nodes of the next level
  std::unordered_map<NodeContent, size_t, NodeContent::Hash> places_;  // where each of them is
  SignalPoll poll_;
};

}  // namespace

PyObject* nonlin_extractLinear(PyObject* self, PyObject*) {
  return guarded([&]() -> PyObject* {
    Maps maps(false);
    if (!maps.linear) return PyErr_NoMemory();
    return Collector(maps).walk(self) ? convert_linmap_double_list(maps.linear) : nullptr;
  });
}

PyObject* nonlin_extractQuadratic(PyObject* self, PyObject*) {
  return guarded([&]() -> PyObject* {
    Maps maps(true);
    if (!maps.quadratic) return PyErr_NoMemory();
    return Collector(maps).walk(self) ? convert_quadmap_triple_list(maps.quadratic) : nullptr;
  });
}

}  // namespace tavlo
