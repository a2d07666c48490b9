// Columns of the model: adding, deleting, costs, bounds, types and limits.
#include <climits>
#include <cstring>

#include "core/model.h"

namespace tvlo {

namespace {

double cut(double bound) { return std::clamp(bound, -TVLO_INFINITY, TVLO_INFINITY); }

void requireLower(int column, double bound) {
  if (!(bound < TVLO_INFINITY)) {
    badArgument("Column %d: the lower bound is %s", column, std::isnan(bound) ? "NaN" : "plus infinity");
  }
}

void requireUpper(int column, double bound) {
  if (!(bound > -TVLO_INFINITY)) {
    badArgument("Column %d: the upper bound is %s", column, std::isnan(bound) ? "NaN" : "minus infinity");
  }
}

void requireFiniteOf(int column, double value, const char* what) {
  if (!std::isfinite(value)) {
    badArgument("Column %d: the %s is %s", column, what, std::isnan(value) ? "NaN" : "infinite");
  }
}

void append(std::vector<double>& values, const double* given, int n, double standard) {
  if (given != nullptr) {
    values.insert(values.end(), given, given + n);
  } else {
    values.resize(values.size() + n, standard);
  }
}

}  // namespace

void Model::validateColumns(const ColumnBatch& batch) {
  requireCount(batch.count, "columns");
  if (columns() > INT_MAX - batch.count) badArgument("%d columns are too many", batch.count);
  for (int j = 0; j < batch.count; ++j) {
    const int column = columns() + j;
    if (batch.obj != nullptr) requireFiniteOf(column, batch.obj[j], "objective coefficient");
    if (batch.lb != nullptr) requireLower(column, batch.lb[j]);
    if (batch.ub != nullptr) requireUpper(column, batch.ub[j]);
  }
  validateLines(batch.count, batch.ncoefs, batch.start, batch.row, batch.coef, rows(), false);
}

void Model::addColumns(const ColumnBatch& batch) {
  validateColumns(batch);
  if (batch.count == 0) return;
  std::vector<int64_t> extra;  // new coefficients of each row
  int64_t added = 0;
  if (batch.ncoefs > 0) {
    extra.resize(rows());
    for (int64_t k = 0; k < batch.ncoefs; ++k) {
      if (batch.coef[k] == 0) continue;
      ++extra[batch.row[k]];
      ++added;
    }
    reserveMore(matrix_.index, added);
    reserveMore(matrix_.value, added);
  }
  reserveMore(obj_, batch.count);
  reserveMore(lb_, batch.count);
  reserveMore(ub_, batch.count);
  reserveMore(colType_, batch.count);
  if (!limit_.empty()) reserveMore(limit_, batch.count);

  // Nothing below can fail.
  if (added > 0) mergeColumns(batch, extra, added);
  const size_t old = colType_.size();
  append(obj_, batch.obj, batch.count, 0);
  append(lb_, batch.lb, batch.count, 0);
  append(ub_, batch.ub, batch.count, TVLO_INFINITY);
  std::transform(lb_.begin() + old, lb_.end(), lb_.begin() + old, cut);
  std::transform(ub_.begin() + old, ub_.end(), ub_.begin() + old, cut);
  colType_.resize(old + batch.count, 'C');
  if (!limit_.empty()) limit_.resize(old + batch.count, -TVLO_INFINITY);
  colNames_.append(batch.count);
  columnsValid_ = false;
}

// Opens a gap at the end of each row, from the last row to the first, then fills them column by column.
void Model::mergeColumns(const ColumnBatch& batch, std::vector<int64_t>& extra, int64_t added) noexcept {
  auto& [start, index, value] = matrix_;
  index.resize(index.size() + added);
  value.resize(value.size() + added);
  int64_t shift = added;
  for (int row = rows() - 1; row >= 0 && shift > 0; --row) {
    const int64_t begin = start[row];
    const int64_t end = start[row + 1];
    start[row + 1] = end + shift;
    shift -= extra[row];
    if (shift > 0) {
      std::copy_backward(index.begin() + begin, index.begin() + end, index.begin() + end + shift);
      std::copy_backward(value.begin() + begin, value.begin() + end, value.begin() + end + shift);
    }
    extra[row] = end + shift;  // from here on: where its next coefficient goes
  }
  const int first = columns();
  for (int j = 0; j < batch.count; ++j) {
    const int64_t end = j + 1 < batch.count ? batch.start[j + 1] : batch.ncoefs;
    for (int64_t k = batch.start[j]; k < end; ++k) {
      if (batch.coef[k] == 0) continue;
      const int64_t place = extra[batch.row[k]]++;
      index[place] = first + j;
      value[place] = batch.coef[k];
    }
  }
}

void Model::requireUnused(int column, int shown) const {
  if (formulas_.uses(column)) badArgument("Column %d is in a formula and can't be deleted before that", shown);
  for (const Spans& spans : spans_) {
    if (spans.uses(column)) badArgument("Column %d is in a %s and can't be deleted before that", shown, spans.noun());
  }
}

void Model::deleteColumns(int n, const int* columns) {
  const std::vector<int> sorted = sortedDistinct(n, columns, this->columns(), "column");
  if (sorted.empty()) return;
  const std::vector<int> newIndex = renumbering(sorted, this->columns());
  for (const int column : sorted) requireUnused(column, column);
  colNames_.erase(sorted);
  record([&](Changes& changes) { changes.columnsDeleted(sorted); });

  int64_t to = 0;
  int64_t from = 0;
  for (int row = 0; row < rows(); ++row) {
    for (const int64_t end = matrix_.start[row + 1]; from < end; ++from) {
      const int now = newIndex[matrix_.index[from]];
      if (now < 0) continue;
      matrix_.index[to] = now;
      matrix_.value[to++] = matrix_.value[from];
    }
    matrix_.start[row + 1] = to;
  }
  matrix_.index.resize(to);
  matrix_.value.resize(to);
  columnsValid_ = false;
  for (const int column : sorted) entities_ -= static_cast<int>(colType_[column] != 'C');
  erasePositions(obj_, sorted);
  erasePositions(lb_, sorted);
  erasePositions(ub_, sorted);
  erasePositions(limit_, sorted);
  erasePositions(colType_, sorted);
  formulas_.columnsDeleted(newIndex);
  for (Spans& spans : spans_) spans.columnsDeleted(newIndex);
  if (quadratic()) {
    qobj_.eraseColumns(newIndex);
    for (RowQuadratic& q : qrows_) q.form.eraseColumns(newIndex);
    std::erase_if(qrows_, [](const RowQuadratic& q) { return q.form.empty(); });
    changes_.quadratic = true;
  }
}

void Model::setObjective(int n, const int* columns, const double* coefs) {
  requireCount(n, "columns");
  requireArray(columns, n, "columns");
  requireArray(coefs, n, "objective coefficients");
  for (int k = 0; k < n; ++k) {
    if (columns[k] != -1) requireIndex(columns[k], this->columns(), "column");
    requireFiniteOf(columns[k], coefs[k], "objective coefficient");
  }
  for (int k = 0; k < n; ++k) {
    const int column = columns[k];
    if (column == -1) {
      constant_ = coefs[k] == 0 ? 0 : -coefs[k];
      changes_.objective = true;
    } else if (obj_[column] != coefs[k]) {
      obj_[column] = coefs[k];
      record([&](Changes& changes) { changes.columns.costChanged(column); });
    }
  }
}

void Model::setBounds(int n, const int* columns, const char* which, const double* values) {
  requireCount(n, "columns");
  requireArray(columns, n, "columns");
  requireArray(which, n, "bound types");
  requireArray(values, n, "bounds");
  requireIndices(n, columns, this->columns(), "column");
  for (int k = 0; k < n; ++k) {
    if (which[k] != 'L' && which[k] != 'U' && which[k] != 'B') {
      badArgument("Column %d: there is no bound type '%c' (%d)", columns[k], which[k] >= ' ' ? which[k] : '?',
                  which[k]);
    }
    if (which[k] != 'U') requireLower(columns[k], values[k]);
    if (which[k] != 'L') requireUpper(columns[k], values[k]);
  }
  for (int k = 0; k < n; ++k) {
    const int column = columns[k];
    const double value = cut(values[k]);
    const double lower = which[k] != 'U' ? value : lb_[column];
    const double upper = which[k] != 'L' ? value : ub_[column];
    if (lower == lb_[column] && upper == ub_[column]) continue;
    lb_[column] = lower;
    ub_[column] = upper;
    record([&](Changes& changes) { changes.columns.boundChanged(column); });
    if (colType_[column] == 'B' && (value < 0 || value > 1)) setType(column, 'I');
  }
}

void Model::setType(int column, char type) noexcept {
  if (colType_[column] == type) return;
  entities_ += static_cast<int>(type != 'C') - static_cast<int>(colType_[column] != 'C');
  colType_[column] = type;
  record([&](Changes& changes) { changes.columns.typeChanged(column); });
}

void Model::setColumnTypes(int n, const int* columns, const char* types) {
  requireCount(n, "columns");
  requireArray(columns, n, "columns");
  requireArray(types, n, "column types");
  requireIndices(n, columns, this->columns(), "column");
  for (int k = 0; k < n; ++k) {
    if (types[k] == '\0' || std::strchr("CBISRP", types[k]) == nullptr) {
      badArgument("Column %d: there is no column type '%c' (%d)", columns[k], types[k] >= ' ' ? types[k] : '?',
                  types[k]);
    }
  }
  for (int k = 0; k < n; ++k) {
    const int column = columns[k];
    setType(column, types[k]);
    if (types[k] != 'B' || (lb_[column] >= 0 && ub_[column] <= 1)) continue;
    lb_[column] = std::max(lb_[column], 0.0);
    ub_[column] = std::min(ub_[column], 1.0);
    record([&](Changes& changes) { changes.columns.boundChanged(column); });
  }
}

void Model::setLimits(int n, const int* columns, const double* limits) {
  requireCount(n, "columns");
  requireArray(columns, n, "columns");
  requireArray(limits, n, "limits");
  requireIndices(n, columns, this->columns(), "column");
  for (int k = 0; k < n; ++k) requireFiniteOf(columns[k], limits[k], "limit");
  if (n > 0 && limit_.empty()) limit_.resize(colType_.size(), -TVLO_INFINITY);
  for (int k = 0; k < n; ++k) {
    limit_[columns[k]] = std::max(limits[k], -TVLO_INFINITY);
    record([&](Changes& changes) { changes.columns.typeChanged(columns[k]); });
  }
}

double Model::limit(int column) const { return limit_.empty() ? -TVLO_INFINITY : limit_[column]; }

}  // namespace tvlo
