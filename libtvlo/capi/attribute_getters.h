// Attributes as rows: an id, a name and what computes the value. One row for each line of a .def file, whose getter is
// the function of the attribute's name, so that an attribute without one does not compile.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>
#include <variant>

#include "core/error.h"
#include "core/table.h"

namespace tvlo {

using AttributeValue = std::variant<int64_t, double, std::string>;

template <class Owner>
struct AttributeGetter {
  int id;
  const char* name;
  AttributeValue (*get)(const Owner&);
};

// Throws Error when there is no such attribute, or when it is of another type.
template <class T, class Owner>
T attributeOf(const Owner& owner, const Table<AttributeGetter<Owner>>& table, int id) {
  const AttributeGetter<Owner>* const row = table.find(id);
  if (row == nullptr) throw Error(TVLO_ERR_NAME, format("There is no attribute %d", id));
  AttributeValue value = row->get(owner);
  if (T* const found = std::get_if<T>(&value)) return std::move(*found);
  constexpr const char* kType = std::is_same_v<T, int64_t>  ? "an integer"
                                : std::is_same_v<T, double> ? "a double"
                                                            : "a string";
  throw Error(TVLO_ERR_ARGUMENT, format("Attribute %s (%d) is not %s attribute", row->name, id, kType));
}

}  // namespace tvlo
