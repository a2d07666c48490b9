// addVariable: variables become columns.
#include <algorithm>
#include <cmath>

#include "model/packed_word.h"
#include "problem/registry.h"
#include "pyutil/guard.h"

namespace tavlo {
namespace {

constexpr size_t kNameLimit = 150;
constexpr char kTypeLetters[] = "CBISRP";  // by variable type

struct ColumnBatch {
  std::vector<char> type;
  std::vector<double> lb, ub, limit;
  std::vector<int64_t> start;
  std::vector<int> column, limited;
  NameBuffer names;
};

bool collectVariable(PyObject* leaf, int column, Registration& registration, ColumnBatch* batch) {
  if (!var_Check(leaf)) return modelError("Incorrect objects added as variables to problem") != nullptr;
  if (checkVarIsInitialized(leaf) != 0) return false;
  if (registration.has(leaf)) return modelError("Variable already added to problem") != nullptr;
  const uint64_t word = reinterpret_cast<var_s*>(leaf)->word;
  const int type = get_var_type(word);
  if (type < 0 || type > 5) return modelError("Incorrect variable type passed to addVariable()") != nullptr;
  const double lb = get_var_lbound(word), ub = get_var_ubound(word);
  if (std::isnan(lb) || std::isnan(ub)) return modelError("A bound of variable %S is NaN", leaf) != nullptr;
  const char letter = kTypeLetters[type];
  if (type >= 3) {
    const double limit = get_var_thold(word);
    if (!(lb <= limit && limit <= ub))
      return modelError(
                 "Incorrect semi-continuous, semi-integer, or partially integer variable; check that its threshold is "
                 "between its lower and upper bounds") != nullptr;
    batch->limited.push_back(column);
    batch->limit.push_back(limit);
  }
  batch->type.push_back(letter);
  batch->lb.push_back(lb);
  batch->ub.push_back(ub);
  batch->column.push_back(column);
  if (!(word & kVarNameBit)) {
    batch->names.addDefault('C', word & kVarIndexMask);
  } else {
    Ref name = Ref::steal(get_var_name(word));
    if (!name || !batch->names.add(name.get(), kNameLimit, "variable")) return false;
  }
  if (registration.add(leaf)) return true;
  modelError("Could not amend variable map");
  return false;
}

bool send(problem_s* p, const ColumnBatch& batch) {
  const int first = batch.column.front(), n = static_cast<int>(batch.column.size());
  const std::vector<int64_t> start(static_cast<size_t>(n) + 1, 0);
  if (TVLOaddcols64(p->prob, n, 0, nullptr, start.data(), nullptr, nullptr, batch.lb.data(), batch.ub.data()) != 0)
    return false;
  const bool plain =
      batch.type.end() == std::find_if(batch.type.begin(), batch.type.end(), [](char t) { return t != 'C'; });
  if ((plain || TVLOchgcoltype(p->prob, n, batch.column.data(), batch.type.data()) == 0) &&
      TVLOaddnames(p->prob, TVLO_NAMES_COLUMN, batch.names.data(), first, first + n - 1) == 0 &&
      (batch.limited.empty() ||
       TVLOchgglblimit(p->prob, static_cast<int>(batch.limited.size()), batch.limited.data(), batch.limit.data()) == 0))
    return true;
  libraryError(p);  // before the next call clears it
  TVLOdelcols(p->prob, n, batch.column.data());
  return false;
}

PyObject* addCollected(problem_s* p, const Leaves& leaves) {
  int first;
  if (intAttribute(p, 1214, &first) != 0) return nullptr;
  if (leaves.size() > static_cast<size_t>(INT32_MAX - first)) return modelError("Too many variables in problem");
  Registration registration(registryOf(p, kColumn));
  ColumnBatch batch;
  for (size_t i = 0; i < leaves.size(); ++i)
    if (!collectVariable(leaves[i], first + static_cast<int>(i), registration, &batch)) return nullptr;
  if (batch.column.empty()) return newRef(Py_None);
  if (!send(p, batch)) return libraryError(p);
  registration.commit();
  return newRef(Py_None);
}

}  // namespace

PyObject* problem_addVariable(problem_s* p, PyObject* args) {
  return guarded([&]() -> PyObject* {
    Leaves leaves;
    // The walk may run code that releases the problem.
    if (!leaves.collect(p, args) || checkProblemIsInitialized(p) != 0) return nullptr;
    return addCollected(p, leaves);
  });
}

}  // namespace tavlo
