// Names and lookups through the C interface.
#include <cstring>

#include "capi/attributes.h"
#include "capi/guard.h"

using namespace tvlo;

namespace {

// Null for sets: the model has none.
template <class M>
auto namesOf(M& model, int kind) -> decltype(&model.rowNames()) {
  switch (kind) {
    case TVLO_NAMES_ROW:
      return &model.rowNames();
    case TVLO_NAMES_COLUMN:
      return &model.columnNames();
    case TVLO_NAMES_SET:
      return nullptr;
    default:
      badArgument("There is no kind of names %d", kind);
  }
}

const char* lineOf(int kind) { return kind == TVLO_NAMES_ROW ? "Row" : kind == TVLO_NAMES_COLUMN ? "Column" : "Set"; }

}  // namespace

int TVLOaddnames(TVLOprob prob, int kind, const char* names, int first, int last) {
  return guardChange(prob, [&] {
    auto* const lines = namesOf(prob->model, kind);
    const Range range = requireRange(first, last, lines == nullptr ? 0 : lines->size(), lineOf(kind));
    requireArray(names, range.count, "names");
    for (int line = range.first; line < range.first + range.count; ++line) {
      const size_t length = std::strlen(names);
      lines->set(line, {names, length});
      names += length + 1;
    }
  });
}

int TVLOgetnames(TVLOprob prob, int kind, char* names, int first, int last) {
  return guard(prob, [&] {
    const auto* const lines = namesOf(std::as_const(prob->model), kind);
    const Range range = requireRange(first, last, lines == nullptr ? 0 : lines->size(), lineOf(kind));
    requireArray(names, range.count, "names");
    const size_t slot = 8 * nameUnits(prob->model) + 1;
    for (int line = range.first; line < range.first + range.count; ++line, names += slot) {
      const std::string name = lines->get(line);
      std::memset(names, 0, slot);
      std::memcpy(names, name.data(), name.size());
    }
  });
}

int TVLOgetindex(TVLOprob prob, int kind, const char* name, int* index) {
  return guardUnsettled(prob, [&] {
    requireArray(name, 1, "characters");
    requireArray(index, 1, "indices");
    namesOf(prob->model, kind);  // refuses other kinds
    const int line = kind == TVLO_NAMES_ROW      ? prob->findRow(name)
                     : kind == TVLO_NAMES_COLUMN ? prob->findColumn(name)
                                                 : -1;
    if (line < 0) throw Error(TVLO_ERR_NAME, format("There is no %s named %.200s", lineOf(kind), name));
    *index = line;
  });
}
