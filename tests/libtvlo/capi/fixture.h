// A started library with one problem, for tests of the C interface.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tvlo/tslp.h"
#include "tvlo/tvlo.h"

namespace tvlo::test {

class Interface : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(TVLOinit(), 0);
    ASSERT_EQ(TVLOcreateprob(&prob_), 0);
  }
  void TearDown() override {
    EXPECT_EQ(TVLOdestroyprob(prob_), 0);
    EXPECT_EQ(TVLOfree(), 0);
  }

  // The problem's last error, and whether the call failed at all.
  std::string errorOf(int code) const {
    char text[TVLO_ERRORTEXT_MAX];
    EXPECT_EQ(TVLOgetlasterror(prob_, text), 0);
    EXPECT_EQ(code == 0, text[0] == '\0') << text;
    return text;
  }

  int attribute(int id) const {
    int value = -77;
    EXPECT_EQ(TVLOgetintattrib(prob_, id, &value), 0);
    return value;
  }

  void addLines(int rows, int columns) {
    const std::string types(rows, 'L');
    ASSERT_EQ(TVLOaddcols64(prob_, columns, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(TVLOaddrows64(prob_, rows, 0, types.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  }

  TVLOprob prob_ = nullptr;
};

inline std::string globalError(int* code = nullptr) {
  char text[TVLO_ERRORTEXT_MAX];
  EXPECT_EQ(TVLO_ge_getlasterror(code, text, sizeof text, nullptr), 0);
  return text;
}

}  // namespace tvlo::test
