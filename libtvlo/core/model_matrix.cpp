// Single coefficients of the model and its matrix by columns.
#include <numeric>

#include "core/model.h"

namespace tvlo {

namespace {

struct Entry {
  int row, column;
  double value;
};

// Takes out the entries at ascending positions.
void removeEntries(SparseMatrix& matrix, const std::vector<int64_t>& positions) {
  auto& [start, index, value] = matrix;
  const auto firstRow = std::upper_bound(start.begin(), start.end(), positions.front()) - start.begin();
  size_t before = 0;
  for (auto row = static_cast<size_t>(firstRow); row < start.size(); ++row) {
    while (before < positions.size() && positions[before] < start[row]) ++before;
    start[row] -= static_cast<int64_t>(before);
  }
  int64_t to = positions.front();
  for (size_t k = 0; k < positions.size(); ++k) {
    const int64_t from = positions[k] + 1;
    const int64_t end = k + 1 < positions.size() ? positions[k + 1] : matrix.nonzeros();
    std::copy(index.begin() + from, index.begin() + end, index.begin() + to);
    std::copy(value.begin() + from, value.begin() + end, value.begin() + to);
    to += end - from;
  }
  index.resize(to);
  value.resize(to);
}

// Puts entries, ascending by row, at the ends of their rows. The arrays have room.
void insertEntries(SparseMatrix& matrix, const std::vector<Entry>& entries) {
  auto& [start, index, value] = matrix;
  int64_t end = matrix.nonzeros();
  auto shift = static_cast<int64_t>(entries.size());
  index.resize(end + shift);
  value.resize(end + shift);
  auto row = start.size() - 1;
  for (; shift > 0; --shift) {
    const Entry& entry = entries[shift - 1];
    int64_t place = end;  // the old end of its row; the same for all that go into one row
    if (row > static_cast<size_t>(entry.row)) {
      place = start[entry.row + 1];
      for (; row > static_cast<size_t>(entry.row); --row) start[row] += shift;
    }
    std::copy_backward(index.begin() + place, index.begin() + end, index.begin() + end + shift);
    std::copy_backward(value.begin() + place, value.begin() + end, value.begin() + end + shift);
    index[place + shift - 1] = entry.column;
    value[place + shift - 1] = entry.value;
    end = place;
  }
}

}  // namespace

void Model::setCoefficients(int64_t n, const int* rows, const int* columns, const double* coefs) {
  requireCount(n, "coefficients");
  requireArray(rows, n, "rows");
  requireArray(columns, n, "columns");
  requireArray(coefs, n, "coefficients");
  requireIndices(n, rows, this->rows(), "row");
  requireIndices(n, columns, this->columns(), "column");
  for (int64_t k = 0; k < n; ++k) {
    if (!std::isfinite(coefs[k])) {
      badArgument("Row %d: the coefficient of column %d is %s", rows[k], columns[k],
                  std::isnan(coefs[k]) ? "NaN" : "infinite");
    }
  }
  if (n == 0) return;

  // By row; of several coefficients of one place the last one given comes first.
  std::vector<int64_t> order(n);
  std::iota(order.rbegin(), order.rend(), 0);
  std::stable_sort(order.begin(), order.end(), [&](int64_t a, int64_t b) { return rows[a] < rows[b]; });

  std::vector<Entry> wanted;                            // of one row
  std::vector<int> slot(n > 16 ? this->columns() : 0);  // where in it; a few are looked for one by one
  std::vector<std::pair<int64_t, double>> changed;
  std::vector<int64_t> removed;
  std::vector<Entry> inserted;
  for (int64_t k = 0; k < n;) {
    const int row = rows[order[k]];
    wanted.clear();
    stamps_.begin(this->columns());
    for (; k < n && rows[order[k]] == row; ++k) {
      const int column = columns[order[k]];
      if (!stamps_.mark(column)) continue;
      if (!slot.empty()) slot[column] = static_cast<int>(wanted.size());
      wanted.push_back({row, column, coefs[order[k]]});
    }
    for (int64_t at = matrix_.start[row]; at < matrix_.start[row + 1]; ++at) {
      const int column = matrix_.index[at];
      if (!stamps_.marked(column)) continue;
      Entry& entry =
          slot.empty() ? *std::find_if(wanted.begin(), wanted.end(), [&](const Entry& e) { return e.column == column; })
                       : wanted[slot[column]];
      if (entry.value == 0) {
        removed.push_back(at);
      } else {
        changed.emplace_back(at, entry.value);
      }
      entry.row = -1;  // done
    }
    for (auto entry = wanted.rbegin(); entry != wanted.rend(); ++entry) {
      if (entry->row >= 0 && entry->value != 0) inserted.push_back(*entry);
    }
  }
  reserveMore(matrix_.index, inserted.size());
  reserveMore(matrix_.value, inserted.size());

  // Nothing below can fail.
  for (const auto& [at, value] : changed) matrix_.value[at] = value;
  if (!removed.empty()) removeEntries(matrix_, removed);
  if (!inserted.empty()) insertEntries(matrix_, inserted);
  columnsValid_ = false;
  record([&](Changes& changes) {
    for (int64_t k = 0; k < n; ++k) changes.coefficientChanged(rows[k], columns[k]);
  });
}

const SparseMatrix& Model::byColumns() const {
  if (columnsValid_) return columns_;
  auto& [start, index, value] = columns_;
  start.assign(colType_.size() + 1, 0);
  index.resize(matrix_.index.size());
  value.resize(matrix_.value.size());
  for (const int column : matrix_.index) ++start[column + 1];
  std::partial_sum(start.begin(), start.end(), start.begin());
  std::vector<int64_t> next(start.begin(), start.end() - 1);
  for (int row = 0; row < rows(); ++row) {
    for (int64_t k = matrix_.start[row]; k < matrix_.start[row + 1]; ++k) {
      const int64_t place = next[matrix_.index[k]]++;
      index[place] = row;
      value[place] = matrix_.value[k];
    }
  }
  columnsValid_ = true;
  return columns_;
}

double Model::coefficient(int row, int column) const {
  const auto begin = matrix_.index.begin() + matrix_.start[row];
  const auto end = matrix_.index.begin() + matrix_.start[row + 1];
  const auto at = std::find(begin, end, column);
  return at == end ? 0 : matrix_.value[at - matrix_.index.begin()];
}

}  // namespace tvlo
