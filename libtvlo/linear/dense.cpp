#include "linear/dense.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

// Sanitizers do not work with functions that are chosen when the library is loaded.
#if defined(__x86_64__) && !defined(TAVLO_SANITIZE)
#define TAVLO_PROCESSORS __attribute__((target_clones("arch=skylake-avx512", "arch=haswell", "default")))
#else
#define TAVLO_PROCESSORS
#endif

namespace tvlo {

namespace {

constexpr double kLeast = 1e-13, kInstead = 2e-7;  // pivots

}  // namespace

TAVLO_PROCESSORS
bool eliminateColumns(int m, int k, double* a, int lda, double* d, bool definite, const signed char* signs) {
  for (int j = 0; j < k; ++j) {
    double* const column = a + static_cast<ptrdiff_t>(j) * lda;
    for (int l = 0; l < j; ++l) {
      const double* const left = a + static_cast<ptrdiff_t>(l) * lda;
      const double factor = left[j] * d[l];
      for (int i = j; i < m; ++i) column[i] -= left[i] * factor;
    }
    d[j] = column[j];
    if (signs != nullptr && signs[j] * d[j] < kLeast) d[j] = signs[j] * kInstead;
    if (!(definite ? d[j] > 0 : std::abs(d[j]) > 0)) return false;
    const double inverse = 1 / d[j];
    for (int i = j + 1; i < m; ++i) column[i] *= inverse;
  }
  return true;
}

TAVLO_PROCESSORS
void subtractProduct(int m, int n, int k, const double* a, int lda, const double* b, int ldb, double* c, int ldc) {
  constexpr int kRows = 8, kColumns = 4;  // of a block that stays in the processor's registers
  for (int j = 0; j < n; j += kColumns) {
    const int columns = std::min(kColumns, n - j);
    int i = j;
    for (; columns == kColumns && i + kRows <= m; i += kRows) {
      double sum[kColumns][kRows] = {};
      for (int l = 0; l < k; ++l) {
        const double* const left = a + i + static_cast<ptrdiff_t>(l) * lda;
        const double* const right = b + j + static_cast<ptrdiff_t>(l) * ldb;
        for (int q = 0; q < kColumns; ++q) {
          for (int p = 0; p < kRows; ++p) sum[q][p] += left[p] * right[q];
        }
      }
      for (int q = 0; q < kColumns; ++q) {
        double* const to = c + i + static_cast<ptrdiff_t>(j + q) * ldc;
        for (int p = 0; p < kRows; ++p) to[p] -= sum[q][p];
      }
    }
    for (int q = 0; q < columns; ++q) {
      double* const to = c + static_cast<ptrdiff_t>(j + q) * ldc;
      for (int l = 0; l < k; ++l) {
        const double* const left = a + static_cast<ptrdiff_t>(l) * lda;
        const double right = b[j + q + static_cast<ptrdiff_t>(l) * ldb];
        for (int p = i; p < m; ++p) to[p] -= left[p] * right;
      }
    }
  }
}

}  // namespace tvlo
