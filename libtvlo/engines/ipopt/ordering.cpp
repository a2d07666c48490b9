// In place of METIS, whose version 4 MUMPS and Ipopt are built against and which may not be redistributed. The
// adapter asks MUMPS for its own minimum-degree ordering, so these are not called in a solve; they give
// correct answers, if poor ones: the natural order, and one part with everything.
#include <algorithm>

#include "tvlo/tvlo.h"

namespace {

void natural(int size, int base, int* order, int* inverse) {
  for (int i = 0; i < size; ++i) order[i] = inverse[i] = i + base;
}

}  // namespace

extern "C" {

// metis_nodend_
TVLO_API void tvlo_ipopt_order(const int* size, const int*, const int*, const int* base, const int*, int* order,
                               int* inverse) noexcept {
  natural(*size, *base, order, inverse);
}

// metis_nodewnd_
TVLO_API void tvlo_ipopt_order_weighted(const int* size, const int*, const int*, const int*, const int* base,
                                        const int*, int* order, int* inverse) noexcept {
  natural(*size, *base, order, inverse);
}

// METIS_PartGraphKway
TVLO_API void tvlo_ipopt_partition(const int* size, const int*, const int*, const int*, const int*, const int*,
                                   const int* base, const int*, const int*, int* cut, int* part) noexcept {
  *cut = 0;
  std::fill_n(part, *size, *base);
}
}
