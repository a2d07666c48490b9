// The quadratic parts of MPS and LP files: their conventions, what is wrong with bad ones, and that they read back.
#include <random>

#include "io_test.h"

namespace tvlo {
namespace {

std::string mps(const std::string& tail) {
  return "NAME q\nROWS\n L a\n N obj\n G b\nCOLUMNS\n x obj 1 a 1\n y a 1 b 1\n z b 1\n" + tail;
}
Lines mpsQuadratics(const std::string& sections) { return quadratics(read(mps(sections + "ENDATA\n"))); }
Lines lpQuadratics(const std::string& text) { return quadratics(read(text, "l")); }

TEST(QuadraticFile, sectionsOfMpsDifferInTriangleAndFactor) {
  const Lines objective = {"x*x 4", "x*y 3"};
  EXPECT_EQ(mpsQuadratics("QUADOBJ\n x x 4\n x y 3\n"), objective);
  EXPECT_EQ(mpsQuadratics("QUADOBJ\n y x 3 z 0\n x x 4\n"), objective);
  EXPECT_EQ(mpsQuadratics("QMATRIX\n x x 4\n x y 3\n y x 3\n"), objective);
  EXPECT_EQ(mpsQuadratics("QSECTION\n x x 4\n x y 3\n"), objective);
  EXPECT_EQ(mpsQuadratics("qsection obj\n x x 4 y 3\n"), objective);
  EXPECT_EQ(mpsQuadratics("QSECTION a\n x x 4\n x y 3\n"), (Lines{"a: x*x 2", "a: x*y 1.5"}));
  EXPECT_EQ(mpsQuadratics("QCMATRIX b\n z z 4\n z y 3\n y z 3\nRHS\n rhs b 1\nQCMATRIX a\n x x 1\n"),
            (Lines{"a: x*x 1", "b: y*z 3", "b: z*z 4"}));
  EXPECT_EQ(mpsQuadratics("QUADOBJ\nQCMATRIX a\n"), Lines{});
  const std::string fixed =
      "NAME          q\nROWS\n N  obj\n L  a row\nCOLUMNS\n    x 1       a row            1.0\n"
      "QUADOBJ\n    x 1       x 1              2.0\nQCMATRIX      a row\n    x 1       x 1              3.0\nENDATA\n";
  EXPECT_EQ(quadratics(read(fixed, "f")), (Lines{"x 1*x 1 2", "a row: x 1*x 1 3"}));
}

TEST(QuadraticFile, bracketsOfLpFilesHoldSquaresAndProducts) {
  EXPECT_EQ(lpQuadratics("min\n obj: x + [ 2 x^2 + 2 x * y - y ^ 2 ] / 2 + 3\nend\n"),
            (Lines{"x*x 2", "x*y 1", "y*y -1"}));
  EXPECT_EQ(lpQuadratics("min\n [x^2 + 2 x*y]\nend\n"), (Lines{"x*x 2", "x*y 2"})) << "without / 2 as it stands";
  EXPECT_EQ(lpQuadratics("max\n - [ x^2 + 4 x y ] / 2 + [ 2 y * x ]/2\nend\n"), (Lines{"x*x -1", "x*y -1"}));
  EXPECT_EQ(lpQuadratics("min\n x\nst\n c: [ x^2\n + 3 x * y + y * x ] + z <= 4\n d: 1 <= x + [ z ^2 ]\nend\n"),
            (Lines{"c: x*x 1", "c: x*y 2", "d: z*z 1"}));
  const Model sides = read("min\n x\nst\n c: y + [ x^2 ] >= 3 + [ 2 y^2 ] - z\n d: 2 <= [ x^2 ] <= 5\nend\n", "l");
  EXPECT_EQ(quadratics(sides), (Lines{"c: x*x 1", "c: y*y -2", "d: x*x 1"}));
  EXPECT_EQ(rows(sides), (Lines{"c G 3: 1y 1z", "d R 5-3:"}));
  EXPECT_EQ(lpQuadratics("min\n x[1]\nst\n c: [ x[1]^2 + x[1] * y[2] ] <= 1\nend\n"),
            (Lines{"c: x[1]*x[1] 1", "c: x[1]*y[2] 0.5"}));
}

TEST(QuadraticFile, whatIsWrongIsSaidWithItsLine) {
  const auto expectError = [](const std::string& text, const char* flags, int line, const char* message) {
    const TestFolder folder;
    Model model;
    try {
      readProblem(model, folder.write("bad", text), flags);
      ADD_FAILURE() << "was read: " << text;
    } catch (const Error& error) {
      const std::string what = error.what();
      EXPECT_EQ(error.code(), TVLO_ERR_FORMAT) << what;
      EXPECT_NE(what.find("bad:" + std::to_string(line) + ": "), std::string::npos) << what;
      EXPECT_NE(what.find(message), std::string::npos) << what;
    }
  };
  const std::vector<std::tuple<std::string, int, const char*>> ofMps = {
      {"QUADOBJ\n x y 1\n x x 1\n y x 1\n", 13, "a second coefficient of columns \"y\" and \"x\""},
      {"QUADOBJ\n x x 1\n x x 1\n", 12, "a second coefficient"},
      {"QMATRIX\n x y 1\n", 11, "only one of the two coefficients of columns \"x\" and \"y\""},
      {"QMATRIX\n x y 1\n y x 2\n", 12, "two different coefficients"},
      {"QCMATRIX a\n x y 1\n x y 1\n y x 1\n", 12, "a second coefficient"},
      {"QUADOBJ\n x w 1\n", 11, "unknown column \"w\""},
      {"QUADOBJ\n x y inf\n", 11, "infinite"},
      {"QUADOBJ\n x y\n", 11, "found 2 fields"},
      {"QUADOBJ\n x y 1e\n", 11, "expected a number"},
      {"QCMATRIX\n", 10, "the name of the row is missing"},
      {"QCMATRIX c\n", 10, "unknown row \"c\""},
      {"QCMATRIX obj\n", 10, "is the objective"},
      {"QCMATRIX a\nQSECTION a\n", 11, "a second quadratic section of row \"a\""},
      {"QUADOBJ\nQMATRIX\n", 11, "a second quadratic section"},
  };
  for (const auto& [tail, line, message] : ofMps) expectError(mps(tail + "ENDATA\n"), "x", line, message);
  expectError("ROWS\n L a\nCOLUMNS\n x a 1\nQUADOBJ\n", "x", 5, "there is no objective");
  expectError("ROWS\n N o\nQUADOBJ\n", "x", 3, "comes before COLUMNS");
  const std::vector<std::pair<const char*, const char*>> ofLp = {
      {"[ x ] / 2", "expected ^2 or a second column, found \"]\""},
      {"[ x^3 ]", "expected 2 after ^, found \"3\""},
      {"[ x^2 ] / 3", "expected 2 after /, found \"3\""},
      {"[ x^2 y^2 ]", "expected a sign or ]"},
      {"[ x^2 + 3 ]", "expected a column"},
      {"[ x^2", "the end of the file"},
      {"[ inf x^2 ]", "infinite"},
      {"3 [ x^2 ]", "expected a term or a section, found \"[\""},
      {"x^2", "found \"^\""},
  };
  for (const auto& [text, message] : ofLp) expectError(std::string("min\n ") + text, "l", 2, message);
}

TEST(QuadraticFile, textThatIsWritten) {
  const Model m = read("min\n obj: x + [ 3 x^2 - 0.5 x * y ] / 2\nst\n c: [ x * y ] >= 1\nend\n", "l");
  EXPECT_EQ(written(m, "l"),
            "Minimize\n obj: x + [ 3 x ^2 - 0.5 x * y ] / 2\nSubject To\n c: [ x * y ] >= 1\nBounds\nEnd\n");
  const std::string text = written(m, "x");
  EXPECT_EQ(text.substr(text.find("QUADOBJ")),
            "QUADOBJ\n    x         x         3\n    x         y         -0.25\n"
            "QCMATRIX   c\n    x         y         0.5\n    y         x         0.5\nENDATA\n");
}

// Any entries in any order, so that names of columns come first in quadratic parts too.
TEST(QuadraticFile, randomModelsReadBackToTheLastBit) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> real(-3, 3);
  for (int round = 0; round < 60; ++round) {
    Model m;
    ColumnBatch columns;
    columns.count = 1 + static_cast<int>(random() % 12);
    m.addColumns(columns);
    const std::string types = "LGENR";
    for (int i = 0; i < static_cast<int>(random() % 5); ++i) {
      const char type = types[random() % 5];
      const double rhs = type == 'N' ? 0 : static_cast<int>(random() % 9);
      const double range = 2;
      const int64_t start = 0;
      const int column = static_cast<int>(random() % columns.count);
      const double coef = real(random);
      m.addRows({1, static_cast<int64_t>(random() % 2), &type, &rhs, &range, &start, &column, &coef});
    }
    const auto triplets = [&](auto take) {
      for (int k = static_cast<int>(random() % 20); k > 0; --k) {
        const int c1 = static_cast<int>(random() % columns.count);
        const int c2 = static_cast<int>(random() % columns.count);
        const double value = real(random);
        take(c1, c2, value);
      }
    };
    if (round % 3 != 0) triplets([&](int a, int b, double v) { m.setQuadraticObjective(1, &a, &b, &v); });
    for (int i = 0; i < m.rows(); ++i) {
      if (random() % 2 != 0) triplets([&](int a, int b, double v) { m.addRowQuadratic(i, 1, &a, &b, &v); });
    }
    for (const auto& [name, flags] : {std::pair("m.mps", "x"), std::pair("m.mps", "f"), std::pair("m.lp", "")}) {
      SCOPED_TRACE(std::string(name) + flags + std::to_string(round));
      const TestFolder folder;
      writeProblem(m, folder.file(name), flags);
      Model again;
      readProblem(again, folder.file(name), flags);
      expectSame(m, again);
    }
  }
}

}  // namespace
}  // namespace tvlo
