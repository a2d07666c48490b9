#include "io/mps_writer.h"

#include <cmath>

#include "io/mps_formulas.h"
#include "io/mps_ranges.h"
#include "io/numbers.h"
#include "io/output_names.h"
#include "io/write_checks.h"

namespace tvlo {

namespace {

class MpsWriter {
 public:
  MpsWriter(const Model& model, MpsForm form, OutputFile& out)
      : model_(model),
        fixed_(form == MpsForm::fixed),
        out_(out),
        rows_(model.rowNames(), 'R', fixed_ ? fixedMpsHolds : freeMpsHolds, &model.objectiveName()),
        columns_(model.columnNames(), 'C', fixed_ ? fixedMpsHolds : freeMpsHolds) {}

  void write();

 private:
  static bool marked(char type) { return type == 'I'; }

  void section(const char* name) { (out_.text() += name) += '\n'; }
  // A data line; names of sets and columns are padded in both forms, which costs little and reads well.
  void line(std::string_view type, std::string_view name, std::string_view target, const double* value) {
    value == nullptr ? line(type, name, target) : line(type, name, target, Digits(*value).view());
  }
  void line(std::string_view type, std::string_view name, std::string_view target, std::string_view number = {});
  void pad(size_t begin, size_t width);
  void writeRows();
  void writeColumns();
  void writeRhs();
  void writeRanges();
  void writeBounds();
  void writeBoundsOf(int column);
  void writeQuadratics();
  void bound(std::string_view type, int column) { boundLine(type, column, nullptr); }
  void bound(std::string_view type, int column, double value) { boundLine(type, column, &value); }
  void boundLine(std::string_view type, int column, const double* value);

