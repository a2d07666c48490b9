#include "core/model.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

namespace tvlo {
namespace {

const double kNan = std::numeric_limits<double>::quiet_NaN();
const double kInfinite = std::numeric_limits<double>::infinity();

std::string errorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Error& error) {
    EXPECT_EQ(error.code(), TVLO_ERR_ARGUMENT);
    return error.what();
  }
  return "no error";
}

Model withLines(int rows, int columns) {
  Model model;
  const std::string types(rows, 'L');
  model.addColumns({columns, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr});
  model.addRows({rows, 0, types.data(), nullptr, nullptr, nullptr, nullptr, nullptr});
  return model;
}

TEST(Model, LeavesOutWhatIsNotGivenAsZeroCostsZeroLowerAndInfiniteUpperBounds) {
  const Model model = withLines(1, 1);
  EXPECT_EQ(model.objective()[0], 0);
  EXPECT_EQ(model.lower()[0], 0);
  EXPECT_EQ(model.upper()[0], TVLO_INFINITY);
  EXPECT_EQ(model.rhs()[0], 0);
}

TEST(Model, SaysWhichRowAndColumnOfABatchIsWrong) {
  Model model = withLines(2, 3);
  const double rhs[] = {1, 2};
  const int64_t start[] = {0, 2};
  const auto add = [&](const char* types, std::vector<int> columns, std::vector<double> coefs, const int64_t* starts) {
    return errorOf([&] {
      model.addRows(
          {2, static_cast<int64_t>(columns.size()), types, rhs, nullptr, starts, columns.data(), coefs.data()});
    });
  };
  EXPECT_EQ(add("LL", {0, 1, 2, 0}, {1, 1, 1, kNan}, start), "Row 3: the coefficient of column 0 is NaN");
  EXPECT_EQ(add("LL", {0, 1, 2}, {1, -kInfinite, 1}, start), "Row 2: the coefficient of column 1 is infinite");
  EXPECT_EQ(add("LL", {0, 1, 3}, {1, 1, 1}, start), "Row 3: there is no column 3, the problem has 3");
  EXPECT_EQ(add("LL", {0, -1, 1}, {1, 1, 1}, start), "Row 2: there is no column -1, the problem has 3");
  EXPECT_EQ(add("LL", {0, 1, 2, 1, 2}, {1, 1, 1, 1, 1}, start), "Row 3: column 2 has more than one coefficient");
  EXPECT_EQ(add("LX", {}, {}, start), "Row 3: there is no row type 'X' (88)");
  EXPECT_EQ(add("LR", {}, {}, start), "The array of ranges is missing");
  const int64_t falling[] = {0, -1};
  EXPECT_EQ(add("LL", {0}, {1}, falling), "The start -1 of row 3 is out of order");
  const int64_t beyond[] = {0, 5};
  EXPECT_EQ(add("LL", {0, 1}, {1, 1}, beyond), "The start 5 of row 3 is out of order");
  const int64_t late[] = {1, 1};
  EXPECT_EQ(add("LL", {0, 1}, {1, 1}, late), "The first start is 1, not 0");
  EXPECT_EQ(add("LL", {0, 1}, {1, 1}, nullptr), "The array of starts is missing");
  EXPECT_EQ(errorOf([&] { model.addRows({-1, 0, "", rhs, nullptr, nullptr, nullptr, nullptr}); }),
            "The number of rows is negative (-1)");
  EXPECT_EQ(errorOf([&] { model.addRows({1, 0, nullptr, rhs, nullptr, nullptr, nullptr, nullptr}); }),
            "The array of row types is missing");
  EXPECT_EQ(model.rows(), 2);
  EXPECT_EQ(model.nonzeros(), 0);
}

TEST(Model, RefusesBoundsThatNothingCanMeetButLetsThemCross) {
  Model model = withLines(0, 2);
  const auto set = [&](char which, double value) {
    const int column = 1;
    return errorOf([&] { model.setBounds(1, &column, &which, &value); });
  };
  EXPECT_EQ(set('L', kNan), "Column 1: the lower bound is NaN");
  EXPECT_EQ(set('L', 1e20), "Column 1: the lower bound is plus infinity");
  EXPECT_EQ(set('U', -kInfinite), "Column 1: the upper bound is minus infinity");
  EXPECT_EQ(set('B', 1e20), "Column 1: the lower bound is plus infinity");
  EXPECT_EQ(set('x', 1), "Column 1: there is no bound type 'x' (120)");
  EXPECT_EQ(set('L', 5), "no error");
  EXPECT_EQ(set('U', 3), "no error");
  EXPECT_EQ(model.lower()[1], 5);
  EXPECT_EQ(model.upper()[1], 3);
  EXPECT_EQ(set('U', kInfinite), "no error");
  EXPECT_EQ(model.upper()[1], TVLO_INFINITY);
}

