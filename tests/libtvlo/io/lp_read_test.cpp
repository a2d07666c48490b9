// What each rule of LP files makes of the store.
#include "io_test.h"

namespace tvlo {
namespace {

Model lp(const std::string& text) { return read(text, "l"); }
Lines lpRows(const std::string& text) { return rows(lp("min\n obj: x + y\nst\n" + text + "\nend\n")); }
Lines lpColumns(const std::string& sections) { return columns(lp("min\n obj: x + y\n" + sections + "\nend\n")); }

TEST(LpRead, aSmallFileGivesEveryArrayOfTheStore) {
  const Model m =
      lp("\\ a comment\n\\Problem name: my model\nMaximize\n profit: 3 x1 - 2.5 x2 + x#3\n   + 4 \\ the constant\n"
         "Subject To\n c1: x1 + x2 <= 5\n c2:\n  2 x1 - x#3 >= 0\n c3: x2 = -1.5\n"
         "Bounds\n x1 <= 4\n -1 <= x2 <= 8\nGenerals\n x1\nBinaries\n x#3\nEnd\nnot read any more\n");
  EXPECT_EQ(m.name(), "my model");
  EXPECT_EQ(m.objectiveName(), "profit");
  EXPECT_EQ(m.sense(), -1);
  EXPECT_EQ(m.constant(), 4);
  EXPECT_EQ(columns(m), (Lines{"x1 I 0..4 cost 3", "x2 C -1..8 cost -2.5", "x#3 B 0..1 cost 1"}));
  EXPECT_EQ(rows(m), (Lines{"c1 L 5: 1x1 1x2", "c2 G 0: 2x1 -1x#3", "c3 E -1.5: 1x2"}));
}

TEST(LpRead, wordsOfSections) {
  const Lines expected = lpRows("c: x >= 1");
  for (const char* sense : {"MIN", "minimise", "Minimum", "\n\nminimize"}) {
    for (const char* st : {"ST", "s.t.", "st.", "Such That", "SUBJECT  TO", "Subject To:"}) {
      const Model m = lp(std::string(sense) + " obj: x + y\n" + st + "\n c: x >= 1\r\nEND");
      EXPECT_EQ(rows(m), expected) << sense << " " << st;
      EXPECT_EQ(m.sense(), 1);
    }
  }
}

TEST(LpRead, wordsThatAreNamesWhereASectionCantBe) {
  const Model m = lp("min\n max: st + end\nst\n min: 2 st + 3 gen <= 4\n bounds: free >= 1\nend\n");
  EXPECT_EQ(m.objectiveName(), "max");
  EXPECT_EQ(rows(m), (Lines{"min L 4: 2st 3gen", "bounds G 1: 1free"}));
}

TEST(LpRead, theObjectiveMayBeEmptyAndHoldConstants) {
  EXPECT_EQ(lp("max\nst\n c: x >= 1\nend\n").objective()[0], 0);
  const Model m = lp("min\n 2 x - 3 + 2 x - 0 y + 5 - - 1\nend\n");
  EXPECT_EQ(columns(m), (Lines{"x C 0..inf cost 4", "y C 0..inf cost 0"}));
  EXPECT_EQ(m.constant(), 3);
  EXPECT_EQ(lp("min\n obj: 7\nend\n").constant(), 7);
}

TEST(LpRead, relationsAndRanges) {
  EXPECT_EQ(lpRows("a: x < 1\nb: x =< 1\nc: x <= 1\nd: x > 1\ne: x => 1\nf: x >= 1\ng: x = 1"),
            (Lines{"a L 1: 1x", "b L 1: 1x", "c L 1: 1x", "d G 1: 1x", "e G 1: 1x", "f G 1: 1x", "g E 1: 1x"}));
  EXPECT_EQ(lpRows("a: -5 <= x + y <= 8\nb: 8 >= x >= -5\nc: -5 <= x\n + y <= 8\nd: 1 <= x + 1 <= 1"),
            (Lines{"a R 8-13: 1x 1y", "b R 8-13: 1x", "c R 8-13: 1x 1y", "d R 0-0: 1x"}));
  EXPECT_EQ(lpRows("a: x <= 8\nb: y >= 1\na: >= 2\nb: <= 5\nb: = 3\nc: = 4"),
            (Lines{"a R 8-6: 1x", "b E 3: 1y", "c E 4:"}));
  EXPECT_EQ(lpRows("a: 5 <= x\nb: 5 = x + y\nc: 5 >= x - 2"), (Lines{"a G 5: 1x", "b E 5: 1x 1y", "c L 7: 1x"}));
  EXPECT_EQ(lpRows("a: x >= -inf\nb: x <= +Infinity\nc: -inf <= x <= 3\nd: 1 <= x <= inf\ne: x <= 1e20"),
            (Lines{"a N 0: 1x", "b N 0: 1x", "c L 3: 1x", "d G 1: 1x", "e L inf: 1x"}));
}

TEST(LpRead, bothSidesMayHoldColumnsAndConstants) {
  EXPECT_EQ(lpRows("a: x + 3 >= 2 y - 4 + x\nb: 2 x + y + 3 x <= 0\nc: x - x + y >= 1\nd: y - 1 = 1"),
            (Lines{"a G -7: -2y", "b L 0: 5x 1y", "c G 1: 1y", "d E 2: 1y"}));
  EXPECT_EQ(lpRows("a: x >= y +\n 2\nb: x >= 2\n + y\nc: 3 * x >= 1"),
            (Lines{"a G 2: 1x -1y", "b G 2: 1x -1y", "c G 1: 3x"}));
}

TEST(LpRead, rowsWithoutNamesStartOnTheirOwnLine) {
  EXPECT_EQ(lpRows("x + y <= 5\n2 x - y >= 0\n-x + 3 y >= 0\nx >= 1\n+ y >= 2"),
            (Lines{"R1 L 5: 1x 1y", "R2 G 0: 2x -1y", "R3 G 0: -1x 3y", "R4 G 1: 1x", "R5 G 2: 1y"}));
}

TEST(LpRead, aCoefficientMayEndALine) {
  EXPECT_EQ(column(lp("max\n obj: -2\n x134 -0.01\n x135\nend\n"), 1), "x135 C 0..inf cost -0.01");
}

TEST(LpRead, boundsOfEveryForm) {
  const auto x = [](const std::string& bound) { return lpColumns("bounds\n" + bound)[0]; };
  EXPECT_EQ(x("x free"), "x C -inf..inf cost 1");
  EXPECT_EQ(x("x >= -3"), "x C -3..inf cost 1");
  EXPECT_EQ(x("-3 <= x"), "x C -3..inf cost 1");
  EXPECT_EQ(x("x <= -3"), "x C 0..-3 cost 1");
  EXPECT_EQ(x("2 <= x <= 8"), "x C 2..8 cost 1");
  EXPECT_EQ(x("8 >= x >= 2"), "x C 2..8 cost 1");
  EXPECT_EQ(x("x = 5"), "x C 5..5 cost 1");
  EXPECT_EQ(x("x >= -infinity x <= 4"), "x C -inf..4 cost 1");
  EXPECT_EQ(x("-inf <= x <= +inf"), "x C -inf..inf cost 1");
  EXPECT_EQ(x("x <= 1e30"), "x C 0..inf cost 1");
  EXPECT_EQ(lpColumns("bounds\n z >= 3")[2], "z C 3..inf cost 0");
}

TEST(LpRead, typesOfColumns) {
  EXPECT_EQ(lpColumns("gen\n x\n y"), (Lines{"x I 0..inf cost 1", "y I 0..inf cost 1"}));
  EXPECT_EQ(lpColumns("int x\nbin y"), (Lines{"x I 0..inf cost 1", "y B 0..1 cost 1"}));
  EXPECT_EQ(lpColumns("bin x y\nbounds\n x <= 5\n y = 0"), (Lines{"x B 0..1 cost 1", "y B 0..0 cost 1"}));
  EXPECT_EQ(lpColumns("bounds\n x >= 1.1\n x <= 10\nSemi-continuous\n x\n y"),
            (Lines{"x S 0..10 cost 1 limit 1.1", "y S 0..inf cost 1"}));
  EXPECT_EQ(lpColumns("bounds\n x >= 2\nsemis\n x\ngenerals\n x"),
            (Lines{"x R 0..inf cost 1 limit 2", "y C 0..inf cost 1"}));
}

TEST(LpRead, namesMayHoldBracketsAndMostSigns) {
  const Model m = lp("min\n x[1,2] + y(a/b) + 3e(p1) + e1 + _!\"#$%&,.;?@'{}~\nend\n");
  EXPECT_EQ(columns(m), (Lines{"x[1,2] C 0..inf cost 1", "y(a/b) C 0..inf cost 1", "e(p1) C 0..inf cost 3",
                               "e1 C 0..inf cost 1", "_!\"#$%&,.;?@'{}~ C 0..inf cost 1"}));
}

TEST(LpRead, theFormatIsFoundFromTheNameOrTheContent) {
  const TestFolder folder;
  const std::string text = "\\ comment\nmin\n x\nend\n";
  Model m;
  for (const char* name : {"a.lp", "a.LP", "a", "a.txt"}) {
    readProblem(m, folder.write(name, text), "");
    EXPECT_EQ(m.columns(), 1) << name;
  }
  readProblem(m, folder.write("b", "* comment\nNAME\nROWS\n N o\nCOLUMNS\n x o 1\n y o 1\nENDATA\n"), "");
  EXPECT_EQ(m.columns(), 2);
}

}  // namespace
}  // namespace tvlo
