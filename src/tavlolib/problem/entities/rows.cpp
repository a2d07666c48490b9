// Adding constraints: collecting and translating them, and sending them as rows.
#include <cmath>

#include "model/packed_word.h"
#include "problem/entities/batch.h"

namespace tavlo {
namespace {

struct RowSense {
  char type = 'N';
  double rhs = 0, lower = 0;
};

// Row type from bounds that have passed checkBounds; rhs arrives holding minus the body's constant.
void getRhsSense(double lb, double ub, RowSense* s) {
  const bool lower = lb > -kInfinity, upper = ub < kInfinity;
  if (!lower && !upper) {
    s->type = 'N';
  } else if (!lower) {
    s->type = 'L';
    s->rhs += ub;
  } else if (!upper) {
    s->type = 'G';
    s->rhs += lb;
  } else if (lb >= ub) {
    s->type = 'E';
    s->rhs += ub;
  } else {
    s->type = 'R';
    s->lower = s->rhs + lb;
    s->rhs += ub;
  }
}

int checkBounds(PyObject* c, double lb, double ub) {
  if (std::isnan(lb) || std::isnan(ub)) {
    modelError("%s bound of constraint %S is NaN", std::isnan(lb) ? "Lower" : "Upper", c);
  } else if (lb >= kInfinity || ub <= -kInfinity) {
    modelError("%s bound of constraint %S is %s infinity", lb >= kInfinity ? "Lower" : "Upper", c,
               lb >= kInfinity ? "plus" : "minus");
  } else if (lb > ub + kFeasibilityTolerance) {
    modelError("Constraint %S is infeasible: lower bound > upper bound", c);
  } else {
    return 0;
  }
  return -1;
}

}  // namespace

RowCollector::RowCollector(problem_s* p)
    : p_(p),
      changes_(p->registry().changes()),
      epoch_(p->registry().vars.epoch()),
      objects_(Ref::steal(PyList_New(0))) {}

int RowCollector::reserveRow() {
  RowBatch& b = batch_;
  const auto n = static_cast<size_t>(b.nrows);
  if (!b.rhs.reserve(n + 1) || !b.lower.reserve(n + 1) || !b.rowType.reserve(n + 1) || !b.quadCount.reserve(n + 1) ||
      !b.start.reserve(n + 2))
    return -1;
  if (n == 0) b.start[0] = 0;
  return 0;
}

int RowCollector::translate(constraint_s* c) {
  auto* object = reinterpret_cast<PyObject*>(c);
  RowBatch& b = batch_;
  const double lb = get_con_lbound(c->info), ub = get_con_ubound(c->info);
  const int64_t quadratic = b.terms.nquad, formulas = b.terms.formulas.count;
  if (reserveRow() != 0 || checkBounds(object, lb, ub) != 0 || convertExpr(p_, c->body, object, &b.terms) != 0)
    return -1;
  RowSense sense;
  sense.rhs = 0 - b.terms.constant;  // no negative zero
  getRhsSense(lb, ub, &sense);
  if (std::abs(sense.rhs) >= kInfinity) {
    modelError("Right-hand side of constraint %S is infinite", object);
    return -1;
  }
  const auto n = static_cast<size_t>(b.nrows);
  b.rowType[n] = sense.type;
  b.rhs[n] = sense.rhs;
  b.lower[n] = sense.lower;
  b.start[n + 1] = b.terms.nlin;
  b.quadCount[n] = b.terms.nquad - quadratic;
  for (int64_t k = formulas; k < b.terms.formulas.count; ++k) b.terms.formulas.row[k] = b.nrows;
  ++b.nrows;
  return appendConName(b.names, &b.namesUsed, c);
}

int RowCollector::add(PyObject* leaf) {
  if (!objects_ || (!isReady(p_) && checkProblemIsInitialized(p_) != 0)) return -1;
  if (PyBool_Check(leaf) || PyArray_IsScalar(leaf, Bool)) {
    modelError(
        "Invalid constraint: %S is the outcome of comparing numbers, without a variable (a term with coefficient 0 is "
        "the number 0)",
        leaf);
    return -1;
  }
  if (!constraint_Check(leaf)) return fail("Invalid constraint");
  auto* c = reinterpret_cast<constraint_s*>(leaf);
  if (!c->body) return fail("Stale expression link, cannot add constraint");
  if (conIndex(c) == 0) return fail("Constraint is not initialized");
  bool fresh = !p_->registry().cons.has(conIndex(c));
  if (fresh && keys_.add(conIndex(c), &fresh) != 0) return -1;
  if (!fresh) return fail("Constraint already added to problem");
  return translate(c) != 0 ? -1 : PyList_Append(objects_.get(), leaf);
}

// The walk may have run code that added the same constraints, or deleted columns that these name.
int RowCollector::recheck() const {
  const Registry& registry = p_->registry();
  if (batch_.nrows > 0 && epoch_ != registry.vars.epoch())
    return fail("Variables were deleted from the problem while constraints were being added to it");
  for (int64_t i = 0; changes_ != registry.changes() && i < keys_.size(); ++i)
    if (registry.cons.has(keys_[i])) return fail("Constraint already added to problem");
  return 0;
}

int RowCollector::sendQuadratic(int first) {
  const RowBatch& b = batch_;
  int64_t at = 0;
  for (int32_t i = 0; b.terms.nquad > at && i < b.nrows; at += b.quadCount[i++])
    if (b.quadCount[i] > 0 && TVLOaddqmatrix64(p_->prob, first + i, b.quadCount[i], b.terms.qcol1.data() + at,
                                               b.terms.qcol2.data() + at, b.terms.qcoef.data() + at) != 0)
      return solverFailed(p_);
  return 0;
}

int RowCollector::sendFormulas(int first) {
  Formulas& f = batch_.terms.formulas;
  if (f.count == 0) return 0;
  for (int64_t k = 0; k < f.count; ++k) f.row[k] += first;
  if (TSLPaddcoefs(p_->slpprob, static_cast<int>(f.count), f.row.data(), f.col.data(), f.factor.data(), f.start.data(),
                   1, f.type.data(), f.value.data()) != 0)
    return nonlinearFailed(p_);
  p_->registry().hasFormulas = true;
  return 0;
}

int RowCollector::send(int first, Registration* registration) {
  const RowBatch& b = batch_;
  TVLOprob prob = p_->prob;
  Array<int32_t> added;  // made first: a withdrawal must not run short of memory
  if (!added.resize(b.nrows)) return -1;
  for (int32_t i = 0; i < b.nrows; ++i) added[i] = first + i;
  if (TVLOaddrowsides64(prob, b.nrows, b.terms.nlin, b.rowType.data(), b.rhs.data(), b.lower.data(), b.start.data(),
                        b.terms.colind.data(), b.terms.coef.data()) != 0)
    return solverFailed(p_);
  const bool named = TVLOaddnames(prob, TVLO_NAMES_ROW, b.names.data(), first, first + b.nrows - 1) == 0;
  if (named && sendQuadratic(first) == 0 && sendFormulas(first) == 0) return 0;
  if (!named) solverFailed(p_);
  if (TVLOdelrows(prob, b.nrows, added.data()) != 0) registration->keep();  // the solver has them: so must the registry
  return -1;
}

int RowCollector::commit() {
  if (!objects_ || checkProblemIsInitialized(p_) != 0 || recheck() != 0) return -1;
  if (batch_.nrows == 0) return 0;
  if (check_nl_unconstruct(p_) != 0) return -1;
  int first = 0;
  if (TVLOgetintattrib(p_->prob, TVLO_ATTRIBUTE_originalrows, &first) != 0) return solverFailed(p_);
  Registration registration(p_, &Registry::cons);
  p_->registry().changed();
  if (registration.enter(objects_.get(), keys_) != 0 || send(first, &registration) != 0) return -1;
  registration.keep();
  return 0;
}

}  // namespace tavlo
