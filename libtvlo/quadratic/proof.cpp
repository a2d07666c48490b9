#include "quadratic/proof.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

#include "core/check.h"
#include "quadratic/convexity.h"

namespace tvlo {

namespace {

struct Rows {
  std::string type;
  std::vector<double> rhs, lower;
  std::vector<int64_t> start;
  std::vector<int> index;
  std::vector<double> value;

  void begin(char of, double right, double least) {
    type += of;
    rhs.push_back(right);
    lower.push_back(least);
    start.push_back(static_cast<int64_t>(index.size()));
  }
  void add(int column, double coef) {
    index.push_back(column);
    value.push_back(coef);
  }
  void addRow(const SparseMatrix& matrix, int row) {
    for (int64_t k = matrix.start[row]; k < matrix.start[row + 1]; ++k) add(matrix.index[k], matrix.value[k]);
  }
  void moveTo(Model& model) const {
    model.addRows({static_cast<int>(type.size()), static_cast<int64_t>(index.size()), type.data(), rhs.data(), nullptr,
                   start.data(), index.data(), value.data(), lower.data()});
  }
};

// Qd = 0, one row for each column of the form, scaled to a largest coefficient of 1.
void addKernel(Rows& rows, const QuadraticForm& form) {
  std::map<int, std::vector<std::pair<int, double>>> lines;
  for (const QuadraticEntry& e : form.entries()) {
    lines[e.first].emplace_back(e.second, e.value);
    if (e.first != e.second) lines[e.second].emplace_back(e.first, e.value);
  }
  for (const auto& [column, line] : lines) {
    double largest = 0;
    for (const auto& [other, coef] : line) largest = std::max(largest, std::abs(coef));
    rows.begin('E', 0, 0);
    for (const auto& [other, coef] : line) rows.add(other, coef / largest);
  }
}

}  // namespace

Model linearRows(const Model& model) {
  Model linear;
  const int n = model.columns();
  std::vector<double> lower, upper;
  for (int j = 0; j < n; ++j) {
    const Bounds bounds = relaxedBounds(model, j);
    lower.push_back(bounds.lower);
    upper.push_back(bounds.upper);
  }
  ColumnBatch columns;
  columns.count = n;
  columns.lb = lower.data();
  columns.ub = upper.data();
  linear.addColumns(columns);
  Rows rows;
  for (int i = 0; i < model.rows(); ++i) {
    if (model.rowTypes()[i] == 'N' || model.rowQuadratic(i) != nullptr) continue;
    rows.begin(model.rowTypes()[i], model.rhs()[i], model.rowLower(i));
    rows.addRow(model.byRows(), i);
  }
  rows.moveTo(linear);
  return linear;
}

Model recessionDirections(const Model& model) {
  Model cone;
  const int n = model.columns();
  std::vector<double> lower, upper;
  for (int j = 0; j < n; ++j) {
    const Bounds bounds = relaxedBounds(model, j);
    lower.push_back(bounds.lower > -TVLO_INFINITY ? 0 : -1);
    upper.push_back(bounds.upper < TVLO_INFINITY ? 0 : 1);
  }
  ColumnBatch columns;
  columns.count = n;
  columns.obj = model.objective().data();
  columns.lb = lower.data();
  columns.ub = upper.data();
  cone.addColumns(columns);
  cone.setSense(model.sense());
  Rows rows;
  for (int i = 0; i < model.rows(); ++i) {
    const Bounds bounds = model.rowBounds(i);
    const bool below = bounds.lower > -TVLO_INFINITY;
    const bool above = bounds.upper < TVLO_INFINITY;
    if (!below && !above) continue;
    rows.begin(below && above ? 'E' : below ? 'G' : 'L', 0, 0);
    rows.addRow(model.byRows(), i);
  }
  addKernel(rows, model.quadraticObjective());
  for (const RowQuadratic& row : model.quadraticRows()) {
    if (model.rowTypes()[row.row] != 'N') addKernel(rows, row.form);
  }
  rows.moveTo(cone);
  return cone;
}

Model leastViolation(const Model& model) {
  Model least = model;
  const auto& entries = model.quadraticObjective().entries();
  std::vector<int> first, second;
  for (const QuadraticEntry& e : entries) {
    first.push_back(e.first);
    second.push_back(e.second);
  }
  least.setQuadraticObjective(static_cast<int64_t>(first.size()), first.data(), second.data(),
                              std::vector<double>(first.size(), 0).data());
  const int n = model.columns();
  std::vector<int> columns(n + 1);
  std::iota(columns.begin(), columns.end(), 0);
  const double lower = -1, upper = TVLO_INFINITY;
  ColumnBatch column;
  column.count = 1;
  column.lb = &lower;
  column.ub = &upper;
  least.addColumns(column);
  std::vector<double> cost(n + 1, 0);
  cost[n] = 1;
  least.setObjective(n + 1, columns.data(), cost.data());
  least.setSense(1);
  std::vector<int> rows, last;
  std::vector<double> by;
  for (int i = 0; i < model.rows(); ++i) {
    const char type = model.rowTypes()[i];
    const QuadraticForm* const form = model.rowQuadratic(i);
    const bool convex = form == nullptr || curvatureOf(*form) == (type == 'L' ? Curvature::convex : Curvature::concave);
    if ((type != 'L' && type != 'G') || !convex) continue;
    const double size = std::max(1.0, std::abs(model.rhs()[i]));
    rows.push_back(i);
    last.push_back(n);
    by.push_back(type == 'L' ? -size : size);
  }
  least.setCoefficients(static_cast<int64_t>(rows.size()), rows.data(), last.data(), by.data());
  return least;
}

}  // namespace tvlo
