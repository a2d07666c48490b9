// What the tests of file reading and writing share: files in a folder of their own, and a model as text.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "core/error.h"
#include "core/model.h"
#include "io/files.h"
#include "io/numbers.h"

namespace tvlo {

class TestFolder {
 public:
  TestFolder() {
    // In memory where possible: a disk makes thousands of small files slow.
    const std::filesystem::path memory = "/dev/shm";
    const bool usable = ::access(memory.c_str(), W_OK) == 0;
    std::string pattern = ((usable ? memory : std::filesystem::temp_directory_path()) / "tvlo_io_XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  ~TestFolder() { std::filesystem::remove_all(path_); }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  std::string write(const std::string& name, const std::string& bytes) const {
    std::ofstream(file(name), std::ios::binary) << bytes;
    return file(name);
  }
  int count() const { return static_cast<int>(std::distance(std::filesystem::directory_iterator(path_), {})); }

 private:
  std::filesystem::path path_;
};

inline std::string bytesOf(const std::string& filename) {
  std::ostringstream text;
  text << std::ifstream(filename, std::ios::binary).rdbuf();
  return text.str();
}

inline Model read(const std::string& text, const std::string& flags = "x") {
  const TestFolder folder;
  Model model;
  readProblem(model, folder.write("problem", text), flags);
  return model;
}

inline std::string written(const Model& model, const std::string& flags = "") {
  const TestFolder folder;
  writeProblem(model, folder.file("problem"), flags);
  return bytesOf(folder.file("problem"));
}

inline std::string number(double value) {
  if (value >= TVLO_INFINITY || value <= -TVLO_INFINITY) return value > 0 ? "inf" : "-inf";
  std::string text;
  appendNumber(text, value);
  return text;
}

// "x C 0..inf cost 2", with "limit 3" where there is one.
inline std::string column(const Model& m, int j) {
  std::string text = m.columnNames().get(j) + " " + m.columnTypes()[j] + " " + number(m.lower()[j]) + ".." +
                     number(m.upper()[j]) + " cost " + number(m.objective()[j]);
  if (m.limit(j) > -TVLO_INFINITY) text += " limit " + number(m.limit(j));
  return text;
}

// "c L 4: 2x -1y"; R rows have "rhs-range" for the number.
inline std::string row(const Model& m, int i, bool width = true) {
  std::string text = m.rowNames().get(i) + " " + m.rowTypes()[i] + " " + number(m.rhs()[i]);
  if (width && m.rowTypes()[i] == 'R') text += "-" + number(m.range(i));
  text += ":";
  std::vector<std::pair<int, double>> coefs;
  for (int64_t k = m.byRows().start[i]; k < m.byRows().start[i + 1]; ++k) {
    if (m.byRows().value[k] != 0) coefs.emplace_back(m.byRows().index[k], m.byRows().value[k]);
  }
  std::sort(coefs.begin(), coefs.end());
  for (const auto& [j, value] : coefs) text += " " + number(value) + m.columnNames().get(j);
  return text;
}

// "x*y 2" for each entry, those of the objective first.
inline std::vector<std::string> quadratics(const Model& m) {
  std::vector<std::string> lines;
  const auto add = [&](const std::string& of, const QuadraticForm& form) {
    for (const QuadraticEntry& e : form.entries()) {
      lines.push_back(of + m.columnNames().get(e.first) + "*" + m.columnNames().get(e.second) + " " + number(e.value));
    }
  };
  add("", m.quadraticObjective());
  for (const RowQuadratic& row : m.quadraticRows()) add(m.rowNames().get(row.row) + ": ", row.form);
  return lines;
}

inline std::vector<std::string> columns(const Model& m) {
  std::vector<std::string> lines;
  for (int j = 0; j < m.columns(); ++j) lines.push_back(column(m, j));
  return lines;
}

inline std::vector<std::string> rows(const Model& m, bool widths = true) {
  std::vector<std::string> lines;
  for (int i = 0; i < m.rows(); ++i) lines.push_back(row(m, i, widths));
  return lines;
}

using Lines = std::vector<std::string>;

inline void expectSameLines(const Lines& a, const Lines& b) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) ASSERT_EQ(a[i], b[i]);
}

// To the last bit; rows may hold their coefficients in another order. The names of the objectives and the widths of R
// rows, as long as their sides are the same, are not compared.
inline void expectSame(const Model& a, const Model& b) {
  EXPECT_EQ(a.name(), b.name());
  EXPECT_EQ(a.sense(), b.sense());
  EXPECT_EQ(a.constant(), b.constant());
  expectSameLines(columns(a), columns(b));
  expectSameLines(rows(a, false), rows(b, false));
  for (int i = 0; i < a.rows(); ++i) {
    EXPECT_EQ(a.rowLower(i), b.rowLower(i)) << "row " << i;
    EXPECT_EQ(a.rowUpper(i), b.rowUpper(i)) << "row " << i;
  }
  expectSameLines(quadratics(a), quadratics(b));
}

}  // namespace tvlo
