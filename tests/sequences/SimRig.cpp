#include "SimRig.hpp"

#include "sequences/modMath.hpp"

namespace tavkelo::test {

SimRig::SimRig(KeloSimOptions options, int16_t logControl)
    : f(logControl), sim(f.loop, std::move(options)), sequencer(*f.ctx) {}

void SimRig::Connect() {
  f.ConnectLink();
  sim.Attach(f.line->DeviceEnd());
  KeloContext& ctx = *f.ctx;
  ctx.polling.InterfaceKeloCommand(cmd::GetVariable, var::VERSION, 0.0f);
  ctx.polling.InterfaceKeloCommand(cmd::GetVariable, var::ROLLDIAMETER, 0.0f);
  ctx.polling.InterfaceKeloCommand(cmd::GetVariable, var::BASEINERTIA, 0.0f);
  float diameter = ctx.store.RollDiameter;
  ctx.store.TorqueSpeedFactor = modMath::TorqueSpeedFactor(diameter);
  StartPoller(ctx);
}

bool SimRig::RunToEnd(double limitS) {
  return RunUntil([this] { return f.ctx->test.CurTest == test::None; }, limitS, 100);
}

std::vector<std::string> SimRig::Requests() const {
  std::vector<std::string> names;
  const auto& all = sim.Requests();
  for (size_t i = requestsBeforeStart_; i < all.size(); ++i) {
    const ReceivedRequest& r = all[i];
    std::string name(1, static_cast<char>(r.command));
    if (r.command == cmd::GetVariable) name += std::to_string(r.variable);
    if (r.command == cmd::WriteVariable) name += std::to_string(r.variable) + "=" + r.valueText;
    names.push_back(name);
  }
  return names;
}

double SimRig::FirstTime(const std::string& name, double fromS) const {
  for (const ReceivedRequest& r : sim.Requests()) {
    const double at = static_cast<double>(r.atUs) / 1e6;
    if (at < fromS) continue;
    std::string n(1, static_cast<char>(r.command));
    if (r.command == cmd::GetVariable) n += std::to_string(r.variable);
    if (r.command == cmd::WriteVariable) n += std::to_string(r.variable) + "=" + r.valueText;
    if (n == name) return at;
  }
  return -1.0;
}

}  // namespace tavkelo::test
