#include "io/lp_writer.h"

#include <algorithm>
#include <cmath>

#include "io/lp_lexer.h"
#include "io/numbers.h"
#include "io/output_names.h"
#include "io/write_checks.h"

namespace tvlo {

namespace {

class LpWriter {
 public:
  LpWriter(const Model& model, OutputFile& out)
      : model_(model),
        out_(out),
        rows_(model.rowNames(), 'R', isLpName),
        columns_(model.columnNames(), 'C', isLpName) {}
  void write();

 private:
  void startLine() { lineStart_ = out_.text().size(); }
  void endLine() {
    out_.text() += '\n';
    out_.drain();
    startLine();
  }
  // A term or, with column -1, a constant.
  void term(double coef, int column, bool first) { product(coef, column, -1, first); }
  // With `partner`, the column's product with another one or its square.
  void product(double coef, int column, int partner, bool first);
  void quadratic(const QuadraticForm& form, double offDiagonal, bool first);
  void number(double value);
  bool naturalOrder() const;
  void writeObjective();
  void writeRow(int row);
  void writeBounds(int column);
  void writeList(const char* section, std::string_view types);

  const Model& model_;
  OutputFile& out_;
  OutputNames rows_, columns_;
  size_t lineStart_ = 0;
};

void LpWriter::product(double coef, int column, int partner, bool first) {
  constexpr size_t kWidth = 100;
  std::string& text = out_.text();
  if (text.size() - lineStart_ > kWidth) {
    text += '\n';
    out_.drain();
    startLine();
    text += "  ";
  }
  if (!first || std::signbit(coef)) text += std::signbit(coef) ? " -" : " +";
  const double magnitude = std::abs(coef);
  if (column < 0 || magnitude != 1) {
    text += ' ';
    appendNumber(text, magnitude);
  }
  if (column >= 0) (text += ' ') += columns_[column];
  if (partner >= 0) (text += partner == column ? " ^" : " * ") += partner == column ? "2" : columns_[partner];
}

void LpWriter::quadratic(const QuadraticForm& form, double offDiagonal, bool first) {
  std::string& text = out_.text();
  text += first ? " [" : " + [";
  first = true;
  for (const QuadraticEntry& e : form.entries()) {
    product(e.first == e.second ? e.value : offDiagonal * e.value, e.first, e.second, first);
    first = false;
  }
  text += " ]";
}

void LpWriter::number(double value) {
  if (std::abs(value) < TVLO_INFINITY) return appendNumber(out_.text(), value);
  out_.text() += value < 0 ? "-inf" : "inf";
}

void LpWriter::write() {
  std::string& text = out_.text();
  if (!model_.name().empty()) text += "\\Problem name: " + onOneLine(model_.name()) + '\n';
  text += model_.sense() < 0 ? "Maximize\n" : "Minimize\n";
  startLine();
  writeObjective();
  text += "Subject To\n";
  startLine();
  for (int i = 0; i < model_.rows(); ++i) writeRow(i);
  text += "Bounds\n";
  startLine();
  for (int j = 0; j < model_.columns(); ++j) writeBounds(j);
  writeList("General", "IR");
  writeList("Binary", "B");
  writeList("Semi-Continuous", "SR");
  text += "End\n";
}

// Whether columns come in their order where the objective names only those with a cost.
bool LpWriter::naturalOrder() const {
  int next = 0;
  bool natural = true;
  const auto meet = [&](int column) {
    natural = natural && column <= next;
    next += static_cast<int>(column == next);
  };
  const auto meetPairs = [&](const QuadraticForm& form) {
    for (const QuadraticEntry& e : form.entries()) {
      meet(e.first);
      meet(e.second);
    }
  };
  for (int j = 0; j < model_.columns(); ++j) {
    if (model_.objective()[j] != 0) meet(j);
  }
  if (next == 0) meet(0);  // without any cost the first column stands there
  meetPairs(model_.quadraticObjective());
  const SparseMatrix& matrix = model_.byRows();
  for (int i = 0; i < model_.rows() && natural; ++i) {
    for (int64_t k = matrix.start[i]; k < matrix.start[i + 1]; ++k) meet(matrix.index[k]);
    if (const QuadraticForm* const form = model_.rowQuadratic(i)) meetPairs(*form);
  }
  return natural && next == model_.columns();
}

void LpWriter::writeObjective() {
  std::string& text = out_.text();
  if (isLpName(model_.objectiveName())) ((text += ' ') += model_.objectiveName()) += ':';
  const bool all = model_.columns() > 0 && !naturalOrder();
  bool first = true;
  for (int j = 0; j < model_.columns(); ++j) {
    const double cost = model_.objective()[j];
    if (cost == 0 && !all) continue;
    term(cost, j, first);
    first = false;
  }
  if (first && model_.columns() > 0) {
    term(0, 0, first);
    first = false;
  }
  if (!model_.quadraticObjective().empty()) {
    quadratic(model_.quadraticObjective(), 2, first);
    text += " / 2";
    first = false;
  }
  if (model_.constant() != 0) term(model_.constant(), -1, first);
  endLine();
}

void LpWriter::writeRow(int row) {
  std::string& text = out_.text();
  ((text += ' ') += rows_[row]) += ':';
  const char type = model_.rowTypes()[row];
  const Bounds ends = model_.rowBounds(row);
  const bool twoEnds = type == 'R' && ends.lower > -TVLO_INFINITY;
  if (twoEnds) {
    text += ' ';
    number(ends.lower);
    text += " <=";
  }
  const SparseMatrix& matrix = model_.byRows();
  bool first = true;
  for (int64_t k = matrix.start[row]; k < matrix.start[row + 1]; ++k) {
    term(matrix.value[k], matrix.index[k], first);
    first = false;
  }
  if (const QuadraticForm* const form = model_.rowQuadratic(row)) {
    quadratic(*form, 2, first);
  } else if (first) {
    term(0, model_.columns() > 0 ? 0 : -1, first);
  }
  if (type == 'N') {
    text += " >= -inf";
  } else {
    text += type == 'G' ? " >= " : type == 'E' ? " = " : " <= ";
    appendNumber(text, model_.rhs()[row]);
  }
  endLine();
}

void LpWriter::writeBounds(int column) {
  const char type = model_.columnTypes()[column];
  const double upper = model_.upper()[column];
  const bool semi = type == 'S' || type == 'R';
  const double lower = semi ? model_.semiLower(column) : model_.lower()[column];
  const bool lowerGiven = !semi || lower != 0 || model_.limit(column) > -TVLO_INFINITY;
  if (type == 'B' && lower == 0 && upper == 1) return;
  if ((!semi || !lowerGiven) && lower == 0 && upper >= TVLO_INFINITY) return;
  std::string& text = out_.text();
  const std::string& name = columns_[column];
  text += ' ';
  if (lower <= -TVLO_INFINITY && upper >= TVLO_INFINITY) {
    text += name + " free";
  } else if (lower == upper && lowerGiven) {
    text += name + " = ";
    number(upper);
  } else if (upper >= TVLO_INFINITY) {
    text += name + " >= ";
    number(lower);
  } else {
    if (lowerGiven) {
      number(lower);
      text += " <= ";
    }
    text += name + " <= ";
    number(upper);
  }
  endLine();
}

void LpWriter::writeList(const char* section, std::string_view types) {
  std::string& text = out_.text();
  bool started = false;
  for (int j = 0; j < model_.columns(); ++j) {
    if (types.find(model_.columnTypes()[j]) == std::string_view::npos) continue;
    if (!started) (text += section) += '\n';
    started = true;
    (text += ' ') += columns_[j];
    endLine();
  }
}

}  // namespace

void writeLp(const Model& model, OutputFile& out) { LpWriter(model, out).write(); }

}  // namespace tvlo
