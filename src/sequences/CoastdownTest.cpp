#include "sequences/CoastdownTest.hpp"

#include <cmath>
#include <exception>
#include <string>

#include "link/KeloContext.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"
#include "sequences/CoastdownResultsStore.hpp"
#include "sequences/DyneSleepSequence.hpp"
#include "sequences/SpeedCrossing.hpp"
#include "sequences/clsAverage.hpp"
#include "sequences/modMath.hpp"

namespace tavkelo {

CoastdownTest::CoastdownTest(KeloContext& ctx, DyneSleepSequence& sleep)
    : SequenceBase(ctx), sleep_(sleep) {}

CoastdownTest::~CoastdownTest() = default;

const CoastdownWindow& CoastdownTest::Params(uint8_t w) const {
  return w == 2 ? ctx_.params.CoastdownLo : ctx_.params.CoastdownHi;
}

void CoastdownTest::PerformCoastdown() {
  RunStep("PerformCoastdown", [this] { Step(); });
}

void CoastdownTest::Step() {
  SharedTestState& t = ctx_.test;
  const ReadingsStore& s = ctx_.store;
  t.TestCommandPending = false;

  if (!t.TestAbortRequest) {
    if (s.DeviceError()) t.TestAbortRequest = true;
  } else if (!aborted_) {
    aborted_ = true;
    if (t.TestStage < kAbortStage) t.TestStage = kAbortStage;
  }

  if (t.TestStage != t.TestStageLogged && TestLogging()) {
    TestLog("** Coastdown-Stage:" + VbFormat(static_cast<int>(t.TestStageLogged), "000") + "->" +
            VbFormat(static_cast<int>(t.TestStage), "000") + "  Spd:" +
            VbFormat(s.DyneSpeed, "00.0") + "  Pas:" + VbFormat(static_cast<int>(window_), "00") +
            "  AbortReq:" + BoolText(t.TestAbortRequest) + "  Aborted:" + BoolText(aborted_) +
            "  DynError:" + BoolText(s.DeviceError()));
    t.TestStageLogged = t.TestStage;
  }

  const uint8_t w = window_ == 2 ? 2 : 1;
  const CoastdownWindow& p = Params(w);
  CoastdownResult& result = ctx_.results.Coastdown[w];
  const double speed = s.DyneSpeed;
  auto advance = [&t] { t.TestStage = static_cast<int16_t>(t.TestStage + 1); };

  switch (t.TestStage) {
    case 0: {
      aborted_ = false;
      if (TestLogging()) {
        TestLog("~B");
        auto line = [](const char* name, const CoastdownWindow& c) {
          return std::string("           ") + name + ": HiSpeed: " + VbFormat(c.HiSpeed, "00.0") +
                 "  LoSpeed: " + VbFormat(c.LoSpeed, "00.0") +
                 "  LoadHP: " + VbFormat(c.LoadHP, "00.0");
        };
        TestLog("**** Coastdown Parameters ****\r\n" + line("Hi_Window", ctx_.params.CoastdownHi) +
                "\r\n" + line("Lo_Window", ctx_.params.CoastdownLo));
      }
      for (size_t i = 1; i <= 2; ++i) {
        // The time and percent deltas keep the values of the last run until they are worked out.
        CoastdownResult& r = ctx_.results.Coastdown[i];
        r.Run = false;
        r.Date = ctx_.loop.Now();
        r.CCDT = r.TopSpeed = r.BotSpeed = r.ActualHP = r.ACDT = r.Stopwatch = 0.0f;
        r.CoastMs = 0;
      }
      window_ = 1;
      SendTestCommand(cmd::WriteVariable, var::ASMGTRL, 0.0f);
      advance();
      break;
    }
    case 1:
      SendTestCommand(cmd::BeltCompensationOff);
      advance();
      break;
    case 2:
      TestLog(w == 1 ? "**** Coastdown Hi Window Pass Starting ****"
                     : "**** Coastdown Lo Window Pass Starting ****");
      SendTestCommand(cmd::RegulatorOff);
      advance();
      break;
    case 3:
      SendTestCommand(cmd::MotorOn);
      advance();
      break;
    case 4:
      SendTestCommand(cmd::WriteVariable, var::ASMPWRTARGET, p.LoadHP);
      advance();
      break;
    case 5:
      SendTestCommand(cmd::WriteVariable, var::ASMSPEED, p.MidSpeed);
      advance();
      break;
    case 6:
      SendTestCommand(cmd::StopWatch1Off);
      advance();
      break;
    case 7:
      SendTestCommand(cmd::WriteVariable, var::STOPWATCH1_START_SPEED, p.HiSpeed);
      advance();
      break;
    case 8:
      SendTestCommand(cmd::WriteVariable, var::STOPWATCH1_STOP_SPEED, p.LoSpeed);
      advance();
      break;
    case 9:
      if (speed >= p.HiSpeed + 2.0) {
        t.TestMark1Ms = ctx_.Tick();
        advance();
      }
      break;
    case 10:
      if (speed >= p.HiSpeed + 2.0) {
        t.TestMark2Ms = ctx_.Tick();
        if (TickDiff(t.TestMark2Ms, t.TestMark1Ms) >= kRunUpHoldMs) advance();
      } else {
        t.TestStage = 9;  // the hold starts again
      }
      break;
    case 11:
      t.TestMark1Ms = 0;
      t.TestMark2Ms = 0;
      SendTestCommand(cmd::StopWatch1On);
      advance();
      break;
    case 12:
      power_ = std::make_unique<clsAverage>();
      power_->Reset(kPowerAverageDepth);
      SendTestCommand(cmd::AsmRegulatorOn);
      advance();
      break;
    case 13:
      if (speed < p.HiSpeed + 0.05 && t.TestMark1Ms == 0)
        t.TestMark1Ms = SpeedCrossing::Mark(ctx_, p.HiSpeed, w);
      if (speed < p.LoSpeed + 0.05 && t.TestMark2Ms == 0)
        t.TestMark2Ms = SpeedCrossing::Mark(ctx_, p.LoSpeed, w);
      if (speed >= p.LoSpeed - 1.0) {
        if (p.MidSpeed - kPowerBandMph <= speed && speed <= p.MidSpeed + kPowerBandMph) {
          if (!power_) power_ = std::make_unique<clsAverage>();
          power_->AddValue(s.DynePower);
        }
        break;
      }
      if (t.TestMark1Ms > 0 && t.TestMark2Ms > 0)
        result.CoastMs = TickDiff(t.TestMark2Ms, t.TestMark1Ms);
      SendTestCommand(cmd::GetVariable, var::STOPWATCH1);
      advance();
      break;
    case 14:
      SendTestCommand(cmd::RegulatorOff);
      t.TestMark1Ms = ctx_.Tick();
      advance();
      break;
    case 15:
      SendTestCommand(cmd::WriteVariable, var::TORQUETARGET, kBrakeTorqueFtLb);
      advance();
      break;
    case 16:
      t.TestMark2Ms = ctx_.Tick();
      if (TickDiff(t.TestMark2Ms, t.TestMark1Ms) >= 1000) advance();
      break;
    case 17:
      SendTestCommand(cmd::TorqueRegulatorOn);
      t.TestMark1Ms = ctx_.Tick();
      advance();
      break;
    case 18:
      t.TestMark2Ms = ctx_.Tick();
      if (TickDiff(t.TestMark2Ms, t.TestMark1Ms) >= 4000 && s.DyneSpeed < 0.5f) {
        SendTestCommand(cmd::RegulatorOff);
        advance();
      }
      break;
    case 19:
      SendTestCommand(cmd::WriteVariable, var::TORQUETARGET,
                      ctx_.params.ConstantTargetTestTorqueTarget);
      advance();
      break;
    case 20:
      ComputeWindowResult(w);
      window_ = static_cast<uint8_t>(w + 1);
      if (window_ < 3 && ctx_.params.CoastdownLo.LoadHP >= 0.0f) {
        t.TestStage = 2;  // the low window
      } else {
        t.TestStage = 999;
      }
      break;
    case 21:
      t.SleepStep = 0;
      t.SleepStatus = seqstatus::Running;
      advance();
      break;
    case 22:
      if (t.SleepStatus == seqstatus::Finished) {
        t.TestStage = 999;
      } else {
        sleep_.PutDyneToSleep();
      }
      break;
    default:
      Finish();
      break;
  }
}

void CoastdownTest::ComputeWindowResult(uint8_t w) {
  CoastdownResult& r = ctx_.results.Coastdown[w];
  const CoastdownWindow& p = Params(w);
  r.Stopwatch = ctx_.store.StopWatch1;
  double seconds = r.CoastMs / 1000.0;
  // The device's stopwatch, unless the server's own time is clearly longer.
  if (!(seconds - r.Stopwatch > kServerTimeMarginS && seconds > 1.0)) seconds = r.Stopwatch;
  r.ACDT = static_cast<float>(seconds);
  r.TopSpeed = p.HiSpeed;
  r.BotSpeed = p.LoSpeed;
  r.ActualHP = power_ ? static_cast<float>(power_->Average()) : 0.0f;
  r.Run = true;
  r.Date = ctx_.loop.Now();
  // The time in which the load power absorbs the kinetic energy between the two speeds.
  r.CCDT = modMath::CoastdownHP(p.HiSpeed, p.LoSpeed, p.LoadHP, ctx_.store.BaseInertia);
  r.TimeDelta = r.ACDT - r.CCDT;
  if (r.CCDT != 0.0f) {
    r.PercentDelta = std::fabs(r.TimeDelta * 100.0f / r.CCDT);
  } else {
    // No calculated time to compare with: any actual time is all deviation.
    r.PercentDelta = r.TimeDelta != 0.0f ? 100.0f : 0.0f;
  }
  power_.reset();
}

void CoastdownTest::Finish() {
  SharedTestState& t = ctx_.test;
  if (aborted_) {
    TestLog("**** Coastdown Aborted ****");
    t.LastTestCompletionStatus = ltcs::Aborted;
  } else {
    if (TestLogging()) {
      const CoastdownResult& hi = ctx_.results.Coastdown[1];
      const CoastdownResult& lo = ctx_.results.Coastdown[2];
      auto f = [](float v) { return VbFormat(v, "#0.00"); };
      auto lines = [&](const char* head, const char* deltaHead, const CoastdownResult& r,
                       const CoastdownWindow& c) {
        return std::string(head) + f(r.ACDT) + " (" + f(r.Stopwatch) + "," +
               VbFormat(static_cast<int>(r.CoastMs), "00000") + ")" + "  Cal_Time: " + f(r.CCDT) +
               "  HP: " + f(c.LoadHP) + "  Actual_HP: " + f(r.ActualHP) + "\r\n" + deltaHead +
               f(r.TimeDelta) + "  Percent_Delta: " + f(r.PercentDelta);
      };
      TestLog("**** Coastdown Results ****\r\n" +
              lines("       Hi_Window: Actual_Time: ", "                  Time_Delta: ", hi,
                    ctx_.params.CoastdownHi) +
              "\r\n" +
              lines("       Lo_Window: Actual_Time: ", "                   Time_Delta: ", lo,
                    ctx_.params.CoastdownLo));
    }
    CoastdownResultsStore(ctx_).LoadSaveCoastdownResults(true);
    t.LastTestCompletionStatus = ltcs::Completed;
  }
  TestLog("~B");
  t.CurTest = test::None;
}

}  // namespace tavkelo
