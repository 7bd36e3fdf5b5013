#pragma once
// The process-wide readings store: the controller's latest values in client units, its 16 status
// bits, the regulator-on and lifts-up flags, the link's error counters and the five request slots
// that carry values to and from the wire.

#include <array>
#include <cstdint>
#include <string>

#include "link/DyneUnits.hpp"

namespace tavkelo {

struct RequestSlot {
  uint8_t variable = 0;
  float controllerValue = 0.0f;
  std::string controllerUnit;
  float clientValue = 0.0f;
  std::string clientUnit;
  bool writePending = false;
};

// Counters of the link. Every wrapping counter goes back to 0 when an increment would pass 999999.
struct LinkCounters {
  int32_t deviceErrors = 0;
  int32_t checksumErrors = 0;
  int32_t timeoutErrors = 0;
  int32_t consecutiveTimeouts = 0;  // does not wrap
  int32_t nakCount = 0;
  int32_t parseErrors = 0;
  int32_t commEvents = 0;
};

inline void BumpCounter(int32_t& counter) {
  counter = counter + 1 > 999999 ? 0 : counter + 1;
}

struct ReadingsStore {
  std::array<RequestSlot, 5> slots{};

  float DyneVersion = 0.0f;
  float RollDiameter = 8.555f;
  float BaseInertia = 0.0f;
  int16_t TorqueRegRelease = 0;
  // Parasitic-loss device values (HP x 74.57) and their derived companions: the loss-torque
  // curve K + A*v + B*v^2 (ft-lb) and the losses at 15 and 25 mph in HP.
  float ParasiticLossA = 0.0f, ParasiticLossB = 0.0f, ParasiticLossC = 0.0f;
  float ParasiticCoefK = 0.0f, ParasiticCoefA = 0.0f, ParasiticCoefB = 0.0f;
  float AmplificationScale1 = 0.0f, AmplificationScale2 = 0.0f;
  float CalWeight = 0.0f;
  float Losses15Mph = 0.0f, Losses25Mph = 0.0f;
  float Losses15MphHP = 0.0f, Losses25MphHP = 0.0f;
  float SpeedTarget = 0.0f, TorqueTarget = 0.0f;
  float DsrVehicleWeight = 0.0f, DsrA = 0.0f, DsrB = 0.0f, DsrC = 0.0f;
  float DyneSpeed = 0.0f;
  int32_t DyneSpeedTick = 0;
  float PreviousDyneSpeed = 0.0f;
  int32_t PreviousDyneSpeedTick = 0;
  float DyneAcceleration = 0.0f;
  float DynePower = 0.0f;
  float GtrlA = 0.0f, GtrlB = 0.0f, GtrlC = 0.0f;
  float RightWeight = 0.0f, LeftWeight = 0.0f, TotalWeight = 0.0f;
  float DyneIse = 0.0f;
  float ForceTemp = 0.0f, BearingTemp = 0.0f;
  float DyneDistance = 0.0f;
  float StopWatch1 = 0.0f, StopWatch2 = 0.0f;
  float AsmPowerTarget = 0.0f, AsmGtrl = 0.0f, AsmSpeed = 0.0f;
  float DyneTorque = 0.0f;
  int16_t MeasuringDirection = 0;

  std::array<bool, 16> DyneStatusBits{};
  std::array<bool, 16> StatusBitsCopy{};
  double StatusReadTime = 0.0, PreviousStatusReadTime = 0.0;
  int32_t StatusReplyCount = 0;
  bool OverTempLatched = false;
  int32_t OverTempStartTick = 0;

  bool RegulatorOn = false;
  bool LiftsUp = false;

  LinkCounters counters;
  std::string ParseErrorMessage;

  // The roll factor of the roll diameter read at connect (recomputed with every read of the
  // dyne information).
  float TorqueSpeedFactor = RollFactor(8.555f);

  // True when the controller reports an error condition: over-temperature, motor fault or one of
  // the device error bits (as the clients see the bits, after the over-temperature debounce).
  bool DeviceError() const {
    const auto& b = StatusBitsCopy;
    return b[status::DeviceErrorA] || b[status::DeviceErrorB] || b[status::MotorFault] ||
           b[status::DeviceErrorC] || b[status::OverTemperature];
  }
};

}  // namespace tavkelo
