#include "sequences/ParasiticsTest.hpp"

#include <cmath>
#include <exception>
#include <string>

#include "link/KeloContext.hpp"
#include "platform/VbConvert.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"
#include "sequences/DyneSleepSequence.hpp"
#include "sequences/SpeedCrossing.hpp"
#include "sequences/clsPolynomialFit.hpp"
#include "sequences/modMath.hpp"

namespace tavkelo {

namespace {

// A Single quantised to a whole device value the way the "#0" format rounds it.
float Quantise(float value) {
  return static_cast<float>(VbVal(VbFormat(value, "#0")));
}

const char* const kCoefficientFormat = "#0.00000e+00;-0.00000e+00";

}  // namespace

void ParasiticsTest::PerformParasitics() {
  RunStep("PerformParasitics", [this] { Step(); });
}

void ParasiticsTest::Step() {
  SharedTestState& t = ctx_.test;
  ReadingsStore& s = ctx_.store;
  t.TestCommandPending = false;

  // A device error becomes a stop request, taken on the next step; a stop request is taken once.
  if (!t.TestAbortRequest) {
    if (s.DeviceError()) t.TestAbortRequest = true;
  } else if (!TestAborted) {
    TestAborted = true;
    // Taken during the run-up (the motor on, its stage-6 "Motor Off" not sent yet): the motor would
    // hold the rolls above every window and the remaining windows would wait for ever, so it goes
    // off now and the windows run on the coast as they would after stage 6.
    if (t.TestStage >= 4 && t.TestStage <= 6) SendTestCommand(cmd::MotorOff);
    if (t.TestStage < kAbortStage) t.TestStage = kAbortStage;
  }

  if (t.TestStage != t.TestStageLogged && TestLogging()) {
    TestLog("** PerformParasitics-Stage:" + VbFormat(static_cast<int>(t.TestStageLogged), "000") +
            "->" + VbFormat(static_cast<int>(t.TestStage), "000") +
            "  Spd:" + VbFormat(s.DyneSpeed, "00.0") +
            "  Pas:" + VbFormat(static_cast<int>(t.TestPass), "00") +
            "  AbtRq:" + BoolText(t.TestAbortRequest) + "  Abtd:" + BoolText(TestAborted) +
            "  DynErr:" + BoolText(s.DeviceError()));
    t.TestStageLogged = t.TestStage;
  }

  const float runUpMph = kWindows[4].Top + kRunUpMarginMph;
  // The window of the pass now running (a stale pass count is kept in range).
  auto window = [&]() -> const ParasiticsWindow& {
    return ParasiticsWindows[static_cast<size_t>(t.TestPass >= 0 && t.TestPass <= 4 ? t.TestPass
                                                                                    : 0)];
  };
  auto advance = [&t] { t.TestStage = static_cast<int16_t>(t.TestStage + 1); };

  switch (t.TestStage) {
    case 0: {
      TestAborted = false;
      ParasiticsWindows = kWindows;
      ParasiticsResults = ParasiticsResult{};
      ParasiticsResults.Weight.fill(1.0);
      Outputs = ParasiticsOutputs{};
      t.TestPass = 4;
      if (TestLogging()) {
        TestLog("~B");
        std::string block = "**** Parasitics Parameters ****\r\n          ";
        for (size_t i = 0; i < ParasiticsWindows.size(); ++i) {
          const ParasiticsWindow& w = ParasiticsWindows[i];
          if (i > 0) block += "  ";
          block += std::to_string(i) + ":" + VbFormat(w.Top, "00.0") + "," +
                   VbFormat(w.Nominal, "00.0") + "," + VbFormat(w.Bottom, "00.0");
        }
        TestLog(block);
      }
      advance();
      break;
    }
    case 1:
      SendTestCommand(cmd::BeltCompensationOff);
      advance();
      break;
    case 2:
      SendTestCommand(cmd::RegulatorOff);
      advance();
      break;
    case 3:
      SendTestCommand(cmd::MotorOn);
      advance();
      break;
    case 4:
      if (s.DyneSpeed >= runUpMph) {
        t.TestMark1Ms = ctx_.Tick();
        advance();
      }
      break;
    case 5:
      if (s.DyneSpeed >= runUpMph) {
        t.TestMark2Ms = ctx_.Tick();
        if (TickDiff(t.TestMark2Ms, t.TestMark1Ms) >= kRunUpHoldMs) advance();
      } else {
        t.TestStage = 4;  // the hold starts again
      }
      break;
    case 6:
      SendTestCommand(cmd::MotorOff);
      advance();
      break;
    case 7:
      TestLog("** Starting pass " + VbFormat(static_cast<int>(t.TestPass), "00") + "  High:" +
              VbFormat(window().Top, "00.0") + "  Low:" + VbFormat(window().Bottom, "00.0"));
      SendTestCommand(cmd::StopWatch1Off);
      advance();
      break;
    case 8:
      SendTestCommand(cmd::WriteVariable, var::STOPWATCH1_START_SPEED, window().Top);
      advance();
      break;
    case 9:
      SendTestCommand(cmd::WriteVariable, var::STOPWATCH1_STOP_SPEED, window().Bottom);
      advance();
      break;
    case 10:
      t.TestMark1Ms = 0;
      t.TestMark2Ms = 0;
      SendTestCommand(cmd::StopWatch1On);
      advance();
      break;
    case 11: {
      const float top = window().Top;
      if (static_cast<double>(s.DyneSpeed) < top + 0.05 && t.TestMark1Ms == 0)
        t.TestMark1Ms = SpeedCrossing::Mark(ctx_, top, t.TestPass);
      if (s.DyneSpeed <= top) {
        t.PassTorqueSum = 0.0;
        t.PassTorqueSamples = 0;
        advance();
      }
      break;
    }
    case 12: {
      const float bottom = window().Bottom;
      t.PassTorqueSum += static_cast<double>(s.DyneTorque);
      t.PassTorqueSamples += 1;
      if (static_cast<double>(s.DyneSpeed) < bottom + 0.05 && t.TestMark2Ms == 0) {
        t.TestMark2Ms = SpeedCrossing::Mark(ctx_, bottom, t.TestPass);
      }
      if (s.DyneSpeed < bottom) {
        double average = t.PassTorqueSum;
        if (t.PassTorqueSamples != 0) average = t.PassTorqueSum / t.PassTorqueSamples;
        if (t.TestPass >= 0 && t.TestPass <= 4)
          ParasiticsResults.AverageTorque[static_cast<size_t>(t.TestPass)] = average;
        advance();
      }
      break;
    }
    case 13:
      SendTestCommand(cmd::GetVariable, var::STOPWATCH1);
      advance();
      break;
    case 14:
      if (t.TestPass >= 0 && t.TestPass <= 4) {
        const size_t i = static_cast<size_t>(t.TestPass);
        ParasiticsResults.StopwatchSeconds[i] = s.StopWatch1;
        if (t.TestMark1Ms >= 1 && t.TestMark2Ms >= 1) {
          ParasiticsResults.CoastMs[i] = static_cast<float>(TickDiff(t.TestMark2Ms, t.TestMark1Ms));
        }
      }
      t.TestPass = static_cast<int16_t>(t.TestPass - 1);
      if (t.TestPass >= 0) {
        t.TestStage = 7;  // the next, lower window on the same coast
      } else {
        advance();
      }
      break;
    case 15:
      t.SleepStep = 0;
      t.SleepStatus = seqstatus::Running;
      advance();
      break;
    case 16:
      if (t.SleepStatus == seqstatus::Finished) {
        if (!TestAborted) {
          advance();
        } else {
          t.TestStage = 999;
        }
      } else {
        sleep_.PutDyneToSleep();
      }
      break;
    case 17:
      ComputeResults();
      t.TestStage = 999;
      break;
    default:  // 18 and up, 999: finish
      Finish();
      break;
  }
}

void ParasiticsTest::ComputeResults() {
  ReadingsStore& s = ctx_.store;
  ParasiticsResult& r = ParasiticsResults;
  const float k = s.TorqueSpeedFactor;

  for (size_t i = 0; i < 5; ++i) {
    const ParasiticsWindow& w = ParasiticsWindows[i];
    r.NominalSpeed[i] = w.Nominal;
    double seconds = r.CoastMs[i] / 1000.0;
    const double stopwatch = r.StopwatchSeconds[i];
    TestLog("Idx:" + VbFormat(static_cast<int>(i), "00") + "  Sec:" +
            VbFormat(r.StopwatchSeconds[i], "00.0") + "  Tim:" + VbFormat(seconds, "00.0") +
            "  Dif:" + VbFormat(std::fabs(seconds - stopwatch), "00.0"));
    // The device's stopwatch, unless the server's own time is clearly longer (one-sided).
    if (!(seconds - stopwatch > kServerTimeMarginS && seconds > 1.0)) seconds = stopwatch;
    const float hp = modMath::CoastdownHP(w.Top, w.Bottom, seconds, s.BaseInertia);
    r.LossTorque[i] = w.Nominal != 0.0f ? static_cast<double>(k) * hp / w.Nominal : 0.0;
    r.LossHP[i] = k != 0.0f ? static_cast<float>(r.LossTorque[i] * r.NominalSpeed[i] / k) : 0.0f;
  }

  // T(v) = c0 + c1 v + c2 v², least squares with weights 1.
  BasicVector x(0, std::vector<double>(r.NominalSpeed.begin(), r.NominalSpeed.end()));
  BasicVector y(0, std::vector<double>(r.LossTorque.begin(), r.LossTorque.end()));
  BasicVector weights(0, std::vector<double>(r.Weight.begin(), r.Weight.end()));
  BasicVector c;
  clsPolynomialFit fit;
  fit.Calculate(x, y, weights, 2, c);
  ParasiticsOutputs& o = Outputs;
  o.Coefficients = {c(0), c(1), c(2)};

  // Each term as HP at 50 mph, quantised to whole device units and turned back.
  o.KTermHP = static_cast<float>(c(0) * 50.0 / k);
  o.Var51 = Quantise(o.KTermHP * kDeviceUnitsPerHp);
  o.KTermHP = o.Var51 / kDeviceUnitsPerHp;
  o.CoefK = o.KTermHP * k / 50.0f;

  o.ATermHP = static_cast<float>(c(1) * 2500.0 / k);
  o.Var52 = Quantise(o.ATermHP * kDeviceUnitsPerHp);
  o.ATermHP = o.Var52 / kDeviceUnitsPerHp;
  o.CoefA = o.ATermHP * k / 2500.0f;

  o.BTermHP = static_cast<float>(c(2) * 125000.0 / k);
  o.Var53 = Quantise(o.BTermHP * kDeviceUnitsPerHp);
  o.BTermHP = o.Var53 / kDeviceUnitsPerHp;
  o.CoefB = o.BTermHP * k / 125000.0f;

  const float loss15 = modMath::evalcurve(c(0), c(1), c(2), 15.0) * 15.0f / k;
  o.Var98 = Quantise(loss15 * kDeviceUnitsPerHp);
  o.Loss15MphHP = o.Var98 / kDeviceUnitsPerHp;

  const float loss25 = modMath::evalcurve(c(0), c(1), c(2), 25.0) * 25.0f / k;
  o.Var99 = Quantise(loss25 * kDeviceUnitsPerHp);
  o.Loss25MphHP = o.Var99 / kDeviceUnitsPerHp;

  // The device values, where a read of the variables would put them; SaveCalibrationToFLASH
  // writes them to the controller.
  s.ParasiticLossA = o.Var51;
  s.ParasiticLossB = o.Var52;
  s.ParasiticLossC = o.Var53;
  s.ParasiticCoefK = o.CoefK;
  s.ParasiticCoefA = o.CoefA;
  s.ParasiticCoefB = o.CoefB;
  s.Losses15Mph = o.Var98;
  s.Losses25Mph = o.Var99;
  s.Losses15MphHP = o.Loss15MphHP;
  s.Losses25MphHP = o.Loss25MphHP;
}

void ParasiticsTest::Finish() {
  SharedTestState& t = ctx_.test;
  if (TestAborted) {
    TestLog("**** Parasitics Aborted ****");
    t.LastTestCompletionStatus = ltcs::Aborted;
  } else {
    if (TestLogging()) {
      const ParasiticsResult& r = ParasiticsResults;
      const ParasiticsOutputs& o = Outputs;
      std::string block = "**** Parasitics Results ****";
      for (int i = 4; i >= 0; --i) {
        const size_t n = static_cast<size_t>(i);
        block += "\r\n       Window[" + VbFormat(ParasiticsWindows[n].Top, "00.0") + "-" +
                 VbFormat(ParasiticsWindows[n].Bottom, "00.0") + "]" +
                 " ACCT: " + VbFormat(r.StopwatchSeconds[n], "00.00") + " (" +
                 VbFormat(r.CoastMs[n], "00000") + ")" +
                 "  PLHP: " + VbFormat(r.LossHP[n], "00.00");
      }
      block += "\r\n        Coefficients:";
      block += "\r\n           K: " + VbFormat(o.CoefK, kCoefficientFormat) +
               ", Kelo_Var51: " + VbFormat(o.Var51, "#0");
      block += "\r\n           A: " + VbFormat(o.CoefA, kCoefficientFormat) +
               ", Kelo_Var52: " + VbFormat(o.Var52, "#0");
      block += "\r\n           B: " + VbFormat(o.CoefB, kCoefficientFormat) +
               ", Kelo_Var53: " + VbFormat(o.Var53, "#0");
      block += "\r\n           C: " + VbFormat(0.0f, kCoefficientFormat);
      block += "\r\n        Loss_@15MPH: " + VbFormat(o.Loss15MphHP, "#0.00") +
               ", Kelo_Var98: " + VbFormat(o.Var98, "#0");
      block += "\r\n        Loss_@25MPH: " + VbFormat(o.Loss25MphHP, "#0.00") +
               ", Kelo_Var99: " + VbFormat(o.Var99, "#0");
      TestLog(block);
    }
    t.LastTestCompletionStatus = ltcs::Completed;
  }
  TestLog("~B");
  t.CurTest = test::None;
}

}  // namespace tavkelo
