// Names of rows or columns and the lookup by name. A line without a name of its own reads as a letter and its
// 1-based position (R1, C1). Names need not be unique; a lookup then finds the first. The index for lookups is
// built when first asked for. Deletion keeps every remaining line's name, default names included: a default
// name that would change with the position is fixed at the deletion.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tvlo {

class Names {
 public:
  explicit Names(char letter = 'X') : letter_(letter) {}
  void clear();
  void append(int n) noexcept;                      // n lines without names
  void set(int line, std::string_view name);        // an empty name: none of its own
  void erase(const std::vector<int>& sortedLines);  // changes nothing that can be seen when it throws
  int size() const { return size_; }
  std::string get(int line) const;
  bool given(int line) const { return line < static_cast<int>(names_.size()) && !names_[line].empty(); }
  int find(std::string_view name) const;  // -1 when there is none
  int longest() const;                    // bytes, default names included

 private:
  int findGiven(std::string_view name) const;
  void buildIndex() const;
  void enter(int line) const;  // into the index, which has room
  bool isNamed(int line, std::string_view name) const {
    return line < static_cast<int>(names_.size()) && names_[line] == name;
  }

  char letter_;
  int size_ = 0;
  std::vector<std::string> names_;  // shorter than size_ while the tail has none; empty string: none
  mutable int longest_ = 0;
  mutable bool longestKnown_ = true;
  // Open-addressing hash table of lines with names, -1 where free; at most half full. Empty: to be built. Entries of
  // lines that were deleted from the end stay and count for nothing.
  mutable std::vector<int> index_;
  mutable size_t indexed_ = 0;
};

}  // namespace tvlo
