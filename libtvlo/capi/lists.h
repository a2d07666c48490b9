// Controls and attributes as the parallel arrays of the C interface's list functions: controls first, ending at
// id 0 with an empty name. Built once from constant tables, whose names they point to.
#pragma once

#include <vector>

#include "core/attributes.h"
#include "core/controls.h"
#include "tvlo/tvlo.h"

namespace tvlo {

class ParameterList {
 public:
  // `wanted`: of which ids the list is made.
  ParameterList(
      const ControlTable& controls, const AttributeTable& attributes,
      bool (*wanted)(int id) = [](int) { return true; }) {
    for (const ControlRow& row : controls.rows()) {
      if (wanted(row.id)) add(row.id, row.name, row.type | TVLO_TYPE_CONTROL);
    }
    for (const AttributeRow& row : attributes.rows()) {
      if (wanted(row.id)) add(row.id, row.name, row.type);
    }
    add(0, "", 0);
  }

  void give(const int** ids, const char* const** names, const int** types) const {
    if (ids != nullptr) *ids = ids_.data();
    if (names != nullptr) *names = names_.data();
    if (types != nullptr) *types = types_.data();
  }

 private:
  void add(int id, const char* name, int type) {
    ids_.push_back(id);
    names_.push_back(name);
    types_.push_back(type);
  }
  std::vector<int> ids_, types_;
  std::vector<const char*> names_;
};

}  // namespace tvlo