TEST(Model, BinaryColumnsStayWithinZeroAndOneOrBecomeInteger) {
  Model model = withLines(0, 2);
  const int columns[] = {0, 1};
  model.setColumnTypes(2, columns, "BB");
  EXPECT_EQ(model.upper()[0], 1);
  const double values[] = {1, -1};
  model.setBounds(2, columns, "LL", values);
  EXPECT_EQ(model.columnTypes(), (std::vector<char>{'B', 'I'}));
  EXPECT_EQ(model.entities(), 2);
}

TEST(Model, TakesAnInfiniteRightHandSideOnlyForAFreeSide) {
  Model model = withLines(1, 0);
  const int row = 0;
  const auto set = [&](char type, double rhs) {
    return errorOf([&] {
      const double zero = 0;
      model.setRhs(1, &row, &zero);
      model.setRowTypes(1, &row, &type);
      model.setRhs(1, &row, &rhs);
    });
  };
  EXPECT_EQ(set('L', 1e30), "no error");
  EXPECT_EQ(model.rowBounds(0).upper, TVLO_INFINITY);
  const char equality = 'E';
  EXPECT_EQ(errorOf([&] { model.setRowTypes(1, &row, &equality); }),
            "Row 0: the right-hand side 1e+30 is infinite for type E");
  EXPECT_EQ(set('G', -1e20), "no error");
  EXPECT_EQ(model.rowBounds(0).lower, -TVLO_INFINITY);
  EXPECT_EQ(set('G', 1e20), "Row 0: the right-hand side 1e+20 is infinite for type G");
  EXPECT_EQ(set('L', kInfinite), "Row 0: the right-hand side is infinite");
  EXPECT_EQ(set('L', kNan), "Row 0: the right-hand side is NaN");
}

TEST(Model, RangeRowsLieBetweenRightHandSideMinusRangeAndRightHandSide) {
  Model model;
  const double rhs[] = {5, 5};
  const double range[] = {-2, kNan};  // the second is not a range row's
  model.addRows({2, 0, "RL", rhs, range, nullptr, nullptr, nullptr});
  EXPECT_EQ(model.rowBounds(0).lower, 3);
  EXPECT_EQ(model.rowBounds(0).upper, 5);
  const int row = 1;
  const double four = 4;
  model.setRanges(1, &row, &four);
  EXPECT_EQ(model.rowBounds(1).lower, -TVLO_INFINITY);
  model.setRowTypes(1, &row, "R");
  EXPECT_EQ(model.rowBounds(1).lower, 1);
  EXPECT_EQ(errorOf([&] { model.setRanges(1, &row, &kNan); }), "Row 1: the range is NaN");
}

TEST(Model, OfSeveralChangesOfOneCoefficientTheLastCounts) {
  Model model = withLines(2, 2);
  const int rows[] = {1, 0, 1, 1};
  const int columns[] = {0, 0, 0, 1};
  const double coefs[] = {3, 1, 7, 2};
  model.setCoefficients(4, rows, columns, coefs);
  EXPECT_EQ(model.coefficient(1, 0), 7);
  EXPECT_EQ(model.nonzeros(), 3);
  const double remove[] = {4, 0, 0, 0};
  model.setCoefficients(4, rows, columns, remove);
  EXPECT_EQ(model.nonzeros(), 0);
}

TEST(Model, LongListsOfChangedCoefficientsEndInARebuild) {
  Model model = withLines(1, 1);
  model.changes().synchronised(1, 1);
  const int zero = 0;
  for (int n = 1; n < 3000; ++n) {
    const double coef = n;
    model.setCoefficients(1, &zero, &zero, &coef);
  }
  EXPECT_TRUE(model.changes().rebuild);
  EXPECT_LT(model.changes().coefs.size(), 2000u);
}

TEST(Names, DeletionKeepsDefaultNamesAndLookupsFindTheFirst) {
  Names names('R');
  names.append(4);
  names.erase({1});
  EXPECT_EQ(names.get(1), "R3");
  EXPECT_EQ(names.find("R3"), 1);
  EXPECT_EQ(names.find("R2"), -1);
  names.append(2);
  EXPECT_EQ(names.get(3), "R4") << "by position, though the one before has that name already";
  EXPECT_EQ(names.find("R4"), 2);
  EXPECT_EQ(names.find("R05"), -1);
  EXPECT_EQ(names.find("R99999999999999"), -1);
  EXPECT_EQ(names.find(""), -1);
  names.set(0, "twelve bytes");
  EXPECT_EQ(names.longest(), 12);
  names.set(0, "few");
  EXPECT_EQ(names.longest(), 3);
}

TEST(Names, LookupsFollowNamesGivenAfterTheIndexWasBuilt) {
  Names names('C');
  names.append(1000);
  for (int line = 0; line < 1000; ++line) {
    names.set(line, "x" + std::to_string(line));
    EXPECT_EQ(names.find("x" + std::to_string(line)), line);
    EXPECT_EQ(names.find("x" + std::to_string(line + 1)), -1);
  }
  names.set(500, "x999");
  EXPECT_EQ(names.find("x999"), 500);
  EXPECT_EQ(names.find("x500"), -1);
}

}  // namespace
}  // namespace tvlo
