// delVariable and delConstraint: one body over the kind's list and map.
#include <algorithm>
#include <new>

#include "problem/entities/convert.h"
#include "problem/translation/transfer.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

struct Kind {
  EntityKind entity;
  ConvKind conversion;
  PyTypeObject* type;
  Entries Registry::* entries;
  int32_t Registry::* transfer;  // of a nonlinear objective; -1: none
  int (*remove)(TVLOprob, int, const int*);
};
const Kind kConstraints{kRow, CONV_ROW, &tavlo_constraintType, &Registry::cons, &Registry::transferRow, TVLOdelrows};
const Kind kVariables{kColumn, CONV_COL, &tavlo_varType, &Registry::vars, &Registry::transferColumn, TVLOdelcols};

constexpr char kNotWithIndex[] = "Parameters 'first' and 'last' cannot be specified if 'index' is also specified";
constexpr char kBothNonnegative[] = "Parameters 'first' and 'last' must be both nonnegative when specified";

struct Indices {
  Array<int32_t> at;
  int32_t n = 0;
};

int fromRange(problem_s* p, const Kind& kind, int first, int last, Indices* out) {
  const int64_t size = (p->registry().*kind.entries).size();
  if (last < 0) return fail(kBothNonnegative);
  if (first >= size || last >= size) return fail("Parameters 'first' or 'last' are out of range");
  if (first > last) return fail("Parameter 'first' must be less than, or equal to, 'last'");
  out->n = last - first + 1;
  if (!out->at.resize(out->n)) return -1;
  for (int32_t i = 0; i < out->n; ++i) out->at[i] = first + i;
  return 0;
}

// One index, object or name, or an iterable of them.
int fromObject(problem_s* p, const Kind& kind, PyObject* obj, Indices* out) {
  int64_t number = 0;
  const bool single = (isSignedInteger(obj, &number) && number >= 0) || PyObject_TypeCheck(obj, kind.type) ||
                      PyUnicode_Check(obj) || PyBytes_Check(obj);
  if (single) {
    out->n = 1;
    return out->at.resize(1) ? ObjInt2int(obj, p, &out->at[0], kind.entity) : -1;
  }
  int64_t length = -1;
  bool present = false;
  if (conv_obj2arr(p, &length, obj, &out->at, &present, kind.conversion) != 0) return -1;
  if (!present) return fail("At least one parameter must be specified");
  out->n = static_cast<int32_t>(length);
  return 0;
}

int indicesOf(problem_s* p, const Kind& kind, PyObject* index, int first, int last, Indices* out) {
  if (first >= 0 || last >= 0) {
    if (index) return fail(kNotWithIndex);
    return first < 0 ? fail(kBothNonnegative) : fromRange(p, kind, first, last, out);
  }
  return index ? fromObject(p, kind, index, out) : fail("At least one parameter must be specified");
}

// Of what `gone` names, from the solver and the registry. Objects that nobody else holds go with this.
class Deletion {
 public:
  Deletion(problem_s* p, const Kind& kind) : p_(p), kind_(kind) {}
  Deletion(const Deletion&) = delete;
  Deletion& operator=(const Deletion&) = delete;
  ~Deletion() {
    for (int32_t i = 0; i < removed_; ++i) Py_DECREF(objects_[static_cast<size_t>(i)]);
  }

  // All that needs memory, so that nothing can fail once the solver has deleted. The indices become ascending and
  // distinct. 0, or -1 with an exception.
  int prepare() {
    int32_t* const begin = gone.at.data();
    std::sort(begin, begin + gone.n);
    gone.n = static_cast<int32_t>(std::unique(begin, begin + gone.n) - begin);
    if (gone.n > 0 && (begin[0] < 0 || begin[gone.n - 1] >= entries().size())) return fail("Index out of bounds");
    return objects_.resize(static_cast<size_t>(gone.n)) ? 0 : -1;
  }
  int prepare(int index) {
    if (!gone.at.resize(1)) return -1;
    gone.at[0] = index;
    gone.n = 1;
    return prepare();
  }

  int carryOut() {
    if (kind_.remove(p_->prob, gone.n, gone.at.data()) != 0) return solverFailed(p_);
    Registry& registry = p_->registry();
    registry.changed();
    entries().remove(gone.at.data(), gone.n, objects_.data());
    removed_ = gone.n;
    const int32_t* begin = gone.at.data();
    int32_t& transfer = registry.*kind_.transfer;
    if (transfer >= 0) transfer -= static_cast<int32_t>(std::lower_bound(begin, begin + gone.n, transfer) - begin);
    return 0;
  }

  Indices gone;

 private:
  Entries& entries() { return p_->registry().*kind_.entries; }