  const Model& model_;
  bool fixed_;
  OutputFile& out_;
  OutputNames rows_, columns_;
  bool boundsStarted_ = false;
};

void MpsWriter::pad(size_t begin, size_t width) {
  std::string& text = out_.text();
  const size_t used = text.size() - begin;
  text.append(used < width ? width - used : 0, ' ');
}

void MpsWriter::line(std::string_view type, std::string_view name, std::string_view target, std::string_view number) {
  std::string& text = out_.text();
  size_t begin = text.size();
  text += ' ';
  text += type;
  pad(begin, 4);
  begin = text.size();
  text += name;
  if (!target.empty()) {
    pad(begin, 8);
    text += "  ";
    begin = text.size();
    text += target;
  }
  if (!number.empty()) {
    pad(begin, 8);
    (text += "  ") += number;
  }
  text += '\n';
  out_.drain();
}

void MpsWriter::write() {
  std::string& text = out_.text();
  text += "NAME";
  if (!model_.name().empty()) (text += "          ") += onOneLine(model_.name());
  text += '\n';
  if (model_.sense() < 0) text += "OBJSENSE\n    MAX\n";
  writeRows();
  writeColumns();
  writeRhs();
  writeRanges();
  writeBounds();
  writeQuadratics();
  writeFormulaSections(model_, rows_, columns_, out_);
  section("ENDATA");
}

void MpsWriter::writeRows() {
  section("ROWS");
  line("N", rows_.objective(), {}, nullptr);
  for (int i = 0; i < model_.rows(); ++i) {
    const char type = model_.rowTypes()[i] == 'R' ? mpsRange(model_, i).type : model_.rowTypes()[i];
    line({&type, 1}, rows_[i], {}, nullptr);
  }
}

void MpsWriter::writeColumns() {
  section("COLUMNS");
  const SparseMatrix& matrix = model_.byColumns();
  bool integers = false;
  int markers = 0;
  const auto marker = [&](const char* kind) {
    out_.text() += "    " + format("M%-7d", markers++ % 1000000) + "  'MARKER'                 '" + kind + "'\n";
    integers = !integers;
  };
  for (int j = 0; j < model_.columns(); ++j) {
    if (marked(model_.columnTypes()[j]) != integers) marker(integers ? "INTEND" : "INTORG");
    const double cost = model_.objective()[j];
    const int64_t end = matrix.start[j + 1];
    // A column without any coefficient exists by a cost of 0.
    if (cost != 0 || matrix.start[j] == end) line({}, columns_[j], rows_.objective(), &cost);
    for (int64_t k = matrix.start[j]; k < end; ++k) line({}, columns_[j], rows_[matrix.index[k]], &matrix.value[k]);
  }
  if (integers) marker("INTEND");
}

void MpsWriter::writeRhs() {
  section("RHS");
  const double minusConstant = -model_.constant();
  if (minusConstant != 0) line({}, "RHS", rows_.objective(), &minusConstant);
  for (int i = 0; i < model_.rows(); ++i) {
    const double rhs = model_.rowTypes()[i] == 'R' ? mpsRange(model_, i).rhs : model_.rhs()[i];
    if (rhs != 0) line({}, "RHS", rows_[i], &rhs);
  }
}

void MpsWriter::writeRanges() {
  bool started = false;
  for (int i = 0; i < model_.rows(); ++i) {
    if (model_.rowTypes()[i] != 'R' || model_.rowBounds(i).lower <= -TVLO_INFINITY) continue;
    if (!started) section("RANGES");
    started = true;
    line({}, "RNG", rows_[i], mpsRange(model_, i).width);
  }
}

void MpsWriter::boundLine(std::string_view type, int column, const double* value) {
  if (!boundsStarted_) section("BOUNDS");
  boundsStarted_ = true;
  line(type, "BND", columns_[column], value);
}

void MpsWriter::writeBounds() {
  for (int j = 0; j < model_.columns(); ++j) writeBoundsOf(j);
}

void MpsWriter::writeBoundsOf(int j) {
  const double lower = model_.lower()[j];
  const double upper = model_.upper()[j];
  const double limit = model_.limit(j);
  const char type = model_.columnTypes()[j];
  if (type == 'S' || type == 'R') {
    if (limit > -TVLO_INFINITY || (lower > -TVLO_INFINITY && (lower != 0 || upper < 0))) {
      bound("LO", j, model_.semiLower(j));
    } else if (lower != 0) {
      bound("MI", j);
    }
    const bool positive = upper > 0 && upper < TVLO_INFINITY;
    bound(type == 'S' ? "SC" : "SI", j, positive ? upper : 1e30);
    if (upper <= 0) bound("UP", j, upper);  // an upper bound of 0 on the SC line means none
    return;
  }
  if (type == 'P') bound("PI", j, limit);
  if (type == 'B') {
    bound("BV", j);
    if (lower == 0 && upper == 1) return;
  }
  const bool integer = type == 'I';
  if (lower == upper) return bound("FX", j, lower);
  if (lower <= -TVLO_INFINITY && upper >= TVLO_INFINITY) return bound("FR", j);
  if (lower <= -TVLO_INFINITY) {
    bound("MI", j);
  } else if (lower != 0 || upper < 0) {
    bound("LO", j, lower);
  }
  if (upper < TVLO_INFINITY) {
    bound("UP", j, upper);
  } else if (integer && lower == 0) {
    bound("PL", j);  // without any bound it would be binary
  }
}

void MpsWriter::writeQuadratics() {
  if (!model_.quadraticObjective().empty()) section("QUADOBJ");
  for (const QuadraticEntry& e : model_.quadraticObjective().entries()) {
    line({}, columns_[e.first], columns_[e.second], &e.value);
  }
  for (const RowQuadratic& row : model_.quadraticRows()) {
    section(("QCMATRIX   " + rows_[row.row]).c_str());
    for (const QuadraticEntry& e : row.form.entries()) {
      line({}, columns_[e.first], columns_[e.second], &e.value);
      if (e.first != e.second) line({}, columns_[e.second], columns_[e.first], &e.value);
    }
  }
}

}  // namespace

void writeMps(const Model& model, MpsForm form, OutputFile& out) { MpsWriter(model, form, out).write(); }

MpsForm defaultMpsForm(const Model& model) {
  return fixedFormNeeded(model.rowNames(), model.columnNames()) ? MpsForm::fixed : MpsForm::free;
}

}  // namespace tvlo
