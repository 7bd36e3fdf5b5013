// A run that follows an aborted run of the same test, stopped before its first step: the aborted
// flag left from the earlier run holds the stop off until stage 0 has run (and cleared the flag),
// so the new run writes its parameters, never starts the motor and ends aborted.

#include <gtest/gtest.h>

#include <algorithm>

#include "SequenceRig.hpp"

namespace tavkelo {
namespace {

TEST(SimRerun, AStopBeforeTheFirstStepAfterAnAbortedRunLetsStageZeroRunFirst) {
  struct Case {
    int16_t index;
    int16_t runningStage;  // a stage of the first run at which it is stopped
    const char* parameters;
  };
  const Case cases[] = {
      {test::Warmup, 3, "**** Warm-Up Parameters ****"},
      {test::Parasitics, 5, "**** Parasitics Parameters ****"},
      {test::Coastdown, 10, "**** Coastdown Parameters ****"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.parameters);
    test::SimRig rig;
    rig.f.ctx->params.WarmupTimeSeconds = 10;
    rig.Connect();
    rig.Start(c.index);
    ASSERT_TRUE(rig.RunUntil([&] { return rig.T().TestStage == c.runningStage; }, 60.0));
    rig.Stop();
    ASSERT_TRUE(rig.RunToEnd(300.0));
    ASSERT_EQ(rig.T().LastTestCompletionStatus, ltcs::Aborted);
    ASSERT_EQ(rig.f.LogCount(c.parameters), 1);

    rig.Start(c.index);
    rig.Stop();
    ASSERT_TRUE(rig.RunToEnd(300.0));
    EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Aborted);
    EXPECT_EQ(rig.f.LogCount(c.parameters), 2) << "stage 0 ran in the second run";
    const std::vector<std::string> second = rig.Commands();
    EXPECT_EQ(std::count(second.begin(), second.end(), "J"), 0) << "the motor was not started";
    EXPECT_LT(rig.sim.SpeedMph(), 0.5);
  }
}

}  // namespace
}  // namespace tavkelo
