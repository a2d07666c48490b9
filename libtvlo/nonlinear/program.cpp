#include "nonlinear/program.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "core/error.h"

namespace tvlo {

ModelProgram::ModelProgram(const Model& model, Kinks kinks, Checkpoint checkpoint)
    : checkpoint_(std::move(checkpoint)),
      objectiveElements_(tables_, sites_, shared_, columnOf_, checkpoint_),
      rowElements_(tables_, sites_, shared_, columnOf_, checkpoint_),
      kinkElements_(tables_, sites_, shared_, columnOf_, checkpoint_),
      kinks_(kinks) {
  shared_.functions = model.formulas().functions;
  sense = model.sense();
  findTransfer(model);
  number(model);
  takeBounds(model);
  readObjective(model);
  readRows(model);
  readFormulas(model);
  for (Elements* const elements : {&objectiveElements_, &rowElements_, &kinkElements_}) {
    elements->prepare();
    elements->setBounds(columnLower, columnUpper);
  }
  buildJacobian();
  buildHessian();
  checkpoint_ = nullptr;
  linearRows = rowElements_.empty() && rowQuadratics_.empty();
  quadratic = linearRows && objectiveElements_.empty();
}

void ModelProgram::findTransfer(const Model& model) {
  for (const auto& [row, status] : model.formulas().rowStatus) {
    if ((status & kTransferRow) == 0) continue;
    for (const auto& [column, variable] : model.formulas().variables) {
      if (variable.determiningRow != row || !transferable(model, row, column)) continue;
      transfer_ = {column, row, model.coefficient(row, column), model.objective()[column], model.rhs()[row]};
      return;
    }
  }
}

bool ModelProgram::transferable(const Model& model, int row, int column) const {
  if (model.rowTypes()[row] != 'E' || model.columnTypes()[column] != 'C') return false;
  if (model.lower()[column] > -TVLO_INFINITY || model.upper()[column] < TVLO_INFINITY) return false;
  if (model.coefficient(row, column) == 0) return false;
  const SparseMatrix& matrix = model.byColumns();
  if (matrix.start[column + 1] - matrix.start[column] != 1) return false;
  const auto in = [&](const QuadraticForm& form) {
    return std::any_of(form.entries().begin(), form.entries().end(),
                       [&](const QuadraticEntry& e) { return e.first == column || e.second == column; });
  };
  if (in(model.quadraticObjective())) return false;
  for (const RowQuadratic& q : model.quadraticRows()) {
    if (in(q.form)) return false;
  }
  return !model.formulas().uses(column);
}

void ModelProgram::number(const Model& model) {
  columnOf_.assign(model.columns(), -1);
  for (int j = 0; j < model.columns(); ++j) {
    if (j == transfer_.column) continue;
    columnOf_[j] = static_cast<int>(modelColumns_.size());
    modelColumns_.push_back(j);
  }
  rowOf_.assign(model.rows(), -1);
  for (int i = 0; i < model.rows(); ++i) {
    if (i == transfer_.row || model.rowTypes()[i] == 'N') continue;
    rowOf_[i] = static_cast<int>(modelRows_.size());
    modelRows_.push_back(i);
  }
}

void ModelProgram::takeBounds(const Model& model) {
  for (const int j : modelColumns_) {
    double lower = model.lower()[j], upper = model.upper()[j];
    // Bounds that cross by rounding, such as 0.1 + 0.2 and 0.3, meet half-way.
    if (lower > upper && lower - upper <= 1e-9 * std::max(1.0, std::abs(lower))) {
      lower = upper = lower / 2 + upper / 2;
    }
    columnLower.push_back(lower);
    columnUpper.push_back(upper);
  }
  for (const int i : modelRows_) {
    const Bounds bounds = model.rowBounds(i);
    rowLower.push_back(bounds.lower);
    rowUpper.push_back(bounds.upper);
  }
}

void ModelProgram::addLinear(int target, int column, double value) {
  if (target == kObjective) {
    cost_[columnOf_[column]] += value;
  } else {
    linear_.push_back({target, columnOf_[column], value});
  }
}

void ModelProgram::readObjective(const Model& model) {
  constant_ = model.constant();
  cost_.assign(columns(), 0);
  for (int j = 0; j < model.columns(); ++j) {
    if (j != transfer_.column) cost_[columnOf_[j]] = model.objective()[j];
  }
  readQuadratic(model.quadraticObjective(), 1, 0.5, 1, kObjective);
  if (transfer_.any()) constant_ += transferDual() * transfer_.rhs;
}

void ModelProgram::readRows(const Model& model) {
  rowConstant_.assign(rows(), 0);
  const SparseMatrix& matrix = model.byRows();
  for (int i = 0; i < model.rows(); ++i) {
    const bool transfer = i == transfer_.row;
    if (!transfer && rowOf_[i] < 0) continue;
    for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) {
      if (matrix.index[k] == transfer_.column) continue;
      addLinear(transfer ? kObjective : rowOf_[i], matrix.index[k],
                transfer ? -transferDual() * matrix.value[k] : matrix.value[k]);
    }
  }
  for (const RowQuadratic& q : model.quadraticRows()) {
    const bool transfer = q.row == transfer_.row;
    if (!transfer && rowOf_[q.row] < 0) continue;
    readQuadratic(q.form, transfer ? -transferDual() : 1, 1, 2, transfer ? kObjective : rowOf_[q.row]);
  }
}

