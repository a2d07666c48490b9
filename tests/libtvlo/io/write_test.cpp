// What is written reads back the same, and a failing write harms nothing.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <limits>
#include <random>

#include "io_test.h"

namespace tvlo {
namespace {

Model readBack(const Model& model, const std::string& name, const std::string& flags = "") {
  const TestFolder folder;
  writeProblem(model, folder.file(name), flags);
  Model again;
  readProblem(again, folder.file(name), "");
  return again;
}

TEST(Write, freeMpsText) {
  const Model m = read(
      "max\n obj: x - 2 y + 0 z + 5\nst\n c1: x + y <= 4\n c2: -1 <= x <= 3\n c3: z >= -inf\n"
      "bounds\n y <= -2\n z = 1.5\nint\n x\nend\n",
      "l");
  EXPECT_EQ(
      written(m),
      "NAME\nOBJSENSE\n    MAX\nROWS\n N  obj\n L  c1\n L  c2\n N  c3\nCOLUMNS\n"
      "    M0        'MARKER'                 'INTORG'\n"
      "    x         obj       1\n    x         c1        1\n    x         c2        1\n"
      "    M1        'MARKER'                 'INTEND'\n"
      "    y         obj       -2\n    y         c1        1\n    z         c3        1\n"
      "RHS\n    RHS       obj       -5\n    RHS       c1        4\n    RHS       c2        3\n"
      "RANGES\n    RNG       c2        4\n"
      "BOUNDS\n PL BND       x\n LO BND       y         0\n UP BND       y         -2\n FX BND       z         1.5\n"
      "ENDATA\n");
}

TEST(Write, lpText) {
  const Model m = read(
      "\\Problem name: p\nmin\n obj: - x1 + x2 - 4\nst\n c1: x2 - 2.5 x1 = 4\n c2: -1 <= x1 <= 3\n c3: = 1\nbounds\n"
      " x1 free\n 1 <= x2 <= 9\nsemi\n x2\nend\n",
      "l");
  EXPECT_EQ(written(m, "l"),
            "\\Problem name: p\nMinimize\n obj: - x1 + x2 - 4\nSubject To\n c1: x2 - 2.5 x1 = 4\n"
            " c2: -1 <= x1 <= 3\n c3: 0 x1 = 1\nBounds\n x1 free\n 1 <= x2 <= 9\nSemi-Continuous\n x2\nEnd\n");
}

TEST(Write, everyInstanceReadsBackTheSame) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::string(TVLO_TEST_DATA) + "/instances")) {
    const std::string name = entry.path().filename().string();
    if (!name.ends_with(".mps") && !name.ends_with(".qps") && !name.ends_with(".lp")) continue;
    SCOPED_TRACE(name);
    ++count;
    Model model;
    readProblem(model, entry.path().string(), "");
    ASSERT_GT(model.columns(), 0);
    expectSame(readBack(model, "a.mps"), model);
    expectSame(readBack(model, "a.mps.gz"), model);
    const bool shortNames = std::max(model.columnNames().longest(), model.rowNames().longest()) <= 8;
    if (shortNames) expectSame(readBack(model, "a.mps", "f"), model);
    // LP format can't hold all names of these files: compare without them.
    Model unnamed = readBack(model, "a.lp");
    for (int j = 0; j < model.columns(); ++j) unnamed.columnNames().set(j, model.columnNames().get(j));
    for (int i = 0; i < model.rows(); ++i) unnamed.rowNames().set(i, model.rowNames().get(i));
    expectSame(unnamed, model);
  }
  EXPECT_GE(count, 20);
}

class RandomModel {
 public:
  explicit RandomModel(unsigned seed) : random_(seed) {}

