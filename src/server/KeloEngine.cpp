#include "server/KeloEngine.hpp"

namespace tavkelo {

KeloEngine::KeloEngine(HostContext& host) : ctx_(host), tests_(ctx_), calibrations_(ctx_) {}

KeloEngine::~KeloEngine() = default;

MainHooks KeloEngine::StartupHooks() {
  return TestSequencer::StartupHooks(ctx_);
}

}  // namespace tavkelo
