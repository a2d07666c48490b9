// The dense work of the factorisation, compiled for several kinds of processors. Matrices are stored by columns.
#pragma once

namespace tvlo {

// Factorises the k columns of a, which has m rows, into L (whose unit diagonal is not stored) and d. False where a
// pivot is zero or no number or, if `definite`, not positive. Where signs are given, for entries of about 1, pivots of
// another sign and those too small are replaced.
bool eliminateColumns(int m, int k, double* a, int lda, double* d, bool definite, const signed char* signs);

// c -= a*b' on and below the diagonal, for the n columns of c, of m rows: a is m x k, b is n x k.
void subtractProduct(int m, int n, int k, const double* a, int lda, const double* b, int ldb, double* c, int ldc);

}  // namespace tvlo
