// The control and attribute tables: one row each in controls.def and attributes.def, everything else derived.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tvlo {

struct ControlRow {
  int id;
  const char* name;  // lower case
  int type;          // TVLO_TYPE_INT, _DOUBLE or _STRING
  double standard, least, most;  // of int and double controls; ints up to 2^53 are exact
  const char* standardText;      // of string controls
  const char* engineOption;      // "highs:option[,engine:option]" that it maps to; "" when it is read elsewhere
  const char* documentation;
};

// A table sorted by id with its lists in the form of the C interface.
struct ControlTable {
  std::vector<ControlRow> rows;
  const ControlRow* find(int id) const;
  const ControlRow* find(std::string_view name) const;
};
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
  const Value& at(int id, int type) const;
  const ControlTable* table_;
  std::vector<Value> values_;
};

// Ids by name, from the same .def file: control::timelimit and so on.
namespace control {
enum Id : int {
#define TVLO_CONTROL(id, name, ...) name = id,
#include "core/controls.def"
#undef TVLO_CONTROL
};
}  // namespace control

}  // namespace tvlo