  // `lp`: only what LP format holds, so no partially integer columns.
  Model make(bool lp) {
    const int n = static_cast<int>(random_() % 12);
    const int m = static_cast<int>(random_() % 12);
    Model model;
    std::vector<double> obj, lb, ub;
    for (int j = 0; j < n; ++j) {
      obj.push_back(value());
      lb.push_back(pick({0, 0, 1, -TVLO_INFINITY, value()}));
      ub.push_back(pick({TVLO_INFINITY, TVLO_INFINITY, 0, 1, value()}));
    }
    std::string types;
    std::vector<double> rhs, lower;
    std::vector<int64_t> start;
    std::vector<int> index;
    std::vector<double> coefs;
    for (int i = 0; i < m; ++i) {
      types += "LGERN"[random_() % 5];
      rhs.push_back(types.back() == 'N' && lp ? 0 : value());
      lower.push_back(value());
      if (types.back() == 'R' && lower.back() > rhs.back()) std::swap(lower.back(), rhs.back());
      start.push_back(static_cast<int64_t>(index.size()));
      for (int j = n - 1; j >= 0; --j) {
        if (random_() % 3 != 0) continue;
        index.push_back(j);
        const double coef = value();
        coefs.push_back(coef == 0 ? 1 : coef);
      }
    }
    model.addColumns({.count = n, .obj = obj.data(), .lb = lb.data(), .ub = ub.data()});
    model.addRows({.count = m,
                   .ncoefs = static_cast<int64_t>(index.size()),
                   .type = types.data(),
                   .rhs = rhs.data(),
                   .start = start.data(),
                   .col = index.data(),
                   .coef = coefs.data(),
                   .lower = lower.data()});
    for (int j = 0; j < n; ++j) {
      const char type = "CCCBISRP"[random_() % (lp ? 7 : 8)];
      if (type == 'S' || type == 'R') {
        const double ends[] = {0, pick({TVLO_INFINITY, 0, 1, std::abs(value())})};
        const int both[] = {j, j};
        model.setBounds(2, both, "LU", ends);
      }
      model.setColumnTypes(1, &j, &type);
      const double limit = std::abs(value());
      if (type == 'P' || ((type == 'S' || type == 'R') && random_() % 2 == 0)) model.setLimits(1, &j, &limit);
    }
    model.setSense(random_() % 2 == 0 ? 1 : -1);
    const int constant = -1;
    const double minus = value();
    model.setObjective(1, &constant, &minus);
    model.setName(random_() % 2 == 0 ? "" : "a name of several words");
    for (int j = 0; j < n; ++j) {
      if (random_() % 2 == 0) model.columnNames().set(j, "x" + std::to_string(random_()));
    }
    for (int i = 0; i < m; ++i) {
      if (random_() % 2 == 0) model.rowNames().set(i, "row." + std::to_string(random_()));
    }
    return model;
  }

 private:
  double pick(std::vector<double> values) { return values[random_() % values.size()]; }
  double value() {
    const double mantissa = std::uniform_real_distribution<double>(-1, 1)(random_);
    return pick({0, 1, -1, static_cast<double>(random_() % 1000), mantissa, mantissa * 1e-12, mantissa * 1e15});
  }
  std::mt19937 random_;
};

TEST(Write, randomModelsReadBackToTheLastBit) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    const Model any = RandomModel(seed).make(false);
    expectSame(readBack(any, "a.mps"), any);
    expectSame(readBack(any, "a.mps.gz", "x"), any);
    const Model lp = RandomModel(seed).make(true);
    expectSame(readBack(lp, "a.lp"), lp);
    if (HasFailure()) return;
  }
}

// Widths between sides of like magnitude, or of very different ones, don't fit into a double, in more ways than one.
TEST(Write, sidesOfRowsAreKeptToTheLastBit) {
  std::mt19937 random(1);
  std::vector<double> lower{0.1, -1e16, -1.05, -1e19, 1e-300, -1, 5e-324},
      upper{1e16, 0.1, 1.1, 1e19, 1, 1e-17, 1e-323};
  while (lower.size() < 2000) {
    const auto side = [&] {
      return std::ldexp(std::uniform_real_distribution(-1.0, 1.0)(random), static_cast<int>(random() % 60));
    };
    const auto [least, most] = std::minmax({side(), side()});
    lower.push_back(least);
    upper.push_back(most);
  }
  Model m = read("min\n x\nend\n", "l");
  const auto rows = static_cast<int>(lower.size());
  m.addRows({.count = rows, .type = std::string(rows, 'R').c_str(), .rhs = upper.data(), .lower = lower.data()});
  for (const auto& [name, flags] : {std::pair("a.mps", "x"), {"a.mps", "f"}, {"a.lp", ""}}) {
    expectSame(readBack(m, name, flags), m);
    const Model copy = readBack(readBack(m, "b.lp"), name, flags);
    expectSame(copy, m);
  }
}

