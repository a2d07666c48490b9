// Building a model and reading it back through the C interface.
#include <limits>
#include <vector>

#include "core/problem.h"
#include "fixture.h"

namespace tvlo::test {
namespace {

const double kNan = std::numeric_limits<double>::quiet_NaN();

class Building : public Interface {
 protected:
  // Two rows, three columns: x + 2y <= 4, 1 <= 3y - z <= 5.
  void load() {
    const double rhs[] = {4, 5}, range[] = {0, 4}, obj[] = {1, 0, -1}, coef[] = {1, 2, 3, -1};
    const double lb[] = {0, -1e30, 1}, ub[] = {1e30, 8, 9};
    const int start[] = {0, 1, 3, 4}, row[] = {0, 0, 1, 1};
    ASSERT_EQ(TVLOloadlp(prob_, "small", 3, 2, "LR", rhs, range, obj, start, nullptr, row, coef, lb, ub), 0);
  }
  std::vector<double> values(int (*get)(TVLOprob, double*, int, int), int first, int last) {
    std::vector<double> out(last - first + 1, -77);
    EXPECT_EQ(get(prob_, out.data(), first, last), 0);
    return out;
  }
};

TEST_F(Building, ReadsBackWhatWasLoaded) {
  load();
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_originalcols), 3);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_originalrows), 2);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_elems), 4);
  EXPECT_EQ(values(TVLOgetobj, 0, 2), (std::vector<double>{1, 0, -1}));
  EXPECT_EQ(values(TVLOgetlb, 0, 2), (std::vector<double>{0, -1e20, 1}));
  EXPECT_EQ(values(TVLOgetub, 0, 1), (std::vector<double>{1e20, 8}));
  EXPECT_EQ(values(TVLOgetrhs, 1, 1), (std::vector<double>{5}));
  EXPECT_EQ(values(TVLOgetrhsrange, 0, 1), (std::vector<double>{0, 4}));
  char types[2];
  EXPECT_EQ(TVLOgetrowtype(prob_, types, 0, 1), 0);
  EXPECT_EQ(std::string(types, 2), "LR");
  double coef;
  EXPECT_EQ(TVLOgetcoef(prob_, 1, 2, &coef), 0);
  EXPECT_EQ(coef, -1);
  char name[32];
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_probnamelength), 6);
  EXPECT_EQ(TVLOgetprobname(prob_, name), 0);
  EXPECT_STREQ(name, "small");
}

TEST_F(Building, BothSidesOfARowAreKeptThroughChangesAndCopies) {
  const double rhs[] = {1e16, 2, 3}, lower[] = {0.1, 7, 7}, crossing[] = {1, 2, 3}, two = 2, range = 0.3;
  EXPECT_EQ(errorOf(TVLOaddrowsides64(prob_, 2, 0, "LR", rhs, crossing, nullptr, nullptr, nullptr)), "");
  EXPECT_EQ(errorOf(TVLOaddrowsides64(prob_, 2, 0, "RR", rhs, lower, nullptr, nullptr, nullptr)),
            "Row 3: the lower side 7 is above the upper one, 2");
  ASSERT_EQ(TVLOaddrowsides64(prob_, 3, 0, "RGN", rhs, lower, nullptr, nullptr, nullptr), 0);
  TVLOprob copy;
  ASSERT_EQ(TVLOcreateprob(&copy), 0);
  ASSERT_EQ(TVLOcopyprob(copy, prob_, nullptr), 0);
  const auto sides = [&](TVLOprob prob, int row) {
    std::pair<double, double> both;
    EXPECT_EQ(TVLOgetrowsides(prob, &both.first, &both.second, row, row), 0);
    return both;
  };
  EXPECT_EQ(sides(copy, 2), std::pair(0.1, 1e16));
  EXPECT_EQ(sides(copy, 3), std::pair(2., 1e20));
  EXPECT_EQ(sides(copy, 4), std::pair(-1e20, 1e20));
  const int row = 2;
  EXPECT_EQ(TVLOchgrowtype(copy, 1, &row, "L"), 0);
  EXPECT_EQ(sides(copy, 2), std::pair(-1e20, 1e16));
  EXPECT_EQ(TVLOchgrowtype(copy, 1, &row, "R"), 0);
  EXPECT_EQ(sides(copy, 2), std::pair(0.1, 1e16));
  EXPECT_EQ(TVLOchgrhs(copy, 1, &row, &two), 0);
  EXPECT_EQ(sides(copy, 2), std::pair(2 - 1e16, 2.));
  EXPECT_EQ(TVLOchgrhsrange(copy, 1, &row, &range), 0);
  EXPECT_EQ(sides(copy, 2), std::pair(2 - 0.3, 2.));
  EXPECT_EQ(TVLOdestroyprob(copy), 0);
}

