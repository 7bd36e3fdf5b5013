#include "SequenceRig.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "link/DyneVocabulary.hpp"
#include "sequences/modMath.hpp"
#include "support/TempDir.hpp"

namespace tavkelo::test {

namespace {

// The log written since the rig was built, one line per "\n", with the 10-character time stamp
// taken off the stamped lines only: blank-stamped lines and the continuation lines of a
// multi-line entry stay exactly as written.
std::string Unstamped(const LinkFixture& f) {
  const std::string text = f.LogText();
  std::string out;
  for (size_t pos = 0; pos < text.size();) {
    size_t end = text.find("\r\n", pos);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(pos, end - pos);
    bool stamped = line.size() >= 10 && line[6] == '.' && line[9] == '-';
    for (size_t i : {0, 1, 2, 3, 4, 5, 7, 8}) stamped = stamped && line[i] >= '0' && line[i] <= '9';
    out += (stamped ? line.substr(10) : line) + "\n";
    pos = end + 2;
  }
  return out;
}

}  // namespace

void ExpectGoldenLog(const LinkFixture& f, const std::string& name) {
  const std::string path = std::string(TAVKELO_TEST_DATA_DIR) + "/golden/" + name;
  const char* update = std::getenv("TAVKELO_UPDATE_GOLDEN");
  if (update != nullptr && std::string(update) == "1") {
    WriteFile(path, Unstamped(f));
    std::printf("golden file written: %s\n", path.c_str());
    return;
  }
  ASSERT_TRUE(FileExists(path)) << path << " is missing; run with TAVKELO_UPDATE_GOLDEN=1";
  EXPECT_EQ(Unstamped(f), ReadFile(path)) << name;  // a multi-line diff on failure
}

void ExpectCommands(const std::vector<std::string>& actual,
                    const std::vector<std::string>& expected) {
  ASSERT_EQ(actual.size(), expected.size()) << ::testing::PrintToString(actual);
  for (size_t i = 0; i < expected.size(); ++i)
    EXPECT_EQ(actual[i].rfind(expected[i], 0), 0u) << i << ": " << actual[i];
}

double CoastPowerHp(double topMph, double bottomMph, double seconds, double weightLb) {
  const double top = topMph * 22.0 / 15.0, bottom = bottomMph * 22.0 / 15.0;  // ft/s
  return 0.5 * weightLb / 32.17405 * (top * top - bottom * bottom) / seconds / 550.0;
}

std::array<long double, 3> LeastSquaresQuadratic(const std::vector<double>& x,
                                                 const std::vector<double>& y,
                                                 const std::vector<double>& w) {
  long double s[5] = {}, t[3] = {};
  for (size_t i = 0; i < x.size(); ++i) {
    long double p = w[i];
    for (int k = 0; k < 5; ++k, p *= x[i]) {
      s[k] += p;
      if (k < 3) t[k] += p * y[i];
    }
  }
  auto det = [](long double a, long double b, long double c, long double d, long double e,
                long double f, long double g, long double h, long double i) {
    return a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g);
  };
  const long double d = det(s[0], s[1], s[2], s[1], s[2], s[3], s[2], s[3], s[4]);
  return {det(t[0], s[1], s[2], t[1], s[2], s[3], t[2], s[3], s[4]) / d,
          det(s[0], t[0], s[2], s[1], t[1], s[3], s[2], t[2], s[4]) / d,
          det(s[0], s[1], t[0], s[1], s[2], t[1], s[2], s[3], t[2]) / d};
}

void Rig::Start(int16_t index) {
  startS_ = Now();
  EXPECT_TRUE(sequencer.Start(index)) << "test " << index << " refused";
}

void Rig::StartPoller() {
  f.ctx->AcquireSemaphores();
  f.ctx->InterfaceLock()->TryAcquire();
  f.ctx->polling.SetReadingsActive(true);
  f.ctx->polling.ResumeDyneReadings();
}

bool Rig::RunUntil(const std::function<bool()>& pred, double limitS, uint32_t sliceMs) {
  const int64_t endUs = f.loop.NowUs() + static_cast<int64_t>(limitS * 1e6);
  while (!pred()) {
    if (f.loop.NowUs() >= endUs) return false;
    f.loop.PumpFor(sliceMs);
  }
  return true;
}

std::vector<std::string> Rig::Commands(double fromS) const {
  static const std::vector<std::string> kPolled = {"C",    "D",    "E0",   "E210", "E216",
                                                   "E217", "E222", "E224", "E225", "E244"};
  std::vector<std::string> out;
  for (const auto& [at, name] : Requests()) {
    if (at >= (fromS < 0.0 ? startS_ : fromS) &&
        std::find(kPolled.begin(), kPolled.end(), name) == kPolled.end())
      out.push_back(name);
  }
  return out;
}

double Rig::FirstTime(const std::string& name) const {
  for (const auto& [at, n] : Requests()) {
    if (n == name) return at;
  }
  return -1.0;
}

void SimRig::Connect() {
  f.ConnectLink();
  sim.Attach(f.line->DeviceEnd());
  KeloContext& ctx = *f.ctx;
  for (uint8_t v : {var::VERSION, var::ROLLDIAMETER, var::BASEINERTIA})
    ctx.polling.InterfaceKeloCommand(cmd::GetVariable, v, 0.0f);
  float diameter = ctx.store.RollDiameter;
  ctx.store.TorqueSpeedFactor = modMath::TorqueSpeedFactor(diameter);
  StartPoller();
}

std::vector<std::pair<double, std::string>> SimRig::Requests() const {
  std::vector<std::pair<double, std::string>> out;
  for (const ReceivedRequest& r : sim.Requests()) {
    std::string name(1, static_cast<char>(r.command));
    if (r.command == cmd::GetVariable) name += std::to_string(r.variable);
    if (r.command == cmd::WriteVariable) name += std::to_string(r.variable) + "=" + r.valueText;
    out.emplace_back(static_cast<double>(r.atUs) / 1e6, name);
  }
  return out;
}

ScriptedRig::ScriptedRig() : Rig(8), controller_(f.loop, f.line->DeviceEnd()) {
  f.ConnectLink();
  controller_.SetResponder([this](const ReceivedFrame& r) -> std::vector<ScriptedReply> {
    if (r.IsAck() || r.IsNak()) return {};
    switch (r.command()) {
      case 'C': {
        char text[64];
        std::snprintf(text, sizeof text, " 211=0.0 Hp\r 231=0.0 lbf\r 209=%.1f mph\r",
                      speedMph(Now()));
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
        return {{{0x06}, 0}};
    }
  });
}

std::vector<std::pair<double, std::string>> ScriptedRig::Requests() const {
  std::vector<std::pair<double, std::string>> out;
  for (const ReceivedFrame& r : controller_.Requests()) {
    const std::string text = r.Text();
    std::string name(1, static_cast<char>(r.command()));
    if (name == "E" || name == "F") name += std::to_string(std::stoi(text.substr(3, 3)));
    if (name[0] == 'F') name += text.substr(6, text.find('\r', 6) - 6);
    out.emplace_back(static_cast<double>(r.atUs) / 1e6, name);
  }
  return out;
}

}  // namespace tavkelo::test
