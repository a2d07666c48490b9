#include "io/mps_formulas.h"

#include <cmath>
#include <limits>

#include "io/numbers.h"

namespace tvlo {

namespace {

struct VariableKey {
  const char* name;
  double NlVariable::* real;
  int NlVariable::* whole;
};
constexpr VariableKey kVariableKeys[] = {
    {"INITSTEPBOUND", &NlVariable::initialStepBound, nullptr},
    {"STEPBOUND", &NlVariable::stepBound, nullptr},
    {"PENALTY", &NlVariable::penalty, nullptr},
    {"DAMP", &NlVariable::damp, nullptr},
    {"VALUE", &NlVariable::value, nullptr},
    {"TOLSET", nullptr, &NlVariable::toleranceSet},
    {"HISTORY", nullptr, &NlVariable::history},
    {"CONVERGED", nullptr, &NlVariable::converged},
    {"TYPE", nullptr, &NlVariable::type},
};
constexpr char kInitial[] = "INITIAL";
constexpr char kDetermining[] = "DETROW";

class LineReader {
 public:
  LineReader(Draft& draft, const MpsLines& lines, const Lookup& rows, int objective)
      : draft_(draft), lines_(lines), rows_(rows), objective_(objective), rest_(lines.line()) {}

  void formula() {
    const int row = this->row();
    const std::string_view factorOf = word("the column");
    const int column = factorOf == "1" ? kConstantColumn : this->column(factorOf);
    const double factor = number();
    Tokens run;
    for (std::string_view text; !(text = next()).empty();) token(text, run);
    run.add(TSLP_TOKEN_END, 0);
    const std::vector<int> type(run.type.begin(), run.type.end());
    try {
      draft_.formulas.add({1, &row, &column, &factor, nullptr, true, type.data(), run.value.data()},
                          static_cast<int>(draft_.rowType.size()), draft_.columns.size());
    } catch (const Error& error) {
      if (error.code() != TVLO_ERR_ARGUMENT) throw;
      lines_.fail(error.what());
    }
  }

  void variable() {
    const std::string_view name = word("the column");
    const int at = draft_.columns.find(name);
    if (at < 0) lines_.fail("unknown column " + quoted(name));
    NlVariable& variable = draft_.formulas.variables[at];
    const std::string_view key = word("the key");
    if (key == kDetermining) {
      variable.determiningRow = row();
    } else if (key == kInitial) {
      variable.initial = number();
    } else {
      const VariableKey* found = nullptr;
      for (const VariableKey& candidate : kVariableKeys) {
        if (key == candidate.name) found = &candidate;
      }
      if (found == nullptr) lines_.fail("unknown key " + quoted(key));
      if (found->real != nullptr) {
        variable.*found->real = number();
      } else {
        variable.*found->whole = whole();
      }
    }
    end();
  }

  void rowStatus() {
    const int at = row();
    draft_.formulas.rowStatus[at] = whole();
    end();
  }

 private:
  std::string_view next() {
    rest_ = trimmed(rest_);
    size_t length = 0;
    while (length < rest_.size() && !isBlank(rest_[length])) ++length;
    const std::string_view found = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return found;
  }
  std::string_view word(const char* what) {
    const std::string_view found = next();
    if (found.empty()) lines_.fail(std::string(what) + " is missing");
    return found;
  }
  void end() {
    if (const std::string_view more = next(); !more.empty()) lines_.fail("unexpected " + quoted(more));
  }
  double number() {
    const std::string_view text = word("a number");
    const auto value = parseNumber(text);
    if (!value || !std::isfinite(*value)) lines_.fail("expected a finite number, found " + quoted(text));
    return *value;
  }
  int whole() {
    const double value = number();
    if (value != std::floor(value) || std::abs(value) > std::numeric_limits<int>::max()) {
      lines_.fail("expected a whole number");
    }
    return static_cast<int>(value);
  }
  int row() {
    const std::string_view name = word("the row");
    const int at = rows_.find(name);
    if (at < 0) lines_.fail("unknown row " + quoted(name));
    if (at == objective_) lines_.fail("the objective can't have formulas");
    return at - static_cast<int>(objective_ >= 0 && at > objective_);
  }
  int column(std::string_view text) {
    if (text.front() != '@') lines_.fail("expected @ and a column, found " + quoted(text));
    const int at = draft_.columns.find(text.substr(1));
    if (at < 0) lines_.fail("unknown column " + quoted(text.substr(1)));
    return at;
  }
  void token(std::string_view text, Tokens& run) {
    if (text.front() == '@') return run.add(TSLP_TOKEN_COLUMN, column(text));
    if (text == "(") return run.add(TSLP_TOKEN_MARKER, 0);
    if (text == "neg") return run.add(TSLP_TOKEN_OPERATOR, TSLP_OPERATOR_UMINUS);
    for (int code = TSLP_OPERATOR_POWER; code <= TSLP_OPERATOR_MINUS; ++code) {
      if (text == findOperator(code)->sign) return run.add(TSLP_TOKEN_OPERATOR, code);
    }
    if (const auto value = parseNumber(text)) return run.add(TSLP_TOKEN_CONSTANT, *value);
    const FunctionRow* const function = findFunction(std::string(text).c_str());
    if (function == nullptr) lines_.fail("unknown word " + quoted(text) + " in a formula");
    run.add(TSLP_TOKEN_FUNCTION, function->code);
  }

