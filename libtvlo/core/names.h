// Names of rows or columns and the lookup by name. A line without a name of its own reads as a letter and its
// 1-based position (R1, C1). Names need not be unique; a lookup then finds the first. The index for lookups is
// built when first asked for. Deletion keeps every remaining line's name, default names included: a default
// name that would change with the position is fixed at the deletion.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tvlo {

// One name in one word: most are a letter and a number, which are kept as such; other text stands on the heap.
class Name {
 public:
  using Room = char[24];  // for the text of a letter and a number

  Name() = default;
  explicit Name(std::string_view text);
  Name(const Name& other);
  Name(Name&& other) noexcept : word_(std::exchange(other.word_, 0)) {}
  Name& operator=(Name other) noexcept {
    std::swap(word_, other.word_);
    return *this;
  }
  ~Name() {
    if (!empty() && !isNumbered()) delete[] text();
  }

  bool empty() const { return word_ == 0; }
  std::string_view view(Room& room) const;  // lives as long as both
  bool operator==(std::string_view other) const;

 private:
  // The lowest bit, the letter in the seven above it, and the number.
  bool isNumbered() const { return (word_ & 1) != 0; }
  static uint64_t numbered(std::string_view text);  // 0 for any other text
  const char* text() const { return reinterpret_cast<const char*>(static_cast<uintptr_t>(word_)); }
  void keep(std::string_view text);

  uint64_t word_ = 0;
};

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
  std::string_view textOf(int line, Name::Room& room) const { return names_[line].view(room); }
  bool isNamed(int line, std::string_view name) const {
    return line < static_cast<int>(names_.size()) && names_[line] == name;
  }

  char letter_;
  int size_ = 0;
  std::vector<Name> names_;  // shorter than size_ while the tail has none; empty: none
  mutable int longest_ = 0;
  mutable bool longestKnown_ = true;
  // Open-addressing hash table of lines with names, -1 where free; at most half full. Empty: to be built. Entries of
  // lines that were deleted from the end stay and count for nothing.
  mutable std::vector<int> index_;
  mutable size_t indexed_ = 0;
};

}  // namespace tvlo
