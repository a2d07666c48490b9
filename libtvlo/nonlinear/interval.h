// Bounds on the values of formulas and rows, by interval arithmetic over the columns' bounds. They hold for every point
// within those, but are seldom tight: each occurrence of a column counts by itself. See R. E. Moore, R. B. Kearfott and
// M. J. Cloud, Introduction to Interval Analysis (2009).
#pragma once

#include <vector>

#include "core/model.h"

namespace tvlo {

struct Interval {  // may be infinite; points where there is no value do not count
  double lower, upper;
  bool isNothing() const { return lower > upper; }  // there is a value nowhere
};

Interval rangeOf(TokenView run, const std::vector<Interval>& columns);

// Whether no point within the columns' bounds satisfies some row, by more than `tolerance` relative to its terms, or
// has a value in it.
bool someRowIsOutOfReach(const Model& model, double tolerance);

}  // namespace tvlo
