// Controls, attributes and their lists.
#include <cstring>
#include <limits>
#include <set>
#include <vector>

#include "core/attributes.h"
#include "core/controls.h"
#include "core/problem.h"
#include "fixture.h"

namespace tvlo::test {
namespace {

TEST_F(Interface, EveryEntryOfTheListCanBeReadWithItsType) {
  const int *ids = nullptr, *types = nullptr, *again = nullptr;
  const char* const* names = nullptr;
  ASSERT_EQ(TVLOgetcalist_c(&ids, &names, &types), 0);
  std::set<std::string> seen;
  std::set<int> seenIds;
  size_t n = 0;
  for (; ids[n] != 0; ++n) {
    SCOPED_TRACE(names[n]);
    EXPECT_TRUE(seen.insert(names[n]).second);
    EXPECT_TRUE(seenIds.insert(ids[n]).second);
    EXPECT_EQ(std::string(names[n]).find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_"), std::string::npos);
    const bool control = (types[n] & TVLO_TYPE_CONTROL) != 0;
    int64_t i;
    double d;
    char s[8];
    int bytes = 0;
    const int asInt = control ? TVLOgetintcontrol64(prob_, ids[n], &i) : TVLOgetintattrib64(prob_, ids[n], &i);
    const int asDouble = control ? TVLOgetdblcontrol(prob_, ids[n], &d) : TVLOgetdblattrib(prob_, ids[n], &d);
    const int asString = control ? TVLOgetstringcontrol(prob_, ids[n], s, sizeof s, &bytes)
                                 : TVLOgetstringattrib(prob_, ids[n], s, sizeof s, &bytes);
    const int type = types[n] & 7;
    EXPECT_EQ(asInt, type == TVLO_TYPE_INT ? 0 : TVLO_ERR_ARGUMENT);
    EXPECT_EQ(asDouble, type == TVLO_TYPE_DOUBLE ? 0 : TVLO_ERR_ARGUMENT);
    EXPECT_EQ(asString, type == TVLO_TYPE_STRING ? 0 : TVLO_ERR_ARGUMENT);
  }
  EXPECT_STREQ(names[n], "");
  EXPECT_EQ(n, optimizerControls().rows().size() + optimizerAttributes().rows().size());
  ASSERT_EQ(TVLOgetcalist_d(&again, nullptr, nullptr), 0);
  EXPECT_EQ(ids[0], again[0]);
}

TEST_F(Interface, ControlsKeepToTheirRangesAndTypes) {
  double tolerance = 0;
  EXPECT_EQ(TVLOsetdblcontrol(prob_, control::feastol, 1e-9), 0);
  EXPECT_EQ(errorOf(TVLOsetdblcontrol(prob_, control::feastol, 0.5)),
            "Control feastol can't be 0.5: it ranges from 1e-10 to 0.01");
  EXPECT_NE(TVLOsetdblcontrol(prob_, control::feastol, std::numeric_limits<double>::quiet_NaN()), 0);
  EXPECT_EQ(TVLOgetdblcontrol(prob_, control::feastol, &tolerance), 0);
  EXPECT_EQ(tolerance, 1e-9);
  EXPECT_EQ(errorOf(TVLOsetintcontrol64(prob_, control::maxnode, int64_t{1} << 40)),
            "Control maxnode can't be 1099511627776: it ranges from 0 to 2147483647");
  EXPECT_EQ(errorOf(TVLOsetintcontrol(prob_, control::feastol, 1)),
            "Control feastol (7110) is a double, not an integer control");
  EXPECT_EQ(errorOf(TVLOsetintcontrol(prob_, 4711, 1)), "There is no control 4711");
  EXPECT_EQ(errorOf(TVLOgetintcontrol(prob_, control::maxnode, nullptr)), "The array of results is missing");
  int value;
  EXPECT_EQ(errorOf(TVLOgetintattrib(prob_, 4711, &value)), "There is no attribute 4711");
  EXPECT_EQ(TVLOgetintattrib(prob_, 4711, &value), TVLO_ERR_NAME);
}

class Component : public Interface {
 protected:
  void SetUp() override {
    Interface::SetUp();
    ASSERT_EQ(TSLPinit(), 0);
    ASSERT_EQ(TSLPcreateprob(&slp_, &prob_), 0);
  }
  void TearDown() override {
    EXPECT_EQ(TSLPdestroyprob(slp_), 0);
    EXPECT_EQ(TSLPfree(), 0);
    Interface::TearDown();
  }
  std::string slpError() const {
    char text[TVLO_ERRORTEXT_MAX];
    int code = -1;
    EXPECT_EQ(TSLPgetlasterror(slp_, &code, text), 0);
    EXPECT_EQ(code == 0, text[0] == '\0');
    return text;
  }
  TSLPprob slp_ = nullptr;
};

TEST_F(Component, EveryEntryOfItsListHasACodeAndAValue) {
  const int* ids = nullptr;
  const char* const* names = nullptr;
  ASSERT_EQ(TSLPgetcalist(&ids, &names, nullptr), 0);
  int n = 0;
  for (; names[n][0] != '\0'; ++n) {
    SCOPED_TRACE(names[n]);
    int byId = 0, byName = 0, i;
    double d;
    EXPECT_EQ(TSLPcontrolcode(ids[n], nullptr, &byId), 0);
    EXPECT_EQ(TSLPcontrolcode(0, names[n], &byName), 0);
    EXPECT_EQ(byId, byName);
    const bool control = (byId & TSLP_FLAG_CONTROL) != 0;
    if (byId & TSLP_FLAG_INT) {
      EXPECT_EQ(control ? TSLPgetintcontrol(slp_, ids[n], &i) : TSLPgetintattrib(slp_, ids[n], &i), 0);
    } else {
      ASSERT_TRUE(byId & TSLP_FLAG_DOUBLE);
      EXPECT_EQ(control ? TSLPgetdblcontrol(slp_, ids[n], &d) : TSLPgetdblattrib(slp_, ids[n], &d), 0);
    }
  }
  EXPECT_GT(n, 10);
  ASSERT_EQ(TSLPgetKTRcalist(nullptr, &names, nullptr), 0);
  EXPECT_STREQ(names[0], "nlp_tol");
  int flags;
  EXPECT_EQ(TSLPcontrolcode(1, "nothing", &flags), TVLO_ERR_NAME);
}

TEST_F(Component, SharesRowsColumnsAndSenseWithTheOptimizerProblem) {
  addLines(2, 3);
  int value = 0;
  EXPECT_EQ(TSLPgetintattrib(slp_, TSLP_ATTRIBUTE_nlrows, &value), 0);
  EXPECT_EQ(value, 2);
  EXPECT_EQ(TSLPgetintattrib(slp_, TSLP_ATTRIBUTE_nlcols, &value), 0);
  EXPECT_EQ(value, 3);
  EXPECT_EQ(TSLPsetdblcontrol(slp_, TSLP_CONTROL_objsense, -1), 0);
  EXPECT_EQ(attribute(TVLO_ATTRIBUTE_objsense), -1);
  EXPECT_EQ(TVLOchgobjsense(prob_, 1), 0);
  double sense = 0;
  EXPECT_EQ(TSLPgetdblcontrol(slp_, TSLP_CONTROL_objsense, &sense), 0);
  EXPECT_EQ(sense, 1);
  EXPECT_NE(TSLPsetdblcontrol(slp_, TSLP_CONTROL_objsense, 0.5), 0);
  EXPECT_EQ(slpError(), "Control objsense must be 1 or -1, not 0.5");
  EXPECT_NE(TSLPgetintattrib(slp_, 4711, &value), 0);
  EXPECT_EQ(slpError(), "There is no attribute 4711");
}

TEST_F(Component, ItsErrorsLeaveTheOptimizersAlone) {
  EXPECT_NE(TVLOchgobjsense(prob_, 7), 0);
  EXPECT_NE(TSLPsetintcontrol(slp_, 1, 1), 0);
  EXPECT_EQ(slpError(), "There is no control 1");
  EXPECT_EQ(errorOf(1), "The objective sense must be 1 or -1, not 7");
}

struct Heard {
  void* object = nullptr;
  std::string text;
};
int hear(void* object, void* data, const char* text, int length, int) {
  auto* const heard = static_cast<Heard*>(data);
  heard->object = object;
  heard->text.append(text, length);
  return 0;
}

TEST_F(Component, RepeatsTheOptimizersLogUnlessToldNotTo) {
  Heard heard;
  ASSERT_EQ(TSLPsetcbmessage(slp_, hear, &heard), 0);
  prob_->say("one ");
  EXPECT_EQ(heard.object, slp_);
  ASSERT_EQ(TSLPsetintcontrol(slp_, TSLP_CONTROL_echolog, 0), 0);
  prob_->say("two ");
  ASSERT_EQ(TSLPsetintcontrol(slp_, TSLP_CONTROL_echolog, 1), 0);
  prob_->say("three ");
  ASSERT_EQ(TSLPsetcbmessage(slp_, nullptr, nullptr), 0);
  prob_->say("four ");
  EXPECT_EQ(heard.text, "one three ");
  ASSERT_EQ(TSLPsetcbmessage(slp_, hear, &heard), 0);
  ASSERT_EQ(TSLPdestroyprob(slp_), 0);
  prob_->say("five ");
  EXPECT_EQ(heard.text, "one three ");
  ASSERT_EQ(TSLPcreateprob(&slp_, &prob_), 0);
}

TEST_F(Component, NoticesThatItsOptimizerProblemIsGone) {
  TVLOprob other = nullptr;
  TSLPprob orphan = nullptr;
  ASSERT_EQ(TVLOcreateprob(&other), 0);
  ASSERT_EQ(TSLPcreateprob(&orphan, &other), 0);
  ASSERT_EQ(TVLOdestroyprob(other), 0);
  ASSERT_EQ(TVLOcreateprob(&other), 0) << "which mostly comes to stand where the old one stood";
  int rows = 0;
  EXPECT_EQ(TSLPgetintattrib(orphan, TSLP_ATTRIBUTE_nlrows, &rows), TVLO_ERR_STATE);
  EXPECT_EQ(TSLPdestroyprob(orphan), 0);
  ASSERT_EQ(TVLOdestroyprob(other), 0);
  EXPECT_EQ(TSLPcreateprob(&orphan, &other), TVLO_ERR_ARGUMENT);
  EXPECT_EQ(orphan, nullptr);
}

}  // namespace
}  // namespace tvlo::test
