#include "core/changes.h"

#include <algorithm>
#include <numeric>

#include "core/validate.h"

namespace tvlo {

void LineChanges::Marked::add(int line, int kept) {
  if (line >= kept) return;
  if (static_cast<int>(in.size()) < kept) in.resize(kept);
  if (in[line]) return;
  list.push_back(line);
  in[line] = true;
}

void LineChanges::Marked::clear() noexcept {
  list.clear();
  in.clear();
}

void LineChanges::Marked::renumber(const std::vector<int>& newIndex) {
  if (list.empty()) return;
  in.assign(in.size(), false);
  size_t to = 0;
  for (const int line : list) {
    const int now = newIndex[line];
    if (now < 0) continue;
    list[to++] = now;
    in[now] = true;
  }
  list.resize(to);
}

void LineChanges::Marked::cut(int kept) noexcept {
  std::erase_if(list, [kept](int line) { return line >= kept; });
  if (static_cast<int>(in.size()) > kept) in.resize(kept);
}

void LineChanges::synchronised(int lines) noexcept {
  kept_ = lines;
  origin_.clear();
  deleted_.clear();
  bounds_.clear();
  costs_.clear();
  types_.clear();
}

void LineChanges::boundChanged(int line) { bounds_.add(line, kept_); }
void LineChanges::costChanged(int line) { costs_.add(line, kept_); }
void LineChanges::typeChanged(int line) { types_.add(line, kept_); }

void LineChanges::linesDeleted(const std::vector<int>& sortedLines) {
  const std::vector<int> gone(sortedLines.begin(), std::lower_bound(sortedLines.begin(), sortedLines.end(), kept_));
  if (gone.empty()) return;
  const bool end = gone.front() + static_cast<int>(gone.size()) == kept_;
  if (origin_.empty() && end) {  // what is left keeps its numbers, and what went before stood behind these
    deleted_.insert(deleted_.begin(), gone.begin(), gone.end());
    kept_ = gone.front();
    for (Marked* const marked : {&bounds_, &costs_, &types_}) marked->cut(kept_);
    return;
  }
  if (origin_.empty()) {
    origin_.resize(kept_);
    std::iota(origin_.begin(), origin_.end(), 0);
  }
  const auto before = static_cast<std::ptrdiff_t>(deleted_.size());
  for (const int line : gone) deleted_.push_back(origin_[line]);
  std::inplace_merge(deleted_.begin(), deleted_.begin() + before, deleted_.end());
  erasePositions(origin_, gone);
  const std::vector<int> newIndex = renumbering(gone, kept_);
  bounds_.renumber(newIndex);
  costs_.renumber(newIndex);
  types_.renumber(newIndex);
  kept_ -= static_cast<int>(gone.size());
}

void Changes::replaced() noexcept {
  synchronised(0, 0);
  rebuild = true;
  objective = true;
  quadratic = true;
}

void Changes::coefficientChanged(int row, int column) {
  if (row < rows.kept() && column < columns.kept()) coefs.emplace_back(row, column);
}

void Changes::rowsDeleted(const std::vector<int>& sortedRows) {
  if (!coefs.empty()) {
    const std::vector<int> newIndex = renumbering(sortedRows, std::max(rows.kept(), sortedRows.back() + 1));
    std::erase_if(coefs, [&](std::pair<int, int>& at) { return (at.first = newIndex[at.first]) < 0; });
  }
  rows.linesDeleted(sortedRows);
}

void Changes::columnsDeleted(const std::vector<int>& sortedColumns) {
  if (!coefs.empty()) {
    const std::vector<int> newIndex = renumbering(sortedColumns, std::max(columns.kept(), sortedColumns.back() + 1));
    std::erase_if(coefs, [&](std::pair<int, int>& at) { return (at.second = newIndex[at.second]) < 0; });
  }
  columns.linesDeleted(sortedColumns);
}

void Changes::synchronised(int nrows, int ncols) noexcept {
  rebuild = false;
  objective = false;
  quadratic = false;
  rows.synchronised(nrows);
  columns.synchronised(ncols);
  coefs.clear();
}

bool Changes::none(int nrows, int ncols) const {
  const auto still = [](const LineChanges& lines, int size) {
    return lines.deleted().empty() && lines.kept() == size && lines.bounds().empty() && lines.costs().empty() &&
           lines.types().empty();
  };
  return !rebuild && !objective && !quadratic && coefs.empty() && still(rows, nrows) && still(columns, ncols);
}

}  // namespace tvlo
