#include "SequenceRig.hpp"

#include <cstdio>

#include "link/DyneVocabulary.hpp"

namespace tavkelo::test {

std::string RequestName(const std::vector<uint8_t>& bytes) {
  if (bytes.size() < 3) return "?";
  const char c = static_cast<char>(bytes[2]);
  std::string name(1, c);
  if (c == 'E' && bytes.size() >= 6) {
    name += std::to_string(std::stoi(std::string(bytes.begin() + 3, bytes.begin() + 6)));
  } else if (c == 'F' && bytes.size() >= 7) {
    name += std::to_string(std::stoi(std::string(bytes.begin() + 3, bytes.begin() + 6)));
    std::string rest(bytes.begin() + 6, bytes.end());
    name += rest.substr(0, rest.find('\r'));
  }
  return name;
}

bool IsPollRequest(const std::string& name) {
  static const char* const kPolled[] = {"C",    "D",    "E0",   "E210", "E216",
                                        "E217", "E222", "E224", "E225", "E244"};
  for (const char* p : kPolled) {
    if (name == p) return true;
  }
  return false;
}

std::vector<std::string> SequenceCommands(const std::vector<std::string>& all) {
  std::vector<std::string> out;
  for (const std::string& n : all) {
    if (!IsPollRequest(n)) out.push_back(n);
  }
  return out;
}

void StartTestLikeTheInterface(KeloContext& ctx, int16_t index) {
  ctx.poller.readingsActive = true;  // AutoUpdateEnabled
  SharedTestState& t = ctx.test;
  t.TestAbortRequest = false;
  t.TestCommandPending = false;
  t.StartedTestIndex = index;
  t.CurTest = index;
  t.LastTestCompletionStatus = ltcs::InProgress;
  t.TestStage = 0;
  t.TestStageLogged = 0;
}

void StopTestLikeTheInterface(KeloContext& ctx) {
  SharedTestState& t = ctx.test;
  if (t.CurTest != test::None) t.TestAbortRequest = true;
  if (t.StartedTestIndex >= test::ConstantTarget && t.StartedTestIndex <= test::VehicleSimulation) {
    ctx.polling.SuspendDyneReadings();
    for (uint8_t code : {cmd::RegulatorOff, cmd::AugmentedBreakingOff, cmd::BeltCompensationOff}) {
      if (ctx.polling.InterfaceKeloCommand(code, 0, 0.0f) != 0) break;
    }
    ctx.polling.ResumeDyneReadings();
  }
}

void StartPoller(KeloContext& ctx) {
  ctx.AcquireSemaphores();
  ctx.InterfaceLock()->TryAcquire();
  ctx.poller.readingsActive = true;
  ctx.polling.ResumeDyneReadings();
}

ScriptedDyne::ScriptedDyne(LinkFixture& f) : f_(f), controller_(f.loop, f.line->DeviceEnd()) {
  controller_.SetResponder([this](const ReceivedFrame& r) -> std::vector<ScriptedReply> {
    if (r.IsAck() || r.IsNak()) return {};
    char text[64];
    switch (r.command()) {
      case 'C': {
        const double mph = speedMph(Seconds());
        answeredSpeeds_.emplace_back(Seconds(), mph);
        std::snprintf(text, sizeof text, " 211=%.1f Hp\r 231=%.1f lbf\r 209=%.1f mph\r", powerHp,
                      torqueLbf, mph);
        return {{DataFrame(text), 0}};
      }
      case 'D':
        return {{DataFrame(statusBits), 0}};
      case 'E': {
        const int number = std::stoi(std::string(r.bytes.begin() + 3, r.bytes.begin() + 6));
        std::string value = "0";
        for (const auto& [n, v] : variables) {
          if (n == number) value = v;
        }
        return {{DataFrame(" " + std::to_string(number) + "=" + value + "\r"), 0}};
      }
      default:
        if (refused.find(static_cast<char>(r.command())) != std::string::npos) return {{{0x15}, 0}};
        return {{{0x06}, 0}};
    }
  });
}

double ScriptedDyne::Seconds() const {
  return static_cast<double>(f_.loop.NowUs()) / 1e6;
}

std::vector<std::string> ScriptedDyne::Requests() const {
  std::vector<std::string> names;
  for (const ReceivedFrame& r : controller_.Requests()) names.push_back(RequestName(r.bytes));
  return names;
}

double ScriptedDyne::FirstTime(const std::string& name) const {
  for (const ReceivedFrame& r : controller_.Requests()) {
    if (RequestName(r.bytes) == name) return static_cast<double>(r.atUs) / 1e6;
  }
  return -1.0;
}

double ScriptedDyne::LastTime(const std::string& name) const {
  double at = -1.0;
  for (const ReceivedFrame& r : controller_.Requests()) {
    if (RequestName(r.bytes) == name) at = static_cast<double>(r.atUs) / 1e6;
  }
  return at;
}

double ScriptedDyne::FirstSpeedAtOrAbove(double mph) const {
  for (const auto& [at, v] : answeredSpeeds_) {
    if (v >= mph) return at;
  }
  return -1.0;
}

std::vector<std::string> LogLinesWithoutStamps(const LinkFixture& f) {
  std::vector<std::string> lines;
  const std::string text = f.LogText();
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find("\r\n", pos);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(pos, end - pos);
    bool stamped = line.size() >= 10 && line[6] == '.' && line[9] == '-';
    for (size_t i : {0, 1, 2, 3, 4, 5, 7, 8}) stamped = stamped && line[i] >= '0' && line[i] <= '9';
    lines.push_back(stamped ? line.substr(10) : line);
    pos = end + 2;
  }
  return lines;
}

bool RunUntil(LinkFixture& f, const std::function<bool()>& pred, double limitS, uint32_t sliceMs) {
  const int64_t endUs = f.loop.NowUs() + static_cast<int64_t>(limitS * 1e6);
  while (!pred()) {
    if (f.loop.NowUs() >= endUs) return false;
    f.loop.PumpFor(sliceMs);
  }
  return true;
}

}  // namespace tavkelo::test
