// Malformed files: each gives its line and says what is wrong, and leaves an empty model.
#include <random>

#include "io_test.h"

namespace tvlo {
namespace {

struct Case {
  int line;
  const char* message;
  std::string text;
};

void expectFailures(const std::vector<Case>& cases, const char* flags, int code = TVLO_ERR_FORMAT) {
  for (const Case& bad : cases) {
    const TestFolder folder;
    const std::string filename = folder.write("bad", bad.text);
    Model model = read("min\n obj: x\nst\n c: x >= 1\nend\n", "l");
    try {
      readProblem(model, filename, flags);
      ADD_FAILURE() << "was read: " << bad.text;
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), code) << error.what();
      const std::string where = filename + ":" + std::to_string(bad.line) + ": ";
      EXPECT_EQ(std::string(error.what()).substr(0, where.size()), where) << error.what();
      EXPECT_NE(std::string(error.what()).find(bad.message), std::string::npos) << error.what();
    }
    EXPECT_EQ(model.columns() + model.rows(), 0);
    EXPECT_EQ(model.name() + model.objectiveName(), "");
  }
}

std::string mpsRows(const std::string& rows) { return "NAME\nROWS\n" + rows; }
std::string mpsColumns(const std::string& columns) { return mpsRows(" N o\n L c\nCOLUMNS\n") + columns; }
std::string mpsTail(const std::string& tail) { return mpsColumns(" x o 1 c 1\n y c 1\n") + tail; }

TEST(BadFile, mps) {
  expectFailures(
      {
          {1, "the file ends without ENDATA", ""},
          {3, "the file ends without ENDATA", "NAME\n\n*\n"},
          {2, "unknown section \"FOO\"", "NAME\nFOO\n"},
          {2, "expected a section, found \"x y\"", "NAME\n x y\n"},
          {2, "expected MAX or MIN, found \"UP\"", "OBJSENSE\n UP\n"},
          {1, "COLUMNS comes before ROWS", "COLUMNS\n"},
          {3, "RHS comes before COLUMNS", "NAME\nROWS\nRHS\n"},
          {3, "there is no COLUMNS section", "NAME\nROWS\nENDATA\n"},
          {3, "unknown row type \"Q\"", mpsRows(" Q r\n")},
          {4, "a second row \"a\"", mpsRows(" L a\n G a\n")},
          {3, "found 1 field", mpsRows(" L\n")},
          {3, "found 3 fields", mpsRows(" L a b\n")},
          {5, "ROWS comes a second time", mpsRows(" N o\nCOLUMNS\nROWS\n")},
          {4, "no row of type N", "OBJNAME c\nROWS\n L c\nCOLUMNS\n"},
          {6, "unknown row \"d\"", mpsColumns(" x d 1\n")},
          {6, "found 2 fields", mpsColumns(" x c\n")},
          {6, "more than 6 fields", mpsColumns(" x c 1 o 1 q 1\n")},
          {6, "expected a number, found \"1.0.0\"", mpsColumns(" x c 1.0.0\n")},
          {6, "NaN", mpsColumns(" x c nan\n")},
          {6, "infinite", mpsColumns(" x c -Inf\n")},
          {6, "infinite", mpsColumns(" x o 1e999\n")},
          {7, "a second coefficient of row \"c\" in column \"x\"", mpsColumns(" x c 1\n x c 2\n")},
          {6, "a second coefficient of row \"o\"", mpsColumns(" x o 1 o 2\n")},
          {8, "column \"x\" comes a second time", mpsColumns(" x c 1\n y c 1\n x o 1\n")},
          {6, "unknown marker \"'BOTH'\"", mpsColumns(" m 'MARKER' 'BOTH'\n")},
          {8, "the file ends without ENDATA", mpsColumns(" x c 1\n y c 1\n x1 o 1")},
          {9, "unknown row \"d\"", mpsTail("RHS\n r d 1\n")},
          {9, "a second right-hand side of row \"c\"", mpsTail("RHS\n r c 1 c 2\n")},
          {9, "expected a number", mpsTail("RHS\n r c c\n")},
          {9, "the right-hand side of row \"c\" is infinite", mpsTail("RHS\n r c -1e20\n")},
          {9, "the constant of the objective is infinite", mpsTail("RHS\n r o inf\n")},
          {9, "a second range of row \"c\"", mpsTail("RANGES\n r c 1 c 2\n")},
          {11, "no finite right-hand side", mpsTail("RHS\n r c 1e20\nRANGES\n r c 1\nENDATA\n")},
          {9, "unknown bound type \"XX\"", mpsTail("BOUNDS\n XX b x 1\n")},
          {9, "unknown column \"z\"", mpsTail("BOUNDS\n UP b z 1\n")},
          {9, "has no value", mpsTail("BOUNDS\n UP b x\n")},
          {9, "expected a bound, found \"up\"", mpsTail("BOUNDS\n UP b x up\n")},
          {9, "expected a bound", mpsTail("BOUNDS\n UP b x nan\n")},
          {9, "plus infinity is no lower bound", mpsTail("BOUNDS\n LO b x inf\n")},
          {9, "minus infinity is no upper bound", mpsTail("BOUNDS\n UP b x -1e20\n")},
          {9, "infinity is no fixed value", mpsTail("BOUNDS\n FX b x 1e20\n")},
          {3, "a zero byte", mpsRows(std::string(" L\0c\n", 5))},
          {2, "unknown section \"?x\"", "NAME\n\xc3x\n"},
      },
      "");
}

