#include "io/mps_lines.h"

#include <algorithm>

namespace tvlo {

namespace {

constexpr int kMostFields = 6;

struct Fields {
  std::string_view at[kMostFields];
  int count = 0;

  // Cuts a comment: from field `from` on, every second one stands where a name does.
  void cutComment(int from, const Lookup& known) {
    for (int i = from; i < std::min(count, kMostFields); ++i) {
      if (at[i].front() == '$' && known.find(at[i]) < 0) count = i;
    }
  }
};

Fields split(std::string_view line) {
  Fields fields;
  fields.count = splitFields(line, fields.at, kMostFields);
  return fields;
}

std::string counted(int count) {
  return count > kMostFields ? "more than 6 fields" : format("%d field%s", count, count == 1 ? "" : "s");
}

}  // namespace

int splitFields(std::string_view line, std::string_view* fields, int most) {
  const char* at = line.data();
  const char* const end = at + line.size();
  int count = 0;
  for (;;) {
    while (at != end && isBlank(*at)) ++at;
    if (at == end) return count;
    const char* const begin = at;
    while (at != end && !isBlank(*at)) ++at;
    if (count == most) return most + 1;
    fields[count++] = {begin, static_cast<size_t>(at - begin)};
  }
}

bool MpsLines::next() {
  while (!rest_.empty()) {
    const size_t length = std::min(rest_.find('\n'), rest_.size());
    line_ = rest_.substr(0, length);
    rest_.remove_prefix(std::min(length + 1, rest_.size()));
    ++number_;
    while (!line_.empty() && isBlank(line_.back())) line_.remove_suffix(1);
    if (!line_.empty() && line_.front() != '*') return true;
  }
  line_ = {};
  return false;
}

MpsRecord MpsLines::fixedRecord(const Lookup* known) const {
  constexpr size_t kGaps[] = {0, 3, 12, 13, 22, 23};
  for (const size_t gap : kGaps) {
    if (gap < line_.size() && line_[gap] != ' ') {
      fail(format("column %zu is not blank, as the fixed form wants it", gap + 1));
    }
  }
  if (line_.find('\t') != std::string_view::npos) fail("there is a tab, which the fixed form does not allow");
  const auto field = [&](size_t first, size_t count) {
    return first < line_.size() ? trimmed(line_.substr(first, count)) : std::string_view();
  };
  const auto comment = [&](std::string_view name) {
    return known != nullptr && !name.empty() && name.front() == '$' && known->find(name) < 0;
  };
  MpsRecord record;
  record.type = field(1, 2);
  record.name = field(4, 8);
  record.first = field(14, 8);
  if (comment(record.first)) record.first = {};
  if (record.first.empty() || line_.size() <= 24) return record;
  const size_t begin = line_.find_first_not_of(' ', 24);
  if (begin >= 39) {
    record.second = field(39, 8);
  } else {
    const size_t end = std::min(line_.find(' ', begin), line_.size());
    record.value = line_.substr(begin, end - begin);
    if (end > 39) return record;
    if (const size_t more = line_.find_first_not_of(' ', end); more < 39) {
      fail(format("column %zu is not blank, as the fixed form wants it", more + 1));
    }
    record.second = field(39, 8);
  }
  if (comment(record.second)) record.second = {};
  if (!record.second.empty()) record.secondValue = field(49, 12);
  return record;
}

MpsRecord MpsLines::rowRecord() const {
  if (form_ == MpsForm::fixed) return fixedRecord(nullptr);
  const Fields f = split(line_);
  const bool comment = f.count > 2 && f.at[2].front() == '$';
  if (f.count != 2 && !comment) fail("expected the type and the name of a row, found " + counted(f.count));
  return {.type = f.at[0], .name = f.at[1]};
}

MpsRecord MpsLines::columnRecord(const Lookup& rows) const {
  if (form_ == MpsForm::fixed) return fixedRecord(&rows);
  Fields f = split(line_);
  f.cutComment(1, rows);
  if (f.count != 3 && f.count != 5) {
    fail("expected a column and one or two pairs of a row and a number, found " + counted(f.count));
  }
  MpsRecord record{.name = f.at[0], .first = f.at[1], .value = f.at[2]};
  if (f.count == 5) {
    record.second = f.at[3];
    record.secondValue = f.at[4];
  }
  return record;
}

MpsRecord MpsLines::quadraticRecord(const Lookup& columns) const {
  if (form_ == MpsForm::fixed) return fixedRecord(&columns);
  Fields f = split(line_);
  f.cutComment(3, columns);
  if (f.count != 3 && f.count != 5) {
    fail("expected a column and one or two pairs of a column and a number, found " + counted(f.count));
  }
  MpsRecord record{.name = f.at[0], .first = f.at[1], .value = f.at[2]};
  if (f.count == 5) {
    record.second = f.at[3];
    record.secondValue = f.at[4];
  }
  return record;
}

MpsRecord MpsLines::setRecord(const Lookup& rows) const {
  if (form_ == MpsForm::fixed) return fixedRecord(&rows);
  Fields f = split(line_);
  f.cutComment(1, rows);
  if (f.count < 2 || f.count > 5) {
    fail("expected a set and one or two pairs of a row and a number, found " + counted(f.count));
  }
  const int named = f.count % 2;
  MpsRecord record{.name = named == 1 ? f.at[0] : std::string_view(), .first = f.at[named], .value = f.at[named + 1]};
  if (f.count >= 4) {
    record.second = f.at[named + 2];
    record.secondValue = f.at[named + 3];
  }
  return record;
}

MpsRecord MpsLines::boundRecord(const Lookup& columns) const {
  if (form_ == MpsForm::fixed) return fixedRecord(&columns);
  Fields f = split(line_);
  f.cutComment(1, columns);
  MpsRecord record{.type = f.at[0]};
  if (f.count == 4) {
    record.name = f.at[1];
    record.first = f.at[2];
    record.value = f.at[3];
  } else if (f.count == 3 && columns.find(f.at[2]) < 0 && columns.find(f.at[1]) >= 0) {
    record.first = f.at[1];
    record.value = f.at[2];
  } else if (f.count == 3) {
    record.name = f.at[1];
    record.first = f.at[2];
  } else if (f.count == 2) {
    record.first = f.at[1];
  } else {
    fail("expected the type of a bound, a set, a column and a number, found " + counted(f.count));
  }
  return record;
}

}  // namespace tvlo
