#pragma once
// Shared pieces of the sequence tests: a link with the test sequencer installed, which starts and
// stops its tests, with either the controller simulator (SimRig) or a scripted dyne whose speed
// follows a profile the test gives (ScriptedRig) on the device end.

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "link/KeloContext.hpp"
#include "sequences/TestSequencer.hpp"
#include "sim/KeloController.hpp"
#include "support/LinkFixture.hpp"
#include "support/ScriptedController.hpp"

namespace tavkelo::test {

// Each of `actual` begins with the entry at the same place in `expected` ("F201=" stands for any
// value of variable 201), and there are as many.
void ExpectCommands(const std::vector<std::string>& actual,
                    const std::vector<std::string>& expected);

// The log written since the fixture was built, time stamps taken off, must match the checked-in
// tests/data/golden/<name> to the character. After a change that is meant to alter the log,
// regenerate the files with
//   TAVKELO_UPDATE_GOLDEN=1 build/<dir>/tests/test_sequences --gtest_filter='*Golden*'
// and review the difference before committing it.
void ExpectGoldenLog(const LinkFixture& f, const std::string& name);

// HP that removes the kinetic energy of `weightLb` between two speeds in `seconds`.
double CoastPowerHp(double topMph, double bottomMph, double seconds, double weightLb);

// Weighted least squares y = c0 + c1 x + c2 x² through the normal equations, solved by Cramer's
// rule in long double.
std::array<long double, 3> LeastSquaresQuadratic(const std::vector<double>& x,
                                                 const std::vector<double>& y,
                                                 const std::vector<double>& w);

class Rig {
 public:
  explicit Rig(int16_t logControl = 8) : f(logControl), sequencer(*f.ctx) {}
  virtual ~Rig() = default;

  // Starts the test as StartTest does (expected to be accepted); Commands() count from here.
  void Start(int16_t index);
  void Stop() { sequencer.RequestStop(); }
  // Takes the interface lock once (so that the resume's release balances) and resumes the poller
  // with the readings active.
  void StartPoller();
  // Pumps the loop in slices until pred holds; false when `limitS` seconds passed first.
  bool RunUntil(const std::function<bool()>& pred, double limitS, uint32_t sliceMs = 50);
  // Runs until the test has finished (CurTest back to 0).
  bool RunToEnd(double limitS) {
    return RunUntil([this] { return T().CurTest == test::None; }, limitS, 100);
  }
  SharedTestState& T() { return f.ctx->test; }
  double Now() const { return static_cast<double>(f.loop.NowUs()) / 1e6; }

  // Every request the device received: loop time (s) and name ("C", "E227", "F207=30.0 mph");
  // none without a device (a rig whose tests step the sequencer themselves).
  virtual std::vector<std::pair<double, std::string>> Requests() const { return {}; }
  // The sequence's requests (the poller's own left out) since `fromS`, by default since Start.
  std::vector<std::string> Commands(double fromS = -1.0) const;
  // Loop time (s) of the first request of that name; -1 when none.
  double FirstTime(const std::string& name) const;

  LinkFixture f;
  TestSequencer sequencer;

 private:
  double startS_ = 0.0;
};

// The controller simulator, connected as the interface's Connect leaves it (roll diameter, base
// inertia and roll factor read from the controller, the poller running) once Connect is called.
class SimRig : public Rig {
 public:
  explicit SimRig(KeloSimOptions options = {}) : Rig(8), sim(f.loop, std::move(options)) {}
  void Connect();
  std::vector<std::pair<double, std::string>> Requests() const override;

  KeloController sim;
};

// A controller stand-in, connected: "C" answers the speed of `speedMph` (a function of loop
// time), "D" `statusBits`, "E" the value of `variables` (0 when not set), anything else ACK.
class ScriptedRig : public Rig {
 public:
  ScriptedRig();
  std::vector<std::pair<double, std::string>> Requests() const override;

  std::function<double(double seconds)> speedMph = [](double) { return 0.0; };
  std::string statusBits = "0100000000000000";
  std::vector<std::pair<int, std::string>> variables;  // number, value text with unit

 private:
  ScriptedController controller_;
};

}  // namespace tavkelo::test