TEST_F(Building, ColumnsMayBeLoadedWithLengthsAndGaps) {
  const double rhs[] = {1}, coef[] = {9, 5, 9, 6};
  const int64_t start[] = {3, 1};
  const int length[] = {1, 1}, row[] = {7, 0, 7, 0};
  ASSERT_EQ(TVLOloadlp64(prob_, nullptr, 2, 1, "E", rhs, nullptr, nullptr, start, length, row, coef, nullptr, nullptr),
            0);
  int column[2];
  double value[2];
  int64_t starts[2], ncoefs = 0;
  EXPECT_EQ(TVLOgetrows64(prob_, starts, column, value, 2, &ncoefs, 0, 0), 0);
  EXPECT_EQ(ncoefs, 2);
  EXPECT_EQ(starts[1], 2);
  EXPECT_EQ(value[0], 6);
  EXPECT_EQ(value[1], 5);
}

TEST_F(Building, GivesSizesFirstAndNoMoreThanThereIsRoomFor) {
  load();
  int64_t ncoefs = 0, start[3];
  EXPECT_EQ(TVLOgetcols64(prob_, nullptr, nullptr, nullptr, 0, &ncoefs, 1, 2), 0);
  EXPECT_EQ(ncoefs, 3);
  int row[3] = {-1, -1, -1};
  double coef[3] = {0, 0, 0};
  EXPECT_EQ(TVLOgetcols64(prob_, start, row, coef, 2, &ncoefs, 1, 2), 0);
  EXPECT_EQ(ncoefs, 3);
  EXPECT_EQ((std::vector<int64_t>(start, start + 3)), (std::vector<int64_t>{0, 2, 3}));
  EXPECT_EQ((std::vector<int>(row, row + 3)), (std::vector<int>{0, 1, -1}));
  EXPECT_EQ(coef[1], 3);
}

