// The parasitic-loss test at stage level: the results rules of stage 17 (choice of time, loss
// torques, fit, quantised device values), its log blocks, and the whole stage machine stepped by
// the poller against a scripted dyne (commands, the 32 mph hold, a stop during the coast).

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <regex>

#include "SequenceRig.hpp"
#include "platform/VbFormat.hpp"
#include "sequences/TestSequencer.hpp"

namespace tavkelo {
namespace {

constexpr double kRollDiameter = 8.555;
constexpr double kBaseInertiaLb = 2000.0;
// The roll factor written out: HP = ft-lb x mph / K.
const float kRollFactor = static_cast<float>(kRollDiameter * 989978.64876768 / 63360.0);

struct Window {
  double top, nominal, bottom;
};
constexpr std::array<Window, 5> kWindows{
    {{10, 8, 6}, {15, 13, 11}, {20, 18, 16}, {25, 23, 21}, {30, 28, 26}}};

// Power that removes the kinetic energy of the base inertia between two speeds in `seconds`.
double WindowHp(const Window& w, double seconds) {
  const double ftPerS = 5280.0 / 3600.0;
  const double slugs = kBaseInertiaLb / 32.17405;
  const double energy =
      0.5 * slugs * (std::pow(w.top * ftPerS, 2) - std::pow(w.bottom * ftPerS, 2));
  return energy / seconds / 550.0;
}

// Least squares y = c0 + c1 x + c2 x² by Householder QR in long double, independent of the
// normal equations that the sequence solves.
std::array<long double, 3> LeastSquares(const std::array<double, 5>& x,
                                        const std::array<double, 5>& y) {
  long double a[5][3];
  long double b[5];
  for (int i = 0; i < 5; ++i) {
    a[i][0] = 1.0L;
    a[i][1] = x[static_cast<size_t>(i)];
    a[i][2] = a[i][1] * a[i][1];
    b[i] = y[static_cast<size_t>(i)];
  }
  for (int k = 0; k < 3; ++k) {
    long double norm = 0;
    for (int i = k; i < 5; ++i) norm += a[i][k] * a[i][k];
    norm = std::sqrt(norm);
    const long double alpha = a[k][k] > 0 ? -norm : norm;
    long double v[5] = {};
    for (int i = k; i < 5; ++i) v[i] = a[i][k];
    v[k] -= alpha;
    long double vv = 0;
    for (int i = k; i < 5; ++i) vv += v[i] * v[i];
    for (int j = k; j < 3; ++j) {
      long double s = 0;
      for (int i = k; i < 5; ++i) s += v[i] * a[i][j];
      for (int i = k; i < 5; ++i) a[i][j] -= 2 * s / vv * v[i];
    }
    long double s = 0;
    for (int i = k; i < 5; ++i) s += v[i] * b[i];
    for (int i = k; i < 5; ++i) b[i] -= 2 * s / vv * v[i];
  }
  std::array<long double, 3> c{};
  for (int k = 2; k >= 0; --k) {
    long double s = b[k];
    for (int j = k + 1; j < 3; ++j) s -= a[k][j] * c[static_cast<size_t>(j)];
    c[static_cast<size_t>(k)] = s / a[k][k];
  }
  return c;
}

// A whole device value: the Single product rounded half away from zero.
float DeviceValue(float hpTimesUnits) {
  return std::round(hpTimesUnits);
}

class ParasiticsResults : public ::testing::Test {
 protected:
  ParasiticsResults() : sequencer(*f.ctx) {
    f.ctx->store.BaseInertia = static_cast<float>(kBaseInertiaLb);
    f.ctx->store.RollDiameter = static_cast<float>(kRollDiameter);
    f.ctx->store.TorqueSpeedFactor = kRollFactor;
  }
  // Runs stage 17 and the finish with the given window times (index 0 = 10-6 mph).
  void Compute(const std::array<float, 5>& stopwatch, const std::array<float, 5>& coastMs) {
    SharedTestState& t = f.ctx->test;
    t.CurTest = test::Parasitics;
    t.StartedTestIndex = test::Parasitics;
    t.LastTestCompletionStatus = ltcs::InProgress;
    t.TestStage = 0;
    t.TestStageLogged = 0;
    sequencer.RunTestStep(test::Parasitics);  // stage 0: windows loaded, results cleared
    ASSERT_EQ(t.TestStage, 1);
    sequencer.Parasitics().ParasiticsResults.StopwatchSeconds = stopwatch;
    sequencer.Parasitics().ParasiticsResults.CoastMs = coastMs;
    t.TestStage = 17;
    sequencer.RunTestStep(test::Parasitics);
    ASSERT_EQ(t.TestStage, 999);
    sequencer.RunTestStep(test::Parasitics);
    ASSERT_EQ(t.CurTest, test::None);
  }
  const ParasiticsResult& R() { return sequencer.Parasitics().ParasiticsResults; }
  const ParasiticsOutputs& O() { return sequencer.Parasitics().Outputs; }

