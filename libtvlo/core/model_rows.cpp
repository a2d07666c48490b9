// Rows of the model: adding, deleting, types, right-hand sides and ranges.
#include <climits>

#include "core/model.h"

namespace tvlo {

namespace {

bool isRowType(char type) { return type == 'L' || type == 'G' || type == 'E' || type == 'R' || type == 'N'; }

void requireRowType(int row, char type) {
  if (!isRowType(type)) badArgument("Row %d: there is no row type '%c' (%d)", row, type >= ' ' ? type : '?', type);
}

// An infinite right-hand side may say that a side is free, not that nothing can satisfy the row.
void requireRhs(int row, char type, double rhs) {
  if (!std::isfinite(rhs)) {
    badArgument("Row %d: the right-hand side is %s", row, std::isnan(rhs) ? "NaN" : "infinite");
  }
  if (std::abs(rhs) < TVLO_INFINITY || type == 'N' || (type == 'L' && rhs > 0) || (type == 'G' && rhs < 0)) return;
  badArgument("Row %d: the right-hand side %g is infinite for type %c", row, rhs, type);
}

void requireRange(int row, double range) {
  if (!std::isfinite(range)) badArgument("Row %d: the range is %s", row, std::isnan(range) ? "NaN" : "infinite");
}

// Of an R row; where the lower one is infinite, that side is free.
void requireSides(int row, double lower, double upper) {
  if (std::isnan(lower) || std::isnan(upper)) badArgument("Row %d: a side is NaN", row);
  if (lower > upper) badArgument("Row %d: the lower side %g is above the upper one, %g", row, lower, upper);
}

char typeOfSides(double lower, double upper) {
  if (lower <= -TVLO_INFINITY) return upper >= TVLO_INFINITY ? 'N' : 'L';
  return upper >= TVLO_INFINITY ? 'G' : lower == upper ? 'E' : 'R';
}

}  // namespace

void Model::validateRows(const RowBatch& batch) {
  requireCount(batch.count, "rows");
  if (rows() > INT_MAX - batch.count) badArgument("%d rows are too many", batch.count);
  requireArray(batch.type, batch.count, "row types");
  for (int i = 0; i < batch.count; ++i) {
    const int row = rows() + i;
    requireRowType(row, batch.type[i]);
    if (batch.rhs != nullptr) requireRhs(row, batch.type[i], batch.rhs[i]);
    if (batch.type[i] != 'R') continue;
    if (batch.lower == nullptr) requireArray(batch.range, 1, "ranges");
    if (batch.range != nullptr) requireRange(row, batch.range[i]);
    if (batch.lower != nullptr) requireSides(row, batch.lower[i], batch.rhs == nullptr ? 0 : batch.rhs[i]);
  }
  validateLines(batch.count, batch.ncoefs, batch.start, batch.col, batch.coef, columns(), true);
}

// Of a batch whose lines are rows (or columns): starts, indices across, coefficients, no index twice in a line.
void Model::validateLines(int count, int64_t ncoefs, const int64_t* start, const int* index, const double* coef,
                          int across, bool rowwise) {
  const char* const line = rowwise ? "row" : "column";
  const char* const other = rowwise ? "column" : "row";
  const int first = rowwise ? rows() : columns();
  requireCount(ncoefs, "coefficients");
  if (ncoefs == 0) return;
  if (count == 0) badArgument("There are coefficients but no %ss", line);
  requireArray(start, count, "starts");
  requireArray(index, ncoefs, rowwise ? "column indices" : "row indices");
  requireArray(coef, ncoefs, "coefficients");
  if (start[0] != 0) badArgument("The first start is %lld, not 0", static_cast<long long>(start[0]));
  for (int i = 0; i < count; ++i) {
    const int64_t end = i + 1 < count ? start[i + 1] : ncoefs;
    if (end < start[i] || end > ncoefs) {
      badArgument("The start %lld of %s %d is out of order", static_cast<long long>(i + 1 < count ? end : start[i]),
                  line, first + (i + 1 < count ? i + 1 : i));
    }
    // Ascending indices, the usual case, can't repeat one; only others take a look at the marks.
    bool ascending = true;
    int previous = -1;
    for (int64_t k = start[i]; k < end; ++k) {
      const int at = index[k];
      if (at < 0 || at >= across) {
        badArgument("%s %d: there is no %s %d, the problem has %d", rowwise ? "Row" : "Column", first + i, other, at,
                    across);
      }
      ascending &= at > previous;
      previous = at;
    }
    if (ascending) continue;
    stamps_.begin(across);
    for (int64_t k = start[i]; k < end; ++k) {
      if (!stamps_.mark(index[k])) {
        badArgument("%s %d: %s %d has more than one coefficient", rowwise ? "Row" : "Column", first + i, other,
                    index[k]);
      }
    }
  }
  if (allFinite(ncoefs, coef)) return;
  for (int i = 0; i < count; ++i) {
    for (int64_t k = start[i]; k < (i + 1 < count ? start[i + 1] : ncoefs); ++k) {
      if (!std::isfinite(coef[k])) {
        badArgument("%s %d: the coefficient of %s %d is %s", rowwise ? "Row" : "Column", first + i, other, index[k],
                    std::isnan(coef[k]) ? "NaN" : "infinite");
      }
    }
  }
}

// Until here every row's width was 0.
void Model::makeRanges() {
  if (!ranges_.empty()) return;
  ranges_.reserve(rows());
  for (const double rhs : rhs_) ranges_.push_back({0, rhs});
}

void Model::addRows(const RowBatch& batch) {
  validateRows(batch);
  if (batch.count == 0) return;
  reserveMore(rowType_, batch.count);
  reserveMore(rhs_, batch.count);
  const bool ranges = std::find(batch.type, batch.type + batch.count, 'R') != batch.type + batch.count;
  if (ranges) makeRanges();
  if (!ranges_.empty()) reserveMore(ranges_, batch.count);
  reserveMore(matrix_.start, batch.count);
  reserveMore(matrix_.index, batch.ncoefs);
  reserveMore(matrix_.value, batch.ncoefs);

  // Nothing below can fail.
  const size_t old = rowType_.size();
  const int64_t base = matrix_.nonzeros();
  rowType_.insert(rowType_.end(), batch.type, batch.type + batch.count);
  if (batch.rhs != nullptr) {
    rhs_.insert(rhs_.end(), batch.rhs, batch.rhs + batch.count);
  } else {
    rhs_.resize(old + batch.count, 0);
  }
  for (int i = 0; (ranges || !ranges_.empty()) && i < batch.count; ++i) {
    const double rhs = rhs_[old + i];
    if (batch.type[i] != 'R') {
      ranges_.push_back({0, rhs});
      continue;
    }
    const double lower =
        batch.lower == nullptr ? rhs - std::abs(batch.range[i]) : std::max(batch.lower[i], -TVLO_INFINITY);
    ranges_.push_back({batch.range == nullptr ? rhs - lower : std::abs(batch.range[i]), lower});
  }
  if (batch.ncoefs > 0) {
    for (int i = 1; i < batch.count; ++i) matrix_.start.push_back(base + batch.start[i]);
    matrix_.start.push_back(base + batch.ncoefs);
    matrix_.index.insert(matrix_.index.end(), batch.col, batch.col + batch.ncoefs);
    matrix_.value.insert(matrix_.value.end(), batch.coef, batch.coef + batch.ncoefs);
    columnsValid_ = false;
  } else {
    matrix_.start.resize(matrix_.start.size() + batch.count, base);
  }
  rowNames_.append(batch.count);
}

void Model::deleteRows(int n, const int* rows) {
  const std::vector<int> sorted = sortedDistinct(n, rows, this->rows(), "row");
  if (sorted.empty()) return;
  // Without what refers to rows, deleting the last ones takes no pass over the others.
  const bool refers = !qrows_.empty() || formulas_.knowsRows() || !spans(SpanKind::indicator).empty();
  const std::vector<int> newIndex = refers ? renumbering(sorted, this->rows()) : std::vector<int>();
  rowNames_.erase(sorted);
  record([&](Changes& changes) { changes.rowsDeleted(sorted); });

  size_t gone = 0;
  int64_t to = matrix_.start[sorted.front()];
  int kept = sorted.front();
  for (int row = kept; row < this->rows(); ++row) {
    const int64_t begin = matrix_.start[row];
    const int64_t end = matrix_.start[row + 1];
    if (gone < sorted.size() && sorted[gone] == row) {
      ++gone;
      continue;
    }
    std::copy(matrix_.index.begin() + begin, matrix_.index.begin() + end, matrix_.index.begin() + to);
    std::copy(matrix_.value.begin() + begin, matrix_.value.begin() + end, matrix_.value.begin() + to);
    matrix_.start[kept++] = to;
    to += end - begin;
  }
  matrix_.start[kept] = to;
  matrix_.start.resize(kept + 1);
  matrix_.index.resize(to);
  matrix_.value.resize(to);
  columnsValid_ = false;
  erasePositions(rowType_, sorted);
  erasePositions(rhs_, sorted);
  erasePositions(ranges_, sorted);

  if (!refers) return;
  if (!qrows_.empty()) changes_.quadratic = true;
  std::erase_if(qrows_, [&](RowQuadratic& q) { return (q.row = newIndex[q.row]) < 0; });
  formulas_.rowsDeleted(newIndex);
  for (Spans& spans : spans_) spans.rowsDeleted(newIndex);
}

void Model::setRowTypes(int n, const int* rows, const char* types) {
  requireCount(n, "rows");
  requireArray(rows, n, "rows");
  requireArray(types, n, "row types");
  requireIndices(n, rows, this->rows(), "row");
  for (int k = 0; k < n; ++k) {
    requireRowType(rows[k], types[k]);
    requireRhs(rows[k], types[k], rhs_[rows[k]]);
  }
  for (int k = 0; k < n; ++k) {
    if (rowType_[rows[k]] == types[k]) continue;
    rowType_[rows[k]] = types[k];
    record([&](Changes& changes) { changes.rows.boundChanged(rows[k]); });
  }
}

void Model::setRhs(int n, const int* rows, const double* rhs) {
  requireCount(n, "rows");
  requireArray(rows, n, "rows");
  requireArray(rhs, n, "right-hand sides");
  requireIndices(n, rows, this->rows(), "row");
  for (int k = 0; k < n; ++k) requireRhs(rows[k], rowType_[rows[k]], rhs[k]);
  for (int k = 0; k < n; ++k) {
    if (rhs_[rows[k]] == rhs[k]) continue;
    rhs_[rows[k]] = rhs[k];
    if (!ranges_.empty()) ranges_[rows[k]].lower = rhs[k] - ranges_[rows[k]].width;
    record([&](Changes& changes) { changes.rows.boundChanged(rows[k]); });
  }
}

void Model::setRanges(int n, const int* rows, const double* ranges) {
  requireCount(n, "rows");
  requireArray(rows, n, "rows");
  requireArray(ranges, n, "ranges");
  requireIndices(n, rows, this->rows(), "row");
  for (int k = 0; k < n; ++k) requireRange(rows[k], ranges[k]);
  if (n > 0) makeRanges();
  for (int k = 0; k < n; ++k) {
    const double width = std::abs(ranges[k]);
    if (ranges_[rows[k]].width == width) continue;
    ranges_[rows[k]] = {width, rhs_[rows[k]] - width};
    record([&](Changes& changes) { changes.rows.boundChanged(rows[k]); });
  }
}

void Model::setRowBounds(int n, const int* rows, const double* lower, const double* upper) {
  requireCount(n, "rows");
  requireArray(rows, n, "rows");
  requireArray(lower, n, "lower sides");
  requireArray(upper, n, "upper sides");
  requireIndices(n, rows, this->rows(), "row");
  bool ranges = false;
  for (int k = 0; k < n; ++k) {
    requireSides(rows[k], lower[k], upper[k]);
    if (lower[k] >= TVLO_INFINITY || upper[k] <= -TVLO_INFINITY) {
      badArgument("Row %d: a side is infinite on the wrong end", rows[k]);
    }
    ranges |= typeOfSides(lower[k], upper[k]) == 'R';
  }
  if (ranges) makeRanges();
  for (int k = 0; k < n; ++k) {
    const int row = rows[k];
    const char type = typeOfSides(lower[k], upper[k]);
    if (type == rowType_[row] && rowLower(row) == lower[k] && rowUpper(row) == upper[k]) continue;
    rowType_[row] = type;
    if (type != 'N') rhs_[row] = type == 'G' ? lower[k] : upper[k];
    if (type == 'R') {
      ranges_[row] = {upper[k] - lower[k], lower[k]};
    } else if (!ranges_.empty()) {
      ranges_[row].lower = rhs_[row] - ranges_[row].width;
    }
    record([&](Changes& changes) { changes.rows.boundChanged(row); });
  }
}

double Model::rowLower(int row) const {
  switch (rowType_[row]) {
    case 'G':
      return std::max(rhs_[row], -TVLO_INFINITY);
    case 'E':
      return rhs_[row];
    case 'R':
      return ranges_.empty() ? rhs_[row] : std::max(ranges_[row].lower, -TVLO_INFINITY);
    default:
      return -TVLO_INFINITY;
  }
}

double Model::rowUpper(int row) const {
  switch (rowType_[row]) {
    case 'L':
      return std::min(rhs_[row], TVLO_INFINITY);
    case 'E':
    case 'R':
      return rhs_[row];
    default:
      return TVLO_INFINITY;
  }
}

}  // namespace tvlo
