#pragma once
// What every test sequence shares: the process state it works on, the way it puts a device
// command on the line (the poller then awaits that reply instead of sending its own next request),
// and its progress lines in the diagnostic log, written only while the "DynTst" family is on.

#include <cstdint>
#include <functional>
#include <string>

namespace tavkelo {

class KeloContext;

class SequenceBase {
 public:
  SequenceBase(const SequenceBase&) = delete;
  SequenceBase& operator=(const SequenceBase&) = delete;

 protected:
  explicit SequenceBase(KeloContext& ctx) : ctx_(ctx) {}
  ~SequenceBase() = default;

  // Marks the command pending, then sends it. Values of "Write Variable" are in client units.
  void SendTestCommand(uint8_t code, uint8_t variable = 0, float value = 0.0f);
  bool TestLogging() const;
  // One log entry (it may hold several lines joined by "\r\n"), only while test logging is on.
  void TestLog(const std::string& text) const;
  // Runs one step; a failure is reported, naming the routine and the stage it was at, and the
  // stage is kept so the step is tried again.
  void RunStep(const char* routine, const std::function<void()>& step) const;

  KeloContext& ctx_;
};

}  // namespace tavkelo
