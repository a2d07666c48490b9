// The model store: the one description of a problem that every getter, file writer, check and engine reads.
//
// Invariants: the arrays of columns have one length, those of rows another; bounds are stored as given but
// with magnitudes of TVLO_INFINITY or more cut to it; no coefficient is NaN or infinite; a row holds a
// column at most once and no zero coefficient that addRows was not given; `starts` is ascending. Both sides of a row
// are kept as given: an R row's right-hand side and lower side, with the width between them for who asks for it.
// Not synchronised: one thread at a time.
#pragma once

#include <array>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/changes.h"
#include "core/formulas.h"
#include "core/names.h"
#include "core/quadratic.h"
#include "core/spans.h"
#include "core/validate.h"

namespace tvlo {

// Batches of rows or columns to append; arrays are borrowed, null where nothing is given: right-hand sides, costs
// and lower bounds are then 0, upper bounds infinite. The coefficients of line i are those from start[i] to
// start[i + 1], of the last one to ncoefs.
struct RowBatch {
  int count = 0;
  int64_t ncoefs = 0;
  const char* type = nullptr;
  const double* rhs = nullptr;
  const double* range = nullptr;  // read for R rows only; its sign does not count
  const int64_t* start = nullptr;
  const int* col = nullptr;
  const double* coef = nullptr;
  const double* lower = nullptr;  // of R rows: their lower sides, where rhs - range would round them; else null
};
struct ColumnBatch {
  int count = 0;
  int64_t ncoefs = 0;
  const double* obj = nullptr;
  const double* lb = nullptr;
  const double* ub = nullptr;
  const int64_t* start = nullptr;
  const int* row = nullptr;
  const double* coef = nullptr;
};

// Compressed sparse matrix by rows or by columns.
struct SparseMatrix {
  std::vector<int64_t> start{0};
  std::vector<int> index;
  std::vector<double> value;
  int64_t nonzeros() const { return static_cast<int64_t>(index.size()); }
  int lines() const { return static_cast<int>(start.size()) - 1; }
};

struct Bounds {
  double lower, upper;
};

class Model {
 public:
  int rows() const { return static_cast<int>(rowType_.size()); }
  int columns() const { return static_cast<int>(colType_.size()); }
  int64_t nonzeros() const { return matrix_.nonzeros(); }

  // Every change validates all of its input first (throws Error, nothing changed) and is recorded in changes().
  // Running out of memory changes nothing either.
  void clear();  // back to an empty model; keeps nothing, not even the name
  void addRows(const RowBatch& batch);
  void addColumns(const ColumnBatch& batch);      // of type C; zero coefficients are dropped
  void deleteRows(int n, const int* rows);        // any order, no duplicates
  void deleteColumns(int n, const int* columns);  // any order, no duplicates
  // Where a line is listed twice in one of the following, the last one counts.
  void setObjective(int n, const int* columns, const double* coefs);  // column -1: minus the constant
  void setSense(int sense);
  // A bound outside [0, 1] on a binary column makes it an integer one.
  void setBounds(int n, const int* columns, const char* which, const double* values);
  // A column that becomes binary has its bounds intersected with [0, 1].
  void setColumnTypes(int n, const int* columns, const char* types);
  void setLimits(int n, const int* columns, const double* limits);
  void setRowTypes(int n, const int* rows, const char* types);  // keeps right-hand side and range
  void setRhs(int n, const int* rows, const double* rhs);
  void setRanges(int n, const int* rows, const double* ranges);  // stores magnitudes; they count in R rows only
  // Both sides, infinite ones for none: types L, G, R, N, and E where they are equal. They may not cross.
  void setRowBounds(int n, const int* rows, const double* lower, const double* upper);
  void setCoefficients(int64_t n, const int* rows, const int* columns, const double* coefs);  // 0 removes
  void setQuadraticObjective(int64_t n, const int* c1, const int* c2, const double* coefs);
  void addRowQuadratic(int row, int64_t n, const int* c1, const int* c2, const double* coefs);
  void deleteRowQuadratic(int row);  // -1: all
  // Formulas check their own input; rows and columns are those of this model, which keeps them in step. A column that
  // a formula uses can't be deleted.
  Formulas& formulas() { return formulas_; }
  const Formulas& formulas() const { return formulas_; }
  // Sets, general and piecewise-linear constraints and indicators, which the model keeps in step with its lines.
  Spans& spans(SpanKind kind) { return spans_[static_cast<int>(kind)]; }
  const Spans& spans(SpanKind kind) const { return spans_[static_cast<int>(kind)]; }
  // Throws Error, calling the column `shown`, where a formula or what spans it keeps it from being deleted.
  void requireUnused(int column, int shown) const;
  void setName(std::string_view name) { name_ = name; }
  void setObjectiveName(std::string_view name) { objName_ = name; }
  Names& columnNames() { return colNames_; }
  Names& rowNames() { return rowNames_; }

