#pragma once
// Shared pieces of the sequence tests: naming the requests on the wire, starting and stopping a
// test the way the interface does, starting the poller, and a scripted dyne (a stand-in
// controller whose speed follows a profile the test gives) for the stage-level tests.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "link/KeloContext.hpp"
#include "support/LinkFixture.hpp"
#include "support/ScriptedController.hpp"

namespace tavkelo::test {

// A request as the tests write it: "C", "D", "E227", "F207=30.0 mph", "J", "b".
std::string RequestName(const std::vector<uint8_t>& bytes);
// The poller's own requests: "C", "D" and the variables it reads in its cycle.
bool IsPollRequest(const std::string& name);
// The requests a sequence sent, in order (the poller's own left out).
std::vector<std::string> SequenceCommands(const std::vector<std::string>& all);

// What StartTest does once its checks have passed.
void StartTestLikeTheInterface(KeloContext& ctx, int16_t index);
// What StopTest does: the stop request, and for the target tests (4 to 6) the three commands that
// switch the regulation off, sent with the poller suspended.
void StopTestLikeTheInterface(KeloContext& ctx);
// Takes the interface lock once (so that the resume's release balances) and resumes the poller
// with the readings active.
void StartPoller(KeloContext& ctx);

// A controller stand-in on the device end of the fixture's line. It answers "C" with the power,
// torque and the speed of `speedMph` (a function of loop time), "D" with `statusBits`, "E" with
// the values of `variables` (0 when not set) and everything else with ACK.
class ScriptedDyne {
 public:
  explicit ScriptedDyne(LinkFixture& f);

  std::function<double(double seconds)> speedMph = [](double) { return 0.0; };
  double powerHp = 0.0;
  double torqueLbf = 0.0;
  std::string statusBits = "0100000000000000";
  std::vector<std::pair<int, std::string>> variables;  // number, value text with unit
  // Commands answered with NAK instead of ACK.
  std::string refused;

  std::vector<std::string> Requests() const;
  // Loop time (s) when the first / last request of that name arrived; -1 when none did.
  double FirstTime(const std::string& name) const;
  double LastTime(const std::string& name) const;
  // The first speed answered at or above `mph` and when (s); -1 when none was.
  double FirstSpeedAtOrAbove(double mph) const;
  std::vector<std::string> Commands() const { return SequenceCommands(Requests()); }
  void Clear() {
    controller_.Clear();
    answeredSpeeds_.clear();
  }
  double Seconds() const;

 private:
  LinkFixture& f_;
  ScriptedController controller_;
  std::vector<std::pair<double, double>> answeredSpeeds_;  // seconds, mph
};

// The log written since the fixture was built, line by line, with the 10-character time stamp
// taken off the stamped lines only: blank-stamped lines and the continuation lines of a
// multi-line entry stay exactly as written.
std::vector<std::string> LogLinesWithoutStamps(const LinkFixture& f);

// Pumps the loop in slices of `sliceMs` until pred holds or `limitS` seconds have passed.
bool RunUntil(LinkFixture& f, const std::function<bool()>& pred, double limitS,
              uint32_t sliceMs = 100);

}  // namespace tavkelo::test
