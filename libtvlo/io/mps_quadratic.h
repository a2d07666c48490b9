// The quadratic sections of MPS files, of which one is a list of triplets:
// - QUADOBJ and QMATRIX: the objective's part is x'Qx/2. QUADOBJ has one triangle of Q, either one, QMATRIX all of Q.
// - QSECTION: one triangle of Q for x'Qx/2, of the row that it names or, without a name, of the objective.
// - QCMATRIX: all of Q for x'Qx of the row that it names.
// A pair of columns that is given twice, or a Q that should be symmetric and is not, is an error.
#pragma once

#include <cstdint>
#include <vector>

#include "io/draft.h"
#include "io/text.h"

namespace tvlo {

class MpsQuadratic {
 public:
  // `row`: of the draft, -1 for the objective; `full`: both triangles are given; `halved`: x'Qx/2.
  void start(int row, bool full, bool halved);
  void add(int c1, int c2, double value, int64_t line) { entries_.push_back({c1, c2, value, line}); }
  void finish(Draft& draft, const FileText& file);  // nothing where no section was started

 private:
  struct Entry {
    int first, second;
    double value;
    int64_t line;
  };
  bool started_ = false, full_ = false, halved_ = false;
  int row_ = -1;
  std::vector<Entry> entries_;
};

}  // namespace tvlo