  const std::string& name() const { return name_; }
  const std::string& objectiveName() const { return objName_; }
  const Names& columnNames() const { return colNames_; }
  const Names& rowNames() const { return rowNames_; }
  int sense() const { return sense_; }  // 1 minimise, -1 maximise
  double constant() const { return constant_; }
  const std::vector<double>& objective() const { return obj_; }
  const std::vector<double>& lower() const { return lb_; }
  const std::vector<double>& upper() const { return ub_; }
  const std::vector<char>& columnTypes() const { return colType_; }
  double limit(int column) const;  // of S, R and P columns; -TVLO_INFINITY where there is none
  // An S or R column is 0 or from this to its upper bound: its limit, or its lower bound where it has none.
  double semiLower(int column) const { return limit(column) > -TVLO_INFINITY ? limit(column) : lb_[column]; }
  const std::vector<char>& rowTypes() const { return rowType_; }
  const std::vector<double>& rhs() const { return rhs_; }
  double range(int row) const { return ranges_.empty() ? 0 : ranges_[row].width; }
  const SparseMatrix& byRows() const { return matrix_; }
  const SparseMatrix& byColumns() const;  // built when first asked for after a change
  double coefficient(int row, int column) const;
  const QuadraticForm& quadraticObjective() const { return qobj_; }
  const std::vector<RowQuadratic>& quadraticRows() const { return qrows_; }  // ascending row, none empty
  const QuadraticForm* rowQuadratic(int row) const;                          // null where there is none
  bool quadratic() const { return !qobj_.empty() || !qrows_.empty(); }
  double rowLower(int row) const;  // sides of the activity, infinite as +-TVLO_INFINITY
  double rowUpper(int row) const;
  Bounds rowBounds(int row) const { return {rowLower(row), rowUpper(row)}; }

  bool hasEntities() const { return entities_ > 0; }  // any column that is not C
  int entities() const { return entities_; }          // how many columns are not C
  Changes& changes() { return changes_; }
  const Changes& changes() const { return changes_; }

 private:
  struct RowRange {
    double width, lower;  // the lower side counts in R rows only, but stays when the type changes
  };
  void validateRows(const RowBatch& batch);
  void validateColumns(const ColumnBatch& batch);
  void validateLines(int count, int64_t ncoefs, const int64_t* start, const int* index, const double* coef, int across,
                     bool rows);
  void makeRanges();
  void mergeColumns(const ColumnBatch& batch, std::vector<int64_t>& extra, int64_t added) noexcept;
  void setType(int column, char type) noexcept;
  template <class F>
  void record(F note) noexcept;  // in changes_; when that fails, nothing of the engine's copy holds

  std::string name_, objName_;
  int sense_ = 1;
  double constant_ = 0;
  std::vector<double> obj_, lb_, ub_, limit_;  // limit_ is empty while no column has one
  std::vector<char> colType_, rowType_;
  std::vector<double> rhs_;
  std::vector<RowRange> ranges_;  // empty while no row has one
  SparseMatrix matrix_;
  mutable SparseMatrix columns_;
  mutable bool columnsValid_ = false;
  QuadraticForm qobj_;
  std::vector<RowQuadratic> qrows_;
  Formulas formulas_;
  std::array<Spans, kSpanKinds> spans_{Spans(SpanKind::set), Spans(SpanKind::general), Spans(SpanKind::piecewise),
                                       Spans(SpanKind::indicator)};
  Names colNames_{'C'}, rowNames_{'R'};
  int entities_ = 0;
  Changes changes_;
  Stamps stamps_;  // scratch: duplicate columns of a row and the like
};

template <class F>
void Model::record(F note) noexcept {
  try {
    note(changes_);
    // A list longer than the matrix would cost more than handing everything over.
    if (changes_.coefs.size() > 1000 + 2 * matrix_.index.size()) changes_.replaced();
  } catch (const std::bad_alloc&) {
    changes_.replaced();
  }
}

}  // namespace tvlo
