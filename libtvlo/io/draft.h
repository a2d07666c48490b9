// A problem while its file is being read: plain arrays that grow, handed to a model in bulk once the file has been
// found good. Names are views into the file's text, which must outlive the draft.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/model.h"
#include "io/lookup.h"
#include "io/text.h"

namespace tvlo {

// What a file says of a column besides its numbers; settle() makes its type of it.
struct ColumnTraits {
  bool integer = false;
  bool binary = false;
  bool semi = false;        // 0, or between the limit and the upper bound
  bool partial = false;     // integer up to the limit
  bool lowerGiven = false;  // by the file
  bool bounded = false;     // the file has any bound of it
};

// Quadratic triplets as the model stores them; those of a pair add up.
struct DraftQuadratic {
  int row = -1;  // -1: the objective
  std::vector<int> first, second;
  std::vector<double> value;
  void add(int c1, int c2, double v) {
    first.push_back(c1);
    second.push_back(c2);
    value.push_back(v);
  }
};

struct Draft {
  std::string_view name, objectiveName;
  int sense = 1;
  double constant = 0;

  std::vector<std::string_view> rowName;  // empty: none
  std::string rowType;
  std::vector<double> rhs, range, lower;  // range and lower side of R rows

  Lookup columns;
  std::vector<double> obj, lb, ub, limit;
  std::vector<ColumnTraits> traits;
  std::string columnType;

  // The coefficients: of the columns when `byColumns`, of the rows otherwise; one start each.
  bool byColumns = false;
  std::vector<int64_t> start;
  std::vector<int> index;
  std::vector<double> value;

  std::vector<DraftQuadratic> quadratics;
  Formulas formulas;  // rows and columns numbered as in the model

  int addColumn(std::string_view columnName);      // or finds it; new ones with cost 0 and bounds [0, infinity)
  void addRow(std::string_view named, char type);  // with right-hand side 0

  DraftQuadratic& quadraticOf(int row);  // the last one when it is that row's, else a new one

  // Types, limits and the bounds that depend on them, once the file has been read.
  void settle();
  void moveTo(Model& model);  // throws and leaves the model as it was when the model rejects something
};

}  // namespace tvlo
