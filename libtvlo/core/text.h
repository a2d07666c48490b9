// Text of unknown origin.
#pragma once

#include <string>
#include <string_view>

namespace tvlo {

bool isUtf8(std::string_view text);

// "name" for a message: quoted, cut when it is long, always valid UTF-8.
std::string quoted(std::string_view name);

}  // namespace tvlo
