#include "core/controls.h"

#include <algorithm>
#include <cmath>

#include "core/attributes.h"
#include "core/error.h"
#include "tvlo/tvlo.h"

namespace tvlo {

namespace {

const char* typeText(int type) {
  return type == TVLO_TYPE_INT ? "an integer" : type == TVLO_TYPE_DOUBLE ? "a double" : "a string";
}

}  // namespace

const ControlTable& optimizerControls() {
  static const ControlTable table({
#define TVLO_CONTROL(id, name, type, standard, least, most, text, option, documentation) \
  {id, #name, type, standard, least, most, text, option, documentation},
#include "tvlo/controls.def"
#undef TVLO_CONTROL
  });
  return table;
}

const AttributeTable& optimizerAttributes() {
  static const AttributeTable table({
#define TVLO_ATTRIBUTE(id, name, type, documentation) {id, #name, type, documentation},
#include "tvlo/attributes.def"
#undef TVLO_ATTRIBUTE
  });
  return table;
}

ControlValues::ControlValues(const ControlTable& table) : table_(&table) {
  values_.reserve(table.rows().size());
  for (const ControlRow& row : table.rows()) {
    values_.push_back({static_cast<int64_t>(row.standard), row.standard, row.standardText});
  }
}

const ControlRow& ControlValues::row(int id, int type) const {
  const ControlRow* const row = table_->find(id);
  if (row == nullptr) throw Error(TVLO_ERR_NAME, format("There is no control %d", id));
  if (row->type != type) {
    throw Error(TVLO_ERR_ARGUMENT,
                format("Control %s (%d) is %s, not %s control", row->name, id, typeText(row->type), typeText(type)));
  }
  return *row;
}

void ControlValues::setInt(int id, int64_t value) {
  const ControlRow& control = row(id, TVLO_TYPE_INT);
  if (value < static_cast<int64_t>(control.least) || value > static_cast<int64_t>(control.most)) {
    badArgument("Control %s can't be %lld: it ranges from %lld to %lld", control.name, static_cast<long long>(value),
                static_cast<long long>(control.least), static_cast<long long>(control.most));
  }
  at(control).i = value;
}

void ControlValues::setDouble(int id, double value) {
  const ControlRow& control = row(id, TVLO_TYPE_DOUBLE);
  if (!(value >= control.least && value <= control.most)) {
    badArgument("Control %s can't be %g: it ranges from %g to %g", control.name, value, control.least, control.most);
  }
  at(control).d = value;
}

void ControlValues::setString(int id, std::string_view value) { at(row(id, TVLO_TYPE_STRING)).s = value; }

int64_t ControlValues::getInt(int id) const { return at(row(id, TVLO_TYPE_INT)).i; }
double ControlValues::getDouble(int id) const { return at(row(id, TVLO_TYPE_DOUBLE)).d; }
const std::string& ControlValues::getString(int id) const { return at(row(id, TVLO_TYPE_STRING)).s; }

}  // namespace tvlo
