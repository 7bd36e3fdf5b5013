// The interface's properties read from the process state: the status flags, the absorber's enable
// and torque, the parasitic loss, what is asked of the controller, and the accumulated time.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

class Properties : public ::testing::Test {
 protected:
  Properties() : k(f.NewInterface()) {}
  test::InterfaceFixture f;
  std::unique_ptr<clsKeloInterface> k;
};

// The controller reports over-temperature; clients see it only once it has lasted 5 s, and a
// report that clears in between starts the wait again.
TEST_F(Properties, AnOverTemperatureReachesClientsOnlyAfterFiveSeconds) {
  ASSERT_TRUE(k->Connect());
  f.loop.PumpFor(1500);
  // The first status read that carries the bit, and when the clients first see it.
  auto statusTimeWithBit = [&] {
    int64_t bitAtUs = -1, seenAtUs = -1;
    for (int i = 0; i < 2000 && seenAtUs < 0; ++i) {
      f.loop.PumpFor(10);
      if (bitAtUs < 0 && (f.sim.StatusWord() & (1u << status::OverTemperature)) != 0)
        bitAtUs = f.loop.NowUs();
      if (k->MotorOverTemp()) seenAtUs = f.loop.NowUs();
    }
    return std::make_pair(bitAtUs, seenAtUs);
  };
  f.sim.Plant().RaiseFault(DyneFault::OverTemperature);
  auto [raisedUs, seenUs] = statusTimeWithBit();
  ASSERT_GE(raisedUs, 0);
  ASSERT_GE(seenUs, 0) << "a lasting over-temperature reaches the clients";
  EXPECT_GT(seenUs - raisedUs, 5'000'000);
  EXPECT_LT(seenUs - raisedUs, 7'500'000) << "within a status read or two after the 5 s";
  EXPECT_TRUE(f.ctx->store.DeviceError());

  // Cleared for a while, then raised again: a new 5-second wait, and a short one never shows.
  f.sim.Plant().ClearFault(DyneFault::OverTemperature);
  f.loop.PumpFor(3000);
  EXPECT_FALSE(k->MotorOverTemp());
  f.sim.Plant().RaiseFault(DyneFault::OverTemperature);
  f.loop.PumpFor(4000);
  EXPECT_FALSE(k->MotorOverTemp()) << "4 s of a new over-temperature stay hidden";
  f.sim.Plant().ClearFault(DyneFault::OverTemperature);
  f.loop.PumpFor(3000);
  EXPECT_FALSE(k->MotorOverTemp());
}

TEST_F(Properties, StatusFlagsComeFromTheStatusCopyAndTheAbsorbersEnableNeedsTwoMph) {
  auto& bits = f.ctx->store.StatusBitsCopy;
  bits[status::LiftsUp] = true;
  EXPECT_TRUE(k->LiftStatus());
  bits[status::LiftsDown] = true;
  EXPECT_FALSE(k->LiftStatus()) << "up and down at once is not up";
  bits[status::RestraintsIn] = true;
  EXPECT_TRUE(k->LeftRestraintIn());
  EXPECT_TRUE(k->RightRestraintIn());
  bits[status::OverTemperature] = true;
  EXPECT_TRUE(k->MotorOverTemp());
  EXPECT_FALSE(k->PAUIsOverTemp()) << "only during ASM and vehicle simulation";
  f.ctx->test.CurTest = 6;
  EXPECT_TRUE(k->PAUIsOverTemp());
  bits[status::MotorFault] = true;
  EXPECT_TRUE(k->MotorFault());
  bits[status::MotorOn] = true;
  EXPECT_TRUE(k->WarmupMotorEnable());
  // The absorber's enable: the regulator on and at least 2 mph.
  f.ctx->store.RegulatorOn = true;
  f.ctx->store.DyneSpeed = 1.99f;
  EXPECT_FALSE(k->PAU1Enable());
  f.ctx->store.DyneSpeed = 2.0f;
  EXPECT_TRUE(k->PAU1Enable());
  f.ctx->store.RegulatorOn = false;
  EXPECT_FALSE(k->PAU1Enable());
}

TEST_F(Properties, TheParasiticCurveGivesTheLossAndPauTorqueLeavesOutTheAsmGtrlTorqueDuringAsm) {
  f.ctx->store.DyneTorque = 50.0f;
  f.ctx->store.DyneSpeed = 20.0f;
  f.ctx->store.ParasiticCoefK = 1.0f;
  f.ctx->store.ParasiticCoefA = 0.1f;
  f.ctx->store.ParasiticCoefB = 0.01f;
  f.ctx->params.AsmGtrlTorque = 7.5f;
  const float parasitics = 1.0f + 0.1f * 20.0f + 0.01f * 400.0f;
  EXPECT_NEAR(k->ParasiticsTorque(), parasitics, 1e-4);
  float raw = 9, fwdRaw = 9, unseen = 9, fwdUnseen = 9;
  EXPECT_EQ(k->GetParasiticsAtSpeed(20.0f, raw, fwdRaw, unseen, fwdUnseen), gQRTXErrNoError);
  EXPECT_NEAR(unseen, parasitics, 1e-4);
  EXPECT_EQ(raw + fwdRaw + fwdUnseen, 0.0f);
  f.ctx->test.CurTest = 4;
  float other = k->PAUTorque();
  EXPECT_NEAR(other, 50.0f - parasitics, 1e-4);
  f.ctx->test.CurTest = 5;
  EXPECT_NEAR(other - k->PAUTorque(), 7.5f, 1e-4);
}

TEST_F(Properties, AvgIsePercentAsksTheControllerOnlyWhenConnected) {
  EXPECT_EQ(k->AvgISEPercent(), 0.0f);
  EXPECT_EQ(f.RequestCount(), 0u);
  ASSERT_TRUE(k->Connect());
  size_t before = f.RequestCount();
  k->AvgISEPercent();
  auto names = f.RequestNames(before);
  EXPECT_NE(std::find(names.begin(), names.end(), "E218"), names.end());
  EXPECT_TRUE(f.LogContains("clsKeloInterface: AvgISEPercent..."));
}

TEST_F(Properties, AccumulatedTimeCountsFromTheLastReset) {
  f.host->TestTimeStartTick = f.ctx->Tick();
  f.loop.PumpFor(2500);
  EXPECT_NEAR(k->AccumulatedTime(), 2.5f, 0.01f);
  k->ResetTestTime();
  EXPECT_NEAR(k->AccumulatedTime(), 0.0f, 0.01f);
}

}  // namespace
}  // namespace tavkelo
