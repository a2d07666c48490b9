// The attribute table: one row each in attributes.def. capi/attributes.cpp computes the values.
#pragma once

#include "core/table.h"

namespace tvlo {

struct AttributeRow {
  int id;
  const char* name;  // lower case
  int type;          // TVLO_TYPE_INT, _DOUBLE or _STRING
  const char* documentation;
};

using AttributeTable = Table<AttributeRow>;
const AttributeTable& optimizerAttributes();

// Ids by name: attribute::rows and so on.
namespace attribute {
enum Id : int {
#define TVLO_ATTRIBUTE(id, name, ...) name = id,
#include "core/attributes.def"
#undef TVLO_ATTRIBUTE
};
}  // namespace attribute

}  // namespace tvlo