  test::LinkFixture f{8};
  TestSequencer sequencer;
};

// Window times of a dyne whose loss is 0.05 v + 0.0012 v² + 0.00002 v³ HP.
std::array<float, 5> TimesOfCurve() {
  std::array<float, 5> times{};
  for (size_t i = 0; i < 5; ++i) {
    const double v = kWindows[i].nominal;
    const double hp = 0.05 * v + 0.0012 * v * v + 0.00002 * v * v * v;
    times[i] = static_cast<float>(WindowHp(kWindows[i], 1.0) / hp);
  }
  return times;
}

TEST_F(ParasiticsResults, LossTorquesAreTheWindowPowersAtTheNominalSpeeds) {
  const auto times = TimesOfCurve();
  Compute(times, {});
  for (size_t i = 0; i < 5; ++i) {
    const double hp = WindowHp(kWindows[i], times[i]);
    EXPECT_NEAR(R().LossTorque[i], kRollFactor * hp / kWindows[i].nominal, 1e-5 * R().LossTorque[i])
        << i;
    EXPECT_NEAR(R().LossHP[i], hp, 1e-5 * hp) << i;
    EXPECT_EQ(R().NominalSpeed[i], kWindows[i].nominal);
    EXPECT_EQ(R().Weight[i], 1.0);
  }
  EXPECT_EQ(f.ctx->test.LastTestCompletionStatus, ltcs::Completed);
}

TEST_F(ParasiticsResults, TheFitIsTheLeastSquaresQuadraticOfTheLossTorques) {
  auto times = TimesOfCurve();
  times[1] *= 1.07f;  // scatter, so that the fit does not pass through every point
  times[3] *= 0.95f;
  Compute(times, {});
  std::array<double, 5> x{}, y{};
  for (size_t i = 0; i < 5; ++i) {
    x[i] = kWindows[i].nominal;
    y[i] = R().LossTorque[i];
  }
  const auto expected = LeastSquares(x, y);
  for (size_t k = 0; k < 3; ++k) {
    const double c = O().Coefficients[k];
    EXPECT_NEAR(c, static_cast<double>(expected[k]),
                1e-9 * std::fabs(static_cast<double>(expected[k])))
        << k;
  }
}

TEST_F(ParasiticsResults, DeviceValuesAreTheTermsAtFiftyMphInWholeHundredthsOfAKilowatt) {
  Compute(TimesOfCurve(), {});
  const auto& c = O().Coefficients;
  const float k = kRollFactor;
  const float v51 = DeviceValue(static_cast<float>(c[0] * 50.0 / k) * 74.57f);
  const float v52 = DeviceValue(static_cast<float>(c[1] * 2500.0 / k) * 74.57f);
  const float v53 = DeviceValue(static_cast<float>(c[2] * 125000.0 / k) * 74.57f);
  EXPECT_EQ(O().Var51, v51);
  EXPECT_EQ(O().Var52, v52);
  EXPECT_EQ(O().Var53, v53);
  // The coefficients as the device values give them back.
  EXPECT_FLOAT_EQ(O().CoefK, v51 / 74.57f * k / 50.0f);
  EXPECT_FLOAT_EQ(O().CoefA, v52 / 74.57f * k / 2500.0f);
  EXPECT_FLOAT_EQ(O().CoefB, v53 / 74.57f * k / 125000.0f);
  // Losses at 15 and 25 mph from the unquantised curve.
  for (auto [mph, device, hp] : {std::tuple{15.0, O().Var98, O().Loss15MphHP},
                                 std::tuple{25.0, O().Var99, O().Loss25MphHP}}) {
    const double torque = c[0] + c[1] * mph + c[2] * mph * mph;
    const float loss = static_cast<float>(torque * mph / k);
    EXPECT_EQ(device, DeviceValue(loss * 74.57f)) << mph;
    EXPECT_FLOAT_EQ(hp, device / 74.57f) << mph;
    // The curve the times came from.
    const double truth = 0.05 * mph + 0.0012 * mph * mph + 0.00002 * mph * mph * mph;
    EXPECT_NEAR(hp, truth, 0.01 * truth) << mph;
  }
  // The readings store carries them where a read of variables 51 to 53, 98 and 99 would.
  const ReadingsStore& s = f.ctx->store;
  EXPECT_EQ(s.ParasiticLossA, v51);
  EXPECT_EQ(s.ParasiticLossB, v52);
  EXPECT_EQ(s.ParasiticLossC, v53);
  EXPECT_EQ(s.Losses15Mph, O().Var98);
  EXPECT_EQ(s.Losses25Mph, O().Var99);
  EXPECT_EQ(s.ParasiticCoefK, O().CoefK);
  EXPECT_EQ(s.ParasiticCoefA, O().CoefA);
  EXPECT_EQ(s.ParasiticCoefB, O().CoefB);
  EXPECT_EQ(s.Losses15MphHP, O().Loss15MphHP);
  EXPECT_EQ(s.Losses25MphHP, O().Loss25MphHP);
}

struct TimeChoice {
  const char* what;
  float stopwatch;
  float coastMs;
  double expectedSeconds;  // the time the window's power is computed from
};

class ParasiticsTimeChoice : public ParasiticsResults,
                             public ::testing::WithParamInterface<TimeChoice> {};

TEST_P(ParasiticsTimeChoice, TheServerTimeReplacesTheStopwatchOnlyWhenClearlyLonger) {
  const TimeChoice& c = GetParam();
  auto stopwatch = TimesOfCurve();
  std::array<float, 5> coast{};
  stopwatch[4] = c.stopwatch;
  coast[4] = c.coastMs;
  Compute(stopwatch, coast);
  const double hp = c.expectedSeconds > 0.0 ? WindowHp(kWindows[4], c.expectedSeconds) : 0.0;
  EXPECT_NEAR(R().LossHP[4], hp, 1e-5 * hp + 1e-9);
}

INSTANTIATE_TEST_SUITE_P(
    Window4, ParasiticsTimeChoice,
    ::testing::Values(TimeChoice{"longer_by_exactly_4s_uses_the_stopwatch", 10.5f, 14500.0f, 10.5},
                      TimeChoice{"longer_by_more_than_4s_uses_the_server_time", 10.5f, 14501.0f,
                                 14.501},
                      TimeChoice{"shorter_uses_the_stopwatch", 10.5f, 3000.0f, 10.5},
                      TimeChoice{"no_marks_use_the_stopwatch", 10.5f, 0.0f, 10.5},
                      TimeChoice{"no_stopwatch_and_a_long_server_time", 0.0f, 9000.0f, 9.0},
                      TimeChoice{"no_time_at_all_gives_no_loss", 0.0f, 800.0f, 0.0}),
    [](const auto& info) { return std::string(info.param.what); });

TEST_F(ParasiticsResults, LogsEachWindowsTimesAndTheResultsBlock) {
  auto stopwatch = TimesOfCurve();
  std::array<float, 5> coast{};
  stopwatch[4] = 10.5f;
  coast[4] = 14500.0f;
  Compute(stopwatch, coast);
  const auto lines = test::LogLinesWithoutStamps(f);
  auto has = [&](const std::string& l) {
    return std::find(lines.begin(), lines.end(), l) != lines.end();
  };
  EXPECT_TRUE(has("Idx:04  Sec:10.5  Tim:14.5  Dif:04.0"));
  EXPECT_TRUE(has("Idx:00  Sec:" + VbFormat(stopwatch[0], "00.0") +
                  "  Tim:00.0  Dif:" + VbFormat(static_cast<double>(stopwatch[0]), "00.0")));
  // The results block is one entry: its first line stamped, the others as written.
  auto first = std::find(lines.begin(), lines.end(), "**** Parasitics Results ****");
  ASSERT_NE(first, lines.end());
  ASSERT_GE(lines.end() - first, 14);
  const size_t at = static_cast<size_t>(first - lines.begin());
  EXPECT_EQ(lines[at + 1], "       Window[30.0-26.0] ACCT: 10.50 (14500)  PLHP: " +
                               VbFormat(R().LossHP[4], "00.00"));
  EXPECT_EQ(lines[at + 5], "       Window[10.0-06.0] ACCT: " + VbFormat(stopwatch[0], "00.00") +
                               " (00000)  PLHP: " + VbFormat(R().LossHP[0], "00.00"));
  EXPECT_EQ(lines[at + 6], "        Coefficients:");
  // Two mantissa digits for a positive value, one after the minus sign (the format's two sections).
  const std::regex coefficient(R"( {11}[KAB]: (\d\d|-\d)\.\d{5}e[+-]\d\d, Kelo_Var5[123]: -?\d+)");
  for (size_t i = 7; i <= 9; ++i)
    EXPECT_TRUE(std::regex_match(lines[at + i], coefficient)) << lines[at + i];
  EXPECT_EQ(lines[at + 7].substr(0, 14), "           K: ");
  EXPECT_EQ(lines[at + 10], "           C: 0.00000e+00");
  EXPECT_EQ(lines[at + 11], "        Loss_@15MPH: " + VbFormat(O().Loss15MphHP, "#0.00") +
                                ", Kelo_Var98: " + std::to_string(static_cast<int>(O().Var98)));
  EXPECT_EQ(lines[at + 12], "        Loss_@25MPH: " + VbFormat(O().Loss25MphHP, "#0.00") +
                                ", Kelo_Var99: " + std::to_string(static_cast<int>(O().Var99)));
  EXPECT_EQ(lines[at + 13], "") << "the closing ~B line";
}

// ---- the stage machine against a scripted dyne ----

class ParasiticsRun : public ::testing::Test {
 protected:
  ParasiticsRun() : dyne(f), sequencer(*f.ctx) {
    f.ConnectLink();
    ReadingsStore& s = f.ctx->store;
    s.DyneVersion = 3.12f;
    s.BaseInertia = static_cast<float>(kBaseInertiaLb);
    s.RollDiameter = static_cast<float>(kRollDiameter);
    s.TorqueSpeedFactor = kRollFactor;
    f.ctx->params.ConstantTargetTestTorqueTarget = 50.0f;
    // Motor: 5 mph/s up to 40 mph. Coast: 0.5 mph/s down to rest, so each 4-mph window takes 8 s.
    dyne.speedMph = [this](double s) { return Profile(s); };
    dyne.variables = {{227, "8.000 s"}};
    test::StartPoller(*f.ctx);
  }
  virtual double RunUp(double sinceOn) { return std::min(40.0, 5.0 * sinceOn); }
  double Profile(double s) {
    const double on = dyne.FirstTime("J");
    const double off = dyne.FirstTime("K");
    if (on < 0.0 || s < on) return 0.0;
    if (off < 0.0 || s < off) return RunUp(s - on);
    return std::max(0.0, RunUp(off - on) - 0.5 * (s - off));
  }
  void Start() { test::StartTestLikeTheInterface(*f.ctx, test::Parasitics); }
  bool RunToEnd(double limitS) {
    return test::RunUntil(
        f, [this] { return f.ctx->test.CurTest == test::None; }, limitS);
  }

