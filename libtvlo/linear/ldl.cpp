#include "linear/ldl.h"

#include <Eigen/OrderingMethods>
#include <algorithm>
#include <cmath>
#include <numeric>

#include "linear/dense.h"

namespace tvlo {

namespace {

// Rows above the diagonal in each column.
struct Pattern {
  std::vector<int64_t> start;
  std::vector<int> row;
};

// Of a matrix whose lines are moved to `position`.
Pattern above(const UpperMatrix& upper, const std::vector<int>& position) {
  const auto n = static_cast<int>(upper.cols());
  Pattern result{std::vector<int64_t>(n + 1, 0), {}};
  const auto each = [&](auto visit) {
    for (int j = 0; j < n; ++j) {
      for (UpperMatrix::InnerIterator at(upper, j); at; ++at) {
        const int a = position[at.row()], b = position[j];
        if (a != b) visit(std::min(a, b), std::max(a, b));
      }
    }
  };
  each([&](int, int column) { ++result.start[column + 1]; });
  std::partial_sum(result.start.begin(), result.start.end(), result.start.begin());
  result.row.resize(result.start.back());
  std::vector<int64_t> next(result.start.begin(), result.start.end() - 1);
  each([&](int row, int column) { result.row[next[column]++] = row; });
  return result;
}

// Of the elimination tree; -1 at roots.
std::vector<int> parentsOf(const Pattern& pattern) {
  const auto n = static_cast<int>(pattern.start.size()) - 1;
  std::vector<int> parent(n, -1), ancestor(n, -1);
  for (int j = 0; j < n; ++j) {
    for (int64_t k = pattern.start[j]; k < pattern.start[j + 1]; ++k) {
      for (int i = pattern.row[k]; i != -1 && i < j;) {
        const int next = ancestor[i];
        ancestor[i] = j;
        if (next == -1) parent[i] = j;
        i = next;
      }
    }
  }
  return parent;
}

std::vector<int> postorder(const std::vector<int>& parent) {
  const int n = static_cast<int>(parent.size());
  std::vector<int> child(n, -1), sibling(n, -1), order, stack;
  order.reserve(n);
  for (int j = n - 1; j >= 0; --j) {
    if (parent[j] < 0) continue;
    sibling[j] = child[parent[j]];
    child[parent[j]] = j;
  }
  for (int root = 0; root < n; ++root) {
    if (parent[root] >= 0) continue;
    stack.push_back(root);
    while (!stack.empty()) {
      const int j = stack.back();
      if (child[j] >= 0) {
        stack.push_back(child[j]);
        child[j] = sibling[child[j]];
      } else {
        order.push_back(j);
        stack.pop_back();
      }
    }
  }
  return order;
}

// Entries of each column of L below the diagonal.
std::vector<int> countsOf(const Pattern& pattern, const std::vector<int>& parent, Watch& watch) {
  const int n = static_cast<int>(parent.size());
  std::vector<int> counts(n, 0), seen(n, -1);
  for (int j = 0; j < n; ++j) {
    seen[j] = j;
    int entries = 0;
    for (int64_t k = pattern.start[j]; k < pattern.start[j + 1]; ++k) {
      for (int i = pattern.row[k]; seen[i] != j; i = parent[i]) {
        seen[i] = j;
        ++counts[i];
        ++entries;
      }
    }
    watch.count(entries);
  }
  return counts;
}

// Whether a node and its parent are better eliminated together, with zeros among the entries.
bool worthwhile(double width, double entries, double zeros) {
  return zeros == 0 || (width <= 4 && zeros <= 0.6 * entries) || (width <= 16 && zeros <= 0.3 * entries) ||
         zeros <= 0.05 * entries;
}

constexpr int kNarrow = 4;  // columns of a node whose update is not worth a matrix of its own
constexpr int kPanel = 32;  // columns that are eliminated before they are taken off the others

}  // namespace

// An order of little fill-in, with the children of a column before it and beside each other.
void Ldl::choose(const UpperMatrix& upper, Watch& watch) {
  Eigen::PermutationMatrix<Eigen::Dynamic, Eigen::Dynamic, int> found;
  Eigen::AMDOrdering<int>()(upper.selfadjointView<Eigen::Upper>(), found);
  watch.check();
  const auto n = static_cast<int>(upper.cols());
  const auto& lines = found.indices();
  position_.resize(n);
  for (int i = 0; i < n; ++i) position_[lines[i]] = i;
  const std::vector<int> sorted = postorder(parentsOf(above(upper, position_)));
  for (int i = 0; i < n; ++i) position_[lines[sorted[i]]] = i;
  watch.check();
}

void Ldl::analyse(const UpperMatrix& upper, Watch& watch) {
  const auto n = static_cast<int>(upper.cols());
  std::vector<int> same(n);
  std::iota(same.begin(), same.end(), 0);
  const Pattern pattern = above(upper, same);
  const std::vector<int> parent = parentsOf(pattern);
  findNodes(parent, countsOf(pattern, parent, watch));
  watch.check();

  std::vector<int> nodeOf(n);
  for (size_t s = 0; s + 1 < nodes_.size(); ++s) {
    std::fill_n(nodeOf.begin() + nodes_[s].first, nodes_[s].width, static_cast<int>(s));
  }
  // The entries in each row of the upper triangle, which are those of a column of the lower one.
  std::vector<int64_t> start(n + 1, 0);
  for (int64_t k = 0; k < upper.nonZeros(); ++k) ++start[upper.innerIndexPtr()[k] + 1];
  std::partial_sum(start.begin(), start.end(), start.begin());
  entries_.resize(upper.nonZeros());
  std::vector<int64_t> next(start.begin(), start.end() - 1);
  for (int j = 0; j < n; ++j) {
    for (int k = upper.outerIndexPtr()[j]; k < upper.outerIndexPtr()[j + 1]; ++k) {
      const int column = upper.innerIndexPtr()[k];
      entries_[next[column]++] = {k, j, column - nodes_[nodeOf[column]].first};
    }
  }

  rows_.clear();
  work_ = 0;
  int64_t values = 0;
  std::vector<int> seen(n, -1);
  std::vector<std::vector<int>> children(nodes_.size());
  place_.assign(n, 0);
  for (size_t s = 0; s + 1 < nodes_.size(); ++s) {
    Node& node = nodes_[s];
    const int end = node.first + node.width;
    node.rows = static_cast<int64_t>(rows_.size());
    node.values = values;
    node.entries = start[node.first];
    node.children = static_cast<int>(children[s].size());
    const auto add = [&](int row) {
      if (row < end || seen[row] == static_cast<int>(s)) return;
      seen[row] = static_cast<int>(s);
      rows_.push_back(row);
    };
    for (int64_t k = node.entries; k < start[end]; ++k) add(entries_[k].row);
    for (const int child : children[s]) {
      for (int k = 0; k < nodes_[child].below; ++k) add(rows_[nodes_[child].rows + k]);
    }
    node.below = static_cast<int>(static_cast<int64_t>(rows_.size()) - node.rows);
    node.leaf = node.width <= kNarrow && node.below > 0 &&
                std::all_of(children[s].begin(), children[s].end(),
                            [&](int child) { return rows_[nodes_[child].rows + nodes_[child].below - 1] < end; });
    std::sort(rows_.begin() + node.rows, rows_.end());
    place(node);
    for (int64_t k = node.entries; k < start[end]; ++k) entries_[k].row = place_[entries_[k].row];
    if (node.below > 0) children[nodeOf[rows_[node.rows]]].push_back(static_cast<int>(s));
    std::vector<int>().swap(children[s]);
    values += static_cast<int64_t>(node.size()) * node.width;
    for (int k = 0; k < node.width; ++k) work_ += 0.5 * (node.size() - k) * (node.size() - k);
    watch.count(node.size());
  }
  nodes_.back().entries = start[n];
  values_.resize(values);
  diagonal_.resize(n);
}

// Leaves their sizes below as they are expected; a last node ends the list.
void Ldl::findNodes(const std::vector<int>& parent, const std::vector<int>& counts) {
  nodes_.clear();
  const int n = static_cast<int>(parent.size());
  std::vector<double> zeros;  // of each node
  for (int j = 0; j < n; ++j) {
    nodes_.emplace_back();
    nodes_.back().first = j;
    nodes_.back().below = counts[j];
    zeros.push_back(0);
    while (nodes_.size() > 1) {
      const Node& node = nodes_.back();
      Node& child = nodes_[nodes_.size() - 2];
      if (parent[node.first - 1] < node.first || parent[node.first - 1] >= node.first + node.width) break;
      const double width = child.width + node.width;
      const double entries = width * (width + 1) / 2 + width * node.below;
      const double more = static_cast<double>(child.width) * (node.size() - child.below);
      const double all = zeros[zeros.size() - 2] + zeros.back() + more;
      if (!worthwhile(width, entries, all)) break;
      child.width += node.width;
      child.below = node.below;
      nodes_.pop_back();
      zeros.pop_back();
      zeros.back() = all;
    }
  }
  nodes_.emplace_back();
}

void Ldl::place(const Node& node) {
  for (int k = 0; k < node.width; ++k) place_[node.first + k] = k;
  for (int k = 0; k < node.below; ++k) place_[rows_[node.rows + k]] = node.width + k;
}

bool Ldl::factorise(const UpperMatrix& upper, Watch& watch, bool definite) {
  top_ = 0;
  waiting_.clear();
  for (size_t s = 0; s + 1 < nodes_.size(); ++s) {
    if (!eliminate(s, upper.valuePtr(), definite, watch)) return false;
  }
  return true;
}

bool Ldl::eliminate(size_t number, const double* values, bool definite, Watch& watch) {
  const Node& node = nodes_[number];
  const int size = node.size();
  double* const d = diagonal_.data() + node.first;
  double* const columns = values_.data() + node.values;
  const signed char* const signs = signs_.empty() ? nullptr : signs_.data() + node.first;
  if (node.leaf) {
    std::fill_n(columns, static_cast<ptrdiff_t>(size) * node.width, 0);
    assemble(number, values, columns, watch);
    waiting_.push_back(number);
    return eliminateColumns(size, node.width, columns, size, d, definite, signs);
  }
  const auto area = static_cast<size_t>(size) * size;
  if (front_.size() < area) front_.resize(area);
  double* const front = front_.data();
  for (ptrdiff_t j = 0; j < size; ++j) std::fill(front + j * size + j, front + (j + 1) * size, 0);
  assemble(number, values, front, watch);

  for (int k = 0; k < node.width; k += kPanel) {
    const int width = std::min(kPanel, node.width - k);
    const int next = k + width;
    double* const panel = front + static_cast<ptrdiff_t>(k) * size;
    if (!eliminateColumns(size - k, width, panel + k, size, d + k, definite, signs == nullptr ? signs : signs + k))
      return false;
    const int rest = size - next;
    const auto entries = static_cast<size_t>(rest) * width;
    if (product_.size() < entries) product_.resize(entries);
    for (int l = 0; l < width; ++l) {
      for (int i = 0; i < rest; ++i) {
        product_[i + static_cast<size_t>(l) * rest] = panel[next + i + static_cast<ptrdiff_t>(l) * size] * d[k + l];
      }
    }
    constexpr int kColumns = 64;  // at once, as those of the result stay in the cache
    for (int j = 0; j < rest; j += kColumns) {
      subtractProduct(rest - j, std::min(kColumns, rest - j), width, panel + next + j, size, product_.data() + j, rest,
                      front + next + j + static_cast<ptrdiff_t>(next + j) * size, size);
      watch.count(static_cast<double>(rest - j) * kColumns * width);
    }
  }
  std::copy_n(front, static_cast<ptrdiff_t>(size) * node.width, columns);
  watch.count(static_cast<double>(size) * size);
  if (node.below == 0) return true;
  waiting_.push_back(number);
  const int64_t end = top_ + node.left();
  if (static_cast<int64_t>(updates_.size()) < end) updates_.resize(end + end / 2);
  for (int j = 0; j < node.below; ++j) {
    const double* const column = front + static_cast<ptrdiff_t>(node.width + j) * size + node.width;
    std::copy(column + j, column + node.below, updates_.data() + top_ + static_cast<ptrdiff_t>(j) * node.below + j);
  }
  top_ = end;
  return true;
}

// The node's entries of the matrix and what its children leave, into columns of its size.
void Ldl::assemble(size_t number, const double* values, double* to, Watch& watch) {
  const Node& node = nodes_[number];
  const int size = node.size();
  for (int64_t k = node.entries; k < nodes_[number + 1].entries; ++k) {
    const Entry& entry = entries_[k];
    to[entry.row + static_cast<ptrdiff_t>(entry.column) * size] += values[entry.source];
  }
  if (node.children > 0) place(node);
  for (int k = 0; k < node.children; ++k) {
    const Node& child = nodes_[waiting_.back()];
    waiting_.pop_back();
    places_.resize(child.below);
    for (int i = 0; i < child.below; ++i) places_[i] = place_[rows_[child.rows + i]];
    if (child.leaf) {
      addLeaf(child, to, size);
    } else {
      addUpdate(child, to, size);
    }
    watch.count(static_cast<double>(child.below) * child.below);
  }
  watch.count(size);
}

void Ldl::addLeaf(const Node& child, double* front, int size) {
  const int* const places = places_.data();
  const bool together = places[child.below - 1] - places[0] == child.below - 1;
  for (int l = 0; l < child.width; ++l) {
    const double* const column = values_.data() + child.values + static_cast<ptrdiff_t>(l) * child.size() + child.width;
    for (int j = 0; j < child.below; ++j) {
      const double factor = column[j] * diagonal_[child.first + l];
      double* const to = front + static_cast<ptrdiff_t>(places[j]) * size;
      if (together) {
        double* const from = to + places[0];
        for (int i = j; i < child.below; ++i) from[i] -= column[i] * factor;
      } else {
        for (int i = j; i < child.below; ++i) to[places[i]] -= column[i] * factor;
      }
    }
  }
}

void Ldl::addUpdate(const Node& child, double* front, int size) {
  top_ -= child.left();
  const double* const update = updates_.data() + top_;
  const int* const places = places_.data();
  for (int j = 0; j < child.below; ++j) {
    double* const to = front + static_cast<ptrdiff_t>(places[j]) * size;
    const double* const from = update + static_cast<ptrdiff_t>(j) * child.below;
    for (int i = j; i < child.below; ++i) to[places[i]] += from[i];
  }
}

void Ldl::solve(Eigen::VectorXd& x) const {
  for (size_t s = 0; s + 1 < nodes_.size(); ++s) {
    const Node& node = nodes_[s];
    const int* const rows = rows_.data() + node.rows;
    for (int k = 0; k < node.width; ++k) {
      const double* const column = values_.data() + node.values + static_cast<ptrdiff_t>(k) * node.size();
      const double value = x[node.first + k];
      if (value == 0) continue;
      for (int i = k + 1; i < node.width; ++i) x[node.first + i] -= column[i] * value;
      for (int i = 0; i < node.below; ++i) x[rows[i]] -= column[node.width + i] * value;
    }
  }
  for (Eigen::Index k = 0; k < x.size(); ++k) x[k] /= diagonal_[k];
  for (size_t s = nodes_.size() - 1; s-- > 0;) {
    const Node& node = nodes_[s];
    const int* const rows = rows_.data() + node.rows;
    for (int k = node.width; k-- > 0;) {
      const double* const column = values_.data() + node.values + static_cast<ptrdiff_t>(k) * node.size();
      double sum = 0;
      for (int i = k + 1; i < node.width; ++i) sum += column[i] * x[node.first + i];
      for (int i = 0; i < node.below; ++i) sum += column[node.width + i] * x[rows[i]];
      x[node.first + k] -= sum;
    }
  }
}

}  // namespace tvlo
