// Building and changing the model through the C interface.
#include "capi/guard.h"

using namespace tvlo;

namespace {

template <class Start>
std::vector<int64_t> widened(const Start* start, int n) {
  return start == nullptr ? std::vector<int64_t>() : std::vector<int64_t>(start, start + n);
}

// The columns of TVLOloadlp: either consecutive (start has one entry more than there are columns) or each with
// its own length, with gaps between them if the caller likes.
struct LoadedColumns {
  std::vector<int64_t> start;
  std::vector<int> row;
  std::vector<double> coef;
};

template <class Start>
ColumnBatch gather(LoadedColumns& store, int ncols, const Start* start, const int* collen, const int* rowind,
                   const double* rowcoef) {
  ColumnBatch batch;
  batch.count = ncols;
  if (start == nullptr || ncols == 0) return batch;
  if (collen == nullptr) {
    store.start = widened(start, ncols);
    batch.ncoefs = start[ncols];
    batch.row = rowind;
    batch.coef = rowcoef;
  } else {
    int64_t total = 0;
    for (int j = 0; j < ncols; ++j) {
      if (start[j] < 0 || collen[j] < 0) badArgument("Column %d: its start or length is negative", j);
      total += collen[j];
    }
    requireArray(rowind, total, "row indices");
    requireArray(rowcoef, total, "coefficients");
    store.row.reserve(total);
    store.coef.reserve(total);
    for (int j = 0; j < ncols; ++j) {
      store.start.push_back(static_cast<int64_t>(store.row.size()));
      store.row.insert(store.row.end(), rowind + start[j], rowind + start[j] + collen[j]);
      store.coef.insert(store.coef.end(), rowcoef + start[j], rowcoef + start[j] + collen[j]);
    }
    batch.ncoefs = total;
    batch.row = store.row.data();
    batch.coef = store.coef.data();
  }
  batch.start = store.start.data();
  return batch;
}

template <class Start>
int load(TVLOprob prob, const char* name, int ncols, int nrows, const char* rowtype, const double* rhs,
         const double* range, const double* obj, const Start* start, const int* collen, const int* rowind,
         const double* rowcoef, const double* lb, const double* ub) {
  return guardChange(prob, [&] {
    requireCount(ncols, "columns");
    requireCount(nrows, "rows");
    Model fresh;
    if (name != nullptr) fresh.setName(name);
    RowBatch rows;
    rows.count = nrows;
    rows.type = rowtype;
    rows.rhs = rhs;
    rows.range = range;
    fresh.addRows(rows);
    LoadedColumns store;
    ColumnBatch columns = gather(store, ncols, start, collen, rowind, rowcoef);
    columns.obj = obj;
    columns.lb = lb;
    columns.ub = ub;
    fresh.addColumns(columns);
    prob->model = std::move(fresh);
    prob->replaced();
  });
}

}  // namespace

int TVLOloadlp64(TVLOprob prob, const char* name, int ncols, int nrows, const char* rowtype, const double* rhs,
                 const double* range, const double* obj, const int64_t* start, const int* collen, const int* rowind,
                 const double* rowcoef, const double* lb, const double* ub) {
  return load(prob, name, ncols, nrows, rowtype, rhs, range, obj, start, collen, rowind, rowcoef, lb, ub);
}

int TVLOloadlp(TVLOprob prob, const char* name, int ncols, int nrows, const char* rowtype, const double* rhs,
               const double* range, const double* obj, const int* start, const int* collen, const int* rowind,
               const double* rowcoef, const double* lb, const double* ub) {
  return load(prob, name, ncols, nrows, rowtype, rhs, range, obj, start, collen, rowind, rowcoef, lb, ub);
}

int TVLOaddrows64(TVLOprob prob, int nrows, int64_t ncoefs, const char* rowtype, const double* rhs, const double* range,
                  const int64_t* start, const int* colind, const double* rowcoef) {
  return guardChange(prob, [&] {
    prob->model.addRows({nrows, ncoefs, rowtype, rhs, range, start, colind, rowcoef});
    prob->rowsAdded(nrows);
  });
}

