// The names under which rows or columns are written: their own, and for those that the format can't hold or that
// come twice a generated one: R or C and the 1-based position, or a higher number where that is taken.
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "core/names.h"

namespace tvlo {

class OutputNames {
 public:
  using Holds = bool (*)(std::string_view name);

  // `objective`: the name of one more line of the same kind, which is last and has the default name OBJ.
  OutputNames(const Names& names, char letter, Holds holds, const std::string* objective = nullptr);
  const std::string& operator[](int line) const { return names_[line]; }
  const std::string& objective() const { return names_.back(); }

 private:
  std::vector<std::string> names_;
};

bool freeMpsHolds(std::string_view name);
bool fixedMpsHolds(std::string_view name);

// Whether fixed form holds every name of a model and free form does not.
bool fixedFormNeeded(const Names& rows, const Names& columns);

}  // namespace tvlo
