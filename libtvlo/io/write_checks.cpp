#include "io/write_checks.h"

#include <algorithm>

#include "io/mps_formulas.h"
#include "io/text.h"

namespace tvlo {

void requireWritable(const Model& model) {
  requireFormulasWritable(model);
  for (int j = 0; j < model.columns(); ++j) {
    if (model.limit(j) < TVLO_INFINITY ||
        std::string_view("SRP").find(model.columnTypes()[j]) == std::string_view::npos)
      continue;
    throw Error(TVLO_ERR_UNSUPPORTED,
                "The limit of column " + quoted(model.columnNames().get(j)) + " is infinite, which no file can hold");
  }
}

void requireLpWritable(const Model& model) {
  requireWritable(model);
  if (hasFormulaSections(model)) throw Error(TVLO_ERR_UNSUPPORTED, "LP format can't hold formulas; free MPS can");
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
