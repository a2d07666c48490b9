#include "io/write_checks.h"

#include <algorithm>

#include "io/text.h"

namespace tvlo {

void requireWritable(const Model& model) {
  if (!model.quadraticObjective().empty() || !model.quadraticRows().empty()) {
    throw Error(TVLO_ERR_UNSUPPORTED, "Writing quadratic content is not supported yet");
  }
  for (int j = 0; j < model.columns(); ++j) {
    const char type = model.columnTypes()[j];
    if (type != 'S' && type != 'R' && type != 'P') continue;
    const double limit = model.limit(j);
    const bool semi = type != 'P';
    const bool limited = limit > -TVLO_INFINITY;
    if (limit < TVLO_INFINITY &&
        (!semi || (model.lower()[j] == 0 && model.upper()[j] >= 0 && (limit >= 0 || !limited)))) {
      continue;
    }
    throw Error(
        TVLO_ERR_UNSUPPORTED,
        "Column " + quoted(model.columnNames().get(j)) + " of type " + type +
            " can't be written: its limit is infinite or negative, its lower bound not 0 or its upper bound negative");
  }
}

void requireLpWritable(const Model& model) {
  requireWritable(model);
  const auto& types = model.columnTypes();
  const auto partial = std::find(types.begin(), types.end(), 'P');
  if (partial == types.end()) return;
  const auto column = static_cast<int>(partial - types.begin());
  throw Error(TVLO_ERR_UNSUPPORTED, "The partially integer column " + quoted(model.columnNames().get(column)) +
                                        " can't be written in LP format");
}

std::string onOneLine(std::string_view text) {
  std::string line(trimmed(text));
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < ' ') c = ' ';
  }
  return line;
}

}  // namespace tvlo
