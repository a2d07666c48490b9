// The lines of an MPS file and their fields, in free and in fixed form.
//
// Free form: fields are separated by blanks or tabs. Fixed form: fields stand in columns 2-3, 5-12, 15-22, 25-36,
// 40-47 and 50-61 and what lies between is blank, so names may hold blanks; the first number may go on past column
// 36, up to the next blank, which is how numbers of more than twelve characters are written.
// Both: a line that starts with * is a comment, and so is the rest of a line from a field on that starts with $ and
// is no known name.
#pragma once

#include <cstdint>
#include <string_view>

#include "io/lookup.h"
#include "io/text.h"

namespace tvlo {

enum class MpsForm { free, fixed };

// The fields of a data line, by their meaning; empty where there is none.
struct MpsRecord {
  std::string_view type = {};    // ROWS, BOUNDS
  std::string_view name = {};    // the row (ROWS), the column (COLUMNS), the set (RHS, RANGES, BOUNDS)
  std::string_view first = {};   // the row, the column (BOUNDS)
  std::string_view value = {};   // of `first`
  std::string_view second = {};  // another row
  std::string_view secondValue = {};
};

class MpsLines {
 public:
  MpsLines(const FileText& file, MpsForm form) : file_(file), form_(form), rest_(file.text) {}

  bool next();                                             // to the next line that is neither blank nor a comment
  bool header() const { return !isBlank(line_.front()); }  // it starts in its first column: the name of a section
  std::string_view line() const { return line_; }          // without blanks at its end
  int64_t number() const { return number_; }               // from 1
  MpsForm form() const { return form_; }
  [[noreturn]] void fail(const std::string& what) const { file_.fail(number_, what); }

  // The fields of the present line in each kind of section.
  MpsRecord rowRecord() const;
  MpsRecord columnRecord(const Lookup& rows) const;
  MpsRecord quadraticRecord(const Lookup& columns) const;  // the column, another one and the coefficient
  MpsRecord setRecord(const Lookup& rows) const;           // RHS and RANGES: the set may be left out
  MpsRecord boundRecord(const Lookup& columns) const;

 private:
  MpsRecord fixedRecord(const Lookup* known) const;

  const FileText& file_;
  MpsForm form_;
  std::string_view rest_;
  std::string_view line_;
  int64_t number_ = 0;
};

// Splits at blanks into at most `most` fields; returns how many there are, most + 1 when there are more.
int splitFields(std::string_view line, std::string_view* fields, int most);

}  // namespace tvlo
