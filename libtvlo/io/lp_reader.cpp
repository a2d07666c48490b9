#include "io/lp_reader.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "io/lp_lexer.h"

namespace tvlo {

namespace {

// One side of a relation, moved into the row's coefficients as it is read.
struct Side {
  double constant = 0;
  bool terms = false;
  bool content = false;
};

class LpReader {
 public:
  explicit LpReader(const FileText& file) : file_(file), lexer_(file.text) { advance(); }
  Draft read();

 private:
  enum class Place { objective, left, right };

  void advance() { token_ = lexer_.next(); }
  [[noreturn]] void fail(const std::string& what) const { file_.fail(token_.line, what); }
  [[noreturn]] void unexpected(const char* wanted) const;

  void readObjective();
  void readConstraint();
  void readBound();
  void readListed(LpSection section);

  Side readSide(Place place, double sign, bool mayContinue);
  bool endsBefore(bool mayContinue) const;
  void addTerm(Place place, int column, double coef);
  void readQuadratic(Place place, double factor);
  void finishRow(std::string_view name, int64_t line, double lower, double upper, char relation);
  void changeEnd(std::string_view name, int64_t line, char relation, double value);
  void setRow(int row, int64_t line, double lower, double upper);
  double readValue();
  void setBound(int64_t line, int column, char relation, double value);