TEST(BadFile, fixedFormNamesTheLineAndTheColumn) {
  expectFailures({{3, "column 13 is not blank", mpsRows(" N  a very long name\n")},
                  {3, "there is a tab", mpsRows(" N  a\tb\n")},
                  {5, "the coefficient is missing", mpsRows(" N  o\nCOLUMNS\n    x         o\n")},
                  {6, "unknown row \"no row\"",
                   mpsRows(" N  the row\nCOLUMNS\n    x         the row            1\n"
                           "    x         no row             1\n")}},
                 "f");
}

TEST(BadFile, ofTheTwoFormsTheOneThatGetsFurtherTellsTheError) {
  expectFailures({{6, "unknown row \"no row\"",
                   mpsRows(" N  the row\nCOLUMNS\n    x         the row            1\n"
                           "    x         no row             1\n")}},
                 "");
}

TEST(BadFile, lp) {
  const auto lp = [](const std::string& rest) { return "min\n obj: x + y\n" + rest; };
  expectFailures(
      {
          {1, "expected Minimize or Maximize", "x + y\n"},
          {3, "the file ends without End", lp("")},
          {5, "the file ends without End", lp("st\n c: x >= 1\n")},
          {2, "expected a number or a name after the sign", "min\n obj: x + <= 3\nend\n"},
          {2, "expected a term or a section, found \"y\"", "min\n obj: x y\nend\n"},
          {2, "expected a term or a section, found \"^\"", "min\n obj: x ^2\nend\n"},
          {2, "is infinite", "min\n obj: 1e999 x\nend\n"},
          {2, "is infinite", "min\n obj: inf x\nend\n"},
          {4, "expected a term or a relation", lp("st\n c: x y >= 1\nend\n")},
          {5, "expected a right-hand side", lp("st\n c: x >=\nend\n")},
          {5, "a second row \"c\"", lp("st\n c: x >= 1\n c: y >= 1\nend\n")},
          {4, "the left-hand side of the row is missing", lp("st\n >= 1\nend\n")},
          {4, "two relations", lp("st\n c: 1 <= x >= 2\nend\n")},
          {4, "two relations", lp("st\n c: x <= 3 <= y\nend\n")},
          {4, "the lower end of the row is above the upper one", lp("st\n c: 3 <= x <= 2\nend\n")},
          {4, "infinite on the wrong side", lp("st\n c: x <= -inf\nend\n")},
          {4, "infinite on the wrong side", lp("st\n c: x = 1e20\nend\n")},
          {4, "infinity minus infinity", lp("st\n c: x + inf >= inf\nend\n")},
          {5, "plus infinity is no lower bound", lp("bounds\n x <= 1\n x >= inf\nend\n")},
          {4, "minus infinity is no upper bound", lp("bounds\n x <= -1e20\nend\n")},
          {4, "infinity is no fixed value", lp("bounds\n x = inf\nend\n")},
          {5, "expected a relation", lp("bounds\n 2\n x\nend\n")},
          {4, "expected a number, found \"z\"", lp("bounds\n x <= z\nend\n")},
          {4, "expected a column, found \"3\"", lp("gen\n 3\nend\n")},
          {2, "a zero byte", std::string("min\n x\0\n", 8)},
      },
      "l");
}

