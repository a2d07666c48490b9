// A constant table of rows with an id and a lower-case name each, sorted by id. Built once; any thread may read it.
#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

namespace tvlo {

template <class Row>
class Table {
 public:
  explicit Table(std::vector<Row> rows) : rows_(std::move(rows)) {
    std::sort(rows_.begin(), rows_.end(), [](const Row& a, const Row& b) { return a.id < b.id; });
  }
  const std::vector<Row>& rows() const { return rows_; }
  const Row* find(int id) const {
    const auto at = std::lower_bound(rows_.begin(), rows_.end(), id, [](const Row& row, int i) { return row.id < i; });
    return at != rows_.end() && at->id == id ? &*at : nullptr;
  }
  const Row* find(std::string_view name) const {
    const auto at = std::find_if(rows_.begin(), rows_.end(), [&](const Row& row) { return row.name == name; });
    return at != rows_.end() ? &*at : nullptr;
  }

 private:
  std::vector<Row> rows_;
};

}  // namespace tvlo
