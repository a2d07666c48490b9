#include "engines/slp/linearisation.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace tvlo {

namespace {

// Calls change(count, lines, values) with the lines whose value is another one than the model's.
template <class F>
void changeWhatDiffers(const std::vector<double>& held, const std::vector<double>& wanted, F&& change) {
  std::vector<int> lines;
  std::vector<double> values;
  for (size_t i = 0; i < wanted.size(); ++i) {
    if (held[i] == wanted[i]) continue;
    lines.push_back(static_cast<int>(i));
    values.push_back(wanted[i]);
  }
  if (!lines.empty()) change(static_cast<int>(lines.size()), lines.data(), values.data());
}

bool hasLower(const NlpProgram& program, int row) { return program.rowLower[row] > -TVLO_INFINITY; }
bool hasUpper(const NlpProgram& program, int row) { return program.rowUpper[row] < TVLO_INFINITY; }

}  // namespace

Linearisation::Linearisation(LpOpener open) : open_(std::move(open)), controls_(optimizerControls()) {
  constexpr double kTolerance = 1e-9;  // steps become small near the solution
  controls_.setDouble(control::feastol, kTolerance);
  controls_.setDouble(control::optimalitytol, kTolerance);
}

void Linearisation::begin(const NlpProgram& program, const std::vector<double>& jacobian) {
  program_ = &program;
  solution_ = Solution();
  jacobian_ = jacobian;
  model_.clear();
  const int columns = program.columns(), rows = program.rows();
  const auto entries = static_cast<int>(jacobian.size());

  std::vector<std::vector<int>> entriesOf(rows);
  for (int k = 0; k < entries; ++k) entriesOf[program.jacobian.row[k]].push_back(k);
  std::vector<int64_t> start;
  std::vector<int> column;
  std::vector<double> coef;
  int next = columns;
  const auto add = [&](int j, double value) {
    column.push_back(j);
    coef.push_back(value);
  };
  for (int i = 0; i < rows; ++i) {
    start.push_back(static_cast<int64_t>(coef.size()));
    for (const int k : entriesOf[i]) {
      if (jacobian[k] != 0) add(program.jacobian.column[k], jacobian[k]);
    }
    if (hasLower(program, i)) add(next++, 1);
    if (hasUpper(program, i)) add(next++, -1);
  }
  ColumnBatch variables;
  variables.count = next;
  model_.addColumns(variables);
  RowBatch batch;
  batch.count = rows;
  batch.ncoefs = static_cast<int64_t>(coef.size());
  const std::string types(rows, 'N');  // until setRows
  batch.type = types.data();
  batch.start = start.data();
  batch.col = column.data();
  batch.coef = coef.data();
  model_.addRows(batch);
}

void Linearisation::setJacobian(const std::vector<double>& values) {
  const SparsePattern& pattern = program_->jacobian;
  std::vector<int> rows, columns;
  std::vector<double> coefs;
  for (size_t k = 0; k < values.size(); ++k) {
    if (values[k] == jacobian_[k]) continue;
    rows.push_back(pattern.row[k]);
    columns.push_back(pattern.column[k]);
    coefs.push_back(values[k]);
  }
  model_.setCoefficients(static_cast<int64_t>(coefs.size()), rows.data(), columns.data(), coefs.data());
  jacobian_ = values;
}

void Linearisation::setRows(const std::vector<double>& activity, double radius) {
  constexpr double kFar = 1e15;  // out of reach
  const int rows = program_->rows();
  std::vector<double> lower(rows, -TVLO_INFINITY), upper(rows, TVLO_INFINITY);
  for (int i = 0; i < rows; ++i) {
    const auto side = [&](double end) { return std::clamp((end - activity[i]) / radius, -kFar, kFar); };
    if (hasLower(*program_, i)) lower[i] = side(program_->rowLower[i]);
    if (hasUpper(*program_, i)) upper[i] = std::max(side(program_->rowUpper[i]), lower[i]);
  }
  std::vector<int> all(rows);
  std::iota(all.begin(), all.end(), 0);
  model_.setRowBounds(rows, all.data(), lower.data(), upper.data());
}

void Linearisation::setCosts(const std::vector<double>& costs, double penalty) {
  std::vector<double> all = costs;
  all.resize(model_.columns(), penalty);
  changeWhatDiffers(model_.objective(), all,
                    [&](int n, const int* columns, const double* values) { model_.setObjective(n, columns, values); });
}

void Linearisation::setBox(const std::vector<double>& lower, const std::vector<double>& upper) {
  const auto set = [&](char which) {
    return [this, which](int n, const int* columns, const double* values) {
      model_.setBounds(n, columns, std::string(n, which).c_str(), values);
    };
  };
  changeWhatDiffers(model_.lower(), lower, set('L'));
  changeWhatDiffers(model_.upper(), upper, set('U'));
}

LpStatus Linearisation::solve(const SolveContext& context) {
  if (!engine_) engine_ = open_();
  for (const bool cold : {false, true}) {
    SolveRequest request;
    request.cold = cold;
    request.controls = &controls_;
    const Basis start = std::move(solution_.basis);
    request.start = cold || start.empty() ? nullptr : &start;
    solution_ = Solution();
    try {
      solution_ = context.ask(*engine_, model_, request);
    } catch (...) {
      engine_.reset();
      throw;
    }
    if (solution_.lpStatus == LpStatus::optimal || solution_.stop != Stop::none) break;
  }
  if (solution_.lpStatus != LpStatus::optimal) return solution_.lpStatus;
  step_.assign(solution_.lp.x.begin(), solution_.lp.x.begin() + program_->columns());
  for (int j = 0; j < program_->columns(); ++j) step_[j] = std::clamp(step_[j], model_.lower()[j], model_.upper()[j]);
  return LpStatus::optimal;
}

}  // namespace tvlo
