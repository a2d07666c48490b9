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

}  // namespace tvlo
