// The lines (rows or columns) of a file that is being read, by name. Names are views into the file's text.
#pragma once

#include <functional>
#include <string_view>
#include <vector>

namespace tvlo {

class Lookup {
 public:
  int size() const { return static_cast<int>(names_.size()); }
  std::string_view name(int line) const { return names_[line]; }
  const std::vector<std::string_view>& names() const { return names_; }

  int find(std::string_view name) const {  // -1 when there is none
    return slots_.empty() ? -1 : slots_[slot(name)];
  }
  // The line of that name, appended when there is none yet.
  int findOrAdd(std::string_view name) {
    grow();
    int& entry = slots_[slot(name)];
    if (entry < 0) {
      entry = size();
      names_.push_back(name);
    }
    return entry;
  }

 private:
  size_t slot(std::string_view name) const {
    const size_t mask = slots_.size() - 1;
    size_t at = std::hash<std::string_view>()(name) & mask;
    while (slots_[at] >= 0 && names_[slots_[at]] != name) at = (at + 1) & mask;
    return at;
  }
  void grow() {
    if (2 * (names_.size() + 1) <= slots_.size()) return;
    slots_.assign(slots_.empty() ? 64 : 4 * slots_.size(), -1);
    for (int line = 0; line < size(); ++line) slots_[slot(names_[line])] = line;
  }

  std::vector<std::string_view> names_;
  std::vector<int> slots_;  // at most half full
};

}  // namespace tvlo
