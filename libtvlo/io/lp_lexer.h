// The tokens of a file in LP format.
//
// The names of sections count as such only where they start a line, belong there (the sense at the start, "subject
// to" after the objective) and are not followed by something that makes them a name (: < > = *). Names may hold
// everything but blanks and + - * ^ < > = : [ ] \ , not start with a digit, a point or /, and hold [...] where no
// blank is before it. A backslash starts a comment. A lexer is cheap to copy, for looking ahead.
#pragma once

#include <cstdint>
#include <string_view>

#include "io/text.h"

namespace tvlo {

enum class LpSection { start, maximize, minimize, constraints, bounds, integers, binaries, semi, unsupported, end };
enum class LpKind {
  end,  // of the file
  section,
  label,  // a name and its colon
  name,
  number,  // unsigned; also inf and infinity
  plus,
  minus,
  times,
  relation,  // '<', '>' or '='
  arrow,     // ->
  open,      // [
  close,     // ]
  power,     // ^
  over,      // /
  other      // a single character that belongs nowhere here
};

struct LpToken {
  LpKind kind = LpKind::end;
  std::string_view text;
  double value = 0;   // of numbers
  char relation = 0;  // of relations
  LpSection section = LpSection::start;
  bool firstOnLine = false;
  int64_t line = 1;
};

class LpLexer {
 public:
  explicit LpLexer(std::string_view text) : at_(text.data()), end_(at_ + text.size()) {}
  LpToken next();
  std::string_view problemName() const { return problemName_; }  // from a comment "\Problem name: ..."

 private:
  bool skipBlanks();  // and comments; whether a line started
  bool readSection(LpToken& token);
  void readName(LpToken& token);
  void skipComment();

  const char* at_;
  const char* end_;
  int64_t line_ = 1;
  bool atStart_ = true;  // of the file
  LpSection section_ = LpSection::start;
  std::string_view problemName_;
};

// Whether a name can be written in LP format: one token, and not one that stands for something else there.
bool isLpName(std::string_view name);

}  // namespace tvlo
