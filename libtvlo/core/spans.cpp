#include "core/spans.h"

#include <algorithm>
#include <cmath>

#include "core/validate.h"

namespace tvlo {

namespace {

constexpr char kLetters[] = "SGPI";  // of default names
constexpr const char* kNouns[] = {"set", "general constraint", "piecewise-linear constraint", "indicator"};

}  // namespace

Spans::Spans(SpanKind kind) : kind_(kind), names_(kLetters[static_cast<int>(kind)]) {}

const char* Spans::noun() const { return kNouns[static_cast<int>(kind_)]; }

void Spans::validate(const Item& item, int number, int rows, int columns) const {
  const auto refuse = [&](const char* what) { badArgument("New %s %d: %s", noun(), number, what); };
  for (const int column : item.columns) requireIndex(column, columns, "column");
  if (weighted()) {
    std::vector<int> sorted = item.columns;
    std::sort(sorted.begin(), sorted.end());
    if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) refuse("a column comes twice");
    if (item.numbers.size() != item.columns.size()) refuse("there is not one weight for each column");
    if (item.head != -1) refuse("it has no head");
  } else {
    requireIndex(item.head, headedByRow() ? rows : columns, headedByRow() ? "row" : "column");
  }
  if (!allFinite(static_cast<int64_t>(item.numbers.size()), item.numbers.data())) refuse("a number is not finite");
}

void Spans::add(std::vector<Item> items, int rows, int columns) {
  for (size_t k = 0; k < items.size(); ++k) validate(items[k], static_cast<int>(k), rows, columns);
  reserveMore(items_, items.size());
  names_.append(static_cast<int>(items.size()));
  std::move(items.begin(), items.end(), std::back_inserter(items_));
  used_.clear();
}

void Spans::erase(int n, const int* items) {
  const std::vector<int> sorted = sortedDistinct(n, items, size(), noun());
  if (sorted.empty()) return;
  names_.erase(sorted);
  erasePositions(items_, sorted);
  used_.clear();
}

bool Spans::uses(int column) const {
  if (weighted() || empty()) return false;
  if (used_.empty()) {
    std::vector<bool> used(1);
    const auto mark = [&](int at) {
      if (at >= static_cast<int>(used.size())) used.resize(std::max<size_t>(at + 1, 2 * used.size()));
      used[at] = true;
    };
    for (const Item& item : items_) {
      for (const int at : item.columns) mark(at);
      if (!headedByRow()) mark(item.head);
    }
    used_ = std::move(used);
  }
  return column < static_cast<int>(used_.size()) && used_[column];
}

void Spans::columnsDeleted(const std::vector<int>& newIndex) noexcept {
  used_.clear();
  for (Item& item : items_) {
    size_t kept = 0;
    for (size_t k = 0; k < item.columns.size(); ++k) {
      const int now = newIndex[item.columns[k]];
      if (now < 0) continue;
      if (weighted()) item.numbers[kept] = item.numbers[k];
      item.columns[kept++] = now;
    }
    item.columns.resize(kept);
    if (weighted()) item.numbers.resize(kept);
    if (item.head >= 0 && !headedByRow()) item.head = newIndex[item.head];
  }
}

// Indicators have no names of their own, so nothing of theirs moves that may take memory.
void Spans::rowsDeleted(const std::vector<int>& newIndex) noexcept {
  if (!headedByRow() || empty()) return;
  used_.clear();
  std::erase_if(items_, [&](Item& item) { return (item.head = newIndex[item.head]) < 0; });
  names_.clear();
  names_.append(size());
}

}  // namespace tvlo
