#include "io/output_names.h"

#include <algorithm>

#include "core/error.h"
#include "io/text.h"

namespace tvlo {

namespace {

bool plain(std::string_view name) {
  return !name.empty() && name.front() != '$' && name.front() != '*' && name != "'MARKER'" && isUtf8(name) &&
         std::none_of(name.begin(), name.end(),
                      [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; });
}

}  // namespace

bool freeMpsHolds(std::string_view name) { return plain(name) && name.find(' ') == std::string_view::npos; }

bool fixedMpsHolds(std::string_view name) {
  return plain(name) && name.size() <= 8 && name.front() != ' ' && name.back() != ' ';
}

bool fixedFormNeeded(const Names& rows, const Names& columns) {
  bool needed = false;
  for (const Names* names : {&rows, &columns}) {
    for (int line = 0; line < names->size(); ++line) {
      const std::string name = names->get(line);
      if (!fixedMpsHolds(name)) return false;
      needed |= !freeMpsHolds(name);
    }
  }
  return needed;
}

OutputNames::OutputNames(const Names& names, char letter, Holds holds, const std::string* objective) {
  const int n = names.size() + (objective != nullptr ? 1 : 0);
  names_.resize(n);
  std::unordered_set<std::string_view> taken;
  taken.reserve(n);
  std::vector<int> offending;
  for (int line = 0; line < n; ++line) {
    std::string& name = names_[line];
    name = line < names.size() ? names.get(line) : objective->empty() ? "OBJ" : *objective;
    if (!holds(name) || !taken.insert(name).second) offending.push_back(line);
  }
  int64_t next = n;
  for (const int line : offending) {
    std::string& name = names_[line];
    name = letter + std::to_string(line + 1);
    while (taken.contains(name)) name = letter + std::to_string(++next);
    if (!holds(name))
      throw Error(TVLO_ERR_ARGUMENT, "There are too many rows or columns for names of eight characters");
    taken.insert(name);
  }
}

}  // namespace tvlo