TEST(BadFile, contentThatIsNotSupportedYetSaysSo) {
  expectFailures({{8, "section SOS is not supported yet", mpsTail("SOS\n")},
                  {8, "section INDICATORS is not supported yet", mpsTail("INDICATORS\n")},
                  {6, "marker 'SOSORG' is not supported yet", mpsColumns(" m 'MARKER' 'SOSORG'\n")}},
                 "", TVLO_ERR_UNSUPPORTED);
  expectFailures({{4, "an indicator constraint is not supported yet", "min\n x\nst\n c: b = 1 -> x >= 1\nend\n"},
                  {3, "section sos is not supported yet", "min\n x\nsos\n s: S1:: x:1\nend\n"},
                  {3, "section lazy constraints is not supported yet", "min\n x\nlazy constraints\n c: x > 1\nend\n"}},
                 "l", TVLO_ERR_UNSUPPORTED);
}

void expectFileError(const std::string& filename, const char* message, const char* flags = "",
                     int code = TVLO_ERR_FILE) {
  Model model = read("min\n obj: x\nend\n", "l");
  try {
    readProblem(model, filename, flags);
    ADD_FAILURE() << filename << " was read";
  } catch (const Error& error) {
    EXPECT_EQ(error.code(), code);
    EXPECT_NE(std::string(error.what()).find(message), std::string::npos) << error.what();
  }
  EXPECT_EQ(model.columns(), 0);
}

TEST(BadFile, whatIsNoReadableFile) {
  const TestFolder folder;
  expectFileError(folder.file("none.mps"), "none.mps: can't be read: No such file");
  expectFileError(folder.file(""), "can't be read: Is a directory");
  expectFileError(folder.write("a.mps", ""), "Unknown flag \"q\"", "q", TVLO_ERR_ARGUMENT);
  expectFileError(folder.file("a.mps"), "more than one file format", "lx", TVLO_ERR_ARGUMENT);
}

TEST(BadFile, damagedGzipData) {
  const TestFolder folder;
  const Model model = read(mpsTail("ENDATA\n"));
  writeProblem(model, folder.file("good.mps.gz"), "");
  const std::string good = bytesOf(folder.file("good.mps.gz"));
  for (size_t length = 2; length < good.size(); length += 7) {
    expectFileError(folder.write("cut.mps", good.substr(0, length)), "end too early");
  }
  std::string wrong = good;
  wrong[good.size() / 2] = static_cast<char>(wrong[good.size() / 2] ^ 0x55);
  expectFileError(folder.write("wrong.mps", wrong), "compressed data");
}

// Whatever bytes change, reading gives a model or an Error, and what was read can be written and read again.
void mutate(const std::string& original, const std::string& flags, unsigned seed) {
  const TestFolder folder;
  const std::string filename = folder.file("mutant");
  std::mt19937 random(seed);
  int good = 0;
  for (int round = 0; round < 1500; ++round) {
    std::string text = original;
    for (int changes = 1 + static_cast<int>(random() % 4); changes > 0; --changes) {
      const size_t at = random() % text.size();
      const size_t other = random() % text.size();
      const size_t length = std::min<size_t>(random() % 40, text.size() - std::max(at, other));
      switch (random() % 5) {
        case 0:
          text[at] = static_cast<char>(random() % 256);
          break;
        case 1:
          text[at] = " \n\t:<>=+-[]*^\\$'eE.019"[random() % 22];
          break;
        case 2:
          text.erase(at, length);
          break;
        case 3:
          text.insert(at, text.substr(other, length));
          break;
        default:
          text.replace(at, length, text.substr(other, length));
      }
      if (text.empty()) text = " ";
    }
    folder.write("mutant", text);
    Model model;
    try {
      readProblem(model, filename, flags);
    } catch (const Error&) {
      EXPECT_EQ(model.columns() + model.rows(), 0);
      continue;
    }
    ++good;
    writeProblem(model, filename, "");
    Model again;
    ASSERT_NO_THROW(readProblem(again, filename, "")) << text;
    EXPECT_EQ(columns(again).size(), columns(model).size());
  }
  EXPECT_GT(good, 20);
}

TEST(BadFile, mutatedFilesNeverCrash) {
  const std::string mps =
      mpsTail("RHS\n r c 4 o -2\nRANGES\n r c 3\nBOUNDS\n UP b x 4\n SC b y 5\n LO b y 2\nENDATA\n");
  mutate(mps, "x", 1);
  mutate(mps, "", 2);
  mutate(bytesOf(std::string(TVLO_TEST_DATA) + "/instances/itest6.mps"), "f", 3);
  mutate(
      "max\n obj: 3 x - 2.5 y\n + 4\nst\n c1: x + y <= 5\n -2 <= 2 x - z <= 8\nx >= 2 - y\nbounds\n -1 <= y <= 8\n"
      " z >= 1\ngen\n x\nsemi\n z\nend\n",
      "l", 4);
}

}  // namespace
}  // namespace tvlo
