#include "core/names.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <functional>

#include "core/validate.h"

namespace tvlo {

namespace {

int digits(int number) {
  int n = 1;
  for (; number >= 10; number /= 10) ++n;
  return n;
}

constexpr int kNumberShift = 8;
constexpr uint64_t kMostNumber = UINT64_MAX >> kNumberShift;

}  // namespace

uint64_t Name::numbered(std::string_view text) {
  if (text.size() < 2 || static_cast<unsigned char>(text[0]) > 0x7f || text[1] < '1' || text[1] > '9') return 0;
  uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + 1, end, number);
  if (error != std::errc() || stop != end || number > kMostNumber) return 0;
  return number << kNumberShift | static_cast<uint64_t>(text[0]) << 1 | 1;
}

void Name::keep(std::string_view text) {
  char* const copy = new char[text.size() + 1];
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  word_ = reinterpret_cast<uintptr_t>(copy);
}

Name::Name(std::string_view text) : word_(numbered(text)) {
  if (word_ == 0 && !text.empty()) keep(text);
}

Name::Name(const Name& other) : word_(other.isNumbered() ? other.word_ : 0) {
  if (!other.empty() && !other.isNumbered()) keep(other.text());
}

std::string_view Name::view(Room& room) const {
  if (empty()) return {};
  if (!isNumbered()) return text();
  room[0] = static_cast<char>(word_ >> 1 & 0x7f);
  const char* const end = std::to_chars(room + 1, room + sizeof room, word_ >> kNumberShift).ptr;
  return {room, static_cast<size_t>(end - room)};
}

bool Name::operator==(std::string_view other) const {
  if (isNumbered()) return word_ == numbered(other);
  return (empty() ? std::string_view() : std::string_view(text())) == other;
}

void Names::clear() { *this = Names(letter_); }

void Names::append(int n) noexcept {
  size_ += n;
  longestKnown_ = false;
}

void Names::set(int line, std::string_view name) {
  const auto length = static_cast<int>(name.size());
  if (!given(line)) {
    if (name.empty()) return;
    if (line >= static_cast<int>(names_.size())) {
      reserveMore(names_, line + 1 - names_.size());
      names_.resize(line + 1);
    }
    names_[line] = Name(name);
    if (!index_.empty()) {
      if (2 * (indexed_ + 1) > index_.size()) {
        index_.clear();
      } else {
        enter(line);
      }
    }
  } else {
    index_.clear();
    names_[line] = Name(name);
  }
  // A longer name is the longest; whether a shorter one replaced the longest takes a new count.
  if (longestKnown_ && length >= longest_) {
    longest_ = length;
  } else {
    longestKnown_ = false;
  }
}

void Names::erase(const std::vector<int>& sortedLines) {
  if (sortedLines.empty()) return;
  const int first = sortedLines.front();
  if (first + static_cast<int>(sortedLines.size()) == size_) {
    // The end goes: no other line moves.
    if (first < static_cast<int>(names_.size())) names_.resize(first);
  } else {
    if (static_cast<int>(names_.size()) < size_) names_.resize(size_);
    for (int line = first; line < size_; ++line) {
      if (names_[line].empty()) names_[line] = Name(get(line));
    }
    erasePositions(names_, sortedLines);
    index_.clear();
  }
  size_ -= static_cast<int>(sortedLines.size());
  longestKnown_ = false;
}

std::string Names::get(int line) const {
  Name::Room room;
  if (given(line)) return std::string(textOf(line, room));
  char text[16];
  text[0] = letter_;
  char* const end = std::to_chars(text + 1, text + sizeof text, line + 1).ptr;
  return {text, end};
}

int Names::find(std::string_view name) const {
  if (name.empty()) return -1;
  const int named = findGiven(name);
  int position = 0;
  const char* const end = name.data() + name.size();
  if (name.front() == letter_ && name.size() > 1 && name[1] >= '1' && name[1] <= '9') {
    const auto [stop, error] = std::from_chars(name.data() + 1, end, position);
    if (error == std::errc() && stop == end && position <= size_ && !given(position - 1) &&
        (named < 0 || position - 1 < named)) {
      return position - 1;
    }
  }
  return named;
}

int Names::findGiven(std::string_view name) const {
  if (names_.empty()) return -1;
  if (index_.empty()) buildIndex();
  const size_t mask = index_.size() - 1;
  for (size_t slot = std::hash<std::string_view>()(name) & mask;; slot = (slot + 1) & mask) {
    const int line = index_[slot];
    if (line < 0 || isNamed(line, name)) return line;
  }
}

void Names::buildIndex() const {
  size_t capacity = 16;
  while (capacity < 3 * names_.size()) capacity *= 2;
  index_.assign(capacity, -1);
  indexed_ = 0;
  for (int line = 0; line < static_cast<int>(names_.size()); ++line) {
    if (!names_[line].empty()) enter(line);
  }
}

void Names::enter(int line) const {
  const size_t mask = index_.size() - 1;
  Name::Room room;
  const std::string_view name = textOf(line, room);
  for (size_t slot = std::hash<std::string_view>()(name) & mask;; slot = (slot + 1) & mask) {
    int& entry = index_[slot];
    if (entry < 0) {
      entry = line;
      ++indexed_;
      return;
    }
    if (isNamed(entry, name)) {
      entry = std::min(entry, line);
      return;
    }
  }
}

int Names::longest() const {
  if (longestKnown_) return longest_;
  const auto known = static_cast<int>(names_.size());
  longest_ = size_ > known ? 1 + digits(size_) : 0;
  for (int line = 0; line < known; ++line) {
    Name::Room room;
    const int length = names_[line].empty() ? 1 + digits(line + 1) : static_cast<int>(textOf(line, room).size());
    longest_ = std::max(longest_, length);
  }
  longestKnown_ = true;
  return longest_;
}

}  // namespace tvlo
