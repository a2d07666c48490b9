#include "io/mps_quadratic.h"

#include <algorithm>
#include <tuple>

namespace tvlo {

void MpsQuadratic::start(int row, bool full, bool halved) {
  started_ = true;
  row_ = row;
  full_ = full;
  halved_ = halved;
  entries_.clear();
}

void MpsQuadratic::finish(Draft& draft, const FileText& file) {
  if (!started_) return;
  started_ = false;
  // By pairs, of which the one with the smaller column in front comes first.
  const auto key = [](const Entry& e) {
    return std::tuple(std::min(e.first, e.second), std::max(e.first, e.second), e.first, e.line);
  };
  std::sort(entries_.begin(), entries_.end(), [&](const Entry& a, const Entry& b) { return key(a) < key(b); });
  const auto refuse = [&](const Entry& e, const char* what) {
    file.fail(e.line, std::string(what) + " of columns " + quoted(draft.columns.name(e.first)) + " and " +
                          quoted(draft.columns.name(e.second)));
  };
  if (entries_.empty()) return;
  DraftQuadratic& form = draft.quadraticOf(row_);
  // The store halves the objective itself, and nothing of a row.
  const double factor = halved_ && row_ >= 0 ? 0.5 : 1;
  for (size_t k = 0; k < entries_.size();) {
    const Entry& e = entries_[k];
    const auto samePair = [&](size_t at) {
      return at < entries_.size() &&
             std::minmax(entries_[at].first, entries_[at].second) == std::minmax(e.first, e.second);
    };
    size_t end = k + 1;
    if (full_ && e.first != e.second) {
      const bool both = samePair(end) && entries_[end].first == e.second;
      if (!both && !(samePair(end) && entries_[end].first == e.first)) refuse(e, "only one of the two coefficients");
      if (both && entries_[end].value != e.value) refuse(entries_[end], "two different coefficients");
      if (both) ++end;
    }
    if (samePair(end)) refuse(entries_[end], "a second coefficient");
    if (e.value != 0) form.add(e.first, e.second, factor * e.value);
    k = end;
  }
  entries_.clear();
}

}  // namespace tvlo
