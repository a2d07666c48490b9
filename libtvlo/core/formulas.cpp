#include "core/formulas.h"

#include <algorithm>
#include <climits>
#include <numeric>

#include "core/validate.h"

namespace tvlo {

int UserFunctions::add(std::shared_ptr<UserFunction> function) {
  entries_.push_back(std::move(function));
  return size();
}

void UserFunctions::replace(int id, std::shared_ptr<UserFunction> function) { entries_[id - 1] = std::move(function); }

const std::shared_ptr<UserFunction>& UserFunctions::find(int id) const {
  static const std::shared_ptr<UserFunction> none;
  return id >= 1 && id <= size() ? entries_[id - 1] : none;
}

TokenScope Formulas::scope(int columns) const {
  return {columns, [this](int id) {
            const auto& function = functions.find(id);
            return function ? function->arguments : -1;
          }};
}

void Formulas::validate(const Batch& batch, int rows, int columns) const {
  requireCount(batch.count, "coefficients");
  if (batch.count == 0) return;
  requireArray(batch.row, batch.count, "row indices");
  requireArray(batch.column, batch.count, "column indices");
  requireArray(batch.type, batch.count, "token types");
  requireArray(batch.value, batch.count, "token values");
  requireIndices(batch.count, batch.row, rows, "row");
  for (int k = 0; k < batch.count; ++k) {
    if (batch.column[k] != kConstantColumn) requireIndex(batch.column[k], columns, "column");
    if (batch.start != nullptr && batch.start[k] < 0) badArgument("The start of coefficient %d is negative", k);
  }
  if (batch.factor != nullptr) requireFinite(batch.count, batch.factor, "Factor");
}

void Formulas::add(const Batch& batch, int rows, int columns) {
  validate(batch, rows, columns);
  if (batch.count == 0) return;
  used_.clear();
  if (static_cast<int64_t>(coefs_.size()) > INT_MAX - batch.count) badArgument("Too many coefficients");
  compact();
  reserveMore(coefs_, batch.count);
  const int64_t before = tokens_.size();
  const size_t known = coefs_.size();
  const TokenScope within = scope(columns);
  try {
    int64_t next = 0;
    for (int k = 0; k < batch.count; ++k) {
      const int64_t from = batch.start != nullptr ? batch.start[k] : next;
      const int64_t start = tokens_.size();
      next = from + takeTokens(batch.type + from, batch.value + from, batch.parsed, within, tokens_);
      coefs_.push_back({batch.row[k], batch.column[k], batch.factor == nullptr ? 1 : batch.factor[k], start,
                        tokens_.size() - start});
    }
  } catch (...) {
    coefs_.resize(known);
    tokens_.truncate(before);
    throw;
  }
  live_ += batch.count;
}

void Formulas::load(const Batch& batch, int rows, int columns) {
  Formulas fresh;
  fresh.functions = functions;
  fresh.add(batch, rows, columns);
  used_.clear();
  coefs_ = std::move(fresh.coefs_);
  tokens_ = std::move(fresh.tokens_);
  order_.clear();
  live_ = fresh.live_;
}

void Formulas::replace(const Batch& batch, int rows, int columns) {
  validate(batch, rows, columns);
  compact();
  const auto [first, last] = find(batch.row[0], batch.column[0]);
  const std::vector<int64_t> old(order_.begin() + static_cast<ptrdiff_t>(first),
                                 order_.begin() + static_cast<ptrdiff_t>(last));
  add(batch, rows, columns);
  for (const int64_t k : old) kill(coefs_[k]);
}

void Formulas::erase(int n, const int* rows, const int* columns) {
  if (empty()) return;
  sort();
  for (int i = 0; i < n; ++i) {
    const auto [first, last] = find(rows[i], columns[i]);
    for (size_t k = first; k < last; ++k) kill(coefs_[order_[k]]);
  }
}

void Formulas::kill(Coefficient& coef) noexcept {
  if (!isLive(coef)) return;
  used_.clear();
  coef.length = -1;
  --live_;
}

// Once most of the coefficients are deleted ones, they go.
void Formulas::compact() {
  if (2 * live_ > static_cast<int64_t>(coefs_.size()) || coefs_.empty()) return;
  Tokens tokens;
  std::vector<Coefficient> coefs;
  coefs.reserve(live_);
  for (const Coefficient& coef : coefs_) {
    if (!isLive(coef)) continue;
    coefs.push_back(coef);
    coefs.back().start = tokens.size();
    tokens.add(this->tokens(coef));
  }
  coefs_ = std::move(coefs);
  tokens_ = std::move(tokens);
  order_.clear();
}

void Formulas::sort() const {
  if (order_.size() == coefs_.size()) return;
  std::vector<int64_t> order(coefs_.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](int64_t a, int64_t b) {
    return std::pair(coefs_[a].row, coefs_[a].column) < std::pair(coefs_[b].row, coefs_[b].column);
  });
  order_ = std::move(order);
}