  test::LinkFixture f{8};
  test::ScriptedDyne dyne;
  TestSequencer sequencer;
};

// What PutDyneToSleep sends after a test 1 to 3 (values of variable 201 left open).
const std::vector<std::string> kSleepCommands = {"0",     "K", "F201=", "2", "0",
                                                 "F201=", "B", "I",     "S", "b"};

std::vector<std::string> WindowCommands(const char* top, const char* bottom) {
  return {"I", std::string("F207=") + top + " mph", std::string("F208=") + bottom + " mph", "H",
          "E227"};
}

void ExpectCommands(const std::vector<std::string>& actual,
                    const std::vector<std::string>& expected) {
  ASSERT_EQ(actual.size(), expected.size()) << ::testing::PrintToString(actual);
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(actual[i].rfind(expected[i], 0), 0u)
        << i << ": " << actual[i] << " vs " << expected[i];
  }
}

TEST_F(ParasiticsRun, SendsItsCommandsInOrderAndTimesEachWindowOnOneCoast) {
  f.ctx->params.ParasiticsTopSpeedMPH = 50.0f;  // stored only: the windows are fixed
  Start();
  ASSERT_TRUE(RunToEnd(300.0));
  EXPECT_EQ(f.ctx->test.LastTestCompletionStatus, ltcs::Completed);
  std::vector<std::string> expected = {"b", "0", "J", "K"};
  for (auto [top, bottom] : {std::pair{"30.0", "26.0"},
                             {"25.0", "21.0"},
                             {"20.0", "16.0"},
                             {"15.0", "11.0"},
                             {"10.0", "6.0"}}) {
    for (const auto& c : WindowCommands(top, bottom)) expected.push_back(c);
  }
  expected.insert(expected.end(), kSleepCommands.begin(), kSleepCommands.end());
  ExpectCommands(dyne.Commands(), expected);
  EXPECT_EQ(dyne.Commands().back(), "b");
  // The motor went off once, and only after four seconds at 32 mph or more.
  EXPECT_GE(dyne.FirstTime("K") - dyne.FirstSpeedAtOrAbove(32.0), 4.0);
  EXPECT_LT(dyne.FirstTime("K") - dyne.FirstSpeedAtOrAbove(32.0), 5.0);
  // Each window: 4 mph at 0.5 mph/s is 8 s, by the device and by the server's own crossings.
  for (size_t i = 0; i < 5; ++i) {
    EXPECT_FLOAT_EQ(sequencer.Parasitics().ParasiticsResults.StopwatchSeconds[i], 8.0f) << i;
    EXPECT_NEAR(sequencer.Parasitics().ParasiticsResults.CoastMs[i], 8000.0f, 150.0f) << i;
  }
  // 8 s windows give the window powers; the torque read is 0 in every sample.
  EXPECT_NEAR(sequencer.Parasitics().ParasiticsResults.LossHP[4], WindowHp(kWindows[4], 8.0), 1e-4);
  EXPECT_EQ(sequencer.Parasitics().ParasiticsResults.AverageTorque[4], 0.0);
}

TEST_F(ParasiticsRun, FallingUnder32MphDuringTheHoldStartsTheFourSecondsAgain) {
  // Up to 33 mph, a dip to 31 mph from 8 to 9 s after "Motor On", then 33 mph again.
  dyne.speedMph = [this](double s) {
    const double on = dyne.FirstTime("J");
    const double off = dyne.FirstTime("K");
    if (on < 0.0) return 0.0;
    const double since = s - on;
    double v = std::min(33.0, 5.0 * since);
    if (since >= 8.0 && since < 9.0) v = 31.0;
    if (off >= 0.0 && s >= off) v = std::max(0.0, 33.0 - 0.5 * (s - off));
    return v;
  };
  Start();
  ASSERT_TRUE(test::RunUntil(
      f, [this] { return dyne.FirstTime("K") > 0.0; }, 60.0));
  const double backAbove = dyne.FirstTime("J") + 9.0;
  EXPECT_GE(dyne.FirstTime("K") - backAbove, 4.0);
  EXPECT_LT(dyne.FirstTime("K") - backAbove, 5.0);
  EXPECT_TRUE(f.LogContains("** PerformParasitics-Stage:005->004"));
}

TEST_F(ParasiticsRun, AStopBeforeTheMotorIsOnRunsTheWindowsAtRestAndAborts) {
  Start();
  ASSERT_TRUE(test::RunUntil(
      f, [this] { return f.ctx->test.TestStage == 2; }, 10.0, 5));
  test::StopTestLikeTheInterface(*f.ctx);
  ASSERT_TRUE(RunToEnd(60.0));
  EXPECT_EQ(f.ctx->test.LastTestCompletionStatus, ltcs::Aborted);
  const auto commands = dyne.Commands();
  EXPECT_EQ(std::count(commands.begin(), commands.end(), "J"), 0) << "no motor";
  EXPECT_EQ(std::count(commands.begin(), commands.end(), "H"), 4)
      << "passes 3 to 0 still armed the stopwatch";
}

TEST_F(ParasiticsRun, ADeviceErrorDuringTheCoastStopsTheTestLikeAStopRequest) {
  Start();
  ASSERT_TRUE(test::RunUntil(
      f, [this] { return f.ctx->test.TestPass == 2 && f.ctx->test.TestStage == 12; }, 200.0, 5));
  dyne.statusBits = "0100001000000000";  // device error bit 6
  ASSERT_TRUE(test::RunUntil(
      f, [this] { return f.ctx->test.TestAbortRequest; }, 5.0, 5));
  EXPECT_EQ(f.ctx->test.TestStage, 12) << "the request is taken on the next step";
  dyne.statusBits = "0100000000000000";
  ASSERT_TRUE(RunToEnd(300.0));
  EXPECT_EQ(f.ctx->test.LastTestCompletionStatus, ltcs::Aborted);
  EXPECT_TRUE(sequencer.Parasitics().TestAborted);
  EXPECT_TRUE(f.LogContains("DynErr:True"));
}

}  // namespace
}  // namespace tavkelo
