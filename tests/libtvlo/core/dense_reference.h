// A dense model that does everything the naive way, and an engine's copy that follows a model by its changes.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/model.h"

namespace tvlo::test {

struct DenseColumn {
  double obj = 0, lb = 0, ub = TVLO_INFINITY, limit = -TVLO_INFINITY;
  char type = 'C';
  std::optional<std::string> name;
};

struct DenseRow {
  char type = 'N';
  double rhs = 0, range = 0, lower = 0;  // the lower side of R rows
  std::optional<std::string> name;
  std::vector<std::optional<double>> coefs;  // by column; an explicit zero is a coefficient
  std::map<std::pair<int, int>, double> quadratic;

  void set(double right, double width) {
    rhs = right;
    range = width;
    lower = right - width;
  }
  std::pair<double, double> sides() const {
    if (type == 'E') return {rhs, rhs};
    const double least = type == 'G' ? rhs : type == 'R' ? lower : -TVLO_INFINITY;
    return {least, type == 'L' || type == 'R' ? rhs : TVLO_INFINITY};
  }
};

template <class Line>
std::string nameOf(const std::vector<Line>& lines, int at, char letter) {
  return lines[at].name.value_or(letter + std::to_string(at + 1));
}

template <class Line>
void eraseLines(std::vector<Line>& lines, const std::vector<int>& gone, char letter) {
  std::vector<Line> kept;
  for (int at = 0; at < static_cast<int>(lines.size()); ++at) {
    lines[at].name = nameOf(lines, at, letter);
    if (std::find(gone.begin(), gone.end(), at) == gone.end()) kept.push_back(lines[at]);
  }
  lines = std::move(kept);
}

inline void renumberPairs(std::map<std::pair<int, int>, double>& pairs, const std::vector<int>& gone) {
  std::map<std::pair<int, int>, double> kept;
  const auto below = [&](int c) { return std::count_if(gone.begin(), gone.end(), [&](int g) { return g < c; }); };
  for (const auto& [at, value] : pairs) {
    if (std::count(gone.begin(), gone.end(), at.first) || std::count(gone.begin(), gone.end(), at.second)) continue;
    kept[{at.first - below(at.first), at.second - below(at.second)}] = value;
  }
  pairs = std::move(kept);
}

struct Dense {
  std::vector<DenseColumn> columns;
  std::vector<DenseRow> rows;
  std::map<std::pair<int, int>, double> quadratic;
  double constant = 0;
  int sense = 1;

  void deleteRows(const std::vector<int>& gone) { eraseLines(rows, gone, 'R'); }
  void deleteColumns(const std::vector<int>& gone) {
    for (DenseRow& row : rows) {
      auto sorted = gone;
      std::sort(sorted.rbegin(), sorted.rend());
      for (const int column : sorted) row.coefs.erase(row.coefs.begin() + column);
      renumberPairs(row.quadratic, gone);
    }
    renumberPairs(quadratic, gone);
    eraseLines(columns, gone, 'C');
  }
};

inline void expectQuadratic(const QuadraticForm* form, const std::map<std::pair<int, int>, double>& wanted) {
  ASSERT_EQ(form == nullptr ? 0 : form->entries().size(), wanted.size());
  auto next = wanted.begin();
  for (size_t k = 0; k < wanted.size(); ++k, ++next) {
    const QuadraticEntry& entry = form->entries()[k];
    EXPECT_EQ(std::make_pair(entry.first, entry.second), next->first);
    EXPECT_DOUBLE_EQ(entry.value, next->second);
    EXPECT_DOUBLE_EQ(form->value(entry.second, entry.first), next->second);
  }
}

// Everything that the model's getters say against the dense one.
inline void expectSame(const Model& model, const Dense& dense) {
  ASSERT_EQ(model.rows(), static_cast<int>(dense.rows.size()));
  ASSERT_EQ(model.columns(), static_cast<int>(dense.columns.size()));
  EXPECT_EQ(model.constant(), dense.constant);
  EXPECT_EQ(model.sense(), dense.sense);
  int entities = 0;
  size_t longest = 0;
  for (int j = 0; j < model.columns(); ++j) {
    const DenseColumn& column = dense.columns[j];
    EXPECT_EQ(model.objective()[j], column.obj);
    EXPECT_EQ(model.lower()[j], column.lb);
    EXPECT_EQ(model.upper()[j], column.ub);
    EXPECT_EQ(model.limit(j), column.limit);
    EXPECT_EQ(model.columnTypes()[j], column.type) << j;
    entities += column.type != 'C';
    EXPECT_EQ(model.columnNames().get(j), nameOf(dense.columns, j, 'C'));
    longest = std::max(longest, nameOf(dense.columns, j, 'C').size());
  }
  EXPECT_EQ(model.entities(), entities);
  EXPECT_EQ(static_cast<size_t>(model.columnNames().longest()), longest);

  int64_t nonzeros = 0;
  const SparseMatrix& byRows = model.byRows();
  const SparseMatrix& byColumns = model.byColumns();
  ASSERT_EQ(byRows.lines(), model.rows());
  ASSERT_EQ(byColumns.lines(), model.columns());
  for (int i = 0; i < model.rows(); ++i) {
    const DenseRow& row = dense.rows[i];
    EXPECT_EQ(model.rowTypes()[i], row.type);
    EXPECT_EQ(model.rhs()[i], row.rhs);
    EXPECT_EQ(model.range(i), row.range);
    EXPECT_EQ(model.rowLower(i), row.sides().first) << i;
    EXPECT_EQ(model.rowUpper(i), row.sides().second) << i;
    EXPECT_EQ(model.rowNames().get(i), nameOf(dense.rows, i, 'R'));
    expectQuadratic(model.rowQuadratic(i), row.quadratic);
    std::vector<std::optional<double>> found(model.columns());
    for (int64_t k = byRows.start[i]; k < byRows.start[i + 1]; ++k) {
      ASSERT_FALSE(found[byRows.index[k]]) << "column twice in row " << i;
      found[byRows.index[k]] = byRows.value[k];
      ++nonzeros;
    }
    EXPECT_EQ(found, row.coefs) << "row " << i;
  }
  EXPECT_EQ(model.nonzeros(), nonzeros);
  for (int j = 0; j < model.columns(); ++j) {
    std::vector<std::optional<double>> found(model.rows());
    int previous = -1;
    for (int64_t k = byColumns.start[j]; k < byColumns.start[j + 1]; ++k) {
      ASSERT_GT(byColumns.index[k], previous);
      previous = byColumns.index[k];
      found[previous] = byColumns.value[k];
    }
    for (int i = 0; i < model.rows(); ++i) {
      EXPECT_EQ(found[i], dense.rows[i].coefs[j]);
      EXPECT_EQ(model.coefficient(i, j), dense.rows[i].coefs[j].value_or(0));
    }
  }
  expectQuadratic(&model.quadraticObjective(), dense.quadratic);
}

// What an engine holds: bounds of activities instead of types and right-hand sides.
struct EngineCopy {
  struct Column {
    double obj, lb, ub;
    char type;
    auto operator<=>(const Column&) const = default;
  };
  struct Row {
    double lower, upper;
    std::map<int, double> coefs;
    bool operator==(const Row&) const = default;
  };
  std::vector<Column> columns;
  std::vector<Row> rows;
  double constant = 0;
  int sense = 1;

