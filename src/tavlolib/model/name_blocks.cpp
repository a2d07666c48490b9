#include "model/name_blocks.h"

#include <algorithm>
#include <map>

namespace tavlo {

namespace {

using Blocks = std::map<uint64_t, NameBlock>;  // by first index

Blocks& blocks() {
  static Blocks& forEver = *new Blocks;  // variables may go after everything static has
  return forEver;
}

Blocks::iterator blockOf(uint64_t index) {
  Blocks& all = blocks();
  auto after = all.upper_bound(index);
  if (after == all.begin()) return all.end();
  --after;
  return index - after->second.first < after->second.count ? after : all.end();
}

void appendIndex(const NameDimension& dimension, uint64_t i, std::string* name) {
  *name += dimension.texts.empty() ? std::to_string(i) : dimension.texts[i];
}

}  // namespace

size_t characters(const std::string& utf8) {
  return static_cast<size_t>(std::count_if(utf8.begin(), utf8.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

size_t NameBlock::longestName() const {
  size_t length = characters(prefix) + 2 + (dimensions.empty() ? 0 : dimensions.size() - 1);
  for (const NameDimension& d : dimensions) {
    size_t longest = d.texts.empty() ? std::to_string(d.count - 1).size() : 0;
    for (const std::string& text : d.texts) longest = std::max(longest, characters(text));
    length += longest;
  }
  return length;
}

std::string NameBlock::name(uint64_t index) const {
  std::string text = prefix + '(';
  uint64_t rest = index - first, stride = count;
  for (const NameDimension& d : dimensions) {
    stride /= d.count;
    if (&d != &dimensions.front()) text += ',';
    appendIndex(d, rest / stride, &text);
    rest %= stride;
  }
  return text += ')';
}

NameBlock* addNameBlock(NameBlock block) {
  const uint64_t first = block.first;
  return &blocks().emplace(first, std::move(block)).first->second;
}

PyObject* blockName(uint64_t index) {
  const auto block = blockOf(index);
  if (block == blocks().end()) return nullptr;
  try {
    const std::string name = block->second.name(index);
    return PyUnicode_FromStringAndSize(name.data(), static_cast<Py_ssize_t>(name.size()));
  } catch (const std::bad_alloc&) {
    return PyErr_NoMemory();
  }
}

void releaseBlockName(uint64_t index) noexcept {
  const auto block = blockOf(index);
  if (block != blocks().end() && --block->second.users == 0) blocks().erase(block);
}

}  // namespace tavlo
