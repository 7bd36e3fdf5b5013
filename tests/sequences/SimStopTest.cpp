// Stops before the coast, against the controller simulator: the motor goes off as the stop is
// taken, PutDyneToSleep brakes the rolls to rest and the test ends aborted. A run that follows,
// stopped before its first step, finds the aborted flag left from the earlier run: it holds the
// stop off until stage 0 has run (and cleared the flag), so the new run writes its parameters,
// never starts the motor and ends aborted too.

#include <gtest/gtest.h>

#include <algorithm>

#include "SequenceRig.hpp"

namespace tavkelo {
namespace {

TEST(SimStop, AStopBeforeTheCoastSleepsAndARerunStoppedAtOnceStillRunsStageZero) {
  struct Case {
    int16_t index;
    int16_t stage;  // of the first run, at which it is stopped
    const char* parameters;
    std::vector<std::string> first;  // the first run's first commands
  };
  const Case cases[] = {
      {test::Warmup, 3, "**** Warm-Up Parameters ****", {"J", "0", "K"}},  // the motor running
      {test::Parasitics, 5, "**** Parasitics Parameters ****", {"b", "0", "J", "K"}},  // the hold
      // Just before the hold's own "Motor Off" goes out.
      {test::Parasitics, 6, "**** Parasitics Parameters ****", {"b", "0", "J", "K"}},
      {test::Coastdown, 10, "**** Coastdown Parameters ****", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.parameters) + " stopped at stage " + std::to_string(c.stage));
    test::SimRig rig;
    rig.f.ctx->params.WarmupTimeSeconds = 10;
    rig.Connect();
    rig.Start(c.index);
    ASSERT_TRUE(rig.RunUntil([&] { return rig.T().TestStage == c.stage; }, 60.0, 1));
    const double stoppedAt = rig.Now();
    rig.Stop();
    ASSERT_TRUE(rig.RunToEnd(300.0)) << "the test must not wait for ever with the motor on";
    ASSERT_EQ(rig.T().LastTestCompletionStatus, ltcs::Aborted);
    ASSERT_EQ(rig.f.LogCount(c.parameters), 1);
    double motorOffAt = -1.0;
    for (const auto& [at, name] : rig.Requests()) {
      if (motorOffAt < 0.0 && at >= stoppedAt && name == "K") motorOffAt = at;
    }
    EXPECT_GE(motorOffAt, stoppedAt);
    EXPECT_LT(motorOffAt - stoppedAt, 0.5) << "the motor goes off as the stop is taken";
    const std::vector<std::string> commands = rig.Commands();
    ASSERT_GE(commands.size(), c.first.size() + 8);
    EXPECT_EQ(std::vector<std::string>(commands.begin(), commands.begin() + c.first.size()),
              c.first);
    test::ExpectCommands({commands.end() - 8, commands.end()},
                         {"F201=", "2", "0", "F201=", "B", "I", "S", "b"});
    EXPECT_LT(rig.sim.SpeedMph(), 0.5);

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
