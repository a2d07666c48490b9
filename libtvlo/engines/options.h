// What of a control's row concerns one engine.
#pragma once

#include <algorithm>
#include <string_view>

#include "core/controls.h"

namespace tvlo {

// The engine's option in the row's list "engine:option,engine:option", or nothing.
inline std::string_view engineOption(const ControlRow& row, std::string_view engine) {
  std::string_view list = row.engineOption;
  while (!list.empty()) {
    const std::string_view item = list.substr(0, list.find(','));
    if (item.starts_with(engine) && item.substr(engine.size()).starts_with(':')) return item.substr(engine.size() + 1);
    list.remove_prefix(std::min(list.size(), item.size() + 1));
  }
  return {};
}

}  // namespace tvlo
