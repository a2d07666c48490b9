#include "quadratic/blocks.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace tvlo {

std::vector<Block> blocksOf(const QuadraticForm& form) {
  const auto& entries = form.entries();
  if (entries.empty()) return {};
  std::vector<int> columns;
  columns.reserve(2 * entries.size());
  for (const QuadraticEntry& e : entries) {
    if (columns.empty() || columns.back() != e.first) columns.push_back(e.first);
    if (e.first != e.second) columns.push_back(e.second);
  }
  std::sort(columns.begin(), columns.end());
  columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
  // Where the columns lie close together, a table is faster than a search.
  const int64_t range = static_cast<int64_t>(columns.back()) - columns.front() + 1;
  std::vector<int> table;
  if (range <= 8 * static_cast<int64_t>(entries.size())) {
    table.resize(range);
    for (size_t i = 0; i < columns.size(); ++i) table[columns[i] - columns.front()] = static_cast<int>(i);
  }
  const auto number = [&](int column) {
    if (!table.empty()) return table[column - columns.front()];
    return static_cast<int>(std::lower_bound(columns.begin(), columns.end(), column) - columns.begin());
  };

  std::vector<int> parent(columns.size());
  std::iota(parent.begin(), parent.end(), 0);
  const auto root = [&](int i) {
    while (parent[i] != i) i = parent[i] = parent[parent[i]];
    return i;
  };
  for (const QuadraticEntry& e : entries) {
    if (e.first != e.second) parent[root(number(e.first))] = root(number(e.second));
  }
  std::vector<Block> blocks;
  std::vector<int> blockOf(columns.size(), -1), place(columns.size());
  for (size_t i = 0; i < columns.size(); ++i) {
    int& block = blockOf[root(static_cast<int>(i))];
    if (block < 0) {
      block = static_cast<int>(blocks.size());
      blocks.emplace_back();
    }
    place[i] = blocks[block].size();
    blocks[block].columns.push_back(columns[i]);
    blocks[block].diagonal.push_back(0);
  }
  for (const QuadraticEntry& e : entries) {
    const int first = number(e.first);
    Block& block = blocks[blockOf[root(first)]];
    if (e.first == e.second) {
      block.diagonal[place[first]] = e.value;
    } else {
      block.off.push_back({place[first], place[number(e.second)], e.value});
    }
  }
  return blocks;
}

}  // namespace tvlo
