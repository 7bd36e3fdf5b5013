#pragma once
// A whole server link and the controller simulator on one virtual-time loop, connected as the
// interface's Connect leaves it (roll diameter, base inertia and roll factor read from the
// controller, the poller running), with the test sequencer installed.

#include <cstdint>
#include <string>
#include <vector>

#include "SequenceRig.hpp"
#include "sequences/TestSequencer.hpp"
#include "sim/KeloController.hpp"

namespace tavkelo::test {

class SimRig {
 public:
  explicit SimRig(KeloSimOptions options = {}, int16_t logControl = 8);

  // Attaches the simulator, reads the dyne information and starts the poller.
  void Connect();
  void Start(int16_t index) {
    requestsBeforeStart_ = sim.Requests().size();
    StartTestLikeTheInterface(*f.ctx, index);
  }
  void Stop() { StopTestLikeTheInterface(*f.ctx); }
  // Runs until the test has finished (CurTest back to 0); false when `limitS` passed first.
  bool RunToEnd(double limitS);
  bool RunUntil(const std::function<bool()>& pred, double limitS, uint32_t sliceMs = 50) {
    return test::RunUntil(f, pred, limitS, sliceMs);
  }

  // The requests the simulator received since the last Start, named as RequestName does, and
  // the sequence's share.
  std::vector<std::string> Requests() const;
  std::vector<std::string> Commands() const { return SequenceCommands(Requests()); }
  // Loop time (s) of the first request of that name after `fromS`; -1 when none.
  double FirstTime(const std::string& name, double fromS = 0.0) const;

  LinkFixture f;
  KeloController sim;
  TestSequencer sequencer;

 private:
  size_t requestsBeforeStart_ = 0;
};

}  // namespace tavkelo::test
