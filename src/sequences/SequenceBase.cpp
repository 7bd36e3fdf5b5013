#include "sequences/SequenceBase.hpp"

#include "link/KeloContext.hpp"

namespace tavkelo {

void SequenceBase::SendTestCommand(uint8_t code, uint8_t variable, float value) {
  ctx_.test.TestCommandPending = true;
  ctx_.polling.SendDyneCommand(code, variable, value);
}

bool SequenceBase::TestLogging() const {
  return ctx_.log.DynTst();
}

void SequenceBase::TestLog(const std::string& text) const {
  if (ctx_.log.DynTst()) ctx_.log.WriteLog(text);
}

void SequenceBase::RunStep(const char* routine, const std::function<void()>& step) const {
  try {
    step();
  } catch (const std::exception& e) {
    ctx_.log.LogException(e, std::string(routine) + "[" + std::to_string(ctx_.test.TestStage) + "]",
                          0);
  }
}

}  // namespace tavkelo
