// The control table: one row each in controls.def, everything else derived; and the values of one problem.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/table.h"

namespace tvlo {

struct ControlRow {
  int id;
  const char* name;              // lower case
  int type;                      // TVLO_TYPE_INT, _DOUBLE or _STRING
  double standard, least, most;  // of int and double controls; ints up to 2^53 are exact
  const char* standardText;      // of string controls
  const char* engineOption;      // "highs:option[,engine:option]" that it maps to; "" when it is read elsewhere
  const char* documentation;
};

using ControlTable = Table<ControlRow>;
const ControlTable& optimizerControls();

// The values of one problem; setters check type and range and throw Error.
class ControlValues {
 public:
  explicit ControlValues(const ControlTable& table);
  const ControlTable& table() const { return *table_; }
  void setInt(int id, int64_t value);
  void setDouble(int id, double value);
  void setString(int id, std::string_view value);
  int64_t getInt(int id) const;
  double getDouble(int id) const;
  const std::string& getString(int id) const;
  void copyFrom(const ControlValues& other) { values_ = other.values_; }

 private:
  struct Value {
    int64_t i = 0;
    double d = 0;
    std::string s;
  };
  const ControlRow& row(int id, int type) const;  // throws Error when there is none of the type
  const Value& at(const ControlRow& row) const { return values_[&row - table_->rows().data()]; }
  Value& at(const ControlRow& row) { return values_[&row - table_->rows().data()]; }
  const ControlTable* table_;
  std::vector<Value> values_;
};

// Ids by name, from the same .def file: control::timelimit and so on.
namespace control {
enum Id : int {
#define TVLO_CONTROL(id, name, ...) name = id,
#include "tvlo/controls.def"
#undef TVLO_CONTROL
};
}  // namespace control

}  // namespace tvlo