void ModelProgram::readQuadratic(const QuadraticForm& form, double scale, double diagonal, double mixed, int target) {
  auto& terms = target == kObjective ? objectiveQuadratics_ : rowQuadratics_;
  for (const QuadraticEntry& e : form.entries()) {
    const double value = scale * e.value * (e.first == e.second ? diagonal : mixed);
    if (value != 0) terms.push_back({std::max(target, 0), columnOf_[e.first], columnOf_[e.second], value});
  }
}

void ModelProgram::readFormulas(const Model& model) {
  int64_t read = 0;
  for (const Formulas::Coefficient& coef : model.formulas().coefficients()) {
    constexpr int kBetweenCheckpoints = 256;
    if (checkpoint_ && ++read % kBetweenCheckpoints == 0) checkpoint_();
    if (Formulas::isLive(coef)) readFormula(model, coef);
  }
}

void ModelProgram::readFormula(const Model& model, const Formulas::Coefficient& coef) {
  const bool transfer = coef.row == transfer_.row;
  if (!transfer && rowOf_[coef.row] < 0) return;
  const int target = transfer ? kObjective : rowOf_[coef.row];
  const double factor = transfer ? -transferDual() * coef.factor : coef.factor;
  expression_.read(model.formulas().tokens(coef));
  if (coef.column != kConstantColumn) expression_.multiplyByColumn(coef.column);
  const int place = kinks_ == Kinks::kept ? 0 : kinkPlace(target, factor);
  const int root =
      finder_.lift(expression_, place, kinks_ == Kinks::exact, static_cast<int>(columnOf_.size()), epigraphs_);
  for (const Epigraph& epigraph : epigraphs_) addEpigraph(epigraph);
  addParts(root, factor, target);
}

// Whether a target asks factor * something to be small there: 1; large: -1; neither alone: 0.
int ModelProgram::kinkPlace(int target, double factor) const {
  const int sign = (factor > 0) - (factor < 0);
  if (target == kObjective) return sense * sign;
  const bool fromBelow = rowLower[target] > -TVLO_INFINITY;
  const bool fromAbove = rowUpper[target] < TVLO_INFINITY;
  return (static_cast<int>(fromAbove) - static_cast<int>(fromBelow)) * sign;
}

void ModelProgram::addParts(int node, double factor, int target) {
  const bool objective = target == kObjective;
  const int row = std::max(target, 0);
  parts_.clear();
  expression_.split(node, factor, parts_);
  (objective ? constant_ : rowConstant_[row]) += parts_.constant;
  for (const auto& [column, value] : parts_.linear) addLinear(target, column, value);
  auto& quadratics = objective ? objectiveQuadratics_ : rowQuadratics_;
  for (const auto& [c1, c2, value] : parts_.quadratic) {
    quadratics.push_back({row, columnOf_[c1], columnOf_[c2], value});
  }
  for (const auto& [element, weight] : parts_.elements) {
    (objective ? objectiveElements_ : rowElements_).add(expression_, element, weight, row);
  }
}

