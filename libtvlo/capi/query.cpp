// Reading the model back through the C interface.
#include <limits>

#include "capi/guard.h"

using namespace tvlo;

namespace {

template <class T>
int getLines(TVLOprob prob, const std::vector<T>& (Model::*values)() const, T* out, int first, int last,
             const char* line) {
  return guard(prob, [&] {
    const std::vector<T>& all = (prob->model.*values)();
    const Range range = requireRange(first, last, static_cast<int>(all.size()), line);
    requireArray(out, range.count, "results");
    std::copy_n(all.begin() + range.first, range.count, out);
  });
}

// Lines of a compressed matrix: sizes first, then at most maxcoefs coefficients.
void getMatrix(const SparseMatrix& matrix, Range range, int64_t* start, int* index, double* coef, int64_t maxcoefs,
               int64_t* ncoefs) {
  const int64_t begin = matrix.start[range.first];
  const int64_t there = matrix.start[range.first + range.count] - begin;
  if (ncoefs != nullptr) *ncoefs = there;
  if (start != nullptr) {
    for (int i = 0; i <= range.count; ++i) start[i] = matrix.start[range.first + i] - begin;
  }
  const int64_t wanted = std::clamp<int64_t>(maxcoefs, 0, there);
  if (index != nullptr) std::copy_n(matrix.index.begin() + begin, wanted, index);
  if (coef != nullptr) std::copy_n(matrix.value.begin() + begin, wanted, coef);
}

template <class Count>
void getQuadraticObjective(const Model& model, Count* start, int* colind, double* coef, Count maxcoefs, Count* ncoefs,
                           int first, int last) {
  const Range range = requireRange(first, last, model.columns(), "Column");
  const auto& entries = model.quadraticObjective().entries();
  const auto lineFrom = [&](int column) {
    return std::lower_bound(entries.begin(), entries.end(), column,
                            [](const QuadraticEntry& e, int c) { return e.first < c; });
  };
  const auto begin = lineFrom(range.first);
  const int64_t there = lineFrom(range.first + range.count) - begin;
  if (there > std::numeric_limits<Count>::max()) {
    badArgument("There are %lld coefficients, more than a 32-bit number can count", static_cast<long long>(there));
  }
  if (ncoefs != nullptr) *ncoefs = static_cast<Count>(there);
  if (start != nullptr) {
    int64_t k = 0;
    for (int i = 0; i <= range.count; ++i) {
      while (k < there && begin[k].first < range.first + i) ++k;
      start[i] = static_cast<Count>(k);
    }
  }
  const int64_t wanted = std::clamp<int64_t>(maxcoefs, 0, there);
  for (int64_t k = 0; k < wanted; ++k) {
    if (colind != nullptr) colind[k] = begin[k].second;
    if (coef != nullptr) coef[k] = begin[k].value;
  }
}

}  // namespace

int TVLOgetobj(TVLOprob prob, double* obj, int first, int last) {
  if (first != -1 || last != -1) return getLines(prob, &Model::objective, obj, first, last, "Column");
  return guard(prob, [&] {
    requireArray(obj, 1, "results");
    *obj = prob->model.constant() == 0 ? 0 : -prob->model.constant();
  });
}

int TVLOgetlb(TVLOprob prob, double* lb, int first, int last) {
  return getLines(prob, &Model::lower, lb, first, last, "Column");
}

int TVLOgetub(TVLOprob prob, double* ub, int first, int last) {
  return getLines(prob, &Model::upper, ub, first, last, "Column");
}

int TVLOgetcoltype(TVLOprob prob, char* type, int first, int last) {
  return getLines(prob, &Model::columnTypes, type, first, last, "Column");
}

int TVLOgetglblimit(TVLOprob prob, double* limit, int first, int last) {
  return guard(prob, [&] {
    const Range range = requireRange(first, last, prob->model.columns(), "Column");
    requireArray(limit, range.count, "results");
    for (int j = 0; j < range.count; ++j) limit[j] = prob->model.limit(range.first + j);
  });
}

int TVLOgetrhs(TVLOprob prob, double* rhs, int first, int last) {
  return getLines(prob, &Model::rhs, rhs, first, last, "Row");
}

int TVLOgetrhsrange(TVLOprob prob, double* range, int first, int last) {
  return guard(prob, [&] {
    const Range rows = requireRange(first, last, prob->model.rows(), "Row");
    requireArray(range, rows.count, "results");
    for (int i = 0; i < rows.count; ++i) range[i] = prob->model.range(rows.first + i);
  });
}

int TVLOgetrowsides(TVLOprob prob, double* lower, double* upper, int first, int last) {
  return guard(prob, [&] {
    const Range rows = requireRange(first, last, prob->model.rows(), "Row");
    for (int i = 0; i < rows.count; ++i) {
      if (lower != nullptr) lower[i] = prob->model.rowLower(rows.first + i);
      if (upper != nullptr) upper[i] = prob->model.rowUpper(rows.first + i);
    }
  });
}

int TVLOgetrowtype(TVLOprob prob, char* type, int first, int last) {
  return getLines(prob, &Model::rowTypes, type, first, last, "Row");
}

int TVLOgetcoef(TVLOprob prob, int row, int col, double* coef) {
  return guard(prob, [&] {
    requireIndex(row, prob->model.rows(), "row");
    requireIndex(col, prob->model.columns(), "column");
    requireArray(coef, 1, "results");
    *coef = prob->model.coefficient(row, col);
  });
}

int TVLOgetrows64(TVLOprob prob, int64_t* start, int* colind, double* coef, int64_t maxcoefs, int64_t* ncoefs,
                  int first, int last) {
  return guard(prob, [&] {
    const Range range = requireRange(first, last, prob->model.rows(), "Row");
    getMatrix(prob->model.byRows(), range, start, colind, coef, maxcoefs, ncoefs);
  });
}

int TVLOgetcols64(TVLOprob prob, int64_t* start, int* rowind, double* coef, int64_t maxcoefs, int64_t* ncoefs,
                  int first, int last) {
  return guard(prob, [&] {
    const Range range = requireRange(first, last, prob->model.columns(), "Column");
    getMatrix(prob->model.byColumns(), range, start, rowind, coef, maxcoefs, ncoefs);
  });
}

int TVLOgetmqobj64(TVLOprob prob, int64_t* start, int* colind, double* coef, int64_t maxcoefs, int64_t* ncoefs,
                   int first, int last) {
  return guard(prob, [&] { getQuadraticObjective(prob->model, start, colind, coef, maxcoefs, ncoefs, first, last); });
}

int TVLOgetmqobj(TVLOprob prob, int* start, int* colind, double* coef, int maxcoefs, int* ncoefs, int first, int last) {
  return guard(prob, [&] { getQuadraticObjective(prob->model, start, colind, coef, maxcoefs, ncoefs, first, last); });
}

int TVLOgetqrowqmatrixtriplets64(TVLOprob prob, int row, int64_t* n, int* col1, int* col2, double* coef) {
  return guard(prob, [&] {
    requireIndex(row, prob->model.rows(), "row");
    const QuadraticForm* const form = prob->model.rowQuadratic(row);
    const std::vector<QuadraticEntry> none;
    const auto& entries = form == nullptr ? none : form->entries();
    if (n != nullptr) *n = static_cast<int64_t>(entries.size());
    for (size_t k = 0; k < entries.size(); ++k) {
      if (col1 != nullptr) col1[k] = entries[k].first;
      if (col2 != nullptr) col2[k] = entries[k].second;
      if (coef != nullptr) coef[k] = entries[k].value;
    }
  });
}
