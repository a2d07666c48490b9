#include "io/mps_reader.h"

#include <cmath>
#include <optional>

#include "io/mps_bounds.h"
#include "io/mps_formulas.h"
#include "io/mps_quadratic.h"
#include "io/mps_ranges.h"
#include "io/numbers.h"

namespace tvlo {

namespace {

enum class Section {
  none,
  name,
  sense,
  objectiveName,
  ignored,
  rows,
  columns,
  rhs,
  ranges,
  bounds,
  quadobj,
  qmatrix,
  qsection,
  qcmatrix,
  formulas,
  variables,
  rowStatus,
  end,
  unsupported
};

struct SectionName {
  const char* name;
  Section section;
};

constexpr SectionName kSections[] = {
    {"name", Section::name},
    {"objsense", Section::sense},
    {"objname", Section::objectiveName},
    {"refrow", Section::ignored},
    {"rows", Section::rows},
    {"columns", Section::columns},
    {"rhs", Section::rhs},
    {"ranges", Section::ranges},
    {"bounds", Section::bounds},
    {"formulas", Section::formulas},
    {"variables", Section::variables},
    {"rowstatus", Section::rowStatus},
    {"endata", Section::end},
    {"quadobj", Section::quadobj},
    {"qmatrix", Section::qmatrix},
    {"qsection", Section::qsection},
    {"qcmatrix", Section::qcmatrix},
    {"csection", Section::unsupported},
    {"sos", Section::unsupported},
    {"sos1", Section::unsupported},
    {"sos2", Section::unsupported},
    {"sets", Section::unsupported},
    {"indicators", Section::unsupported},
    {"gencons", Section::unsupported},
    {"pwlobj", Section::unsupported},
    {"delayedrows", Section::unsupported},
    {"lazycons", Section::unsupported},
    {"modelcuts", Section::unsupported},
    {"usercuts", Section::unsupported},
    {"branch", Section::unsupported},
};

class MpsReader {
 public:
  MpsReader(const FileText& file, MpsForm form) : file_(file), lines_(file, form) { draft_.byColumns = true; }
  Draft read();

 private:
  struct Range {
    int row;
    double value;
    std::string_view text;
    int64_t line;
  };

  void startSection();
  void startQuadratic(std::string_view keyword);
  void readLine();
  void setSense(std::string_view word);
  void readRow();
  void readColumn();
  bool readMarker();
  void startColumn(std::string_view name);
  void addCoefficient(int column, std::string_view row, std::string_view text);
  void readRhs();
  void setRhs(std::string_view row, std::string_view text);
  void readRange();
  void readBound();
  void readFormula();
  void readQuadratic();
  void applyRanges();
  void finishRows();
  void finish();

  double number(std::string_view text, const char* what) const;
  int row(std::string_view name) const;
  bool inSet(std::string_view name, std::optional<std::string_view>& chosen) const;

