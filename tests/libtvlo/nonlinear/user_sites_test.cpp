// Differences of user functions: what they are worth, and that they stay where the arguments may be.
#include "nonlinear/user_sites.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace tvlo {
namespace {

// x^3 y + exp(y), and the box that it was called in.
struct Watched {
  double least[2] = {1e30, 1e30}, most[2] = {-1e30, -1e30};
  static int call(const double* x, int, double* value, double* derivs, void* data) {
    auto& self = *static_cast<Watched*>(data);
    for (int i = 0; i < 2; ++i) {
      self.least[i] = std::min(self.least[i], x[i]);
      self.most[i] = std::max(self.most[i], x[i]);
    }
    *value = x[0] * x[0] * x[0] * x[1] + std::exp(x[1]);
    if (derivs != nullptr) {
      derivs[0] = 3 * x[0] * x[0] * x[1];
      derivs[1] = x[0] * x[0] * x[0] + std::exp(x[1]);
    }
    return 0;
  }
};

struct Room {
  double below, above;   // of the first argument
  double first, second;  // errors that are allowed, of derivatives by it; negative: it is taken for a constant
};

class UserDifferences : public testing::TestWithParam<std::tuple<int, Room>> {};

TEST_P(UserDifferences, StayWithinTheBounds) {
  const auto [type, room] = GetParam();
  Watched watched;
  UserSites sites;
  auto function = std::make_shared<UserFunction>();
  function->type = type;
  function->arguments = 2;
  function->function = Watched::call;
  function->data = &watched;
  const int site = sites.add(function);
  const double x[] = {2, 0.5};
  const double lower = x[0] - room.below, upper = x[0] + room.above;
  sites.setBounds(site, 0, lower, upper);
  const double* const first = sites.first(site, x);
  const double* const second = sites.second(site, x);
  EXPECT_GE(watched.least[0], lower);
  EXPECT_LE(watched.most[0], upper);
  EXPECT_EQ(watched.least[1] < x[1] && watched.most[1] > x[1], true) << "the other one is free";
  EXPECT_NEAR(first[1], 8 + std::exp(0.5), 1e-8);
  EXPECT_NEAR(second[2], std::exp(0.5), 1e-6);
  if (room.first < 0 && type == 2) {
    EXPECT_EQ(first[0], 0);
  } else {
    EXPECT_NEAR(first[0], 6, room.first < 0 ? 1e-12 : room.first);
  }
  if (room.second < 0) {
    EXPECT_EQ(second[0], 0);
  } else {
    EXPECT_NEAR(second[0], 6, room.second);
    EXPECT_NEAR(second[1], 12, room.second);
  }
}

INSTANTIATE_TEST_SUITE_P(Rooms, UserDifferences,
                         testing::Combine(testing::Values(2, 5),
                                          testing::Values(Room{1e3, 1e3, 1e-8, 1e-4}, Room{0, 1e3, 1e-4, 5e-3},
                                                          Room{1e3, 0, 1e-4, 5e-3}, Room{1e-7, 1e-3, 1e-4, 5e-3},
                                                          Room{3e-6, 1e-5, 1e-4, 1e-1})));
INSTANTIATE_TEST_SUITE_P(NoRoom, UserDifferences,
                         testing::Combine(testing::Values(2),
                                          testing::Values(Room{0, 0, -1, -1}, Room{0, 1e-9, 1e-4, -1})));

// By an argument that is fixed, what a function says of its slope counts, but nothing is differenced.
TEST(UserDifferencesOfSlopes, LeaveAFixedArgumentAlone) {
  Watched watched;
  UserSites sites;
  auto function = std::make_shared<UserFunction>();
  *function = {"slopes", 5, 2, Watched::call, &watched};
  const int site = sites.add(function);
  sites.setBounds(site, 0, 2, 2);
  const double x[] = {2, 0.5};
  EXPECT_NEAR(sites.first(site, x)[0], 6, 1e-12);
  const double* const second = sites.second(site, x);
  EXPECT_EQ(watched.least[0], 2);
  EXPECT_EQ(watched.most[0], 2);
  EXPECT_EQ(second[0], 0);
  EXPECT_NEAR(second[1], 12, 1e-6) << "seen from the other argument";
  EXPECT_NEAR(second[2], std::exp(0.5), 1e-6);
}

}  // namespace
}  // namespace tvlo