// A column t with a bound from the constant pieces and a row t - piece for each other one.
void ModelProgram::addEpigraph(const Epigraph& epigraph) {
  const bool atLeast = epigraph.side > 0;
  kinkElements_.add(expression_, epigraph.node, 1, columns());
  columnOf_.push_back(columns());
  cost_.push_back(0);
  columnLower.push_back(-TVLO_INFINITY);
  columnUpper.push_back(TVLO_INFINITY);
  if (epigraph.exact) {
    exactKinks_.push_back({columns() - 1, epigraph.side, rows(), static_cast<int>(epigraph.pieces.size())});
  }
  for (const EpigraphPiece& piece : epigraph.pieces) {
    if (piece.node < 0 && !epigraph.exact) {
      if (atLeast) columnLower.back() = std::max(columnLower.back(), piece.offset);
      if (!atLeast) columnUpper.back() = std::min(columnUpper.back(), piece.offset);
      continue;
    }
    const int row = rows();
    rowLower.push_back(atLeast ? 0 : -TVLO_INFINITY);
    rowUpper.push_back(atLeast ? TVLO_INFINITY : 0);
    rowConstant_.push_back(-piece.offset);
    addLinear(row, epigraph.column, 1);
    if (piece.node >= 0) addParts(piece.node, -piece.scale, row);
  }
}

void ModelProgram::choosePiece(const ExactKink& kink, int piece) {
  for (int k = 0; k < kink.pieces; ++k) {
    rowLower[kink.firstRow + k] = kink.side > 0 || k == piece ? 0 : -TVLO_INFINITY;
    rowUpper[kink.firstRow + k] = kink.side < 0 || k == piece ? 0 : TVLO_INFINITY;
  }
}

bool ModelProgram::complete(std::vector<double>& x) {
  if (kinkElements_.empty()) return true;
  std::vector<double> values(columns());
  if (!kinkElements_.addValues(x.data(), values.data())) return false;
  std::copy(values.begin() + static_cast<ptrdiff_t>(modelColumns_.size()), values.end(),
            x.begin() + static_cast<ptrdiff_t>(modelColumns_.size()));
  return true;
}

namespace {

constexpr uint64_t keyOf(int row, int column) {
  return static_cast<uint64_t>(static_cast<uint32_t>(row)) << 32 | static_cast<uint32_t>(column);
}

void sortUnique(std::vector<uint64_t>& keys) {
  std::sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
}

void fillPattern(const std::vector<uint64_t>& keys, SparsePattern& pattern) {
  if (keys.size() > INT_MAX) throw Error(TVLO_ERR_UNSUPPORTED, "The problem has too many derivatives");
  pattern.row.reserve(keys.size());
  pattern.column.reserve(keys.size());
  for (const uint64_t key : keys) {
    pattern.row.push_back(static_cast<int>(key >> 32));
    pattern.column.push_back(static_cast<int>(key & UINT32_MAX));
  }
}

int placeOf(const std::vector<uint64_t>& keys, uint64_t key) {
  return static_cast<int>(std::lower_bound(keys.begin(), keys.end(), key) - keys.begin());
}

}  // namespace

void ModelProgram::buildJacobian() {
  std::vector<uint64_t> keys;
  keys.reserve(linear_.size());
  for (const Term& term : linear_) keys.push_back(keyOf(term.row, term.column));
  for (const Quadratic& q : rowQuadratics_) {
    keys.push_back(keyOf(q.row, q.c1));
    keys.push_back(keyOf(q.row, q.c2));
  }
  rowElements_.placeGradients([&](int row, int column) {
    keys.push_back(keyOf(row, column));
    return -1;
  });
  sortUnique(keys);
  fillPattern(keys, jacobian);
  jacobianStart_.assign(rows() + 1, 0);
  for (const int row : jacobian.row) ++jacobianStart_[row + 1];
  for (int i = 0; i < rows(); ++i) jacobianStart_[i + 1] += jacobianStart_[i];
  jacobianBase_.assign(keys.size(), 0);
  for (const Term& term : linear_) jacobianBase_[jacobianPlace(term.row, term.column)] += term.value;
  for (Quadratic& q : rowQuadratics_) {
    q.first = jacobianPlace(q.row, q.c1);
    q.second = jacobianPlace(q.row, q.c2);
  }
  for (Quadratic& q : objectiveQuadratics_) {
    q.first = q.c1;
    q.second = q.c2;
  }
  rowElements_.placeGradients([&](int row, int column) { return jacobianPlace(row, column); });
  objectiveElements_.placeGradients([](int, int column) { return column; });
}

