// Names of rows or columns and the lookup by name. A line without a name of its own reads as a letter and its
// 1-based position (R1, C1). Names need not be unique; a lookup then finds the first. The index for lookups is
// built when first asked for. Deletion keeps every remaining line's name, default names included: a default
// name that would change with the position is fixed at the deletion.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tvlo {

class Names {
 public:
  explicit Names(char letter = 'X') : letter_(letter) {}
  void clear();
  void append(int n);  // n lines without names
  void set(int line, std::string_view name);
  void erase(const std::vector<int>& sortedLines);
  int size() const { return size_; }
  std::string get(int line) const;
  bool given(int line) const;
  int find(std::string_view name) const;  // -1 when there is none
  int longest() const;                    // bytes, default names included
  void setLetter(char letter) { letter_ = letter; }

 private:
  char letter_;
  int size_ = 0;
  std::vector<std::string> names_;  // shorter than size_ while the tail has none; empty string: none
  int longest_ = 0;
  mutable std::unordered_map<std::string, int> index_;
  mutable bool indexed_ = false;
};

}  // namespace tvlo