  const FileText& file_;
  MpsLines lines_;
  Draft draft_;  // its rows hold the objective, too, until the end
  Lookup rows_;
  Section section_ = Section::none;
  bool seen_[static_cast<int>(Section::unsupported) + 1] = {};
  int objective_ = -1;
  bool integers_ = false;      // between the markers
  std::vector<int> inColumn_;  // of each row: the last column with a coefficient in it
  std::vector<bool> hasRhs_, hasRange_;
  std::vector<Range> ranges_;
  MpsQuadratic quadratic_;
  std::vector<bool> hasQuadratic_;
  std::optional<std::string_view> rhsSet_, rangeSet_, boundSet_;
};

Draft MpsReader::read() {
  while (lines_.next()) {
    if (lines_.header()) {
      startSection();
      if (section_ == Section::end) {
        if (!seen_[static_cast<int>(Section::columns)]) lines_.fail("there is no COLUMNS section");
        finish();
        return std::move(draft_);
      }
    } else {
      readLine();
    }
  }
  file_.fail(std::max<int64_t>(lines_.number(), 1), "the file ends without ENDATA");
}

void MpsReader::startSection() {
  std::string_view words[2];
  const int count = splitFields(lines_.line(), words, 2);
  const std::string name = lowerCase(words[0]);
  const SectionName* found = nullptr;
  for (const SectionName& candidate : kSections) {
    if (name == candidate.name) found = &candidate;
  }
  if (found == nullptr) {
    if (section_ == Section::sense && (name.starts_with("max") || name.starts_with("min"))) return setSense(words[0]);
    lines_.fail("unknown section " + quoted(words[0]));
  }
  if (found->section == Section::unsupported) {
    file_.unsupported(lines_.number(), "section " + std::string(words[0]));
  }
  const auto was = [&](Section section) { return seen_[static_cast<int>(section)]; };
  quadratic_.finish(draft_, file_);
  const bool many = found->section == Section::qsection || found->section == Section::qcmatrix;
  if (was(found->section) && found->section >= Section::rows && !many) {
    lines_.fail("section " + std::string(words[0]) + " comes a second time");
  }
  if (found->section == Section::columns && !was(Section::rows)) lines_.fail("section COLUMNS comes before ROWS");
  if (found->section > Section::columns && found->section < Section::end && !was(Section::columns)) {
    lines_.fail("section " + std::string(words[0]) + " comes before COLUMNS");
  }
  if (found->section == Section::columns) finishRows();
  section_ = found->section;
  seen_[static_cast<int>(section_)] = true;
  if (section_ == Section::name) {
    draft_.name = trimmed(lines_.line().substr(words[0].size()));
  } else if (section_ == Section::sense && count > 1) {
    setSense(words[1]);
  } else if (section_ == Section::objectiveName && count > 1) {
    draft_.objectiveName = words[1];
  } else if (section_ >= Section::quadobj && section_ <= Section::qcmatrix) {
    startQuadratic(words[0]);
  }
}

void MpsReader::startQuadratic(std::string_view keyword) {
  const std::string_view name = trimmed(lines_.line().substr(keyword.size()));
  const bool rowwise = section_ == Section::qcmatrix || (section_ == Section::qsection && !name.empty());
  const int at = rowwise ? row(name) : objective_;
  if (section_ == Section::qcmatrix && at == objective_) {
    lines_.fail("QCMATRIX is for rows, and " + quoted(name) + " is the objective");
  }
  if (at < 0) lines_.fail("there is no objective, that is, no row of type N");
  if (hasQuadratic_[at]) lines_.fail("a second quadratic section of row " + quoted(rows_.name(at)));
  hasQuadratic_[at] = true;
  const bool full = section_ == Section::qcmatrix || section_ == Section::qmatrix;
  const int place = at == objective_ ? -1 : at - (objective_ >= 0 && at > objective_ ? 1 : 0);
  quadratic_.start(place, full, section_ != Section::qcmatrix);
}

void MpsReader::readQuadratic() {
  const MpsRecord record = lines_.quadraticRecord(draft_.columns);
  const auto column = [&](std::string_view name) {
    if (name.empty()) lines_.fail("the name of the column is missing");
    const int found = draft_.columns.find(name);
    if (found < 0) lines_.fail("unknown column " + quoted(name));
    return found;
  };
  const auto add = [&](std::string_view name, std::string_view text) {
    const int first = column(record.name);
    const int second = column(name);
    const double value = number(text, "the coefficient");
    if (std::isinf(value)) lines_.fail("the coefficient is infinite");
    quadratic_.add(first, second, value, lines_.number());
  };
  add(record.first, record.value);
  if (!record.second.empty()) add(record.second, record.secondValue);
}

void MpsReader::readLine() {
  switch (section_) {
    case Section::sense:
      return setSense(trimmed(lines_.line()));
    case Section::objectiveName:
      draft_.objectiveName = trimmed(lines_.line());
      return;
    case Section::ignored:
      return;
    case Section::rows:
      return readRow();
    case Section::columns:
      return readColumn();
    case Section::rhs:
      return readRhs();
    case Section::ranges:
      return readRange();
    case Section::bounds:
      return readBound();
    case Section::formulas:
    case Section::variables:
    case Section::rowStatus:
      return readFormula();
    case Section::quadobj:
    case Section::qmatrix:
    case Section::qsection:
    case Section::qcmatrix:
      return readQuadratic();
    default:
      lines_.fail("expected a section, found " + quoted(trimmed(lines_.line())));
  }
}

void MpsReader::setSense(std::string_view word) {
  const std::string lower = lowerCase(word);
  if (lower == "max" || lower == "maximize" || lower == "maximise") {
    draft_.sense = -1;
  } else if (lower == "min" || lower == "minimize" || lower == "minimise") {
    draft_.sense = 1;
  } else {
    lines_.fail("expected MAX or MIN, found " + quoted(word));
  }
}

void MpsReader::readRow() {
  const MpsRecord record = lines_.rowRecord();
  const std::string type = lowerCase(record.type);
  if (type != "n" && type != "l" && type != "g" && type != "e") lines_.fail("unknown row type " + quoted(record.type));
  if (record.name.empty()) lines_.fail("the name of the row is missing");
  const int known = rows_.size();
  if (rows_.findOrAdd(record.name) < known) lines_.fail("a second row " + quoted(record.name));
  draft_.addRow(record.name, static_cast<char>(type[0] - 'a' + 'A'));
}

void MpsReader::finishRows() {
  if (!draft_.objectiveName.empty()) {
    objective_ = rows_.find(draft_.objectiveName);
    if (objective_ < 0 || draft_.rowType[objective_] != 'N') {
      lines_.fail("section OBJNAME names " + quoted(draft_.objectiveName) + ", which is no row of type N");
    }
  } else if (const size_t first = draft_.rowType.find('N'); first != std::string::npos) {
    objective_ = static_cast<int>(first);
    draft_.objectiveName = rows_.name(objective_);
  }
  inColumn_.assign(rows_.size(), -1);
  hasRhs_.assign(rows_.size(), false);
  hasRange_.assign(rows_.size(), false);
  hasQuadratic_.assign(rows_.size(), false);
}

int MpsReader::row(std::string_view name) const {
  if (name.empty()) lines_.fail("the name of the row is missing");
  const int found = rows_.find(name);
  if (found < 0) lines_.fail("unknown row " + quoted(name));
  return found;
}

double MpsReader::number(std::string_view text, const char* what) const {
  if (text.empty()) lines_.fail(std::string(what) + " is missing");
  const auto value = parseNumber(text);
  if (!value) lines_.fail("expected a number, found " + quoted(text));
  if (std::isnan(*value)) lines_.fail(std::string(what) + " is NaN");
  return *value;
}

void MpsReader::readColumn() {
  if (readMarker()) return;
  const MpsRecord record = lines_.columnRecord(rows_);
  if (record.name.empty()) lines_.fail("the name of the column is missing");
  const int last = draft_.columns.size() - 1;
  if (last < 0 || draft_.columns.name(last) != record.name) startColumn(record.name);
  const int column = draft_.columns.size() - 1;
  addCoefficient(column, record.first, record.value);
  if (!record.second.empty()) addCoefficient(column, record.second, record.secondValue);
}

void MpsReader::startColumn(std::string_view name) {
  const int known = draft_.columns.size();
  if (draft_.addColumn(name) < known) lines_.fail("column " + quoted(name) + " comes a second time");
  draft_.start.push_back(static_cast<int64_t>(draft_.index.size()));
  draft_.traits.back().integer = integers_;
}

bool MpsReader::readMarker() {
  const std::string_view line = lines_.line();
  constexpr std::string_view kMarker = "'MARKER'";
  const size_t at = line.find('\'');
  if (at == std::string_view::npos) return false;
  const size_t marker = line.find(kMarker, at);
  if (marker == std::string_view::npos || marker == 0 || !isBlank(line[marker - 1])) return false;
  const std::string_view kind = trimmed(line.substr(marker + kMarker.size()));
  const std::string lower = lowerCase(kind);
  if (lower == "'intorg'" || lower == "'intend'") {
    integers_ = lower == "'intorg'";
  } else if (lower == "'sosorg'" || lower == "'sosend'") {
    file_.unsupported(lines_.number(), "marker " + std::string(kind));
  } else {
    lines_.fail("unknown marker " + quoted(kind));
  }
  return true;
}

void MpsReader::addCoefficient(int column, std::string_view name, std::string_view text) {
  const int at = row(name);
  const double value = number(text, "the coefficient");
  if (std::isinf(value)) lines_.fail("the coefficient of row " + quoted(name) + " is infinite");
  if (inColumn_[at] == column)
    lines_.fail("a second coefficient of row " + quoted(name) + " in column " + quoted(draft_.columns.name(column)));
  inColumn_[at] = column;
  if (at == objective_) {
    draft_.obj[column] = value;
  } else {
    draft_.index.push_back(at - (objective_ >= 0 && at > objective_ ? 1 : 0));
    draft_.value.push_back(value);
  }
}

// Whether a line belongs to the set that counts: the first one with a name. Lines without a name always do.
bool MpsReader::inSet(std::string_view name, std::optional<std::string_view>& chosen) const {
  if (name.empty()) return true;
  if (!chosen) chosen = name;
  return *chosen == name;
}

void MpsReader::readRhs() {
  const MpsRecord record = lines_.setRecord(rows_);
  if (!inSet(record.name, rhsSet_)) return;
  setRhs(record.first, record.value);
  if (!record.second.empty()) setRhs(record.second, record.secondValue);
}

void MpsReader::setRhs(std::string_view name, std::string_view text) {
  const int at = row(name);
  const double value = number(text, "the right-hand side");
  if (hasRhs_[at]) lines_.fail("a second right-hand side of row " + quoted(name));
  hasRhs_[at] = true;
  if (at == objective_) {
    if (std::isinf(value)) lines_.fail("the constant of the objective is infinite");
    draft_.constant = value == 0 ? 0 : -value;
    return;
  }
  const char type = draft_.rowType[at];
  const bool infinite = std::abs(value) >= TVLO_INFINITY;
  if (infinite && (type == 'E' || (type == 'L' && value < 0) || (type == 'G' && value > 0))) {
    lines_.fail("the right-hand side of row " + quoted(name) + " is infinite");
  }
  draft_.rhs[at] = std::isinf(value) ? std::copysign(TVLO_INFINITY, value) : value;
}

void MpsReader::readRange() {
  const MpsRecord record = lines_.setRecord(rows_);
  if (!inSet(record.name, rangeSet_)) return;
  const auto add = [&](std::string_view name, std::string_view text) {
    const int at = row(name);
    const double value = number(text, "the range");
    if (hasRange_[at]) lines_.fail("a second range of row " + quoted(name));
    hasRange_[at] = true;
    ranges_.push_back({at, value, text, lines_.number()});
  };
  add(record.first, record.value);
  if (!record.second.empty()) add(record.second, record.secondValue);
}

// A range of N rows means nothing; an infinite one frees that side.
void MpsReader::applyRanges() {
  for (const auto& [at, value, text, line] : ranges_) {
    char& type = draft_.rowType[at];
    double& rhs = draft_.rhs[at];
    const double width = std::abs(value);
    const bool upwards = type == 'G' || (type == 'E' && value > 0);
    if (type == 'N' || (type == 'E' && value == 0)) continue;
    if (std::abs(rhs) >= TVLO_INFINITY) {
      file_.fail(line, "row " + quoted(rows_.name(at)) + " has a range but no finite right-hand side");
    }
    const double other = mpsRangeEnd(rhs, text, upwards);
    if (width >= TVLO_INFINITY || std::abs(other) >= TVLO_INFINITY) {
      type = upwards ? 'G' : 'L';
      continue;
    }
    type = 'R';
    draft_.lower[at] = std::min(rhs, other);
    rhs = std::max(rhs, other);
    draft_.range[at] = width;
  }
}

void MpsReader::readBound() {
  const MpsRecord record = lines_.boundRecord(draft_.columns);
  if (inSet(record.name, boundSet_)) applyMpsBound(draft_, lines_, record);
}

void MpsReader::readFormula() {
  if (lines_.form() == MpsForm::fixed) lines_.fail("formulas stand in free form only");
  readFormulaLine(section_ == Section::formulas    ? FormulaSection::formulas
                  : section_ == Section::variables ? FormulaSection::variables
                                                   : FormulaSection::rowStatus,
                  draft_, lines_, rows_, objective_);
}

void MpsReader::finish() {
  applyRanges();
  for (size_t j = 0; j < draft_.traits.size(); ++j) {
    ColumnTraits& traits = draft_.traits[j];
    if (traits.integer && !traits.bounded) {
      traits.binary = true;
      draft_.ub[j] = 1;
    }
  }
  draft_.settle();
  if (objective_ < 0) return;
  draft_.rowName.erase(draft_.rowName.begin() + objective_);
  draft_.rowType.erase(static_cast<size_t>(objective_), 1);
  draft_.rhs.erase(draft_.rhs.begin() + objective_);
  draft_.range.erase(draft_.range.begin() + objective_);
  draft_.lower.erase(draft_.lower.begin() + objective_);
}

}  // namespace

Draft readMps(const FileText& file, MpsForm form) { return MpsReader(file, form).read(); }

Draft readMps(const FileText& file) {
  try {
    return readMps(file, MpsForm::free);
  } catch (const FileError& free) {
    if (free.code() != TVLO_ERR_FORMAT) throw;
    try {
      return readMps(file, MpsForm::fixed);
    } catch (const FileError& fixed) {
      if (fixed.line() > free.line()) throw;
    }
    throw;
  }
}

}  // namespace tvlo