int TVLOaddrowsides64(TVLOprob prob, int nrows, int64_t ncoefs, const char* rowtype, const double* rhs,
                      const double* lower, const int64_t* start, const int* colind, const double* rowcoef) {
  return guardChange(prob, [&] {
    requireArray(lower, nrows, "lower sides");
    prob->model.addRows({nrows, ncoefs, rowtype, rhs, nullptr, start, colind, rowcoef, lower});
    prob->rowsAdded(nrows);
  });
}

int TVLOaddcols64(TVLOprob prob, int ncols, int64_t ncoefs, const double* obj, const int64_t* start, const int* rowind,
                  const double* rowcoef, const double* lb, const double* ub) {
  return guardChange(prob, [&] {
    prob->model.addColumns({ncols, ncoefs, obj, lb, ub, start, rowind, rowcoef});
    prob->columnsAdded(ncols);
  });
}

int TVLOdelrows(TVLOprob prob, int nrows, const int* rowind) {
  return guardUnsettled(prob, [&] {
    requireIdle(*prob);
    prob->deleteRows(nrows, rowind);
  });
}

int TVLOdelcols(TVLOprob prob, int ncols, const int* colind) {
  return guardUnsettled(prob, [&] {
    requireIdle(*prob);
    prob->deleteColumns(ncols, colind);
  });
}

int TVLOchgobj(TVLOprob prob, int n, const int* colind, const double* coef) {
  return guardChange(prob, [&] { prob->model.setObjective(n, colind, coef); });
}

int TVLOchgobjsense(TVLOprob prob, int sense) {
  return guardChange(prob, [&] { prob->model.setSense(sense); });
}

int TVLOchgbounds(TVLOprob prob, int n, const int* colind, const char* type, const double* value) {
  return guardChange(prob, [&] { prob->model.setBounds(n, colind, type, value); });
}

int TVLOchgcoltype(TVLOprob prob, int n, const int* colind, const char* type) {
  return guardChange(prob, [&] { prob->model.setColumnTypes(n, colind, type); });
}

int TVLOchgglblimit(TVLOprob prob, int n, const int* colind, const double* limit) {
  return guardChange(prob, [&] { prob->model.setLimits(n, colind, limit); });
}

int TVLOchgrowtype(TVLOprob prob, int n, const int* rowind, const char* type) {
  return guardChange(prob, [&] { prob->model.setRowTypes(n, rowind, type); });
}

int TVLOchgrhs(TVLOprob prob, int n, const int* rowind, const double* rhs) {
  return guardChange(prob, [&] { prob->model.setRhs(n, rowind, rhs); });
}

int TVLOchgrhsrange(TVLOprob prob, int n, const int* rowind, const double* range) {
  return guardChange(prob, [&] { prob->model.setRanges(n, rowind, range); });
}

int TVLOchgcoef(TVLOprob prob, int row, int col, double coef) {
  return guardChange(prob, [&] { prob->model.setCoefficients(1, &row, &col, &coef); });
}

int TVLOchgmcoef64(TVLOprob prob, int64_t n, const int* rowind, const int* colind, const double* coef) {
  return guardChange(prob, [&] { prob->model.setCoefficients(n, rowind, colind, coef); });
}

int TVLOchgmqobj64(TVLOprob prob, int64_t n, const int* col1, const int* col2, const double* coef) {
  return guardChange(prob, [&] { prob->model.setQuadraticObjective(n, col1, col2, coef); });
}

int TVLOchgmqobj(TVLOprob prob, int n, const int* col1, const int* col2, const double* coef) {
  return TVLOchgmqobj64(prob, n, col1, col2, coef);
}

int TVLOaddqmatrix64(TVLOprob prob, int row, int64_t n, const int* col1, const int* col2, const double* coef) {
  return guardChange(prob, [&] { prob->model.addRowQuadratic(row, n, col1, col2, coef); });
}

int TVLOdelqmatrix(TVLOprob prob, int row) {
  return guardChange(prob, [&] { prob->model.deleteRowQuadratic(row); });
}
