#include "sequences/DyneSleepSequence.hpp"

#include "link/KeloContext.hpp"

namespace tavkelo {

void DyneSleepSequence::PutDyneToSleep() {
  SharedTestState& t = ctx_.test;
  t.TestCommandPending = false;
  if (t.SleepStatus == seqstatus::Finished || t.SleepStep < 0 || t.SleepStep > 12) return;
  // Busy from the first step until the last one reports the sub-sequence finished.
  t.SleepBusy = true;
  auto next = [&t] { t.SleepStep = static_cast<int16_t>(t.SleepStep + 1); };
  switch (t.SleepStep) {
    case 0:
      SendTestCommand(cmd::RegulatorOff);
      next();
      break;
    case 1:
      SendTestCommand(cmd::MotorOff);
      next();
      break;
    case 2: {
      // The motor bit is only fresh while the poller reads the status.
      const bool linkActive = ctx_.polling.Connected() && ctx_.polling.ReadingsActive();
      if (!(linkActive && ctx_.store.DyneStatusBits[status::MotorOn])) next();
      break;
    }
    case 3:
      if (t.StartedTestIndex != test::Warmup && t.StartedTestIndex != test::Parasitics &&
          t.StartedTestIndex != test::Coastdown) {
        t.SleepStep = 8;
      } else {
        SendTestCommand(cmd::WriteVariable, var::TORQUETARGET, kBrakeTorqueFtLb);
        next();
      }
      break;
    case 4:
      SendTestCommand(cmd::TorqueRegulatorOn);
      next();
      break;
    case 5:
      if (ctx_.store.DyneSpeed < 0.5f) {
        SendTestCommand(cmd::RegulatorOff);
        next();
      }
      break;
    case 6:
      next();  // one idle step
      break;
    case 7:
      SendTestCommand(cmd::WriteVariable, var::TORQUETARGET,
                      ctx_.params.ConstantTargetTestTorqueTarget);
      next();
      break;
    case 8:
      SendTestCommand(cmd::AugmentedBreakingOff);
      next();
      break;
    case 9:
      SendTestCommand(cmd::StopWatch1Off);
      next();
      break;
    case 10:
      SendTestCommand(cmd::StopWatch2Off);
      next();
      break;
    case 11:
      SendTestCommand(cmd::BeltCompensationOff);
      next();
      break;
    case 12:
      t.SleepStatus = seqstatus::Finished;
      t.SleepBusy = false;
      break;
    default:
      break;
  }
}

}  // namespace tavkelo
