#include "nonlinear/answer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "nonlinear/evaluate.h"

namespace tvlo {

namespace {

constexpr double kWhole = std::numeric_limits<double>::infinity();
constexpr double kClearly = 1e-2;

void raise(double& worst, double by) { worst = std::isnan(by) ? kWhole : std::max(worst, by); }

void raiseOutside(AnswerCheck& check, double value, double lower, double upper, double scale) {
  double by = 0;
  double bound = 0;
  if (lower > -TVLO_INFINITY && !(value >= lower)) {
    by = lower - value;
    bound = lower;
  }
  if (upper < TVLO_INFINITY && !(value <= upper)) {
    by = value - upper;
    bound = upper;
  }
  if (std::isnan(value)) by = value;
  raise(check.primalAbsolute, by);
  raise(check.primal, by / std::max({1.0, std::abs(bound), scale}));
}

// A multiplier, as in minimisation, of something that should be at the bound that its sign asks for.
void checkPair(AnswerCheck& check, double multiplier, double value, double lower, double upper, double scale,
               double objective) {
  if (lower == upper) return raise(check.dual, std::isnan(multiplier) ? kWhole : 0);
  const double bound = multiplier > 0 ? lower : upper;
  if (std::abs(bound) >= TVLO_INFINITY) return raise(check.dual, std::abs(multiplier) / scale);
  const double distance = std::max(0.0, multiplier > 0 ? value - bound : bound - value);
  raise(check.complementarity, std::abs(multiplier) * distance / std::max(1.0, std::abs(objective)));
  // However large the objective is, what is clearly off its bound does not hold the point.
  if (distance > kClearly * std::max(1.0, std::abs(bound))) raise(check.dual, std::abs(multiplier) / scale);
}

}  // namespace

PointValues modelPoint(const Model& model, const ModelProgram& program, const NlpPoint& point) {
  PointValues whole;
  whole.available = true;
  whole.x.assign(model.columns(), 0);
  const auto columns = static_cast<int>(program.modelColumns().size());
  const auto modelRows = static_cast<int>(program.modelRows().size());
  for (int j = 0; j < columns; ++j) whole.x[program.modelColumns()[j]] = point.x[j];
  NonlinearActivities rows(model, whole.x);
  whole.slack.resize(model.rows());
  if (const int column = program.transferColumn(); column >= 0) {
    const int row = program.transferRow();
    whole.x[column] = (model.rhs()[row] - rows.value[row]) / model.coefficient(row, column);
    rows.value[row] = model.rhs()[row];
  }
  for (int i = 0; i < model.rows(); ++i) whole.slack[i] = model.rhs()[i] - rows.value[i];
  whole.objective = nonlinearObjective(model, whole.x);
  if (point.dual.size() != static_cast<size_t>(program.rows()) ||
      point.redcost.size() != static_cast<size_t>(program.columns())) {
    return whole;
  }
  whole.dual.assign(model.rows(), 0);
  whole.redcost.assign(model.columns(), 0);
  for (int i = 0; i < modelRows; ++i) whole.dual[program.modelRows()[i]] = point.dual[i];
  for (int j = 0; j < columns; ++j) whole.redcost[program.modelColumns()[j]] = point.redcost[j];
  if (program.transferRow() >= 0) whole.dual[program.transferRow()] = program.transferDual();
  return whole;
}

NlpPoint programPoint(ModelProgram& program, const PointValues& whole) {
  NlpPoint point;
  for (const int j : program.modelColumns()) point.x.push_back(whole.x[j]);
  const bool complete = program.columns() == static_cast<int>(point.x.size());
  if (!complete) {
    point.x.resize(program.columns());
    program.complete(point.x);
  }
  if (!complete || (whole.dual.empty() && whole.redcost.empty())) return point;
  for (const int i : program.modelRows()) point.dual.push_back(whole.dual[i]);
  for (const int j : program.modelColumns()) point.redcost.push_back(whole.redcost[j]);
  return point;
}

Violation nonlinearViolation(const Model& model, const std::vector<double>& x) {
  NonlinearActivities whole(model, x);
  Activities rows(model, x);
  rows.value = std::move(whole.value);
  rows.largest = std::move(whole.largest);
  return primalViolation(model, x, rows, true);
}

AnswerCheck checkAnswer(const Model& model, ModelProgram& program, const PointValues& whole, NlpPoint point) {
  AnswerCheck check;
  for (size_t j = 0; j < program.modelColumns().size(); ++j) {
    raiseOutside(check, point.x[j], program.columnLower[j], program.columnUpper[j], 1);
  }
  const NonlinearActivities rows(model, whole.x);
  for (size_t i = 0; i < program.modelRows().size(); ++i) {
    const int row = program.modelRows()[i];
    raiseOutside(check, rows.value[row], program.rowLower[i], program.rowUpper[i], rows.largest[row]);
  }
  if (std::isnan(whole.objective)) check.primal = kWhole;
  const int n = program.columns();
  if (point.dual.size() != static_cast<size_t>(program.rows()) || point.redcost.size() != static_cast<size_t>(n)) {
    check.dual = kWhole;
    return check;
  }
  // With the kinks' own values in their columns, which makes the program's conditions those of the model itself.
  const int modelRows = static_cast<int>(program.modelRows().size());
  std::vector<double> gradient(n);
  std::vector<double> jacobian(program.jacobian.size());
  std::vector<double> activity(program.rows());
  if (!program.complete(point.x) ||
      (program.rows() > modelRows && !program.constraints(point.x.data(), true, activity.data())) ||
      !program.gradient(point.x.data(), true, gradient.data()) ||
      !program.jacobianValues(point.x.data(), false, jacobian.data())) {
    check.dual = kWhole;
    return check;
  }
  std::vector<double> residual = gradient;
  std::vector<double> largest(n);
  for (int j = 0; j < n; ++j) largest[j] = std::max(1.0, std::abs(gradient[j]));
  const double most = n == 0 ? 1 : *std::max_element(largest.begin(), largest.end());
  for (size_t k = 0; k < jacobian.size(); ++k) {
    const int j = program.jacobian.column[k];
    const double part = point.dual[program.jacobian.row[k]] * jacobian[k];
    residual[j] -= part;
    largest[j] = std::max(largest[j], std::abs(part));
  }
  const double sign = program.sense;
  for (int j = 0; j < n; ++j) {
    const double off = std::abs(residual[j] - point.redcost[j]);
    raise(check.dual, off / largest[j]);
    raise(check.farther, off * std::abs(point.x[j]) / std::max(1.0, std::abs(whole.objective)));
    checkPair(check, sign * point.redcost[j], point.x[j], program.columnLower[j], program.columnUpper[j], largest[j],
              whole.objective);
  }
  for (int i = 0; i < program.rows(); ++i) {
    const double value = i < modelRows ? rows.value[program.modelRows()[i]] : activity[i];
    checkPair(check, sign * point.dual[i], value, program.rowLower[i], program.rowUpper[i], most, whole.objective);
  }
  return check;
}

}  // namespace tvlo
