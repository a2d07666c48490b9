#include "io/lp_lexer.h"

#include <algorithm>
#include <limits>

#include "io/numbers.h"

namespace tvlo {

namespace {

struct SectionName {
  const char* first;
  const char* second;  // the next word, if any
  LpSection section;
};

constexpr SectionName kSections[] = {
    {"maximize", nullptr, LpSection::maximize},
    {"maximise", nullptr, LpSection::maximize},
    {"maximum", nullptr, LpSection::maximize},
    {"max", nullptr, LpSection::maximize},
    {"minimize", nullptr, LpSection::minimize},
    {"minimise", nullptr, LpSection::minimize},
    {"minimum", nullptr, LpSection::minimize},
    {"min", nullptr, LpSection::minimize},
    {"subject", "to", LpSection::constraints},
    {"such", "that", LpSection::constraints},
    {"st", nullptr, LpSection::constraints},
    {"st.", nullptr, LpSection::constraints},
    {"s.t.", nullptr, LpSection::constraints},
    {"bounds", nullptr, LpSection::bounds},
    {"bound", nullptr, LpSection::bounds},
    {"general", "constraints", LpSection::unsupported},
    {"generals", nullptr, LpSection::integers},
    {"general", nullptr, LpSection::integers},
    {"gens", nullptr, LpSection::integers},
    {"gen", nullptr, LpSection::integers},
    {"integers", nullptr, LpSection::integers},
    {"integer", nullptr, LpSection::integers},
    {"ints", nullptr, LpSection::integers},
    {"int", nullptr, LpSection::integers},
    {"binaries", nullptr, LpSection::binaries},
    {"binary", nullptr, LpSection::binaries},
    {"bins", nullptr, LpSection::binaries},
    {"bin", nullptr, LpSection::binaries},
    {"semi-continuous", nullptr, LpSection::semi},
    {"semis", nullptr, LpSection::semi},
    {"semi", nullptr, LpSection::semi},
    {"sos", nullptr, LpSection::unsupported},
    {"sos1", nullptr, LpSection::unsupported},
    {"sos2", nullptr, LpSection::unsupported},
    {"lazy", "constraints", LpSection::unsupported},
    {"user", "cuts", LpSection::unsupported},
    {"pwlobj", nullptr, LpSection::unsupported},
    {"end", nullptr, LpSection::end},
};

bool endsName(char c) {
  return isBlank(c) || c == '\n' || std::string_view("+-*^<>=:[]\\").find(c) != std::string_view::npos;
}

bool isInfinity(std::string_view name) {
  if (name.size() != 3 && name.size() != 8) return false;
  const std::string lower = lowerCase(name);
  return lower == "inf" || lower == "infinity";
}

}  // namespace

void LpLexer::skipComment() {
  const std::string_view rest(at_, static_cast<size_t>(end_ - at_));
  if (rest.starts_with("\\*")) {  // \* ... *\ over several lines
    const size_t close = std::min(rest.find("*\\", 2), rest.size());
    line_ += std::count(at_, at_ + close, '\n');
    at_ += std::min(close + 2, rest.size());
    return;
  }
  const std::string_view comment = rest.substr(0, rest.find('\n'));
  at_ += comment.size();
  const std::string_view text = trimmed(comment.substr(1));
  constexpr std::string_view kName = "Problem name:";
  if (section_ == LpSection::start && text.starts_with(kName)) problemName_ = trimmed(text.substr(kName.size()));
}

bool LpLexer::skipBlanks() {
  bool newLine = atStart_;
  atStart_ = false;
  for (; at_ != end_; ++at_) {
    while (at_ != end_ && *at_ == '\\') skipComment();
    if (at_ == end_) break;
    if (*at_ == '\n') {
      newLine = true;
      ++line_;
    } else if (!isBlank(*at_)) {
      break;
    }
  }
  return newLine;
}

bool LpLexer::readSection(LpToken& token) {
  const auto word = [&](const char* from) {
    const char* to = from;
    while (to != end_ && (*to == '-' || !endsName(*to))) ++to;
    return std::string_view(from, static_cast<size_t>(to - from));
  };
  const auto blanks = [&](const char* from) {
    while (from != end_ && isBlank(*from)) ++from;
    return from;
  };
  const std::string_view first = word(at_);
  if (first.size() > 15) return false;
  const std::string lower = lowerCase(first);
  for (const SectionName& name : kSections) {
    if (lower != name.first) continue;
    const bool sense = name.section == LpSection::maximize || name.section == LpSection::minimize;
    const bool inObjective = section_ == LpSection::maximize || section_ == LpSection::minimize;
    if (sense != (section_ == LpSection::start)) continue;
    if (name.section == LpSection::constraints && !inObjective) continue;
    const char* to = at_ + first.size();
    if (name.second != nullptr) {
      const std::string_view second = word(blanks(to));
      if (lowerCase(second) != name.second) continue;
      to = second.data() + second.size();
    }
    const char* const after = blanks(to);
    if (after != end_ && std::string_view(":<>=*^").find(*after) != std::string_view::npos) {
      if (name.second == nullptr || *after != ':') continue;
      to = after + 1;
    }
    token.kind = LpKind::section;
    token.section = section_ = name.section;
    token.text = {at_, static_cast<size_t>(to - at_)};
    at_ = to;
    return true;
  }
  return false;
}

void LpLexer::readName(LpToken& token) {
  const char* const begin = at_;
  int open = 0;
  while (at_ != end_) {
    if (*at_ == '[' && at_ != begin) {
      ++open;
    } else if (*at_ == ']' && open > 0) {
      --open;
    } else if (endsName(*at_) && (open == 0 || isBlank(*at_) || *at_ == '\n')) {
      break;
    }
    ++at_;
  }
  token.text = {begin, static_cast<size_t>(at_ - begin)};
  const char* after = at_;
  while (after != end_ && isBlank(*after)) ++after;
  if (after != end_ && *after == ':') {
    token.kind = LpKind::label;
    at_ = after + 1;
  } else if (isInfinity(token.text)) {
    token.kind = LpKind::number;
    token.value = std::numeric_limits<double>::infinity();
  } else {
    token.kind = LpKind::name;
  }
}

LpToken LpLexer::next() {
  LpToken token;
  token.firstOnLine = skipBlanks();
  token.line = line_;
  if (at_ == end_) return token;
  if (token.firstOnLine && readSection(token)) return token;
  const char c = *at_;
  const char following = at_ + 1 != end_ ? at_[1] : ' ';
  size_t length = 1;
  if (c == '<' || c == '>' || c == '=') {
    token.kind = LpKind::relation;
    token.relation = c == '=' && (following == '<' || following == '>') ? following : c;
    if (token.relation != c || ((c == '<' || c == '>') && following == '=')) length = 2;
  } else if (c == '-' && following == '>') {
    token.kind = LpKind::arrow;
    length = 2;
  } else if (c == '+' || c == '-') {
    token.kind = c == '+' ? LpKind::plus : LpKind::minus;
  } else if (c == '*') {
    token.kind = LpKind::times;
  } else if (c == '[') {
    token.kind = LpKind::open;
  } else if (c == ']' || c == '^' || c == '/') {
    token.kind = c == ']' ? LpKind::close : c == '^' ? LpKind::power : LpKind::over;
  } else if ((c >= '0' && c <= '9') || (c == '.' && following >= '0' && following <= '9')) {
    token.kind = LpKind::number;
    token.value = scanNumber({at_, static_cast<size_t>(end_ - at_)}, length);
  } else if (endsName(c)) {
    token.kind = LpKind::other;
  } else {
    readName(token);
    return token;
  }
  token.text = {at_, length};
  at_ += length;
  return token;
}

bool isLpName(std::string_view name) {
  const auto control = [](char c) { return static_cast<unsigned char>(c) < ' '; };
  if (!isUtf8(name) || std::any_of(name.begin(), name.end(), control)) return false;
  if (std::count(name.begin(), name.end(), '[') != std::count(name.begin(), name.end(), ']')) return false;
  LpLexer lexer(name);
  const LpToken token = lexer.next();
  if (token.kind != LpKind::name || token.text != name) return false;
  const std::string lower = lowerCase(name);
  return lower != "free" && std::none_of(std::begin(kSections), std::end(kSections),
                                         [&](const SectionName& section) { return lower == section.first; });
}

}  // namespace tvlo
