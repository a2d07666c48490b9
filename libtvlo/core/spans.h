// What stands over several columns of a model, in one container for each kind: special ordered sets, general
// constraints, piecewise-linear constraints, and indicators, which stand over a row and a column.
//
// An item has a type, which means what its kind says, a head (the column that it defines, or its row), columns, and
// numbers. Of a weighted kind there is one number for each column, and a column that is deleted leaves the item with
// its number. A column of any other kind can't be deleted. An item goes with the row that is its head.
#pragma once

#include <vector>

#include "core/names.h"

namespace tvlo {

enum class SpanKind { set, general, piecewise, indicator };
inline constexpr int kSpanKinds = 4;

class Spans {
 public:
  struct Item {
    int type = 0;
    int head = -1;  // of sets: none
    std::vector<int> columns;
    std::vector<double> numbers;
    bool operator==(const Item&) const = default;
  };

  explicit Spans(SpanKind kind);
  int size() const { return static_cast<int>(items_.size()); }
  bool empty() const { return items_.empty(); }
  const Item& operator[](int item) const { return items_[item]; }
  const std::vector<Item>& items() const { return items_; }
  Names& names() { return names_; }
  const Names& names() const { return names_; }
  const char* noun() const;  // "set" and so on, for messages

  // These throw Error and change nothing where an item does not fit the model, or when there is none to erase.
  void add(std::vector<Item> items, int rows, int columns);
  void erase(int n, const int* items);  // any order, no duplicates

  bool uses(int column) const;  // so that it can't be deleted; quick once it was asked
  // After lines of the model have gone; `newIndex` has -1 for them. No column that goes is in use.
  void columnsDeleted(const std::vector<int>& newIndex) noexcept;
  void rowsDeleted(const std::vector<int>& newIndex) noexcept;

 private:
  bool weighted() const { return kind_ == SpanKind::set; }
  bool headedByRow() const { return kind_ == SpanKind::indicator; }
  void validate(const Item& item, int number, int rows, int columns) const;

  SpanKind kind_;
  std::vector<Item> items_;
  Names names_;
  mutable std::vector<bool> used_;  // of each column; empty: not known
};

}  // namespace tvlo