  const FileText& file_;
  LpLexer lexer_;
  LpToken token_;
  Draft draft_;
  Lookup rows_;                 // names of rows
  std::vector<int> named_;      // their rows
  std::vector<int64_t> place_;  // of each column: its coefficient in the row at hand, -1 for none
};

char flipped(char relation) { return relation == '<' ? '>' : relation == '>' ? '<' : '='; }

// The store keeps the upper end and the width: of the widths that give the lower end back, a short one, so that
// 12.8 and 16 are 3.2 apart and not 3.1999999999999993.
double neatDifference(double upper, double lower) {
  char digits[32];
  double neat = upper - lower;
  const auto end = std::to_chars(digits, digits + sizeof digits, neat, std::chars_format::general, 15).ptr;
  std::from_chars(digits, end, neat);
  return upper - neat == lower ? neat : upper - lower;
}

Draft LpReader::read() {
  if (token_.kind != LpKind::section) unexpected("Minimize or Maximize");
  draft_.sense = token_.section == LpSection::maximize ? -1 : 1;
  draft_.name = lexer_.problemName();
  advance();
  readObjective();
  while (token_.kind == LpKind::section) {
    const LpSection section = token_.section;
    if (section == LpSection::end) {
      for (size_t j = 0; j < draft_.traits.size(); ++j) {
        if (!draft_.traits[j].binary) continue;
        draft_.lb[j] = std::max(draft_.lb[j], 0.0);
        draft_.ub[j] = std::min(draft_.ub[j], 1.0);
      }
      draft_.settle();
      return std::move(draft_);
    }
    if (section == LpSection::unsupported) file_.unsupported(token_.line, "section " + std::string(token_.text));
    advance();
    while (token_.kind != LpKind::section && token_.kind != LpKind::end) {
      if (section == LpSection::constraints) {
        readConstraint();
      } else if (section == LpSection::bounds) {
        readBound();
      } else {
        readListed(section);
      }
    }
  }
  if (token_.kind == LpKind::end) fail("the file ends without End");
  unexpected("a section");
}

void LpReader::unexpected(const char* wanted) const {
  if (token_.kind == LpKind::end) fail(std::string("expected ") + wanted + ", found the end of the file");
  if (token_.kind == LpKind::arrow) file_.unsupported(token_.line, "an indicator constraint");
  fail(std::string("expected ") + wanted + ", found " + quoted(token_.text));
}

void LpReader::addTerm(Place place, int column, double coef) {
  if (std::isinf(coef)) fail("the coefficient of column " + quoted(draft_.columns.name(column)) + " is infinite");
  if (place == Place::objective) {
    draft_.obj[column] += coef;
    return;
  }
  const auto size = static_cast<int64_t>(draft_.index.size());
  place_.resize(draft_.obj.size(), -1);
  if (place_[column] >= 0) {
    draft_.value[place_[column]] += coef;
  } else {
    place_[column] = size;
    draft_.index.push_back(column);
    draft_.value.push_back(coef);
  }
}

// From the bracket on; `factor` is its sign. The store takes x'Qx/2 of the objective and x'Qx of a row.
void LpReader::readQuadratic(Place place, double factor) {
  struct Term {
    int first, second;
    double value;
  };
  std::vector<Term> terms;
  advance();
  while (token_.kind != LpKind::close) {
    double value = factor;
    bool signedTerm = false;
    for (; token_.kind == LpKind::plus || token_.kind == LpKind::minus; advance()) {
      if (token_.kind == LpKind::minus) value = -value;
      signedTerm = true;
    }
    if (!terms.empty() && !signedTerm) unexpected("a sign or ]");
    if (token_.kind == LpKind::number) {
      value *= token_.value;
      advance();
      if (token_.kind == LpKind::times) advance();
    }
    if (std::isinf(value)) fail("a quadratic coefficient is infinite");
    if (token_.kind != LpKind::name) unexpected("a column");
    const int column = draft_.addColumn(token_.text);
    advance();
    if (token_.kind == LpKind::power) {
      advance();
      if (token_.kind != LpKind::number || token_.value != 2) unexpected("2 after ^");
      terms.push_back({column, column, value});
    } else {
      if (token_.kind == LpKind::times) advance();
      if (token_.kind != LpKind::name) unexpected("^2 or a second column");
      terms.push_back({column, draft_.addColumn(token_.text), value});
    }
    advance();
  }
  advance();
  double scale = place == Place::objective ? 2 : 1;
  if (token_.kind == LpKind::over) {
    advance();
    if (token_.kind != LpKind::number || token_.value != 2) unexpected("2 after /");
    advance();
    scale /= 2;
  }
  const int row = place == Place::objective ? -1 : static_cast<int>(draft_.rowType.size());
  for (const Term& term : terms) {
    const double whole = term.first == term.second ? scale : scale / 2;
    draft_.quadraticOf(row).add(term.first, term.second, whole * term.value);
  }
}

// Whether a right-hand side ends before the token that starts a line. When it may continue there, a sign goes on
// with it; otherwise a relation that comes before a label or a section shows that a row without a name starts.
bool LpReader::endsBefore(bool mayContinue) const {
  if (token_.kind != LpKind::plus && token_.kind != LpKind::minus) return true;
  if (mayContinue) return false;
  LpLexer ahead = lexer_;
  for (;;) {
    const LpKind kind = ahead.next().kind;
    if (kind == LpKind::relation) return true;
    if (kind == LpKind::label || kind == LpKind::section || kind == LpKind::end) return false;
  }
}

Side LpReader::readSide(Place place, double sign, bool mayContinue) {
  Side side;
  for (;;) {
    if (place == Place::right && side.content && token_.firstOnLine && token_.kind != LpKind::relation &&
        endsBefore(mayContinue)) {
      return side;
    }
    double factor = sign;
    bool signedTerm = false;
    for (; token_.kind == LpKind::plus || token_.kind == LpKind::minus; advance()) {
      if (token_.kind == LpKind::minus) factor = -factor;
      signedTerm = true;
    }
    if (token_.kind == LpKind::arrow) unexpected("a term");
    if (token_.kind == LpKind::open && (signedTerm || !side.content)) {
      readQuadratic(place, factor);
      side.terms = side.content = true;
      continue;
    }
    const bool element = token_.kind == LpKind::number || token_.kind == LpKind::name;
    if (!element && signedTerm) unexpected("a number or a name after the sign");
    if (!element || (side.content && !signedTerm)) return side;
    if (token_.kind == LpKind::number) {
      factor *= token_.value;
      advance();
      const bool times = token_.kind == LpKind::times;
      if (times) advance();
      const bool apart = place == Place::right && token_.firstOnLine && !times;
      if (token_.kind != LpKind::name || apart) {
        if (times) unexpected("a name after *");
        if (std::isnan(side.constant += factor)) fail("infinity minus infinity");
        side.content = true;
        continue;
      }
    }
    addTerm(place, draft_.addColumn(token_.text), factor);
    side.terms = side.content = true;
    advance();
  }
}

void LpReader::readObjective() {
  if (token_.kind == LpKind::label) {
    draft_.objectiveName = token_.text;
    advance();
  }
  const Side side = readSide(Place::objective, 1, false);
  if (std::isinf(side.constant)) fail("the constant of the objective is infinite");
  draft_.constant = side.constant;
  if (token_.kind != LpKind::section && token_.kind != LpKind::end) unexpected("a term or a section");
}

void LpReader::readConstraint() {
  const int64_t line = token_.line;
  std::string_view name;
  if (token_.kind == LpKind::label) {
    name = token_.text;
    advance();
  }
  draft_.start.push_back(static_cast<int64_t>(draft_.index.size()));
  const Side left = readSide(Place::left, 1, false);
  if (token_.kind != LpKind::relation) unexpected("a term or a relation");
  char relation = token_.relation;
  advance();
  if (!left.content && name.empty()) file_.fail(line, "the left-hand side of the row is missing");
  // Where the left side is a constant, the columns of the right one stay as they are and the sides change places.
  const bool turned = left.content && !left.terms;
  Side right = readSide(Place::right, turned ? 1 : -1, turned);
  if (!right.content) unexpected("a right-hand side");
  if (!turned) right.constant = 0 - right.constant;  // no -0

  // "name: >= 2" is the other end of the row of that name, or a row without columns where there is none.
  if (!left.content && right.terms) file_.fail(line, "the left-hand side of the row is missing");
  if (!left.content && rows_.find(name) >= 0) {
    draft_.start.pop_back();
    changeEnd(name, line, relation, right.constant);
    return;
  }
  const double infinity = std::numeric_limits<double>::infinity();
  double value = right.constant - left.constant;
  const bool twice = token_.kind == LpKind::relation;
  if (turned && (right.terms || twice)) {
    relation = flipped(relation);
    value = left.constant - right.constant;
  }
  double lower = relation == '<' ? -infinity : value;
  double upper = relation == '>' ? infinity : value;
  if (twice) {
    const char second = token_.relation;
    if (!turned || second == '=' || second != flipped(relation)) {
      fail("a row with two relations needs constants outside and the same relation, <= or >=, twice");
    }
    advance();
    const Side last = readSide(Place::right, 1, false);
    if (last.terms || !last.content) unexpected("a constant after the second relation");
    (second == '<' ? upper : lower) = last.constant - right.constant;
    relation = 'R';
  }
  finishRow(name, line, lower, upper, relation);
  if (token_.kind == LpKind::arrow || token_.kind == LpKind::open) unexpected("a row");
}

// Sums that came out as zero go.
void LpReader::finishRow(std::string_view name, int64_t line, double lower, double upper, char relation) {
  auto to = static_cast<size_t>(draft_.start.back());
  for (size_t k = to; k < draft_.index.size(); ++k) {
    const int column = draft_.index[k];
    place_[column] = -1;
    if (draft_.value[k] == 0) continue;
    if (std::isinf(draft_.value[k])) file_.fail(line, "a coefficient of the row is infinite");
    draft_.index[to] = column;
    draft_.value[to++] = draft_.value[k];
  }
  draft_.index.resize(to);
  draft_.value.resize(to);
  if (std::isnan(lower) || std::isnan(upper))
    file_.fail(line, "the right-hand side of the row is infinity minus infinity");
  const auto row = static_cast<int>(draft_.rowType.size());
  if (!name.empty()) {
    if (rows_.find(name) >= 0) file_.fail(line, "a second row " + quoted(name));
    rows_.findOrAdd(name);
    named_.push_back(row);
  }
  draft_.addRow(name, 'N');
  setRow(row, line, lower, upper);
  if (relation == '=' && lower == upper) draft_.rowType[row] = 'E';
}

// The type of a row from its ends; a literal infinity frees that side, a number of 1e20 or more is kept.
void LpReader::setRow(int row, int64_t line, double lower, double upper) {
  char& type = draft_.rowType[row];
  double& rhs = draft_.rhs[row];
  double& range = draft_.range[row];
  const auto refuse = [&] { file_.fail(line, "an end of the row is infinite on the wrong side"); };
  if (lower >= TVLO_INFINITY || upper <= -TVLO_INFINITY) refuse();
  range = 0;
  if (std::isinf(lower) && std::isinf(upper)) {
    type = 'N';
    rhs = 0;
  } else if (std::isinf(lower) || (lower <= -TVLO_INFINITY && !std::isinf(upper))) {
    type = 'L';
    rhs = upper;
  } else if (upper >= TVLO_INFINITY) {
    type = 'G';
    rhs = lower;
  } else if (lower > upper) {
    file_.fail(line, "the lower end of the row is above the upper one");
  } else {
    type = 'R';
    rhs = upper;
    draft_.lower[row] = lower;
    range = neatDifference(upper, lower);
  }
}

void LpReader::changeEnd(std::string_view name, int64_t line, char relation, double value) {
  const int row = named_[rows_.find(name)];
  const double infinity = std::numeric_limits<double>::infinity();
  const char type = draft_.rowType[row];
  const double rhs = draft_.rhs[row];
  double lower = type == 'L' || type == 'N' ? -infinity : type == 'R' ? draft_.lower[row] : rhs;
  double upper = type == 'G' || type == 'N' ? infinity : rhs;
  if (relation != '<') lower = value;
  if (relation != '>') upper = value;
  setRow(row, line, lower, upper);
  if (relation == '=') draft_.rowType[row] = 'E';
}

double LpReader::readValue() {
  double factor = 1;
  for (; token_.kind == LpKind::plus || token_.kind == LpKind::minus; advance()) {
    if (token_.kind == LpKind::minus) factor = -factor;
  }
  if (token_.kind != LpKind::number) unexpected("a number");
  factor *= token_.value;
  advance();
  return factor;
}

void LpReader::setBound(int64_t line, int column, char relation, double value) {
  const auto of = [&] { return " of column " + quoted(draft_.columns.name(column)); };
  if (relation == '=' && std::abs(value) >= TVLO_INFINITY) file_.fail(line, "infinity is no fixed value" + of());
  if (relation == '>' && value >= TVLO_INFINITY) file_.fail(line, "plus infinity is no lower bound" + of());
  if (relation == '<' && value <= -TVLO_INFINITY) file_.fail(line, "minus infinity is no upper bound" + of());
  if (relation != '<') {
    draft_.lb[column] = std::max(value, -TVLO_INFINITY);
    draft_.traits[column].lowerGiven = true;
  }
  if (relation != '>') draft_.ub[column] = std::min(value, TVLO_INFINITY);
}

void LpReader::readBound() {
  const int64_t line = token_.line;
  const bool valueFirst = token_.kind != LpKind::name;
  double value = 0;
  char relation = 0;
  if (valueFirst) {
    value = readValue();
    if (token_.kind != LpKind::relation) unexpected("a relation");
    relation = flipped(token_.relation);
    advance();
    if (token_.kind != LpKind::name) unexpected("a column");
  }
  const int column = draft_.addColumn(token_.text);
  advance();
  if (valueFirst) {
    setBound(line, column, relation, value);
    if (token_.kind != LpKind::relation) return;
  } else if (token_.kind == LpKind::name && lowerCase(token_.text) == "free") {
    advance();
    draft_.lb[column] = -TVLO_INFINITY;
    draft_.ub[column] = TVLO_INFINITY;
    draft_.traits[column].lowerGiven = true;
    return;
  }
  if (token_.kind != LpKind::relation) unexpected("a relation or free");
  relation = token_.relation;
  advance();
  setBound(line, column, relation, readValue());
}

void LpReader::readListed(LpSection section) {
  if (token_.kind != LpKind::name) unexpected("a column");
  const int column = draft_.addColumn(token_.text);
  ColumnTraits& traits = draft_.traits[column];
  if (section == LpSection::semi) {
    traits.semi = true;
  } else if (section == LpSection::integers) {
    traits.integer = true;
  } else {
    traits.binary = true;
  }
  advance();
}

}  // namespace

Draft readLp(const FileText& file) { return LpReader(file).read(); }

}  // namespace tvlo