TEST(Write, fixedFormHoldsNumbersOfAnyLength) {
  const Model m = read(
      "min\n obj: 0.1234567890123456789 x + 1e300 y\nst\n c: -1.2345678901234567e-200 x >= 0.3333333333333333\n"
      "bounds\n x <= 12345678901234.567\nend\n",
      "l");
  expectSame(readBack(m, "a.mps", "f"), m);
}

TEST(Write, namesThatTheFormatCantHoldAreReplaced) {
  Model m = read("min\n a + b + c + d + e + f\nst\n r: a >= 1\n s: a >= 2\n t: a >= 3\nend\n", "l");
  const char* const names[] = {"two words", "$dollar", "C2", "same", "same", "*star\n"};
  for (int j = 0; j < 6; ++j) m.columnNames().set(j, names[j]);
  m.rowNames().set(0, "end");
  m.rowNames().set(1, "a:b");
  m.rowNames().set(2, "3");
  const auto columnNames = [](const Model& model) {
    Lines lines;
    for (int j = 0; j < model.columns(); ++j) lines.push_back(model.columnNames().get(j));
    return lines;
  };
  const Model mps = readBack(m, "a.mps");
  EXPECT_EQ(columnNames(mps), (Lines{"C1", "C7", "C2", "same", "C5", "C6"}));
  EXPECT_EQ(rows(mps), (Lines{"end G 1: 1C1", "a:b G 2: 1C1", "3 G 3: 1C1"}));
  EXPECT_EQ(columnNames(readBack(m, "a.lp")), (Lines{"C1", "$dollar", "C2", "same", "C5", "C6"}));
  EXPECT_EQ(rows(readBack(m, "b.lp")), (Lines{"R1 G 1: 1C1", "R2 G 2: 1C1", "R3 G 3: 1C1"}));
  m.columnNames().set(3, "longer than eight");
  EXPECT_EQ(columnNames(readBack(m, "a.mps", "f"))[3], "C4");
}

TEST(Write, namesWithBlanksAreKeptInFixedFormWhereAllFit) {
  Model m = read("min\n a + b\nst\n r: a >= 1\nend\n", "l");
  m.columnNames().set(0, "two wrds");
  m.rowNames().set(0, "r w");
  expectSame(readBack(m, "a.mps"), m);
  EXPECT_EQ(readBack(m, "a.mps", "x").columnNames().get(0), "C1");
}

// An S or R column is 0 or from its limit, without one from its lower bound, to its upper bound.
TEST(Write, theRangeOfSemiContinuousColumnsIsKept) {
  const double values[] = {-TVLO_INFINITY, -3, 0, 2};
  for (const double lower : values) {
    for (const double limit : values) {
      for (const double upper : {-1.0, 0.0, 5.0, TVLO_INFINITY}) {
        for (const char* name : {"a.mps", "a.lp"}) {
          const int both[] = {0, 0};
          const double ends[] = {lower, upper};
          Model m = read("min\n x\nsemi\n x\nend\n", "l");
          m.setBounds(2, both, "LU", ends);
          if (limit > -TVLO_INFINITY) m.setLimits(1, both, &limit);
          const Model again = readBack(m, name);
          EXPECT_EQ(again.columnTypes()[0], 'S');
          EXPECT_EQ(again.semiLower(0), m.semiLower(0)) << lower << " " << limit << " " << upper << " " << name;
          EXPECT_EQ(again.upper()[0], upper) << lower << " " << limit << " " << name;
        }
      }
    }
  }
}