  problem_s* p_;
  const Kind& kind_;
  Array<PyObject*> objects_;
  int32_t removed_ = 0;
};

// Garbage collections while deletions are prepared may run code.
int refuseChanges(const problem_s* p, uint64_t changes) {
  return changes == p->registry().changes() ? 0
                                            : fail("The problem was changed while objects were being deleted from it");
}

// The transfer row and column of a nonlinear objective go with the objective only.
int refuseTransfer(const problem_s* p, const Kind& kind, const Indices& gone) {
  const int32_t* end = gone.at.data() + gone.n;
  const int32_t transfer = p->registry().*kind.transfer;
  if (transfer < 0 || std::find(gone.at.data(), end, transfer) == end) return 0;
  return fail("The transfer row and column of a nonlinear objective are deleted when another objective is set");
}

PyObject* problem_delObjects(PyObject* self, PyObject* args, PyObject* kwargs, const Kind& kind) {
  auto* p = reinterpret_cast<problem_s*>(self);
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  static constexpr const char* kNames[] = {"index", "first", "last", nullptr};
  PyObject* index = nullptr;
  int first = -1, last = -1;
  if (!ko_ParseTupleAndKeywords(args, kwargs, "|Oii", kNames, nullptr, &index, &first, &last)) return nullptr;
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  Deletion deletion(p, kind);
  if (indicesOf(p, kind, index, first, last, &deletion.gone) != 0) return nullptr;
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  if (deletion.gone.n == 0) Py_RETURN_NONE;
  const uint64_t changes = p->registry().changes();
  if (refuseTransfer(p, kind, deletion.gone) != 0 || check_nl_unconstruct(p) != 0 || deletion.prepare() != 0 ||
      refuseChanges(p, changes) != 0 || deletion.carryOut() != 0)
    return nullptr;
  if (kind.entity == kRow && p->registry().hasFormulas) p->registry().aged = true;
  Py_RETURN_NONE;
}

PyObject* problem_delVariable(PyObject* self, PyObject* args, PyObject* kwargs) {
  return problem_delObjects(self, args, kwargs, kVariables);
}
PyObject* problem_delConstraint(PyObject* self, PyObject* args, PyObject* kwargs) {
  return problem_delObjects(self, args, kwargs, kConstraints);
}

#define TAVLO_DELETION_DOC(method, plural, add)                                                                   \
  method                                                                                                          \
      "($self, /, index=..., first=-1, last=-1)\n--\n\n"                                                          \
      "Purpose:\n  Deletes " plural                                                                               \
      " from the problem; those behind them move up.\n\n"                                                         \
      "Synopsis:\n  p." method "(index)\n  p." method                                                             \
      "(first=0, last=9)\n\n"                                                                                     \
      "Arguments:\n"                                                                                              \
      "  index         An object, a name or a number, or a list, tuple, iterator or other sequence of them.\n"    \
      "  first, last   Instead of index: the first and the last number of a range.\n\n"                           \
      "Example:\n  p." method                                                                                     \
      "([a, 3, \"name\"])\n\n"                                                                                    \
      "Further information:\n  The objects themselves live on and can be added again. A call that fails deletes " \
      "nothing.\n\n"                                                                                              \
      "Related topics:\n  problem." add "\n"

constexpr char kDelVariableDoc[] = TAVLO_DELETION_DOC("delVariable", "variables", "addVariable");
constexpr char kDelConstraintDoc[] = TAVLO_DELETION_DOC("delConstraint", "constraints", "addConstraint");
#undef TAVLO_DELETION_DOC

}  // namespace

struct PairDeletion::Parts {
  Deletion row, column;
};

PairDeletion::PairDeletion() = default;
PairDeletion::~PairDeletion() = default;

int PairDeletion::prepare(problem_s* p, int row, int column) {
  const uint64_t changes = p->registry().changes();
  parts_.reset(new (std::nothrow) Parts{{p, kConstraints}, {p, kVariables}});
  if (!parts_) return PyErr_NoMemory(), -1;
  return parts_->row.prepare(row) == 0 && parts_->column.prepare(column) == 0 ? refuseChanges(p, changes) : -1;
}

int PairDeletion::carryOut() { return parts_->row.carryOut() == 0 ? parts_->column.carryOut() : -1; }

const PyMethodDef* deletionMethods() {
  static const PyMethodDef methods[] = {
      {"delVariable", withKeywords(problem_delVariable), METH_VARARGS | METH_KEYWORDS, kDelVariableDoc},
      {"delConstraint", withKeywords(problem_delConstraint), METH_VARARGS | METH_KEYWORDS, kDelConstraintDoc},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}

}  // namespace tavlo
