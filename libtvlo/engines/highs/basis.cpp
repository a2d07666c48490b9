// What a solve starts from, and keeping it over deletions.
#include "engines/highs/basis.h"

#include <algorithm>
#include <cmath>

#include "engines/highs/session.h"

namespace tvlo::highs {

namespace {

// The status as the bounds allow it: nonbasic at a bound that there is, free only where there is none.
int fitted(int status, double lower, double upper) {
  const bool hasLower = lower > -TVLO_INFINITY;
  const bool hasUpper = upper < TVLO_INFINITY;
  if (status == kHighsBasisStatusBasic) return status;
  if (!hasLower && !hasUpper) return kHighsBasisStatusZero;
  if (!hasLower) return kHighsBasisStatusUpper;
  if (!hasUpper || lower == upper) return kHighsBasisStatusLower;
  if (status == kHighsBasisStatusLower || status == kHighsBasisStatusUpper) return status;
  return std::abs(upper) < std::abs(lower) ? kHighsBasisStatusUpper : kHighsBasisStatusLower;
}

bool fits(const Basis& basis, const Model& model) {
  return basis.row.size() == model.rowTypes().size() && basis.column.size() == model.columnTypes().size();
}

int64_t basics(const Basis& basis) {
  return std::count(basis.row.begin(), basis.row.end(), kHighsBasisStatusBasic) +
         std::count(basis.column.begin(), basis.column.end(), kHighsBasisStatusBasic);
}

std::vector<int> withStatus(const std::vector<int>& lines, const std::vector<int>& status, bool basic) {
  std::vector<int> found;
  for (const int line : lines) {
    if ((status[line] == kHighsBasisStatusBasic) == basic) found.push_back(line);
  }
  return found;
}

}  // namespace

bool startsFromBasis(const SolveRequest& request) {
  const bool simplex = request.method == Method::automatic || request.method == Method::primalSimplex ||
                       request.method == Method::dualSimplex;
  return simplex && !request.mip && !request.cold && request.start != nullptr;
}

void fit(Basis& basis, const Model& model) {
  for (int i = 0; i < model.rows(); ++i) {
    const auto [lower, upper] = model.rowBounds(i);
    basis.row[i] = fitted(basis.row[i], lower, upper);
  }
  for (int j = 0; j < model.columns(); ++j) {
    basis.column[j] = fitted(basis.column[j], model.lower()[j], model.upper()[j]);
  }
}

Basis Session::basis() const {
  Basis basis;
  basis.row.resize(Highs_getNumRow(highs_));
  basis.column.resize(Highs_getNumCol(highs_));
  must(Highs_getBasis(highs_, basis.column.data(), basis.row.data()), "give its basis");
  return basis;
}

// Deleting a nonbasic row or a basic column would cost the basis. So the rows are freed and the columns fixed
// first, and a few iterations move them to where they can be deleted for nothing.
void Session::retire(const Changes& changes) {
  const SolveRequest& request = now_->request;
  if (!startsFromBasis(request) || !basisKnown_ || !inherited(now_->model, *request.start)) return;
  const Basis old = basis();
  const std::vector<int> rows = withStatus(changes.rows.deleted(), old.row, false);
  const std::vector<int> columns = withStatus(changes.columns.deleted(), old.column, true);
  const size_t count = rows.size() + columns.size();
  if (count == 0 || count > 10 + old.row.size() / 5) return;  // for many a cold start is as good

  const std::vector<double> least(rows.size(), -TVLO_INFINITY);
  const std::vector<double> most(rows.size(), TVLO_INFINITY);
  const std::vector<double> zero(columns.size(), 0);
  if (!rows.empty()) {
    must(
        Highs_changeRowsBoundsBySet(highs_, static_cast<HighsInt>(rows.size()), rows.data(), least.data(), most.data()),
        "free rows");
  }
  if (!columns.empty()) {
    must(Highs_changeColsBoundsBySet(highs_, static_cast<HighsInt>(columns.size()), columns.data(), zero.data(),
                                     zero.data()),
         "fix columns");
  }
  options_.set("solver", "simplex");
  run();
  now_->retired = true;
}

// Whether a start is the last basis as the deletions and additions since have left it, and not the caller's own.
bool Session::inherited(const Model& model, const Basis& start) const {
  if (last_.empty() || !fits(start, model)) return false;
  const auto same = [](std::vector<int> then, const std::vector<int>& now, const LineChanges& lines) {
    erasePositions(then, lines.deleted());
    return static_cast<int>(then.size()) == lines.kept() && std::equal(then.begin(), then.end(), now.begin());
  };
  return same(last_.row, start.row, model.changes().rows) && same(last_.column, start.column, model.changes().columns);
}

// Before an LP is run: HiGHS keeps its own basis, with its factors, where that is the one to start from.
void Session::place(const Model& model, const SolveRequest& request) {
  if (!startsFromBasis(request)) {
    forget();
    return;
  }
  if (basisKnown_ && !now_->reshaped && *request.start == last_) return;
  Basis own;
  if (basisKnown_) own = basis();
  const bool ownCounts = fits(own, model) && basics(own) == model.rows();
  if (ownCounts && now_->retired) return;
  Basis start = *request.start;
  if (!fits(start, model) || basics(start) != model.rows()) {
    // Deletions took too many or too few basic lines with them; HiGHS would take such a basis in silence.
    if (!ownCounts) forget();
    return;
  }
  fit(start, model);
  if (ownCounts) {
    fit(own, model);
    if (start == own) return;
  }
  must(Highs_setBasis(highs_, start.column.data(), start.row.data()), "take a basis over");
  basisKnown_ = true;
}

}  // namespace tvlo::highs
