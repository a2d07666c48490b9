#include "io/draft.h"

namespace tvlo {

namespace {

std::string_view validName(std::string_view name, std::string& storage) {
  if (isUtf8(name)) return name;
  return storage = latin1ToUtf8(name);
}

void setNames(Names& names, const std::vector<std::string_view>& given) {
  std::string storage;
  for (size_t line = 0; line < given.size(); ++line) names.set(static_cast<int>(line), validName(given[line], storage));
}

}  // namespace

int Draft::addColumn(std::string_view columnName) {
  const int column = columns.findOrAdd(columnName);
  if (column == static_cast<int>(obj.size())) {
    obj.push_back(0);
    lb.push_back(0);
    ub.push_back(TVLO_INFINITY);
    limit.push_back(-TVLO_INFINITY);
    traits.emplace_back();
  }
  return column;
}

void Draft::addRow(std::string_view named, char type) {
  rowName.push_back(named);
  rowType += type;
  rhs.push_back(0);
  range.push_back(0);
  lower.push_back(0);
}

DraftQuadratic& Draft::quadraticOf(int row) {
  if (quadratics.empty() || quadratics.back().row != row) quadratics.emplace_back().row = row;
  return quadratics.back();
}

void Draft::settle() {
  columnType.assign(obj.size(), 'C');
  for (size_t j = 0; j < obj.size(); ++j) {
    const ColumnTraits& t = traits[j];
    char& type = columnType[j];
    if (t.semi) {
      type = t.integer || t.binary ? 'R' : 'S';
      // A negative lower bound stays: without a limit it is where the range starts, and it may be infinite.
      if (!t.lowerGiven || lb[j] < 0) continue;
      limit[j] = lb[j];
      lb[j] = 0;
    } else if (t.partial) {
      type = 'P';
    } else if (t.binary) {
      type = lb[j] >= 0 && ub[j] <= 1 ? 'B' : 'I';
    } else if (t.integer) {
      type = 'I';
    }
  }
}

void Draft::moveTo(Model& model) {
  Model fresh;
  const auto coefs = static_cast<int64_t>(index.size());
  RowBatch rowBatch;
  rowBatch.count = static_cast<int>(rowType.size());
  rowBatch.type = rowType.data();
  rowBatch.rhs = rhs.data();
  rowBatch.range = range.data();
  rowBatch.lower = lower.data();
  ColumnBatch columnBatch;
  columnBatch.count = columns.size();
  columnBatch.obj = obj.data();
  columnBatch.lb = lb.data();
  columnBatch.ub = ub.data();
  if (byColumns) {
    columnBatch.ncoefs = coefs;
    columnBatch.start = start.data();
    columnBatch.row = index.data();
    columnBatch.coef = value.data();
    fresh.addRows(rowBatch);
    fresh.addColumns(columnBatch);
  } else {
    rowBatch.ncoefs = coefs;
    rowBatch.start = start.data();
    rowBatch.col = index.data();
    rowBatch.coef = value.data();
    fresh.addColumns(columnBatch);
    fresh.addRows(rowBatch);
  }

  std::vector<int> special;
  std::string types;
  std::vector<int> limited;
  std::vector<double> limits;
  for (int j = 0; j < columns.size(); ++j) {
    if (columnType[j] != 'C') {
      special.push_back(j);
      types += columnType[j];
    }
    if (limit[j] > -TVLO_INFINITY) {
      limited.push_back(j);
      limits.push_back(limit[j]);
    }
  }
  fresh.setColumnTypes(static_cast<int>(special.size()), special.data(), types.data());
  if (!limited.empty()) fresh.setLimits(static_cast<int>(limited.size()), limited.data(), limits.data());

  QuadraticForm costs;
  for (const DraftQuadratic& q : quadratics) {
    const auto n = static_cast<int64_t>(q.value.size());
    if (q.row >= 0) {
      fresh.addRowQuadratic(q.row, n, q.first.data(), q.second.data(), q.value.data());
    } else {
      costs.add(n, q.first.data(), q.second.data(), q.value.data());
    }
  }
  if (!costs.empty()) {
    DraftQuadratic sums;
    for (const QuadraticEntry& e : costs.entries()) sums.add(e.first, e.second, e.value);
    fresh.setQuadraticObjective(static_cast<int64_t>(sums.value.size()), sums.first.data(), sums.second.data(),
                                sums.value.data());
  }

  const int objective = -1;
  const double minusConstant = -constant;
  fresh.setObjective(1, &objective, &minusConstant);
  fresh.setSense(sense);
  fresh.formulas() = std::move(formulas);
  std::string storage;
  fresh.setName(validName(name, storage));
  fresh.setObjectiveName(validName(objectiveName, storage));
  setNames(fresh.rowNames(), rowName);
  setNames(fresh.columnNames(), columns.names());
  model = std::move(fresh);
}

}  // namespace tvlo
