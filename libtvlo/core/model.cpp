// The model as a whole: what belongs to neither rows, columns nor coefficients.
#include "core/model.h"

namespace tvlo {

void Model::clear() { *this = Model(); }

void Model::setSense(int sense) {
  if (sense != 1 && sense != -1) badArgument("The objective sense must be 1 or -1, not %d", sense);
  if (sense == sense_) return;
  sense_ = sense;
  changes_.objective = true;
}

namespace {

void requireTriplets(int64_t n, const int* c1, const int* c2, const double* coefs, int columns, const char* what) {
  requireCount(n, "quadratic coefficients");
  requireArray(c1, n, "first columns");
  requireArray(c2, n, "second columns");
  requireArray(coefs, n, "quadratic coefficients");
  requireIndices(n, c1, columns, "column");
  requireIndices(n, c2, columns, "column");
  requireFinite(n, coefs, what);
}

auto quadraticAt(auto& rows, int row) {
  return std::lower_bound(rows.begin(), rows.end(), row, [](const RowQuadratic& q, int r) { return q.row < r; });
}

}  // namespace

void Model::setQuadraticObjective(int64_t n, const int* c1, const int* c2, const double* coefs) {
  requireTriplets(n, c1, c2, coefs, columns(), "Quadratic objective coefficient");
  if (n == 0) return;
  qobj_.set(n, c1, c2, coefs);
  changes_.quadratic = true;
}

void Model::addRowQuadratic(int row, int64_t n, const int* c1, const int* c2, const double* coefs) {
  requireIndex(row, rows(), "row");
  requireTriplets(n, c1, c2, coefs, columns(), format("Row %d: quadratic coefficient", row).c_str());
  if (n == 0) return;
  auto at = quadraticAt(qrows_, row);
  if (at == qrows_.end() || at->row != row) {
    RowQuadratic fresh{row, {}};
    fresh.form.add(n, c1, c2, coefs);
    if (!fresh.form.empty()) qrows_.insert(at, std::move(fresh));
  } else {
    at->form.add(n, c1, c2, coefs);
    if (at->form.empty()) qrows_.erase(at);
  }
  changes_.quadratic = true;
}

void Model::deleteRowQuadratic(int row) {
  if (row == -1) {
    qrows_.clear();
  } else {
    requireIndex(row, rows(), "row");
    const auto at = quadraticAt(qrows_, row);
    if (at == qrows_.end() || at->row != row) return;
    qrows_.erase(at);
  }
  changes_.quadratic = true;
}

const QuadraticForm* Model::rowQuadratic(int row) const {
  const auto at = quadraticAt(qrows_, row);
  return at != qrows_.end() && at->row == row ? &at->form : nullptr;
}

}  // namespace tvlo
