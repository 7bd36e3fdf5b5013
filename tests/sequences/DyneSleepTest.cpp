// PutDyneToSleep step by step, against a scripted dyne that acknowledges every command, and the
// dispatching of the test sequencer.

#include <gtest/gtest.h>

#include "SequenceRig.hpp"
#include "sequences/TestSequencer.hpp"

namespace tavkelo {
namespace {

class Sleep : public ::testing::Test {
 protected:
  Sleep() : dyne(f), sequencer(*f.ctx) {
    f.ConnectLink();
    f.ctx->params.ConstantTargetTestTorqueTarget = 40.0f;
    f.ctx->test.SleepStep = 0;
    f.ctx->test.SleepStatus = seqstatus::Running;
  }
  // One step, then time for its command to reach the dyne.
  std::vector<std::string> StepAndCollect() {
    dyne.Clear();
    sequencer.Sleep().PutDyneToSleep();
    f.loop.PumpFor(30);
    return dyne.Requests();
  }

  test::LinkFixture f{8};
  test::ScriptedDyne dyne;
  TestSequencer sequencer;
};

struct SleepCase {
  int16_t startedTest;
  bool brakes;
};

class SleepAfterTest : public Sleep, public ::testing::WithParamInterface<SleepCase> {};

TEST_P(SleepAfterTest, SendsOneCommandPerStepAndBrakesOnlyAfterTestsOneToThree) {
  f.ctx->test.StartedTestIndex = GetParam().startedTest;
  f.ctx->store.DyneSpeed = 12.0f;
  std::vector<std::string> sent;
  std::vector<std::string> expected = {"0", "K"};
  if (GetParam().brakes) {
    for (const char* c : {"F201=", "2", "0", "F201="}) expected.push_back(c);
  }
  for (const char* c : {"B", "I", "S", "b"}) expected.push_back(c);
  for (int step = 0; step < 40 && f.ctx->test.SleepStatus != seqstatus::Finished; ++step) {
    if (f.ctx->test.SleepStep == 5 && step > 20)
      f.ctx->store.DyneSpeed = 0.4f;  // the rolls come to rest
    const int16_t before = f.ctx->test.SleepStep;
    const auto requests = StepAndCollect();
    EXPECT_LE(requests.size(), 1u) << "one command per step";
    EXPECT_EQ(f.ctx->test.TestCommandPending, !requests.empty())
        << "pending marks exactly the steps that send";
    if (before == 5 && f.ctx->store.DyneSpeed >= 0.5f) {
      EXPECT_TRUE(requests.empty()) << "waits for rest";
    }
    if (f.ctx->test.SleepStatus != seqstatus::Finished) {
      EXPECT_TRUE(f.ctx->test.SleepBusy);
    }
    sent.insert(sent.end(), requests.begin(), requests.end());
  }
  EXPECT_EQ(f.ctx->test.SleepStatus, seqstatus::Finished);
  EXPECT_FALSE(f.ctx->test.SleepBusy);
  ASSERT_EQ(sent.size(), expected.size()) << ::testing::PrintToString(sent);
  for (size_t i = 0; i < expected.size(); ++i)
    EXPECT_EQ(sent[i].rfind(expected[i], 0), 0u) << sent[i];
  if (GetParam().brakes) {
    // 90 ft-lb to brake, then the client's 40 ft-lb, in lbf at the roll surface.
    const double radiusFt = f.ctx->store.RollDiameter / 24.0;
    EXPECT_NEAR(std::stod(sent[2].substr(5)), 90.0 / radiusFt, 0.11);
    EXPECT_NEAR(std::stod(sent[5].substr(5)), 40.0 / radiusFt, 0.11);
  }
  // Finished: further steps do nothing.
  EXPECT_TRUE(StepAndCollect().empty());
  EXPECT_FALSE(f.ctx->test.TestCommandPending);
}

INSTANTIATE_TEST_SUITE_P(StartedTests, SleepAfterTest,
                         ::testing::Values(SleepCase{test::Warmup, true},
                                           SleepCase{test::Parasitics, true},
                                           SleepCase{test::Coastdown, true},
                                           SleepCase{test::ConstantTarget, false},
                                           SleepCase{test::Asm, false}, SleepCase{0, false}));

TEST_F(Sleep, WaitsForTheMotorToStopWhileTheReadingsRun) {
  f.ctx->test.StartedTestIndex = test::Parasitics;
  f.ctx->poller.readingsActive = true;
  f.ctx->store.DyneStatusBits[status::MotorOn] = true;
  StepAndCollect();
  StepAndCollect();
  ASSERT_EQ(f.ctx->test.SleepStep, 2);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(StepAndCollect().empty());
  EXPECT_EQ(f.ctx->test.SleepStep, 2);
  // Without fresh readings the motor bit says nothing: no waiting.
  f.ctx->poller.readingsActive = false;
  StepAndCollect();
  EXPECT_EQ(f.ctx->test.SleepStep, 3);
}

TEST_F(Sleep, AStepOutsideTheTableDoesNothing) {
  f.ctx->test.SleepStep = 13;
  EXPECT_TRUE(StepAndCollect().empty());
  EXPECT_EQ(f.ctx->test.SleepStep, 13);
  EXPECT_EQ(f.ctx->test.SleepStatus, seqstatus::Running);
}

TEST(Sequencer, StepsTheRoutineOfTheCurrentTestAndInstallsItsHooks) {
  test::LinkFixture f{8};
  {
    TestSequencer sequencer(*f.ctx);
    ASSERT_TRUE(f.ctx->runTestStep);
    ASSERT_TRUE(f.ctx->loadCoastdownResults);
    struct Case {
      int16_t test;
      const char* firstLine;
    };
    for (const Case& c :
         {Case{test::Warmup, "**** Warm-Up Parameters ****"},
          Case{test::Parasitics, "**** Parasitics Parameters ****"},
          Case{test::Coastdown, "**** Coastdown Parameters ****"},
          Case{test::ConstantTarget, "**** Starting Constant Test ****"},
          Case{test::Asm, "**** Starting ASM Test ****"},
          Case{test::VehicleSimulation, "**** Starting Vehicle Simulation Test ****"}}) {
      test::StartTestLikeTheInterface(*f.ctx, c.test);
      f.ctx->runTestStep(c.test);
      EXPECT_EQ(f.LogCount(c.firstLine), 1) << c.test;
      f.ctx->test.CurTest = test::None;
    }
  }
  EXPECT_FALSE(f.ctx->runTestStep) << "removed with the sequencer";
  EXPECT_FALSE(f.ctx->loadCoastdownResults);
}

TEST(Sequencer, TheIdleStateIsThatOfAFreshStart) {
  test::LinkFixture f{0};
  SharedTestState& t = f.ctx->test;
  t.CurTest = 3;
  t.SleepStatus = seqstatus::Running;
  t.SleepStep = 7;
  t.SleepBusy = true;
  t.LcwsStatus = seqstatus::Running;
  t.PeakSampleCounter = 5;
  t.PeakSampleIndex = 4;
  f.loop.PumpFor(1000);
  TestSequencer::StartupHooks(*f.ctx).enterIdleState();
  EXPECT_EQ(t.CurTest, 0);
  EXPECT_EQ(t.SleepStatus, 3);
  EXPECT_EQ(t.SleepStep, 0);
  EXPECT_FALSE(t.SleepBusy);
  EXPECT_EQ(t.LcwsStatus, 3);
  EXPECT_EQ(t.PeakSampleCounter, 999);
  EXPECT_EQ(t.PeakSampleIndex, -1);
  EXPECT_EQ(t.TestStartDate, f.loop.Now());
  EXPECT_EQ(t.TestEndDate, f.loop.Now());
}

}  // namespace
}  // namespace tavkelo
