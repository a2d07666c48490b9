// What the file formats can't hold.
#pragma once

#include <string>

#include "core/model.h"

namespace tvlo {

// Throws Error where the model has content that no file format here can hold.
void requireWritable(const Model& model);
// The same for LP format, which has no partially integer columns either.
void requireLpWritable(const Model& model);

std::string onOneLine(std::string_view text);  // control characters become blanks

}  // namespace tvlo
