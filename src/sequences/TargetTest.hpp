#pragma once
// The target-controlled tests: constant target (manual, torque, speed or power mode), ASM and
// vehicle simulation. The controller regulates them itself; the sequence only announces the test,
// switches belt compensation on where the mode needs it, switches the matching regulator on and
// then waits for the client's stop, after which the test reports itself completed. One routine
// serves CurTest 4, 5 and 6.

#include <string>

#include "sequences/SequenceBase.hpp"

namespace tavkelo {

class TargetTest : public SequenceBase {
 public:
  explicit TargetTest(KeloContext& ctx) : SequenceBase(ctx) {}

  // One step of the stage machine.
  void PerformTargetTest();
  // A new run: the ended flag is cleared and the name is known from the first step on, so that a
  // stop before stage 0 has run still ends with the test's name.
  void NewRun();

  const std::string& TestName() const { return testName_; }
  bool Ended() const { return ended_; }

  // "Constant", "Constant Load", "Constant Speed", "Constant Power", "ASM", "Vehicle Simulation".
  static std::string NameOf(int16_t curTest, int32_t constantTargetMode);

 private:
  void Step();

  std::string testName_;
  bool ended_ = false;
};

}  // namespace tavkelo
