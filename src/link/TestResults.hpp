#pragma once
// Results that the test sequences leave for the interface: the two coastdown windows' records
// (index 1 the high window, 2 the low window; index 0 unused) and the parasitics windows' data.

#include <array>
#include <cstdint>

namespace tavkelo {

struct CoastdownResult {
  bool Run = false;
  double Date = 0.0;  // OLE date
  float CCDT = 0.0f;  // calculated coastdown time, s
  float ACDT = 0.0f;  // actual coastdown time, s
  float Stopwatch = 0.0f;
  int32_t CoastMs = 0;
  float TopSpeed = 0.0f;
  float BotSpeed = 0.0f;
  float ActualHP = 0.0f;
  float TimeDelta = 0.0f;
  float PercentDelta = 0.0f;
};

struct TestResults {
  std::array<CoastdownResult, 3> Coastdown{};
};

}  // namespace tavkelo
