#include "core/text.h"

#include <cstdint>

namespace tvlo {

bool isUtf8(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const int more = lead < 0x80                      ? 0
                     : lead >> 5 == 6 && lead >= 0xc2 ? 1
                     : lead >> 4 == 14                ? 2
                     : lead >> 3 == 30                ? 3
                                                      : -1;
    if (more < 0 || text.size() - i <= static_cast<size_t>(more)) return false;
    uint32_t code = lead & (0x7fu >> (more == 0 ? 0 : more + 1));
    for (int k = 1; k <= more; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if (next >> 6 != 2) return false;
      code = code << 6 | (next & 0x3f);
    }
    const bool surrogate = code >= 0xd800 && code < 0xe000;
    if ((more == 2 && code < 0x800) || surrogate || (more == 3 && (code < 0x10000 || code > 0x10ffff))) return false;
    i += static_cast<size_t>(more) + 1;
  }
  return true;
}

std::string quoted(std::string_view name) {
  constexpr size_t kLongest = 60;
  const bool whole = name.size() <= kLongest;
  std::string shown(name.substr(0, kLongest));
  // A cut may fall into a character.
  if (!whole) {
    while (!shown.empty() && (static_cast<unsigned char>(shown.back()) & 0xc0) == 0x80) shown.pop_back();
    if (!shown.empty() && static_cast<unsigned char>(shown.back()) >= 0xc0) shown.pop_back();
  }
  const bool valid = isUtf8(shown);
  for (char& c : shown) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f || (!valid && byte >= 0x80)) c = '?';
  }
  return "\"" + shown + (whole ? "\"" : "...\"");
}

}  // namespace tvlo
