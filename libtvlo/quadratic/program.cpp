#include "quadratic/program.h"

#include <algorithm>
#include <cmath>

#include "core/check.h"

namespace tvlo {

QuadraticProgram::QuadraticProgram(const Model& model) : model_(model) {
  sense = model.sense();
  columnLower.reserve(model.columns());
  columnUpper.reserve(model.columns());
  for (int j = 0; j < model.columns(); ++j) {
    const auto [lower, upper] = relaxedBounds(model, j);
    // Bounds that cross within the tolerance meet half-way.
    const double middle = lower / 2 + upper / 2;
    columnLower.push_back(lower > upper ? middle : lower);
    columnUpper.push_back(lower > upper ? middle : upper);
  }
  linearRows = true;
  for (int i = 0; i < model.rows(); ++i) addRow(i);
  quadratic = linearRows;
  placeHessian();
}

void QuadraticProgram::addRow(int row) {
  const Bounds bounds = model_.rowBounds(row);
  const SparseMatrix& matrix = model_.byRows();
  const QuadraticForm* const form = model_.rowQuadratic(row);
  const int64_t begin = matrix.start[row];
  const int64_t end = matrix.start[row + 1];
  const bool free = bounds.lower <= -TVLO_INFINITY && bounds.upper >= TVLO_INFINITY;
  if (free || (begin == end && form == nullptr)) return;
  rowLower.push_back(bounds.lower);
  rowUpper.push_back(bounds.upper);
  const auto number = static_cast<int>(rows_.size());
  Row entry{row, form, jacobian_.size(), static_cast<size_t>(end - begin), {}, {}};
  std::vector<std::pair<int, size_t>> known;  // column and place
  const auto append = [&](int column, double value) {
    jacobian.row.push_back(number);
    jacobian.column.push_back(column);
    jacobian_.push_back(value);
  };
  for (int64_t k = begin; k < end; ++k) {
    if (form != nullptr) known.emplace_back(matrix.index[k], jacobian_.size());
    append(matrix.index[k], matrix.value[k]);
  }
  if (form != nullptr) {
    linearRows = false;
    for (const QuadraticEntry& e : form->entries()) {
      known.emplace_back(e.first, SIZE_MAX);
      known.emplace_back(e.second, SIZE_MAX);
    }
    std::sort(known.begin(), known.end());
    known.erase(
        std::unique(known.begin(), known.end(), [](const auto& a, const auto& b) { return a.first == b.first; }),
        known.end());
    for (auto& [column, at] : known) {
      if (at != SIZE_MAX) continue;
      at = jacobian_.size();
      append(column, 0);
    }
    const auto find = [&](int column) {
      return std::lower_bound(known.begin(), known.end(), std::pair(column, size_t{0}))->second;
    };
    for (const QuadraticEntry& e : form->entries()) entry.place.emplace_back(find(e.first), find(e.second));
  }
  rows_.push_back(std::move(entry));
}

// One pattern for all forms: the union of their entries.
void QuadraticProgram::placeHessian() {
  const auto key = [](const QuadraticEntry& e) { return std::pair(e.first, e.second); };
  std::vector<std::pair<int, int>> pairs;
  for (const QuadraticEntry& e : model_.quadraticObjective().entries()) pairs.push_back(key(e));
  for (const Row& row : rows_) {
    if (row.form == nullptr) continue;
    for (const QuadraticEntry& e : row.form->entries()) pairs.push_back(key(e));
  }
  std::sort(pairs.begin(), pairs.end());
  pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
  for (const auto& [first, second] : pairs) {
    hessian.row.push_back(second);
    hessian.column.push_back(first);
  }
  const auto places = [&](const QuadraticForm& form) {
    std::vector<size_t> found;
    found.reserve(form.entries().size());
    for (const QuadraticEntry& e : form.entries()) {
      found.push_back(static_cast<size_t>(std::lower_bound(pairs.begin(), pairs.end(), key(e)) - pairs.begin()));
    }
    return found;
  };
  objectiveHessian_ = places(model_.quadraticObjective());
  for (Row& row : rows_) {
    if (row.form != nullptr) row.hessian = places(*row.form);
  }
}

bool QuadraticProgram::emptyRowsHold(double tolerance) const {
  for (int i = 0; i < model_.rows(); ++i) {
    if (model_.byRows().start[i] != model_.byRows().start[i + 1] || model_.rowQuadratic(i) != nullptr) continue;
    const Bounds bounds = model_.rowBounds(i);
    if (bounds.lower > tolerance || bounds.upper < -tolerance) return false;
  }
  return true;
}

std::vector<double> QuadraticProgram::toProgram(const std::vector<double>& ofRows) const {
  std::vector<double> values;
  if (ofRows.empty()) return values;
  values.reserve(rows_.size());
  for (const Row& row : rows_) values.push_back(ofRows[row.row]);
  return values;
}

std::vector<double> QuadraticProgram::toModel(const std::vector<double>& ofRows) const {
  std::vector<double> values(model_.rows(), 0);
  for (size_t i = 0; i < rows_.size() && i < ofRows.size(); ++i) values[rows_[i].row] = ofRows[i];
  return values;
}

bool QuadraticProgram::objective(const double* x, bool, double& value) {
  value = model_.constant();
  for (int j = 0; j < columns(); ++j) value += model_.objective()[j] * x[j];
  forEachTerm(model_.quadraticObjective(), true, [&](int i, int j, double c) { value += c * x[i] * x[j]; });
  return std::isfinite(value);
}

bool QuadraticProgram::gradient(const double* x, bool, double* values) {
  std::copy(model_.objective().begin(), model_.objective().end(), values);
  forEachTerm(model_.quadraticObjective(), true, [&](int i, int j, double c) {
    values[i] += c * x[j];
    values[j] += c * x[i];
  });
  return true;
}

bool QuadraticProgram::constraints(const double* x, bool, double* values) {
  for (size_t i = 0; i < rows_.size(); ++i) {
    const Row& row = rows_[i];
    double sum = 0;
    for (size_t k = row.begin; k < row.begin + row.linear; ++k) sum += jacobian_[k] * x[jacobian.column[k]];
    if (row.form != nullptr) forEachTerm(*row.form, false, [&](int a, int b, double c) { sum += c * x[a] * x[b]; });
    if (!std::isfinite(sum)) return false;
    values[i] = sum;
  }
  return true;
}

bool QuadraticProgram::jacobianValues(const double* x, bool, double* values) {
  std::copy(jacobian_.begin(), jacobian_.end(), values);
  for (const Row& row : rows_) {
    if (row.form == nullptr) continue;
    size_t k = 0;
    forEachTerm(*row.form, false, [&](int a, int b, double c) {
      const auto& [first, second] = row.place[k++];
      values[first] += c * x[b];
      values[second] += c * x[a];
    });
  }
  return true;
}

// The second derivative of c*x*y is c, that of c*x*x is 2c.
bool QuadraticProgram::hessianValues(const double*, bool, double objectiveFactor, const double* multipliers,
                                     double* values) {
  std::fill_n(values, hessian.size(), 0.0);
  const auto add = [&](const QuadraticForm& form, bool objective, const std::vector<size_t>& places, double factor) {
    size_t k = 0;
    forEachTerm(form, objective, [&](int a, int b, double c) { values[places[k++]] += factor * c * (a == b ? 2 : 1); });
  };
  if (objectiveFactor != 0) add(model_.quadraticObjective(), true, objectiveHessian_, objectiveFactor);
  for (size_t i = 0; i < rows_.size(); ++i) {
    if (rows_[i].form != nullptr) add(*rows_[i].form, false, rows_[i].hessian, multipliers[i]);
  }
  return true;
}

}  // namespace tvlo
