#include "problem/translation/transfer.h"

#include <algorithm>

#include "model/packed_word.h"

namespace tavlo {
namespace {

constexpr int kTransferBit = 1 << 11;  // of a row's status
constexpr char kRowName[] = "objtransferrow", kColumnName[] = "objtransfercol";

int setRowStatus(problem_s* p, int row, bool transfer) {
  int status = 0;
  if (TSLPgetrowstatus(p->slpprob, row, &status) != 0) return nonlinearFailed(p);
  status = transfer ? status | kTransferBit : status & ~kTransferBit;
  return TSLPchgrowstatus(p->slpprob, row, &status) == 0 ? 0 : nonlinearFailed(p);
}

int setDeterminingRow(problem_s* p, int column, int row) {
  return TSLPchgvar(p->slpprob, column, &row, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                    nullptr, nullptr) == 0
             ? 0
             : nonlinearFailed(p);
}

Ref newColumn() {
  Ref v = Ref::steal(var_base()), name = Ref::steal(PyUnicode_FromString(kColumnName));
  if (!v || !name) return {};
  uint64_t* word = &reinterpret_cast<var_s*>(v.get())->word;
  return set_var_name(word, name.get()) == 0 && set_var_lbound(word, -kInfinity) == 0 &&
                 set_var_ubound(word, kInfinity) == 0
             ? std::move(v)
             : Ref();
}

Ref newRow() {
  Ref c = Ref::steal(constraint_base()), name = Ref::steal(PyUnicode_FromString(kRowName));
  if (!c || !name) return {};
  uint64_t* info = &reinterpret_cast<constraint_s*>(c.get())->info;
  return set_con_name(info, name.get()) == 0 && set_con_lbound(info, 0) == 0 && set_con_ubound(info, 0) == 0
             ? std::move(c)
             : Ref();
}

// Whether a coefficient of the nonlinear component uses a column; -1 with an exception.
int coefficientUses(problem_s* p, int row, int column, int wanted) {
  if (column == wanted) return 1;
  Array<int32_t> type;
  Array<double> value;
  int count = 0;
  double factor = 0;
  const auto fetch = [&] {
    return TSLPgetcoefformula(p->slpprob, row, column, &factor, 1, static_cast<int>(type.capacity()), &count,
                              type.data(), value.data());
  };
  constexpr int kMostlyEnough = 64;
  for (count = kMostlyEnough; static_cast<size_t>(count) > type.capacity();) {
    if (!type.resize(static_cast<size_t>(count)) || !value.resize(static_cast<size_t>(count))) return -1;
    if (fetch() != 0 && static_cast<size_t>(count) <= type.capacity()) return nonlinearFailed(p);
  }
  for (int k = 0; k < count; ++k)
    if (type[k] == TSLP_TOKEN_COLUMN && value[k] == wanted) return 1;
  return 0;
}

// Where there are formulas.
int readPositions(problem_s* p, int* count, Array<int32_t>* row, Array<int32_t>* column) {
  if (TSLPgetcoefs(p->slpprob, count, nullptr, nullptr) != 0) return nonlinearFailed(p);
  if (!row->resize(static_cast<size_t>(*count)) || !column->resize(static_cast<size_t>(*count))) return -1;
  return TSLPgetcoefs(p->slpprob, count, row->data(), column->data()) == 0 ? 0 : nonlinearFailed(p);
}

// The column that a row with the status of a transfer row makes equal to its formulas; -1 when it is not as Transfer
// sends it, -2 with an exception.
int transferColumnOf(problem_s* p, int row) {
  int64_t n = 0;
  int column = -1;
  double coef = 0, cost = 0, lb = 0, ub = 0, lower = 0, upper = 0;
  char type = 0;
  if (TVLOgetrows64(p->prob, nullptr, &column, &coef, 1, &n, row, row) != 0 ||
      TVLOgetrowsides(p->prob, &lower, &upper, row, row) != 0)
    return solverFailed(p), -2;
  if (n != 1 || coef != -1 || lower != 0 || upper != 0) return -1;
  if (TVLOgetobj(p->prob, &cost, column, column) != 0 || TVLOgetlb(p->prob, &lb, column, column) != 0 ||
      TVLOgetub(p->prob, &ub, column, column) != 0 || TVLOgetcoltype(p->prob, &type, column, column) != 0)
    return solverFailed(p), -2;
  return cost == 1 && lb <= -kInfinity && ub >= kInfinity && type == 'C' ? column : -1;
}

int refuseUsed(problem_s* p) {
  int count = 0;
  Array<int32_t> row, column;
  if (readPositions(p, &count, &row, &column) != 0) return -1;
  for (int k = 0; k < count; ++k) {
    if (row[k] == p->registry().transferRow) continue;
    const int uses = coefficientUses(p, row[k], column[k], p->registry().transferColumn);
    if (uses < 0) return -1;
    if (uses > 0) return fail("The transfer column of the old objective is in a formula and can't go before that");
  }
  return 0;
}

// A list of its own for what is to be registered.
Ref only(const Ref& object) {
  Ref list = Ref::steal(PyList_New(object ? 1 : 0));
  if (!object || !list) return {};
  PyList_SET_ITEM(list.get(), 0, newRef(object.get()));
  return list;
}

}  // namespace

int Transfer::enter() {
  const Ref v = newColumn(), c = newRow(), columns = only(v), rows = only(c);
  bool fresh = true;
  if (!columns || !rows) return PyErr_Occurred() ? -1 : (PyErr_NoMemory(), -1);
  if (column_keys_.add(varIndex(reinterpret_cast<var_s*>(v.get())), &fresh) != 0 ||
      row_keys_.add(conIndex(reinterpret_cast<constraint_s*>(c.get())), &fresh) != 0)
    return -1;
  // A garbage collection may have run code meanwhile.
  if (checkProblemIsInitialized(p_) != 0) return -1;
  if (changes_ != p_->registry().changes()) return fail("The problem was changed while its objective was being set");
  p_->registry().changed();
  return columns_.enter(columns.get(), column_keys_) == 0 && rows_.enter(rows.get(), row_keys_) == 0 ? 0 : -1;
}

int Transfer::send(Formulas* f) {
  const char type = 'E';
  const double zero = 0, one = 1, minus_one = -1, lb = -kInfinity, ub = kInfinity;
  const int64_t start[] = {0, 1}, none[] = {0, 0};
  if (TVLOaddrows64(p_->prob, 1, 0, &type, &zero, nullptr, none, nullptr, nullptr) != 0) return solverFailed(p_);
  has_row_ = true;
  if (TVLOaddcols64(p_->prob, 1, 1, &one, start, &row_, &minus_one, &lb, &ub) != 0) return solverFailed(p_);
  has_column_ = true;
  if (setDeterminingRow(p_, column_, row_) != 0 || setRowStatus(p_, row_, true) != 0) return -1;
  std::fill_n(f->row.data(), f->count, row_);
  return TSLPaddcoefs(p_->slpprob, static_cast<int>(f->count), f->row.data(), f->col.data(), f->factor.data(),
                      f->start.data(), 1, f->type.data(), f->value.data()) == 0
             ? 0
             : nonlinearFailed(p_);
}

int Transfer::add(Formulas* formulas) {
  if (TVLOgetintattrib(p_->prob, TVLO_ATTRIBUTE_originalrows, &row_) != 0 ||
      TVLOgetintattrib(p_->prob, TVLO_ATTRIBUTE_originalcols, &column_) != 0)
    return solverFailed(p_);
  return enter() == 0 && send(formulas) == 0 ? 0 : -1;
}

Transfer::~Transfer() {
  if (column_ < 0 || kept_) return;
  ErrorStash failure;
  // The last ones, wherever deletions before them have moved them.
  const auto column = static_cast<int>(p_->registry().vars.size() - 1);
  const auto row = static_cast<int>(p_->registry().cons.size() - 1);
  if (has_column_ && TVLOdelcols(p_->prob, 1, &column) != 0) columns_.keep();
  if (has_row_ && TVLOdelrows(p_->prob, 1, &row) != 0) rows_.keep();
}

int Transfer::keep() {
  if (column_ < 0) return 0;
  columns_.keep();
  rows_.keep();
  kept_ = true;
  // Found anew: the old pair's removal may have moved them.
  Registry& registry = p_->registry();
  const int row = registry.transferRow = static_cast<int32_t>(registry.cons.size() - 1);
  const int column = registry.transferColumn = static_cast<int32_t>(registry.vars.size() - 1);
  const bool named = TVLOaddnames(p_->prob, TVLO_NAMES_ROW, kRowName, row, row) == 0 &&
                     TVLOaddnames(p_->prob, TVLO_NAMES_COLUMN, kColumnName, column, column) == 0;
  return named ? 0 : solverFailed(p_);
}

int OldTransfer::prepare() {
  const Registry& registry = p_->registry();
  if (!registry.hasNonlinearObjective()) return 0;
  return refuseUsed(p_) == 0 ? pair_.prepare(p_, registry.transferRow, registry.transferColumn) : -1;
}

int OldTransfer::remove() {
  Registry& registry = p_->registry();
  if (!registry.hasNonlinearObjective()) return 0;
  const int column = registry.transferColumn, row = registry.transferRow;
  if (setRowStatus(p_, row, false) != 0 || setDeterminingRow(p_, column, -1) != 0) return -1;
  if (TSLPdelvars(p_->slpprob, 1, &column) != 0) return nonlinearFailed(p_);
  if (pair_.carryOut() != 0) return -1;  // formulas go with the row
  registry.transferColumn = registry.transferRow = -1;
  return 0;
}

int adoptTransfer(problem_s* p, Registry* registry) {
  int count = 0;
  Array<int32_t> row, column;
  if (readPositions(p, &count, &row, &column) != 0) return -1;
  for (int k = 0; k < count; ++k) {
    int status = 0;
    if (k > 0 && row[k] == row[k - 1]) continue;
    if (TSLPgetrowstatus(p->slpprob, row[k], &status) != 0) return nonlinearFailed(p);
    if ((status & kTransferBit) == 0) continue;
    const int found = transferColumnOf(p, row[k]);
    if (found == -2) return -1;
    if (found < 0) continue;
    registry->transferRow = row[k];
    registry->transferColumn = found;
    return 0;
  }
  return 0;
}

bool usesTransfer(const problem_s* p, const Terms& terms) {
  if (!p->registry().hasNonlinearObjective()) return false;
  const int32_t column = p->registry().transferColumn;
  const auto has = [column](const Array<int32_t>& at, int64_t n) {
    return n > 0 && std::find(at.data(), at.data() + n, column) != at.data() + n;
  };
  const Formulas& f = terms.formulas;
  if (has(terms.colind, terms.nlin) || has(terms.qcol1, terms.nquad) || has(terms.qcol2, terms.nquad) ||
      has(f.col, f.count))
    return true;
  for (int64_t k = 0; k < f.ntok; ++k)
    if (f.type[k] == TSLP_TOKEN_COLUMN && f.value[k] == column) return true;
  return false;
}

}  // namespace tavlo