TEST_F(Building, QuadraticPartsAreReplacedInTheObjectiveAndAddedInRows) {
  load();
  const int c1[] = {2, 0, 1}, c2[] = {1, 0, 2};
  const double coef[] = {5, 2, 7};
  ASSERT_EQ(TVLOchgmqobj(prob_, 3, c1, c2, coef), 0);  // (1, 2) twice: the last counts
  int start[4], column[3], ncoefs = 0;
  double value[3];
  EXPECT_EQ(TVLOgetmqobj(prob_, nullptr, nullptr, nullptr, 0, &ncoefs, 0, 2), 0);
  EXPECT_EQ(ncoefs, 2);
  EXPECT_EQ(TVLOgetmqobj(prob_, start, column, value, 3, &ncoefs, 0, 2), 0);
  EXPECT_EQ((std::vector<int>(start, start + 4)), (std::vector<int>{0, 1, 2, 2}));
  EXPECT_EQ((std::vector<int>(column, column + 2)), (std::vector<int>{0, 2}));
  EXPECT_EQ((std::vector<double>(value, value + 2)), (std::vector<double>{2, 7}));
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_qelems), 2);

  ASSERT_EQ(TVLOaddqmatrix64(prob_, 1, 3, c1, c2, coef), 0);  // (1, 2) twice: the sum
  int64_t n = 0;
  int first[2], second[2];
  EXPECT_EQ(TVLOgetqrowqmatrixtriplets64(prob_, 1, &n, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(n, 2);
  EXPECT_EQ(TVLOgetqrowqmatrixtriplets64(prob_, 1, &n, first, second, value), 0);
  EXPECT_EQ(value[1], 12);
  EXPECT_EQ(first[1], 1);
  EXPECT_EQ(second[1], 2);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_qconstraints), 1);
  ASSERT_EQ(TVLOdelqmatrix(prob_, -1), 0);
  EXPECT_EQ(TVLOgetqrowqmatrixtriplets64(prob_, 1, &n, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(n, 0);
}

TEST_F(Building, ColumnMinusOneIsMinusTheConstant) {
  const int constant = -1;
  const double coef = -2.5;
  EXPECT_EQ(TVLOchgobj(prob_, 1, &constant, &coef), 0);
  double back = 0, attribute = 0;
  EXPECT_EQ(TVLOgetobj(prob_, &back, -1, -1), 0);
  EXPECT_EQ(back, -2.5);
  EXPECT_EQ(TVLOgetdblattrib(prob_, TVLO_ATTRIBUTE_objconstant, &attribute), 0);
  EXPECT_EQ(attribute, 2.5);
}

TEST_F(Building, FailingCallsSayWhyAndLeaveTheModelAsItWas) {
  load();
  const double one = 1;
  const int zero = 0, three = 3;
  const int64_t start = 0;
  double out[8];
  char types[8];
  EXPECT_EQ(errorOf(TVLOloadlp(prob_, "", 1, 1, "L", &kNan, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr)),
            "Row 0: the right-hand side is NaN");
  EXPECT_EQ(errorOf(TVLOloadlp(prob_, "", -1, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr)),
            "The number of columns is negative (-1)");
  EXPECT_EQ(errorOf(TVLOaddcols64(prob_, 1, 1, &one, &start, nullptr, &one, &one, &one)),
            "The array of row indices is missing");
  EXPECT_EQ(errorOf(TVLOaddcols64(prob_, 1, 1, &one, &start, &three, &one, &one, &one)),
            "Column 3: there is no row 3, the problem has 2");
  EXPECT_EQ(errorOf(TVLOaddcols64(prob_, 1, 0, &one, nullptr, nullptr, nullptr, &kNan, &one)),
            "Column 3: the lower bound is NaN");
  EXPECT_EQ(errorOf(TVLOdelcols(prob_, 1, &three)), "There is no column 3: the problem has 3");
  EXPECT_EQ(errorOf(TVLOdelrows(prob_, 1, nullptr)), "The array of rows is missing");
  EXPECT_EQ(errorOf(TVLOchgcoef(prob_, 0, 0, kNan)), "Row 0: the coefficient of column 0 is NaN");
  EXPECT_EQ(errorOf(TVLOchgobj(prob_, 1, &zero, &kNan)), "Column 0: the objective coefficient is NaN");
  EXPECT_EQ(errorOf(TVLOchgobjsense(prob_, 0)), "The objective sense must be 1 or -1, not 0");
  EXPECT_EQ(errorOf(TVLOchgcoltype(prob_, 1, &zero, "Q")), "Column 0: there is no column type 'Q' (81)");
  EXPECT_EQ(errorOf(TVLOgetlb(prob_, out, 0, 3)), "Columns 0 to 3 are not a range of the 3 there are");
  EXPECT_EQ(errorOf(TVLOgetrhs(prob_, nullptr, 0, 1)), "The array of results is missing");
  EXPECT_EQ(errorOf(TVLOgetrowtype(prob_, types, -1, 1)), "Rows -1 to 1 are not a range of the 2 there are");
  EXPECT_EQ(errorOf(TVLOgetcoef(prob_, 2, 0, out)), "There is no row 2: the problem has 2");
  EXPECT_EQ(errorOf(TVLOgetqrowqmatrixtriplets64(prob_, 5, nullptr, nullptr, nullptr, nullptr)),
            "There is no row 5: the problem has 2");
  EXPECT_EQ(errorOf(TVLOreadprob(prob_, nullptr, "")), "The array of characters is missing");
  EXPECT_EQ(errorOf(TVLOgetlb(prob_, nullptr, 0, -1)), "") << "an empty range";
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_originalcols), 3);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_originalrows), 2);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_elems), 4);
}

TEST_F(Building, ACopyIsIndependentAndTakesTheModelOnly) {
  load();
  ASSERT_EQ(TVLOsetintcontrol(prob_, TVLO_CONTROL_presolve, 0), 0);
  TVLOprob copy = nullptr;
  ASSERT_EQ(TVLOcreateprob(&copy), 0);
  ASSERT_EQ(TVLOcopyprob(copy, prob_, nullptr), 0);
  char name[32];
  EXPECT_EQ(TVLOgetprobname(copy, name), 0);
  EXPECT_STREQ(name, "small");
  ASSERT_EQ(TVLOcopyprob(copy, prob_, "other"), 0);
  EXPECT_EQ(TVLOgetprobname(copy, name), 0);
  EXPECT_STREQ(name, "other");
  EXPECT_EQ(TVLOchgcoef(copy, 0, 0, 9), 0);
  double mine = 0;
  EXPECT_EQ(TVLOgetcoef(prob_, 0, 0, &mine), 0);
  EXPECT_EQ(mine, 1);
  int presolve = 7;
  EXPECT_EQ(TVLOgetintcontrol(copy, TVLO_CONTROL_presolve, &presolve), 0);
  EXPECT_EQ(presolve, -1);
  EXPECT_EQ(TVLOcopycontrols(copy, prob_), 0);
  EXPECT_EQ(TVLOgetintcontrol(copy, TVLO_CONTROL_presolve, &presolve), 0);
  EXPECT_EQ(presolve, 0);
  EXPECT_EQ(errorOf(TVLOcopyprob(prob_, prob_, "")), "A problem can't be copied into itself");
  EXPECT_EQ(TVLOdestroyprob(copy), 0);
}

