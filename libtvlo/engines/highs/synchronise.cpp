// Handing the model over: the first time whole, later by difference.
#include <algorithm>
#include <climits>
#include <cmath>
#include <numeric>

#include "engines/highs/scaling.h"
#include "engines/highs/session.h"

namespace tvlo::highs {

namespace {

double scaledBound(double bound, double factor) { return std::abs(bound) < TVLO_INFINITY ? bound * factor : bound; }

struct RowLimits {
  std::vector<double> lower, upper;
  RowLimits(const Model& model, const std::vector<int>& rows) {
    reserve(rows.size());
    for (const int row : rows) add(model.rowBounds(row));
  }
  RowLimits(const Model& model, int first) {
    reserve(model.rows() - first);
    for (int row = first; row < model.rows(); ++row) add(model.rowBounds(row));
  }
  void scale(const std::vector<double>& factors) {
    for (std::vector<double>* const side : {&lower, &upper}) {
      for (size_t i = 0; i < side->size(); ++i) (*side)[i] = scaledBound((*side)[i], factors[i]);
    }
  }

 private:
  void reserve(size_t n) {
    lower.reserve(n);
    upper.reserve(n);
  }
  void add(Bounds bounds) {
    lower.push_back(bounds.lower);
    upper.push_back(bounds.upper);
  }
};

int counted(int64_t coefficients) {
  if (coefficients > INT_MAX) {
    throw Error(TVLO_ERR_UNSUPPORTED, format("HiGHS takes at most %d coefficients", INT_MAX));
  }
  return static_cast<int>(coefficients);
}

// Starts of the lines from `first` on, counted from the first one's, as HiGHS takes them.
std::vector<HighsInt> narrowedStarts(const std::vector<int64_t>& starts, int first) {
  counted(starts.back() - starts[first]);
  std::vector<HighsInt> narrow(starts.size() - first);
  for (size_t i = 0; i < narrow.size(); ++i) narrow[i] = static_cast<HighsInt>(starts[first + i] - starts[first]);
  return narrow;
}

template <class Value, class Get>
std::vector<Value> gather(const std::vector<int>& lines, Get get) {
  std::vector<Value> values;
  values.reserve(lines.size());
  for (const int line : lines) values.push_back(get(line));
  return values;
}

// Handing a coefficient over alone costs about a dozen times what it costs as part of the whole.
bool worthRebuilding(const Model& model) {
  return static_cast<int64_t>(model.changes().coefs.size()) > 100 + model.nonzeros() / 12;
}

// Postsolve of a point without a basis gives a maximisation the wrong duals, so such a method is given the
// minimisation of the negated costs; so is one with a quadratic objective.
bool mustMirror(const Model& model, const SolveRequest& request) {
  return model.sense() == -1 && !request.mip &&
         (request.method == Method::barrierWithoutCrossover || request.method == Method::firstOrder ||
          !model.quadraticObjective().empty());
}

// HiGHS can't drop a quadratic objective, nor give it other columns.
bool dropsHessian(const Model& model) {
  const LineChanges& columns = model.changes().columns;
  return model.quadraticObjective().empty() || !columns.deleted().empty() || columns.kept() < model.columns();
}

// Among what HiGHS does not hold yet.
bool anySmall(const Model& model) {
  const Changes& changes = model.changes();
  if (hasSmall(model.byRows(), changes.rows.kept())) return true;
  if (changes.columns.kept() < model.columns() && hasSmall(model.byColumns(), changes.columns.kept())) return true;
  return std::any_of(changes.coefs.begin(), changes.coefs.end(),
                     [&](const auto& at) { return std::abs(model.coefficient(at.first, at.second)) <= kSmallest; });
}

bool anySemi(const Model& model) {
  const std::vector<char>& types = model.columnTypes();
  const Changes& changes = model.changes();
  return std::any_of(types.begin() + changes.columns.kept(), types.end(), isSemi) ||
         std::any_of(changes.columns.types().begin(), changes.columns.types().end(),
                     [&](int column) { return isSemi(types[column]); });
}

}  // namespace

bool Session::synchronise(const Model& model, const SolveRequest& request) {
  constexpr double kFirstCap = 1e5;
  const Semi semi = request.mip ? Semi::native : Semi::relaxed;
  const Changes& changes = model.changes();
  const bool mirror = mustMirror(model, request);
  if (mirror != mirrored_) held_ = false;
  mirrored_ = mirror;
  if (request.scaled != asked_) held_ = false;
  asked_ = request.scaled;
  const bool unchanged = held_ && changes.none(model.rows(), model.columns());
  // Semi-continuous columns may take another form with any change, so such models always go over whole.
  if (hasSemi_ || anySemi(model)) {
    if (unchanged && semi == semi_ && (cap_ == kFirstCap || capped_.empty())) return false;
  } else {
    if (unchanged) return false;
    const bool simple = !small_ && !scaled_ && !(hasHessian_ && dropsHessian(model));
    if (held_ && simple && !changes.rebuild && !worthRebuilding(model) && !anySmall(model)) {
      ended_ = false;
      follow(model);
      return true;
    }
  }
  pass(model, semi, kFirstCap);
  return true;
}

double Session::cost(const Model& model, int column) const {
  return model.objective()[column] * (factors_.empty() ? 1 : factors_[column]) * (mirrored_ ? -1 : 1);
}

void Session::pass(const Model& model, Semi semi, double cap, bool mayScale) {
  held_ = false;
  ended_ = false;
  const int n = model.columns();
  const SparseMatrix& matrix = model.byRows();
  const std::vector<HighsInt> start = narrowedStarts(matrix.start, 0);
  RowLimits rows(model, 0);
  const double* costData = model.objective().data();
  const double* lower = model.lower().data();
  const double* upper = model.upper().data();
  const double* value = matrix.value.data();
  factors_.clear();
  rowFactors_.clear();
  capped_.clear();
  hasSemi_ = std::any_of(model.columnTypes().begin(), model.columnTypes().end(), isSemi);
  small_ = hasSmall(matrix, 0);
  scaled_ = mayScale && (asked_ || (small_ && losesByDropping(model)));

  std::vector<HighsInt> types;
  std::vector<double> costs, lowers, uppers;
  SparseMatrix own;  // where values differ from the model's
  if (model.hasEntities()) {
    types.reserve(n);
    for (int j = 0; j < n; ++j) {
      const ColumnForm form = columnForm(model, j, semi, cap);
      types.push_back(form.type);
      if (!hasSemi_) continue;
      lowers.push_back(form.lower);
      uppers.push_back(form.upper);
      factors_.push_back(form.factor);
      if (form.capped) capped_.push_back(j);
    }
    if (std::all_of(factors_.begin(), factors_.end(), [](double factor) { return factor == 1; })) factors_.clear();
  }
  if (scaled_ || !factors_.empty()) {
    own = matrix;
    for (size_t k = 0; !factors_.empty() && k < own.value.size(); ++k) own.value[k] *= factors_[own.index[k]];
    value = own.value.data();
  }
  if (scaled_) {
    const std::vector<double> before = factors_;
    scale(model, own, types);
    rows.scale(rowFactors_);
    if (lowers.empty()) {
      lowers = model.lower();
      uppers = model.upper();
    }
    for (int j = 0; j < n; ++j) {
      const double by = (before.empty() ? 1 : before[j]) / factors_[j];
      lowers[j] = scaledBound(lowers[j], by);
      uppers[j] = scaledBound(uppers[j], by);
    }
  }
  if (!lowers.empty()) {
    lower = lowers.data();
    upper = uppers.data();
  }
  if (mirrored_ || !factors_.empty()) {
    costs.reserve(n);
    for (int j = 0; j < n; ++j) costs.push_back(cost(model, j));
    costData = costs.data();
  }
  if (!scaled_) {
    options_.set("small_matrix_value", kSmallest);  // other values put searches on other paths
    dropped_ = false;
  }
  const HighsInt taken = Highs_passModel(
      highs_, n, model.rows(), counted(matrix.nonzeros()), 0, kHighsMatrixFormatRowwise, kHighsHessianFormatTriangular,
      mirrored_ ? 1 : model.sense(), mirrored_ ? -model.constant() : model.constant(), costData, lower, upper,
      rows.lower.data(), rows.upper.data(), start.data(), matrix.index.data(), value, nullptr, nullptr, nullptr,
      types.empty() ? nullptr : types.data());
  if (scaled_ && taken == kHighsStatusError) {  // sides beyond what it takes for finite
    pass(model, semi, cap, false);
    dropped_ = small_ && losesByDropping(model);
    return;
  }
  must(taken, "take the model over");
  hasHessian_ = false;
  passHessian(model);
  held_ = true;
  semi_ = semi;
  cap_ = cap;
  basisKnown_ = false;
  discrete_ = std::any_of(types.begin(), types.end(), [](HighsInt type) { return type != kHighsVarTypeContinuous; });
}

// Only continuous columns of a linear objective may be scaled.
void Session::scale(const Model& model, SparseMatrix& matrix, const std::vector<HighsInt>& types) {
  std::vector<bool> free(model.columns(), model.quadraticObjective().empty());
  for (size_t j = 0; j < types.size(); ++j) {
    const bool integer = now_->request.mip && types[j] != kHighsVarTypeContinuous;
    free[j] = free[j] && !integer;
  }
  const double least = highs::scale(matrix, model, free, rowFactors_, factors_);
  options_.set("small_matrix_value", least <= kSmallest ? kLeastKept : kSmallest);
  dropped_ = least <= kLeastKept;
}

// HiGHS takes the lower triangle by columns, of x'Qx/2 as the store has it; a column's entries are those in which it
// is the smaller one.
void Session::passHessian(const Model& model) {
  const auto& entries = model.quadraticObjective().entries();
  if (entries.empty()) return;
  std::vector<HighsInt> start, index;
  std::vector<double> value;
  index.reserve(entries.size());
  value.reserve(entries.size());
  counted(static_cast<int64_t>(entries.size()));
  auto at = entries.begin();
  for (int j = 0; j < model.columns(); ++j) {
    start.push_back(static_cast<HighsInt>(index.size()));
    for (; at != entries.end() && at->first == j; ++at) {
      index.push_back(at->second);
      value.push_back(mirrored_ ? -at->value : at->value);
    }
  }
  must(Highs_passHessian(highs_, model.columns(), static_cast<HighsInt>(index.size()), kHighsHessianFormatTriangular,
                         start.data(), index.data(), value.data()),
       "take the quadratic objective over");
  // It may cycle for ever; where it does not, it needs a third of this.
  const int64_t most = 500 + 4 * (static_cast<int64_t>(model.columns()) + model.rows());
  must(Highs_setIntOptionValue(highs_, "qp_iteration_limit", static_cast<HighsInt>(std::min<int64_t>(most, INT_MAX))),
       "limit its iterations");
  hasHessian_ = true;
}

void Session::follow(const Model& model) {
  const Changes& changes = model.changes();
  held_ = false;     // until all of it has gone over
  discrete_ = true;  // in a search: there are no semi-continuous columns
  const bool deleted = !changes.rows.deleted().empty() || !changes.columns.deleted().empty();
  now_->reshaped = deleted || changes.rows.kept() < model.rows() || changes.columns.kept() < model.columns();
  if (deleted) deleteLines(changes);
  changeLines(model);
  if (changes.columns.kept() < model.columns()) addColumns(model, changes.columns.kept());
  if (changes.rows.kept() < model.rows()) addRows(model, changes.rows.kept());
  if (changes.objective) {
    must(Highs_changeObjectiveSense(highs_, mirrored_ ? 1 : model.sense()), "change the objective sense");
    must(Highs_changeObjectiveOffset(highs_, mirrored_ ? -model.constant() : model.constant()),
         "change the objective's constant");
  }
  if (changes.quadratic) passHessian(model);
  held_ = true;
}

void Session::deleteLines(const Changes& changes) {
  retire(changes);
  const auto remove = [&](const std::vector<int>& lines, auto* deleteSet, const char* action) {
    if (!lines.empty()) must(deleteSet(highs_, static_cast<HighsInt>(lines.size()), lines.data()), action);
  };
  remove(changes.rows.deleted(), Highs_deleteRowsBySet, "delete rows");
  remove(changes.columns.deleted(), Highs_deleteColsBySet, "delete columns");
}

void Session::changeLines(const Model& model) {
  const Changes& changes = model.changes();
  if (const auto& columns = changes.columns.bounds(); !columns.empty()) {
    const auto lower = gather<double>(columns, [&](int j) { return model.lower()[j]; });
    const auto upper = gather<double>(columns, [&](int j) { return model.upper()[j]; });
    must(Highs_changeColsBoundsBySet(highs_, static_cast<HighsInt>(columns.size()), columns.data(), lower.data(),
                                     upper.data()),
         "change bounds");
  }
  if (const auto& columns = changes.columns.costs(); !columns.empty()) {
    const auto costs = gather<double>(columns, [&](int j) { return cost(model, j); });
    must(Highs_changeColsCostBySet(highs_, static_cast<HighsInt>(columns.size()), columns.data(), costs.data()),
         "change costs");
  }
  if (const auto& columns = changes.columns.types(); !columns.empty()) {
    const auto types = gather<HighsInt>(columns, [&](int j) { return columnForm(model, j, semi_, cap_).type; });
    must(Highs_changeColsIntegralityBySet(highs_, static_cast<HighsInt>(columns.size()), columns.data(), types.data()),
         "change column types");
  }
  if (const auto& rows = changes.rows.bounds(); !rows.empty()) {
    const RowLimits limits(model, rows);
    must(Highs_changeRowsBoundsBySet(highs_, static_cast<HighsInt>(rows.size()), rows.data(), limits.lower.data(),
                                     limits.upper.data()),
         "change row bounds");
  }
  for (const auto& [row, column] : changes.coefs) {
    must(Highs_changeCoeff(highs_, row, column, model.coefficient(row, column)), "change a coefficient");
  }
}

// With their coefficients in the rows that HiGHS has; addRows brings the others.
void Session::addColumns(const Model& model, int first) {
  const int n = model.columns() - first;
  const int oldRows = model.changes().rows.kept();
  const SparseMatrix& matrix = model.byColumns();
  std::vector<HighsInt> start, index;
  std::vector<double> value;
  for (int j = first; j < model.columns(); ++j) {
    start.push_back(counted(static_cast<int64_t>(index.size())));
    for (int64_t k = matrix.start[j]; k < matrix.start[j + 1]; ++k) {
      if (matrix.index[k] >= oldRows) continue;
      index.push_back(matrix.index[k]);
      value.push_back(matrix.value[k]);
    }
  }
  std::vector<double> costs;
  for (int j = first; j < model.columns(); ++j) costs.push_back(cost(model, j));
  must(Highs_addCols(highs_, n, costs.data(), model.lower().data() + first, model.upper().data() + first,
                     counted(static_cast<int64_t>(index.size())), start.data(), index.data(), value.data()),
       "add columns");
  std::vector<HighsInt> types;
  for (int j = first; j < model.columns(); ++j) types.push_back(columnForm(model, j, semi_, cap_).type);
  if (std::any_of(types.begin(), types.end(), [](HighsInt type) { return type != kHighsVarTypeContinuous; })) {
    must(Highs_changeColsIntegralityByRange(highs_, first, model.columns() - 1, types.data()), "change column types");
  }
}

void Session::addRows(const Model& model, int first) {
  const SparseMatrix& matrix = model.byRows();
  const std::vector<HighsInt> start = narrowedStarts(matrix.start, first);
  const RowLimits rows(model, first);
  const int64_t begin = matrix.start[first];
  must(Highs_addRows(highs_, model.rows() - first, rows.lower.data(), rows.upper.data(), start.back(), start.data(),
                     matrix.index.data() + begin, matrix.value.data() + begin),
       "add rows");
}

}  // namespace tvlo::highs