  static Column columnOf(const Model& model, int j) {
    return {model.objective()[j], model.lower()[j], model.upper()[j], model.columnTypes()[j]};
  }
  static Row rowOf(const Model& model, int i) {
    Row row{model.rowBounds(i).lower, model.rowBounds(i).upper, {}};
    for (int64_t k = model.byRows().start[i]; k < model.byRows().start[i + 1]; ++k) {
      if (model.byRows().value[k] != 0) row.coefs[model.byRows().index[k]] = model.byRows().value[k];
    }
    return row;
  }

  void take(const Model& model) {
    *this = EngineCopy();
    for (int j = 0; j < model.columns(); ++j) columns.push_back(columnOf(model, j));
    for (int i = 0; i < model.rows(); ++i) rows.push_back(rowOf(model, i));
    constant = model.constant();
    sense = model.sense();
  }

  void follow(const Model& model) {
    const Changes& changes = model.changes();
    if (changes.rebuild) return take(model);
    if (changes.objective) {
      constant = model.constant();
      sense = model.sense();
    }
    ASSERT_TRUE(std::is_sorted(changes.rows.deleted().begin(), changes.rows.deleted().end()));
    for (auto gone = changes.rows.deleted().rbegin(); gone != changes.rows.deleted().rend(); ++gone) {
      rows.erase(rows.begin() + *gone);
    }
    for (auto gone = changes.columns.deleted().rbegin(); gone != changes.columns.deleted().rend(); ++gone) {
      columns.erase(columns.begin() + *gone);
      for (Row& row : rows) {
        std::map<int, double> moved;
        for (const auto& [j, value] : row.coefs) {
          if (j != *gone) moved[j > *gone ? j - 1 : j] = value;
        }
        row.coefs = std::move(moved);
      }
    }
    ASSERT_EQ(static_cast<int>(rows.size()), changes.rows.kept());
    ASSERT_EQ(static_cast<int>(columns.size()), changes.columns.kept());
    for (const int j : changes.columns.bounds()) {
      columns[j].lb = model.lower()[j];
      columns[j].ub = model.upper()[j];
    }
    for (const int j : changes.columns.costs()) columns[j].obj = model.objective()[j];
    for (const int j : changes.columns.types()) columns[j].type = model.columnTypes()[j];
    for (const int i : changes.rows.bounds()) {
      rows[i].lower = model.rowBounds(i).lower;
      rows[i].upper = model.rowBounds(i).upper;
    }
    for (const auto& [i, j] : changes.coefs) {
      ASSERT_LT(i, changes.rows.kept());
      ASSERT_LT(j, changes.columns.kept());
      rows[i].coefs.erase(j);
      if (model.coefficient(i, j) != 0) rows[i].coefs[j] = model.coefficient(i, j);
    }
    for (int j = changes.columns.kept(); j < model.columns(); ++j) {
      columns.push_back(columnOf(model, j));
      for (int64_t k = model.byColumns().start[j]; k < model.byColumns().start[j + 1]; ++k) {
        const int i = model.byColumns().index[k];
        if (i < changes.rows.kept() && model.byColumns().value[k] != 0) rows[i].coefs[j] = model.byColumns().value[k];
      }
    }
    for (int i = changes.rows.kept(); i < model.rows(); ++i) rows.push_back(rowOf(model, i));
  }

  void expectSame(const Model& model) const {
    EngineCopy fresh;
    fresh.take(model);
    EXPECT_EQ(constant, fresh.constant);
    EXPECT_EQ(sense, fresh.sense);
    EXPECT_TRUE(columns == fresh.columns);
    EXPECT_TRUE(rows == fresh.rows);
  }
};

}  // namespace tvlo::test
