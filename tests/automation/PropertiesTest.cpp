#include <gtest/gtest.h>

#include <functional>

#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

class Properties : public ::testing::Test {
 protected:
  Properties() : k(f.NewInterface()) {}
  test::InterfaceFixture f;
  std::unique_ptr<clsKeloInterface> k;
};

struct PlaceholderCase {
  const char* name;
  std::function<float(clsKeloInterface&)> read;
  float expected;
};

TEST_F(Properties, PlaceholdersLogAndReturnTheirFixedValue) {
  const PlaceholderCase cases[] = {
      {"CalWeight", [](clsKeloInterface& i) { return i.CalWeight(); }, 0.0f},
      {"AccelTorque", [](clsKeloInterface& i) { return i.AccelTorque(); }, 0.0f},
      {"TraceMessagesOn", [](clsKeloInterface& i) { return i.TraceMessagesOn() ? 1.0f : 0.0f; }, 0.0f},
      {"UsingLiveData", [](clsKeloInterface& i) { return i.UsingLiveData() ? 1.0f : 0.0f; }, 1.0f},
      {"RetraintsEdged", [](clsKeloInterface& i) { return i.RetraintsEdged() ? 1.0f : 0.0f; }, 1.0f},
      {"VehSimTestWindowStartTime", [](clsKeloInterface& i) { return i.VehSimTestWindowStartTime(3); }, 0.0f},
      {"TorquePIDP", [](clsKeloInterface& i) { return i.TorquePIDP(); }, 0.0f},
      {"LeftRestraintCentered", [](clsKeloInterface& i) { return i.LeftRestraintCentered() ? 1.0f : 0.0f; }, 0.0f},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.read(*k), c.expected) << c.name;
    EXPECT_TRUE(f.LogContains(std::string("clsKeloInterface: ") + c.name + "(Not Implemented)\r\n")) << c.name;
  }
}

TEST_F(Properties, FixedValuesWriteNoLogLine) {
  std::string before = f.LogText();
  EXPECT_FALSE(k->IsFWDDyno());
  EXPECT_FALSE(k->EStopPressed());
  EXPECT_EQ(k->FWDSpeedMPH(), 0.0f);
  EXPECT_EQ(k->FWDWheelBase(), 0.0f);
  EXPECT_EQ(k->PrimarySpeedMPH(), 0.0f);
  EXPECT_EQ(f.LogText(), before);
}

TEST_F(Properties, StatusFlagsComeFromTheStatusCopy) {
  auto& bits = f.ctx->store.StatusBitsCopy;
  bits[status::LiftsUp] = true;
  EXPECT_TRUE(k->LiftStatus());
  bits[status::LiftsDown] = true;
  EXPECT_FALSE(k->LiftStatus()) << "up and down at once is not up";
  bits[status::RestraintsIn] = true;
  EXPECT_TRUE(k->LeftRestraintIn());
  EXPECT_EQ(k->RightRestraintIn(), k->LeftRestraintIn());
  bits[status::RestraintsIn] = false;
  EXPECT_EQ(k->RightRestraintIn(), k->LeftRestraintIn());
  bits[status::OverTemperature] = true;
  EXPECT_TRUE(k->MotorOverTemp());
  EXPECT_FALSE(k->PAUIsOverTemp()) << "only during ASM and vehicle simulation";
  f.ctx->test.CurTest = 6;
  EXPECT_TRUE(k->PAUIsOverTemp());
  bits[status::MotorFault] = true;
  EXPECT_TRUE(k->MotorFault());
  bits[status::MotorOn] = true;
  EXPECT_TRUE(k->WarmupMotorEnable());
}

TEST_F(Properties, AbsorberEnableNeedsTwoMph) {
  f.ctx->store.RegulatorOn = true;
  f.ctx->store.DyneSpeed = 1.99f;
  EXPECT_FALSE(k->PAU1Enable());
  f.ctx->store.DyneSpeed = 2.0f;
  EXPECT_TRUE(k->PAU1Enable());
  f.ctx->store.RegulatorOn = false;
  EXPECT_FALSE(k->PAU1Enable());
}

TEST_F(Properties, PauTorqueLeavesOutTheAsmGtrlTorqueDuringAnAsmTest) {
  f.ctx->store.DyneTorque = 50.0f;
  f.ctx->store.DyneSpeed = 20.0f;
  f.ctx->store.ParasiticCoefK = 1.0f;
  f.ctx->store.ParasiticCoefA = 0.1f;
  f.ctx->store.ParasiticCoefB = 0.01f;
  f.ctx->params.AsmGtrlTorque = 7.5f;
  float parasitics = 1.0f + 0.1f * 20.0f + 0.01f * 400.0f;
  EXPECT_NEAR(k->ParasiticsTorque(), parasitics, 1e-4);
  f.ctx->test.CurTest = 4;
  float other = k->PAUTorque();
  EXPECT_NEAR(other, 50.0f - parasitics, 1e-4);
  f.ctx->test.CurTest = 5;
  EXPECT_NEAR(other - k->PAUTorque(), 7.5f, 1e-4);
}

TEST_F(Properties, InitFieldsAndSlaveVersion) {
  EXPECT_TRUE(k->Active());
  EXPECT_EQ(k->SerialPort(), 1);
  EXPECT_EQ(k->BaudRate(), 9600);
  EXPECT_EQ(k->Parity(), "N");
  EXPECT_TRUE(f.LogContains("clsKeloInterface: Init Act:True COM1: [9600,N,8,1]"));
  ASSERT_TRUE(k->Connect());
  EXPECT_FLOAT_EQ(k->SlaveVersion(), 3.12f);
  EXPECT_TRUE(f.LogContains("clsKeloInterface: SlaveVersion[3.12]"));
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
