#include "core/problem.h"

#include <cmath>
#include <new>

namespace tvlo {

namespace {

int statusNearestZero(double lower, double upper) {
  const bool hasLower = lower > -TVLO_INFINITY;
  const bool hasUpper = upper < TVLO_INFINITY;
  if (hasLower && hasUpper) return std::abs(upper) < std::abs(lower) ? 2 : 0;
  return hasLower ? 0 : hasUpper ? 2 : 3;
}

template <class F>
void orForget(Solution& solution, F adapt) noexcept {
  try {
    adapt();
  } catch (...) {
    solution = Solution();
  }
}

}  // namespace

void Problem::say(std::string_view text, MessageType type) const {
  if (controls.getInt(control::outputlog) == 0) return;
  auto* const self = const_cast<Problem*>(this);  // handlers get the handle, which they may use
  messages.send(self, text, type);
  environmentMessages().send(self, text, type);
}

bool Problem::isHeard() const {
  return controls.getInt(control::outputlog) != 0 && !(messages.empty() && environmentMessages().empty());
}

namespace {

// Beyond so many waiting lines a pass over the model costs less than carrying them along.
int mostWaiting(int lines) { return lines / 16; }

int found(const Names& names, std::string_view name, const WaitingDeletions& waiting, bool& gone) {
  const int stored = names.find(name);
  const int line = stored < 0 ? stored : waiting.lineOf(stored);
  gone = stored >= 0 && line < 0;
  return line;
}

}  // namespace

void Problem::deleteRows(int n, const int* gone) {
  const std::vector<int> sorted = sortedDistinct(n, gone, rows(), "row");
  if (sorted.empty()) return;
  if (waitingRows_.empty() && sorted.front() + n == rows()) {  // at the end nothing moves
    model.deleteRows(n, sorted.data());
    return rowsDeleted(sorted);
  }
  waitingRows_.add(sorted);
  if (waitingRows_.count() > mostWaiting(model.rows())) settleIfPossible();
}

void Problem::deleteColumns(int n, const int* gone) {
  const std::vector<int> sorted = sortedDistinct(n, gone, columns(), "column");
  if (sorted.empty()) return;
  for (const int column : sorted) model.requireUnused(waitingColumns_.storedAt(column), column);
  waitingColumns_.add(sorted);
  if (waitingColumns_.count() > mostWaiting(model.columns())) settleIfPossible();
}

void Problem::settleIfPossible() noexcept {
  try {
    settle();
  } catch (const std::bad_alloc&) {  // they wait on
  }
}

void Problem::settle() {
  if (!waitingRows_.empty()) {
    model.deleteRows(waitingRows_.count(), waitingRows_.stored().data());
    rowsDeleted(waitingRows_.stored());
    waitingRows_.clear();
  }
  if (!waitingColumns_.empty()) {
    model.deleteColumns(waitingColumns_.count(), waitingColumns_.stored().data());
    columnsDeleted(waitingColumns_.stored());
    waitingColumns_.clear();
  }
}

int Problem::findRow(std::string_view name) {
  bool gone = false;
  const int line = found(std::as_const(model).rowNames(), name, waitingRows_, gone);
  if (!gone) return line;
  settle();  // another row may have the name, too
  return std::as_const(model).rowNames().find(name);
}

int Problem::findColumn(std::string_view name) {
  bool gone = false;
  const int line = found(std::as_const(model).columnNames(), name, waitingColumns_, gone);
  if (!gone) return line;
  settle();
  return std::as_const(model).columnNames().find(name);
}

void Problem::rowsAdded(int n) noexcept {
  orForget(solution, [&] {
    if (!solution.basis.empty()) solution.basis.row.resize(solution.basis.row.size() + n, 1);
  });
}

void Problem::columnsAdded(int n) noexcept {
  orForget(solution, [&] {
    if (solution.basis.empty()) return;
    for (int column = model.columns() - n; column < model.columns(); ++column) {
      solution.basis.column.push_back(statusNearestZero(model.lower()[column], model.upper()[column]));
    }
  });
}

void Problem::rowsDeleted(const std::vector<int>& sorted) noexcept {
  orForget(solution, [&] {
    for (PointValues* const point : {&solution.lp, &solution.mip, &solution.nonlinear.point}) {
      erasePositions(point->slack, sorted);
      erasePositions(point->dual, sorted);
    }
    erasePositions(solution.basis.row, sorted);
  });
}

void Problem::columnsDeleted(const std::vector<int>& sorted) noexcept {
  orForget(solution, [&] {
    for (PointValues* const point : {&solution.lp, &solution.mip, &solution.nonlinear.point}) {
      erasePositions(point->x, sorted);
      erasePositions(point->redcost, sorted);
    }
    erasePositions(solution.basis.column, sorted);
  });
}

void Problem::replaced() noexcept {
  waitingRows_.clear();
  waitingColumns_.clear();
  solution = Solution();
  session.reset();
  sessionEngine.clear();
}

}  // namespace tvlo
