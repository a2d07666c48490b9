#include "core/problem.h"

#include "engines/engine.h"

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

Problem::Problem() = default;
Problem::~Problem() = default;

void Problem::say(std::string_view text, MessageType type) const {
  if (controls.getInt(control::outputlog) == 0) return;
  auto* const self = const_cast<Problem*>(this);  // handlers get the handle, which they may use
  messages.send(self, text, type);
  environmentMessages().send(self, text, type);
}

bool Problem::isHeard() const {
  return controls.getInt(control::outputlog) != 0 && !(messages.empty() && environmentMessages().empty());
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
  solution = Solution();
  session.reset();
  sessionEngine.clear();
}

}  // namespace tvlo