  Draft& draft_;
  const MpsLines& lines_;
  const Lookup& rows_;
  int objective_;
  std::string_view rest_;
};

void appendToken(std::string& text, TokenView run, int64_t k, const OutputNames& columns) {
  text += ' ';
  switch (run.type[k]) {
    case TSLP_TOKEN_CONSTANT:
      appendNumber(text, run.value[k]);
      break;
    case TSLP_TOKEN_COLUMN:
      (text += '@') += columns[run.code(k)];
      break;
    case TSLP_TOKEN_MARKER:
      text += '(';
      break;
    case TSLP_TOKEN_OPERATOR:
      text += run.code(k) == TSLP_OPERATOR_UMINUS ? "neg" : findOperator(run.code(k))->sign;
      break;
    default:
      text += findFunction(run.code(k))->name;
  }
}

void writeVariable(const NlVariable& variable, const std::string& column, const OutputNames& rows, OutputFile& out) {
  std::string& text = out.text();
  const auto start = [&](const char* key) { ((((text += ' ') += column) += "  ") += key) += "  "; };
  const auto real = [&](const char* key, double value) {
    start(key);
    appendNumber(text, value);
    text += '\n';
  };
  const NlVariable standard;
  if (variable.determiningRow >= 0) {
    start(kDetermining);
    (text += rows[variable.determiningRow]) += '\n';
  }
  if (variable.initial) real(kInitial, *variable.initial);
  for (const VariableKey& key : kVariableKeys) {
    const auto valueOf = [&](const NlVariable& v) { return key.real != nullptr ? v.*key.real : v.*key.whole; };
    if (valueOf(variable) != valueOf(standard)) real(key.name, valueOf(variable));
  }
  out.drain();
}

}  // namespace

void readFormulaLine(FormulaSection section, Draft& draft, const MpsLines& lines, const Lookup& rows, int objective) {
  LineReader reader(draft, lines, rows, objective);
  switch (section) {
    case FormulaSection::formulas:
      return reader.formula();
    case FormulaSection::variables:
      return reader.variable();
    default:
      return reader.rowStatus();
  }
}

bool hasFormulaSections(const Model& model) {
  const Formulas& formulas = model.formulas();
  return !formulas.empty() || !formulas.variables.empty() || !formulas.rowStatus.empty();
}

void requireFormulasWritable(const Model& model) {
  const Formulas& formulas = model.formulas();
  for (const Formulas::Coefficient& coef : formulas.coefficients()) {
    if (!Formulas::isLive(coef)) continue;
    const TokenView run = formulas.tokens(coef);
    for (int64_t k = 0; k < run.size; ++k) {
      if (run.type[k] != TSLP_TOKEN_USER) continue;
      throw Error(TVLO_ERR_UNSUPPORTED, "Row " + quoted(model.rowNames().get(coef.row)) + " calls user function " +
                                            quoted(formulas.functions.find(run.code(k))->name) +
                                            ", which no file can hold");
    }
  }
}

void writeFormulaSections(const Model& model, const OutputNames& rows, const OutputNames& columns, OutputFile& out) {
  const Formulas& formulas = model.formulas();
  std::string& text = out.text();
  if (!formulas.empty()) text += "FORMULAS\n";
  for (const Formulas::Coefficient& coef : formulas.coefficients()) {
    if (!Formulas::isLive(coef)) continue;
    ((text += ' ') += rows[coef.row]) += "  ";
    text += coef.column == kConstantColumn ? std::string("1") : "@" + columns[coef.column];
    text += "  ";
    appendNumber(text, coef.factor);
    text += ' ';
    const TokenView run = formulas.tokens(coef);
    for (int64_t k = 0; k < run.size; ++k) appendToken(text, run, k, columns);
    text += '\n';
    out.drain();
  }
  if (!formulas.variables.empty()) text += "VARIABLES\n";
  for (const auto& [column, variable] : formulas.variables) writeVariable(variable, columns[column], rows, out);
  if (!formulas.rowStatus.empty()) text += "ROWSTATUS\n";
  for (const auto& [row, status] : formulas.rowStatus) {
    (((text += ' ') += rows[row]) += "  ") += std::to_string(status);
    text += '\n';
    out.drain();
  }
}

}  // namespace tvlo