std::pair<size_t, size_t> Formulas::find(int row, int column) const {
  sort();
  const std::pair wanted(row, column);
  const auto key = [&](int64_t k) { return std::pair(coefs_[k].row, coefs_[k].column); };
  const auto first = std::lower_bound(order_.begin(), order_.end(), wanted,
                                      [&](int64_t k, const std::pair<int, int>& w) { return key(k) < w; });
  const auto last = std::upper_bound(first, order_.end(), wanted,
                                     [&](const std::pair<int, int>& w, int64_t k) { return w < key(k); });
  return {first - order_.begin(), last - order_.begin()};
}

std::vector<std::pair<int, int>> Formulas::pairs() const {
  sort();
  std::vector<std::pair<int, int>> all;
  for (const int64_t k : order_) {
    const Coefficient& coef = coefs_[k];
    if (!isLive(coef)) continue;
    const std::pair at(coef.row, coef.column);
    if (all.empty() || all.back() != at) all.push_back(at);
  }
  return all;
}

int64_t Formulas::rowCount() const {
  int64_t count = 0;
  int last = -1;
  for (const auto& [row, column] : pairs()) {
    if (row != last) ++count;
    last = row;
  }
  return count;
}

double Formulas::sumOf(int row, int column, Tokens& out) const {
  std::vector<const Coefficient*> terms;
  const auto [first, last] = find(row, column);
  for (size_t k = first; k < last; ++k) {
    if (isLive(coefs_[order_[k]])) terms.push_back(&coefs_[order_[k]]);
  }
  if (terms.empty()) badArgument("Row %d has no coefficient with a formula in column %d", row, column);
  if (terms.size() == 1) {
    out.add(tokens(*terms[0]));
    return terms[0]->factor;
  }
  for (const Coefficient* const term : terms) {
    if (term->length == 0) {
      out.add(TSLP_TOKEN_CONSTANT, term->factor);
    } else {
      out.add(tokens(*term));
      if (term->factor != 1) {
        out.add(TSLP_TOKEN_CONSTANT, term->factor);
        out.add(TSLP_TOKEN_OPERATOR, TSLP_OPERATOR_TIMES);
      }
    }
    if (term != terms.front()) out.add(TSLP_TOKEN_OPERATOR, TSLP_OPERATOR_PLUS);
  }
  return 1;
}

bool Formulas::uses(int column) const {
  if (empty()) return false;
  if (used_.empty()) {
    std::vector<bool> used(1);
    const auto mark = [&](int at) {
      if (at >= static_cast<int>(used.size())) used.resize(std::max<size_t>(at + 1, 2 * used.size()));
      used[at] = true;
    };
    for (const Coefficient& coef : coefs_) {
      if (!isLive(coef)) continue;
      if (coef.column != kConstantColumn) mark(coef.column);
      const TokenView run = tokens(coef);
      for (int64_t k = 0; k < run.size; ++k) {
        if (run.type[k] == TSLP_TOKEN_COLUMN) mark(run.code(k));
      }
    }
    used_ = std::move(used);
  }
  return column < static_cast<int>(used_.size()) && used_[column];
}

namespace {

template <class T>
void renumber(std::map<int, T>& entries, const std::vector<int>& newIndex) noexcept {
  std::map<int, T> kept;
  while (!entries.empty()) {
    auto node = entries.extract(entries.begin());
    node.key() = newIndex[node.key()];
    if (node.key() >= 0) kept.insert(kept.end(), std::move(node));
  }
  entries.swap(kept);
}

}  // namespace

void Formulas::rowsDeleted(const std::vector<int>& newIndex) noexcept {
  for (Coefficient& coef : coefs_) {
    if (!isLive(coef)) {
      coef.row = 0;
      continue;
    }
    const int now = newIndex[coef.row];
    if (now < 0) kill(coef);
    coef.row = std::max(now, 0);
  }
  order_.clear();
  renumber(rowStatus, newIndex);
  for (auto& [column, variable] : variables) {
    if (variable.determiningRow >= 0) variable.determiningRow = newIndex[variable.determiningRow];
  }
}

void Formulas::columnsDeleted(const std::vector<int>& newIndex) noexcept {
  for (Coefficient& coef : coefs_) {
    if (!isLive(coef)) {
      coef.column = kConstantColumn;
      continue;
    }
    if (coef.column != kConstantColumn) coef.column = newIndex[coef.column];
    for (int64_t k = coef.start; k < coef.start + coef.length; ++k) {
      if (tokens_.type[k] == TSLP_TOKEN_COLUMN) tokens_.value[k] = newIndex[static_cast<int>(tokens_.value[k])];
    }
  }
  order_.clear();
  used_.clear();
  renumber(variables, newIndex);
}

}  // namespace tvlo
