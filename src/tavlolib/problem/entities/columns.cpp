// Adding variables: collecting them, and sending them as columns.
#include <cmath>

#include "model/packed_word.h"
#include "problem/entities/batch.h"

namespace tavlo {
namespace {

constexpr char kTypeLetters[] = {'C', 'B', 'I', 'S', 'R', 'P'};  // by variable type
constexpr int kTypes = sizeof kTypeLetters;

bool hasThreshold(char letter) { return letter == 'S' || letter == 'R' || letter == 'P'; }

int checkBounds(PyObject* v, double lb, double ub) {
  const bool lower = !(lb < kInfinity), upper = !(ub > -kInfinity);
  if (!lower && !upper) return 0;
  const double bound = lower ? lb : ub;
  modelError("%s bound of variable %S is %s", lower ? "Lower" : "Upper", v,
             std::isnan(bound) ? "NaN" : (lower ? "plus infinity" : "minus infinity"));
  return -1;
}

}  // namespace

ColumnCollector::ColumnCollector(problem_s* p)
    : p_(p), changes_(p->registry().changes()), objects_(Ref::steal(PyList_New(0))) {}

int ColumnCollector::add(PyObject* leaf) {
  if (!objects_ || (!isReady(p_) && checkProblemIsInitialized(p_) != 0)) return -1;
  if (!var_Check(leaf)) return fail("Incorrect objects added as variables to problem");
  if (checkVarIsInitialized(leaf) != 0) return -1;
  const auto* v = reinterpret_cast<var_s*>(leaf);
  bool fresh = !p_->registry().vars.has(varIndex(v));
  if (fresh && keys_.add(varIndex(v), &fresh) != 0) return -1;
  if (!fresh) return fail("Variable already added to problem");

  const int type = get_var_type(v->word);
  if (type >= kTypes) return fail("Incorrect variable type passed to addVariable()");
  const char letter = kTypeLetters[type];
  const double lb = get_var_lbound(v->word), ub = get_var_ubound(v->word);
  ColumnBatch& b = batch_;
  const auto n = static_cast<size_t>(b.count);
  if (!b.colType.reserve(n + 1) || !b.lb.reserve(n + 1) || !b.ub.reserve(n + 1) || checkBounds(leaf, lb, ub) != 0)
    return -1;
  if (hasThreshold(letter)) {
    const double threshold = get_var_thold(v->word);
    if (!(lb <= threshold && threshold <= ub))
      return fail(
          "Incorrect semi-continuous, semi-integer, or partially integer variable; check that its threshold is between "
          "its lower and upper bounds");
    if (!b.thold.reserve(static_cast<size_t>(b.tholdCount) + 1)) return -1;
    b.thold[b.tholdCount++] = threshold;
  }
  b.colType[n] = letter;
  b.lb[n] = lb;
  b.ub[n] = ub;
  ++b.count;
  return appendVarName(b.names, &b.namesUsed, v) != 0 ? -1 : PyList_Append(objects_.get(), leaf);
}

// The walk may have run code that added the same variables.
int ColumnCollector::recheck() const {
  const Registry& registry = p_->registry();
  for (int64_t i = 0; changes_ != registry.changes() && i < keys_.size(); ++i)
    if (registry.vars.has(keys_[i])) return fail("Variable already added to problem");
  return 0;
}

int ColumnCollector::send(int first, Registration* registration) {
  const ColumnBatch& b = batch_;
  Array<int32_t> typed, limited, added;  // made first: a withdrawal must not run short of memory
  Array<char> letters;
  if (!typed.resize(b.count) || !letters.resize(b.count) || !limited.resize(b.tholdCount) || !added.resize(b.count))
    return -1;
  int32_t ntyped = 0, nlimited = 0;
  for (int32_t i = 0; i < b.count; ++i) {
    added[i] = first + i;
    if (b.colType[i] == 'C') continue;  // what a new column is
    typed[ntyped] = first + i;
    letters[ntyped++] = b.colType[i];
    if (hasThreshold(b.colType[i])) limited[nlimited++] = first + i;
  }
  TVLOprob prob = p_->prob;
  if (TVLOaddcols64(prob, b.count, 0, nullptr, nullptr, nullptr, nullptr, b.lb.data(), b.ub.data()) != 0)
    return solverFailed(p_);
  if ((ntyped == 0 || TVLOchgcoltype(prob, ntyped, typed.data(), letters.data()) == 0) &&
      TVLOaddnames(prob, TVLO_NAMES_COLUMN, b.names.data(), first, first + b.count - 1) == 0 &&
      (nlimited == 0 || TVLOchgglblimit(prob, nlimited, limited.data(), b.thold.data()) == 0))
    return 0;
  solverFailed(p_);
  if (TVLOdelcols(prob, b.count, added.data()) != 0) registration->keep();  // the solver has them: so must the registry
  return -1;
}

int ColumnCollector::commit() {
  if (!objects_ || checkProblemIsInitialized(p_) != 0 || recheck() != 0) return -1;
  if (batch_.count == 0) return 0;
  if (check_nl_unconstruct(p_) != 0) return -1;
  int first = 0;
  if (TVLOgetintattrib(p_->prob, TVLO_ATTRIBUTE_originalcols, &first) != 0) return solverFailed(p_);
  Registration registration(p_, &Registry::vars);
  p_->registry().changed();
  if (registration.enter(objects_.get(), keys_) != 0 || send(first, &registration) != 0) return -1;
  registration.keep();
  return 0;
}

}  // namespace tavlo