int ModelProgram::jacobianPlace(int row, int column) const {
  const auto begin = jacobian.column.begin();
  return static_cast<int>(std::lower_bound(begin + jacobianStart_[row], begin + jacobianStart_[row + 1], column) -
                          begin);
}

void ModelProgram::buildHessian() {
  std::vector<uint64_t> keys;
  for (const auto* const terms : {&objectiveQuadratics_, &rowQuadratics_}) {
    for (const Quadratic& q : *terms) keys.push_back(keyOf(std::max(q.c1, q.c2), std::min(q.c1, q.c2)));
  }
  const auto gather = [&](int high, int low) {
    keys.push_back(keyOf(high, low));
    return -1;
  };
  objectiveElements_.placeHessians(gather);
  rowElements_.placeHessians(gather);
  sortUnique(keys);
  fillPattern(keys, hessian);
  for (auto* const terms : {&objectiveQuadratics_, &rowQuadratics_}) {
    for (Quadratic& q : *terms) q.hessian = placeOf(keys, keyOf(std::max(q.c1, q.c2), std::min(q.c1, q.c2)));
  }
  const auto place = [&](int high, int low) { return placeOf(keys, keyOf(high, low)); };
  objectiveElements_.placeHessians(place);
  rowElements_.placeHessians(place);
}

bool ModelProgram::objective(const double* x, bool, double& value) {
  double sum[1] = {constant_};
  for (int j = 0; j < columns(); ++j) sum[0] += cost_[j] * x[j];
  for (const Quadratic& q : objectiveQuadratics_) sum[0] += q.value * x[q.c1] * x[q.c2];
  const bool sound = objectiveElements_.addValues(x, sum);
  value = sum[0];
  return sound && std::isfinite(value);
}

bool ModelProgram::gradient(const double* x, bool, double* values) {
  std::copy(cost_.begin(), cost_.end(), values);
  addQuadratics(objectiveQuadratics_, x, values);
  return objectiveElements_.addGradients(x, values);
}

bool ModelProgram::constraints(const double* x, bool, double* values) {
  std::copy(rowConstant_.begin(), rowConstant_.end(), values);
  for (const Term& term : linear_) values[term.row] += term.value * x[term.column];
  for (const Quadratic& q : rowQuadratics_) values[q.row] += q.value * x[q.c1] * x[q.c2];
  if (!rowElements_.addValues(x, values)) return false;
  double sum = 0;
  for (int i = 0; i < rows(); ++i) sum += values[i];
  if (std::isfinite(sum)) return true;
  return std::all_of(values, values + rows(), [](double v) { return std::isfinite(v); });
}

void ModelProgram::addQuadratics(const std::vector<Quadratic>& terms, const double* x, double* values) {
  for (const Quadratic& q : terms) {
    values[q.first] += q.value * x[q.c2];
    values[q.second] += q.value * x[q.c1];
  }
}

bool ModelProgram::jacobianValues(const double* x, bool, double* values) {
  std::copy(jacobianBase_.begin(), jacobianBase_.end(), values);
  addQuadratics(rowQuadratics_, x, values);
  return rowElements_.addGradients(x, values);
}

bool ModelProgram::hessianValues(const double* x, bool, double objectiveFactor, const double* multipliers,
                                 double* values) {
  std::fill_n(values, hessian.size(), 0.0);
  const auto add = [&](const Quadratic& q, double factor) {
    values[q.hessian] += (q.c1 == q.c2 ? 2 : 1) * factor * q.value;
  };
  for (const Quadratic& q : objectiveQuadratics_) add(q, objectiveFactor);
  for (const Quadratic& q : rowQuadratics_) add(q, multipliers[q.row]);
  return objectiveElements_.addHessians(x, nullptr, objectiveFactor, values) &&
         rowElements_.addHessians(x, multipliers, 1, values);
}

std::vector<int> ModelProgram::nonlinearRows() const {
  std::vector<int> found;
  found.reserve(rowQuadratics_.size());
  for (const Quadratic& q : rowQuadratics_) found.push_back(q.row);
  rowElements_.listTargets(found);
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

bool ModelProgram::isQuadratic() const { return objectiveElements_.degree() <= 2 && rowElements_.degree() <= 2; }

}  // namespace tvlo