TEST_F(Building, NamesAreReadInSlotsOfTheLongestNameRoundedUp) {
  load();
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_namelength), 1) << "default names";
  ASSERT_EQ(TVLOaddnames(prob_, 2, "x\0a name of 17 b...\0z", 0, 2), 0);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_namelength), 3);
  std::string slots(3 * 25, '#');
  ASSERT_EQ(TVLOgetnames(prob_, 2, slots.data(), 0, 2), 0);
  EXPECT_STREQ(slots.c_str(), "x");
  EXPECT_STREQ(slots.c_str() + 25, "a name of 17 b...");
  EXPECT_EQ(slots.find('#'), std::string::npos) << "padded with zeros";
  ASSERT_EQ(TVLOgetnames(prob_, 1, slots.data(), 1, 1), 0);
  EXPECT_STREQ(slots.c_str(), "R2");
  int index = -1;
  EXPECT_EQ(TVLOgetindex(prob_, 2, "z", &index), 0);
  EXPECT_EQ(index, 2);
  EXPECT_EQ(errorOf(TVLOgetindex(prob_, 1, "z", &index)), "There is no Row named z");
  EXPECT_EQ(errorOf(TVLOgetindex(prob_, 3, "z", &index)), "There is no Set named z");
  EXPECT_EQ(errorOf(TVLOgetnames(prob_, 3, slots.data(), 0, 0)), "Sets 0 to 0 are not a range of the 0 there are");
  EXPECT_EQ(errorOf(TVLOaddnames(prob_, 4, "", 0, 0)), "There is no kind of names 4");
  EXPECT_EQ(errorOf(TVLOaddnames(prob_, 1, nullptr, 0, 0)), "The array of names is missing");
}

TEST_F(Building, ABasisMustFitTheModel) {
  load();
  int rows[2], columns[3];
  EXPECT_EQ(errorOf(TVLOgetbasis(prob_, rows, columns)), "There is no basis");
  const int rowStatus[] = {1, 0}, columnStatus[] = {0, 1, 2}, unknown[] = {0, 4, 0}, crowded[] = {1, 1, 0};
  EXPECT_EQ(errorOf(TVLOloadbasis(prob_, rowStatus, unknown)), "There is no basis status 4 (of column 1)");
  EXPECT_EQ(errorOf(TVLOloadbasis(prob_, rowStatus, crowded)), "A basis of 2 rows has 2 basic rows and columns, not 3");
  EXPECT_EQ(errorOf(TVLOloadbasis(prob_, nullptr, crowded)), "The array of statuses is missing");
  ASSERT_EQ(TVLOloadbasis(prob_, rowStatus, columnStatus), 0);
  const int first = 0;
  ASSERT_EQ(TVLOdelcols(prob_, 1, &first), 0);
  ASSERT_EQ(TVLOgetbasis(prob_, rows, columns), 0);
  EXPECT_EQ(columns[0], 1);
  EXPECT_EQ(columns[1], 2);
  EXPECT_EQ(rows[0], 1);
}

TEST_F(Building, AFileThatCanNotBeReadLeavesAnEmptyProblem) {
  load();
  EXPECT_NE(errorOf(TVLOreadprob(prob_, "/no/such/file.mps", "")), "");
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_originalcols), 0);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_originalrows), 0);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_probnamelength), 1);
}

TEST_F(Building, NothingChangesAProblemThatIsBeingSolved) {
  load();
  const int zero = 0;
  prob_->solving = true;
  EXPECT_EQ(errorOf(TVLOdelrows(prob_, 1, &zero)), "The problem is being solved and can't be changed");
  EXPECT_EQ(errorOf(TVLOlpoptimize(prob_, "")), "The problem is being solved already");
  EXPECT_EQ(TVLOdestroyprob(prob_), TVLO_ERR_STATE);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_originalrows), 2) << "reading is allowed";
  prob_->solving = false;
}

TEST_F(Building, SolutionsAreRefusedUntilThereIsOne) {
  load();
  double x[3];
  EXPECT_EQ(errorOf(TVLOgetlpsol(prob_, x, nullptr, nullptr, nullptr)), "There is no LP solution");
  EXPECT_EQ(errorOf(TVLOgetmipsol(prob_, x, nullptr)), "There is no integer solution");
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_lpstatus), 0);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_mipstatus), 0);
}

}  // namespace
}  // namespace tvlo::test
