// addConstraint: constraints become rows.
#include <cmath>

#include "model/packed_word.h"
#include "problem/registry.h"
#include "problem/translate.h"
#include "pyutil/guard.h"

namespace tavlo {
namespace {

struct RowBatch {
  std::vector<char> rowType;
  std::vector<double> rhs, range;
  std::vector<int64_t> start{0};
  std::vector<int64_t> quadCount;
  Coefficients coefs;
  NameBuffer names;

  void reserve(size_t rows) {
    rowType.reserve(rows);
    rhs.reserve(rows);
    range.reserve(rows);
    start.reserve(rows + 1);
    quadCount.reserve(rows);
  }
};

// Type, right-hand side and range of a row from its bounds; `constant` is that of its body.
void getRhsSense(double lower, double upper, double constant, RowBatch* batch) {
  const bool below = lower <= -kInfinity, above = upper >= kInfinity;
  double rhs = -constant, range = 0;
  char type = 'N';
  if (below && !above) {
    type = 'L';
    rhs += upper;
  } else if (!below && above) {
    type = 'G';
    rhs += lower;
  } else if (!below && lower == upper) {
    type = 'E';
    rhs += lower;
  } else if (!below) {
    type = 'R';
    rhs += upper;
    range = upper - lower;
  }
  batch->rowType.push_back(type);
  batch->rhs.push_back(rhs);
  batch->range.push_back(range);
}

bool collectConstraint(PyObject* leaf, Registration& registration, ColumnFinder& finder, RowBatch* batch) {
  if (!constraint_Check(leaf)) return modelError("Invalid constraint") != nullptr;
  const auto* c = reinterpret_cast<constraint_s*>(leaf);
  if (!c->body) return modelError("Stale expression link, cannot add constraint") != nullptr;
  if (registration.has(leaf)) return modelError("Constraint already added to problem") != nullptr;
  const double lower = get_con_lbound(c->info), upper = get_con_ubound(c->info);
  if (std::isnan(lower) || std::isnan(upper)) return modelError("A bound of constraint %S is NaN", leaf) != nullptr;
  if (lower > upper + kFeasibilityTolerance)
    return modelError("Constraint defined infeasible: lower bound > upper bound") != nullptr;
  double constant = 0;
  const size_t quadratic = batch->coefs.qvalue.size();
  if (convertExpr(c->body, finder, leaf, false, &batch->coefs, &constant) != 0) return false;
  getRhsSense(lower, upper < lower ? lower : upper, constant, batch);
  batch->start.push_back(static_cast<int64_t>(batch->coefs.value.size()));
  batch->quadCount.push_back(static_cast<int64_t>(batch->coefs.qvalue.size() - quadratic));
  if (!(c->info & kConNameBit)) {
    batch->names.addDefault('R', c->info & kConIndexMask);
  } else {
    Ref name = Ref::steal(get_con_name(c->info));
    if (!name || !batch->names.add(name.get(), SIZE_MAX, "constraint")) return false;
  }
  if (registration.add(leaf)) return true;
  modelError("Cannot add constraint to problem");
  return false;
}

int sendQuadratic(problem_s* p, int first, const RowBatch& batch) {
  const Coefficients& c = batch.coefs;
  size_t at = 0;
  for (size_t i = 0; i < batch.quadCount.size(); at += static_cast<size_t>(batch.quadCount[i]), ++i) {
    if (batch.quadCount[i] == 0) continue;
    const int failed = TVLOaddqmatrix64(p->prob, first + static_cast<int>(i), batch.quadCount[i], &c.qcolumn1[at],
                                        &c.qcolumn2[at], &c.qvalue[at]);
    if (failed) return failed;
  }
  return 0;
}

// All rows in one call, then their names and quadratic parts. On failure nothing of it stays.
bool flushConstraints(problem_s* p, int first, const RowBatch& batch) {
  const int n = static_cast<int>(batch.rowType.size());
  const Coefficients& c = batch.coefs;
  if (TVLOaddrows64(p->prob, n, static_cast<int64_t>(c.value.size()), batch.rowType.data(), batch.rhs.data(),
                    batch.range.data(), batch.start.data(), c.column.data(), c.value.data()) != 0)
    return false;
  if (TVLOaddnames(p->prob, TVLO_NAMES_ROW, batch.names.data(), first, first + n - 1) == 0 &&
      sendQuadratic(p, first, batch) == 0)
    return true;
  libraryError(p);  // before the next call clears it
  std::vector<int> rows(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) rows[static_cast<size_t>(i)] = first + i;
  TVLOdelrows(p->prob, n, rows.data());
  return false;
}

PyObject* addCollected(problem_s* p, const Leaves& leaves) {
  int first;
  if (intAttribute(p, 1124, &first) != 0) return nullptr;
  if (leaves.size() > static_cast<size_t>(INT32_MAX - first)) return modelError("Too many constraints in problem");
  Registration registration(registryOf(p, kRow));
  ColumnFinder finder(p);
  RowBatch batch;
  batch.reserve(leaves.size());
  for (size_t i = 0; i < leaves.size(); ++i)
    if (!collectConstraint(leaves[i], registration, finder, &batch)) return nullptr;
  if (batch.rowType.empty()) return newRef(Py_None);
  if (!flushConstraints(p, first, batch)) return libraryError(p);
  registration.commit();
  return newRef(Py_None);
}

}  // namespace

PyObject* problem_addConstraint(problem_s* p, PyObject* args) {
  return guarded([&]() -> PyObject* {
    Leaves leaves;
    // The walk may run code that releases the problem.
    if (!leaves.collect(p, args) || checkProblemIsInitialized(p) != 0) return nullptr;
    return addCollected(p, leaves);
  });
}

}  // namespace tavlo