TEST(Write, contentThatNoFileHoldsIsRefused) {
  const int x = 0;
  Model semi = read("min\n x\nsemi\n x\nend\n", "l");
  const double infinite = 1e20;
  semi.setLimits(1, &x, &infinite);
  Model partial = read("min\n x\nend\n", "l");
  partial.setColumnTypes(1, &x, "P");
  const TestFolder folder;
  for (const auto& [model, name] : {std::pair(&semi, "s.mps"), std::pair(&partial, "p.lp")}) {
    try {
      writeProblem(*model, folder.file(name), "");
      ADD_FAILURE() << name << " was written";
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), TVLO_ERR_UNSUPPORTED) << error.what();
    }
  }
  EXPECT_EQ(folder.count(), 0);
}

TEST(Write, flagsAndNamesChooseFormatAndCompression) {
  const Model m = read("min\n x\nend\n", "l");
  const TestFolder folder;
  const auto start = [&](const char* name, const char* flags) {
    writeProblem(m, folder.file(name), flags);
    return bytesOf(folder.file(name)).substr(0, 4);
  };
  EXPECT_EQ(start("a", ""), "NAME");
  EXPECT_EQ(start("a.lp", ""), "Mini");
  EXPECT_EQ(start("a.lp", "x"), "NAME");
  EXPECT_EQ(start("a.mps", "l"), "Mini");
  EXPECT_EQ(start("a.mps", "z").substr(0, 2), "\x1f\x8b");
  EXPECT_EQ(start("a.LP.GZ", "").substr(0, 2), "\x1f\x8b");
  EXPECT_THROW(start("b", "xf"), Error);
  for (const auto& [name, flags] : {std::pair("c.mps", "l"), {"c.lp", "x"}, {"d.lp", "f"}, {"d", "l"}, {"e", ""}}) {
    expectSame(readBack(m, name, flags), m);  // read without flags: the content tells
  }
  EXPECT_THROW(start("b", "u"), Error);
}

void expectWriteError(const Model& model, const std::string& filename, const char* message) {
  for (const char* flags : {"", "z", "l"}) {
    try {
      writeProblem(model, filename, flags);
      ADD_FAILURE() << filename << " was written";
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), TVLO_ERR_FILE);
      EXPECT_NE(std::string(error.what()).find(message), std::string::npos) << error.what();
    }
  }
}

TEST(Write, aFullDeviceOrAFolderIsAClearError) {
  const Model m = read("min\n x\nend\n", "l");
  const TestFolder folder;
  expectWriteError(m, "/dev/full", "/dev/full: can't be written: No space left on device");
  expectWriteError(m, folder.file("none/a.mps"), "can't be written: No such file or directory");
  expectWriteError(m, folder.file(""), "can't be written: Is a directory");
  EXPECT_EQ(folder.count(), 0);
}

// A size limit makes a write fail in the middle of a regular file.
TEST(Write, aFailureLeavesTheOldFileAndNothingElse) {
  const TestFolder folder;
  const std::string target = folder.write("a.mps", "old content");
  Model m;
  readProblem(m, std::string(TVLO_TEST_DATA) + "/instances/share2b.mps", "");
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  const rlimit reduced{1000, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &reduced), 0);
  expectWriteError(m, target, "a.mps: can't be written: File too large");
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, handler);
  EXPECT_EQ(bytesOf(target), "old content");
  EXPECT_EQ(folder.count(), 1);
}

TEST(Write, theTargetKeepsItsModeAndItsLinks) {
  const TestFolder folder;
  const Model m = read("min\n x\nend\n", "l");
  const std::string target = folder.write("a.mps", "old");
  ASSERT_EQ(chmod(target.c_str(), 0640), 0);
  std::filesystem::create_symlink(target, folder.file("link.mps"));
  writeProblem(m, folder.file("link.mps"), "");
  EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link.mps")));
  EXPECT_EQ(bytesOf(target).substr(0, 4), "NAME");
  struct stat status;
  ASSERT_EQ(stat(target.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
  EXPECT_EQ(folder.count(), 2);
}

}  // namespace
}  // namespace tvlo
