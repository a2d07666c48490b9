// What each rule of MPS files makes of the store.
#include "io_test.h"

namespace tvlo {
namespace {

// Columns x, y and z in rows c1 (L), c2 (G) and c3 (E), then the given sections.
std::string base(const std::string& sections) {
  return "NAME test\nROWS\n N obj\n L c1\n G c2\n E c3\nCOLUMNS\n"
         " x obj 1 c1 1\n y obj 2 c2 1\n y c3 1\n z obj 3 c3 1\n" +
         sections + "ENDATA\n";
}

std::string bounds(const std::string& lines) { return base("BOUNDS\n" + lines); }

TEST(MpsRead, aSmallFileGivesEveryArrayOfTheStore) {
  const Model m = read(
      "* a comment\nNAME  my model\nROWS\n N  cost\n L  c1\n G  c2\n\n E  c3\nCOLUMNS\n"
      "    x  cost  1.5  c1  -2\n    x  c3  1e2\n* another\n    y  c2  .5  $ the rest is a comment\n"
      "RHS\n    RHS  c1  4  c2  -1\n    RHS  cost  -7\nENDATA\nnot read any more\n");
  EXPECT_EQ(m.name(), "my model");
  EXPECT_EQ(m.objectiveName(), "cost");
  EXPECT_EQ(m.sense(), 1);
  EXPECT_EQ(m.constant(), 7);
  EXPECT_EQ(columns(m), (Lines{"x C 0..inf cost 1.5", "y C 0..inf cost 0"}));
  EXPECT_EQ(rows(m), (Lines{"c1 L 4: -2x", "c2 G -1: 0.5y", "c3 E 0: 100x"}));
}

TEST(MpsRead, theFormOfLinesDoesNotMatter) {
  const std::string text = base("RHS\n RHS c1 4\nBOUNDS\n UP BND x 3\n");
  const Model expected = read(text);
  std::string windows, tabs = text, lower = text;
  for (const char c : text) windows += c == '\n' ? std::string("\r\n") : std::string(1, c);
  std::replace(tabs.begin(), tabs.end(), ' ', '\t');
  for (const char* section : {"NAME", "ROWS", "COLUMNS", "RHS\n", "BOUNDS", "ENDATA"}) {
    const size_t at = lower.find(section);
    for (size_t k = at; k < at + std::strlen(section); ++k) lower[k] = static_cast<char>(std::tolower(lower[k]));
  }
  expectSame(read(windows), expected);
  expectSame(read("\xef\xbb\xbf" + text), expected);
  expectSame(read(lower), expected);
  EXPECT_EQ(rows(read(tabs)), rows(expected));
  EXPECT_EQ(rows(read(text.substr(0, text.size() - 1))), rows(expected));  // no newline at the end
}

TEST(MpsRead, theSenseStandsOnItsLineOrTheNext) {
  for (const char* max : {"OBJSENSE MAX\n", "OBJSENSE\n    MAX\n", "objsense\n maximize\n", "OBJSENSE\nMAXIMIZE\n",
                          "OBJSENSE\n MIN\nOBJSENSE MAX\n"}) {
    EXPECT_EQ(read(max + base("")).sense(), -1) << max;
  }
  EXPECT_EQ(read("OBJSENSE MINIMIZE\n" + base("")).sense(), 1);
}

TEST(MpsRead, theFirstFreeRowIsTheObjectiveOrTheNamedOne) {
  const std::string text = "ROWS\n L c\n N a\n N b\nCOLUMNS\n x a 1 b 2\n x c 3\nRHS\n RHS a 4 b 5\nENDATA\n";
  const Model first = read(text);
  EXPECT_EQ(column(first, 0), "x C 0..inf cost 1");
  EXPECT_EQ(rows(first), (Lines{"c L 0: 3x", "b N 5: 2x"}));
  EXPECT_EQ(first.constant(), -4);
  const Model named = read("OBJNAME\n b\n" + text);
  EXPECT_EQ(column(named, 0), "x C 0..inf cost 2");
  EXPECT_EQ(rows(named), (Lines{"c L 0: 3x", "a N 4: 1x"}));
  const Model none = read("ROWS\n L c\nCOLUMNS\n x c 3\nENDATA\n");
  EXPECT_EQ(column(none, 0), "x C 0..inf cost 0");
}

TEST(MpsRead, rangesReachToTheSideThatTheTypeAndTheSignTell) {
  const auto ranged = [](const char* type, const char* range) {
    return row(read(std::string("ROWS\n N o\n ") + type + " c\nCOLUMNS\n x c 1\nRHS\n r c 10\nRANGES\n s c " + range +
                    "\nENDATA\n"),
               0);
  };
  EXPECT_EQ(ranged("L", "4"), "c R 10-4: 1x");
  EXPECT_EQ(ranged("L", "-4"), "c R 10-4: 1x");
  EXPECT_EQ(ranged("G", "4"), "c R 14-4: 1x");
  EXPECT_EQ(ranged("G", "-4"), "c R 14-4: 1x");
  EXPECT_EQ(ranged("E", "4"), "c R 14-4: 1x");
  EXPECT_EQ(ranged("E", "-4"), "c R 10-4: 1x");
  EXPECT_EQ(ranged("E", "0"), "c E 10: 1x");
  EXPECT_EQ(ranged("L", "0"), "c R 10-0: 1x");
  EXPECT_EQ(ranged("N", "4"), "c N 10: 1x");
  EXPECT_EQ(ranged("L", "1e30"), "c L 10: 1x");
  EXPECT_EQ(ranged("G", "1e30"), "c G 10: 1x");
  EXPECT_EQ(ranged("E", "-1e30"), "c L 10: 1x");
}

TEST(MpsRead, everyBoundType) {
  const auto x = [](const char* lines) { return column(read(bounds(lines)), 0); };
  EXPECT_EQ(x(" UP b x 4\n"), "x C 0..4 cost 1");
  EXPECT_EQ(x(" UP b x -4\n"), "x C -inf..-4 cost 1");
  EXPECT_EQ(x(" UP b x 0\n"), "x C 0..0 cost 1");
  EXPECT_EQ(x(" LO b x 0\n UP b x -4\n"), "x C 0..-4 cost 1");
  EXPECT_EQ(x(" UP b x -4\n LO b x -6\n"), "x C -6..-4 cost 1");
  EXPECT_EQ(x(" UP b x 1e30\n"), "x C 0..inf cost 1");
  EXPECT_EQ(x(" UP b x Infinity\n"), "x C 0..inf cost 1");
  EXPECT_EQ(x(" LO b x 4\n"), "x C 4..inf cost 1");
  EXPECT_EQ(x(" LO b x -inf\n"), "x C -inf..inf cost 1");
  EXPECT_EQ(x(" FX b x 4\n"), "x C 4..4 cost 1");
  EXPECT_EQ(x(" FR b x\n"), "x C -inf..inf cost 1");
  EXPECT_EQ(x(" MI b x\n"), "x C -inf..inf cost 1");
  EXPECT_EQ(x(" MI b x\n UP b x -4\n"), "x C -inf..-4 cost 1");
  EXPECT_EQ(x(" UP b x 4\n PL b x\n"), "x C 0..inf cost 1");
  EXPECT_EQ(x(" BV b x\n"), "x B 0..1 cost 1");
  EXPECT_EQ(x(" BV b x\n UP b x 4\n"), "x I 0..4 cost 1");
  EXPECT_EQ(x(" LI b x 4\n"), "x I 4..inf cost 1");
  EXPECT_EQ(x(" UI b x 4\n"), "x I 0..4 cost 1");
  EXPECT_EQ(x(" SC b x 4\n"), "x S 0..4 cost 1");
  EXPECT_EQ(x(" SC b x 0\n"), "x S 0..inf cost 1");
  EXPECT_EQ(x(" SC b x\n"), "x S 0..inf cost 1");
  EXPECT_EQ(x(" SC b x 4\n LO b x 2\n"), "x S 0..4 cost 1 limit 2");
  EXPECT_EQ(x(" LO b x 2\n SI b x 4\n"), "x R 0..4 cost 1 limit 2");
  EXPECT_EQ(x(" LO b x -2\n SC b x 4\n"), "x S -2..4 cost 1");
  EXPECT_EQ(x(" SC b x\n UP b x -4\n"), "x S -inf..-4 cost 1");
  EXPECT_EQ(x(" PI b x 4\n UP b x 9\n"), "x P 0..9 cost 1 limit 4");
}

TEST(MpsRead, theFirstSetCountsAndItsNameMayBeMissing) {
  const Model m = read(
      base("RHS\n one c1 4\n two c1 5 c2 6\n c3 7\nRANGES\n one c1 1\n two c1 2\nBOUNDS\n UP one x 4\n UP two x 5\n"
           " UP two y 5\n UP y 6\n FR z\n"));
  EXPECT_EQ(rows(m), (Lines{"c1 R 4-1: 1x", "c2 G 0: 1y", "c3 E 7: 1y 1z"}));
  EXPECT_EQ(columns(m), (Lines{"x C 0..4 cost 1", "y C 0..6 cost 2", "z C -inf..inf cost 3"}));
}

TEST(MpsRead, integerColumnsWithoutBoundsAreBinary) {
  const Model m = read(
      "ROWS\n N o\nCOLUMNS\n a o 1\n M 'MARKER' 'INTORG'\n b o 1\n c o 1\n d o 1\n e o 1\n f o 1\n"
      " M 'MARKER' 'INTEND'\n g o 1\nBOUNDS\n LO s c 0\n UP s d 7\n PL s e\n SC s f 5\nENDATA\n");
  EXPECT_EQ(columns(m), (Lines{"a C 0..inf cost 1", "b B 0..1 cost 1", "c I 0..inf cost 1", "d I 0..7 cost 1",
                               "e I 0..inf cost 1", "f R 0..5 cost 1", "g C 0..inf cost 1"}));
}

TEST(MpsRead, fixedFormTakesNamesWithBlanksFromTheirColumns) {
  const std::string text =
      "NAME          two words\nROWS\n N  the cost\n L  ro w 1\n G  R2\nCOLUMNS\n"
      "    col A     the cost           1.5   ro w 1             2\n"
      "    col A     R2        -1234567890.12345678\n"
      "    B         ro w 1              3\n"
      "RHS\n    my rhs    ro w 1               4   R2                 5\n"
      "BOUNDS\n UP my bnd    col A               9\n FR           B\nENDATA\n";
  for (const char* flags : {"", "f"}) {
    const Model m = read(text, flags);
    EXPECT_EQ(m.objectiveName(), "the cost");
    EXPECT_EQ(rows(m), (Lines{"ro w 1 L 4: 2col A 3B", "R2 G 5: -1234567890.1234567col A"}));
    EXPECT_EQ(columns(m), (Lines{"col A C 0..9 cost 1.5", "B C -inf..inf cost 0"}));
  }
  EXPECT_THROW(read(text, "x"), Error);
}

TEST(MpsRead, namesMayHoldAnythingThatIsNoBlank) {
  const std::string longName(5000, 'n');
  const Model m = read("ROWS\n N $o\n L *r\n L 12\n E " + longName + "\nCOLUMNS\n -x $o 1 *r 2\n RHS 12 3 " + longName +
                       " 4 $ comment\nRHS\n RHS 12 5\nBOUNDS\n UP RHS 6\n FR s -x\nENDATA\n");
  EXPECT_EQ(rows(m), (Lines{"*r L 0: 2-x", "12 L 5: 3RHS", longName + " E 0: 4RHS"}));
  EXPECT_EQ(columns(m), (Lines{"-x C -inf..inf cost 1", "RHS C 0..6 cost 0"}));
  const Model latin = read("ROWS\n N o\nCOLUMNS\n caf\xe9 o 1\nENDATA\n");  // stored as UTF-8
  EXPECT_EQ(latin.columnNames().get(0), "caf\xc3\xa9");
}

TEST(MpsRead, numbers) {
  const auto cost = [](const char* text) {
    return read(std::string("ROWS\n N o\nCOLUMNS\n x o ") + text + "\nENDATA\n").objective()[0];
  };
  EXPECT_EQ(cost("+1."), 1);
  EXPECT_EQ(cost("-.5E+01"), -5);
  EXPECT_EQ(cost("1.25D-2"), 0.0125);
  EXPECT_EQ(cost("0.1"), 0.1);
  EXPECT_EQ(cost("4.9406564584124654e-324"), 4.9406564584124654e-324);
  EXPECT_EQ(cost("1e-5000"), 0);
  EXPECT_EQ(cost(("0." + std::string(400, '0') + "1e401").c_str()), 1);
  for (const char* text : {"1e400", "nan", "inf", "1,5", "0x10", "+-1", "--1", "1e", ""}) {
    EXPECT_THROW(cost(text), Error) << text;
  }
}

TEST(MpsRead, anEmptyProblem) {
  const Model m = read("NAME\nROWS\n N obj\nCOLUMNS\nENDATA\n", "");
  EXPECT_EQ(m.rows() + m.columns(), 0);
}

}  // namespace
}  // namespace tvlo
