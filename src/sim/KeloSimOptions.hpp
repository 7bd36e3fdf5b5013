#pragma once
// Everything that can be set when a simulated controller is made: line behaviour, the physics of
// the dyne, fault injection, and the initial values of its set-up memory.

#include <cstddef>
#include <cstdint>
#include <map>

#include "sim/LoadCell.hpp"
#include "sim/LossCurve.hpp"
#include "sim/ThermalModel.hpp"
#include "sim/WheelScales.hpp"

namespace tavkelo {

struct SimLineOptions {
  // From the last byte of a request to the first byte of its reply.
  int64_t turnaroundUs = 500;
  // 0: a reply is written in one operation; otherwise one byte at a time, this far apart (a
  // pseudo-terminal or a socket has no baud rate of its own).
  int64_t bytePacingUs = 0;
};

struct SimPhysicsOptions {
  int64_t stepUs = 5000;                // integration step
  LossCurve loss;                       // the rolls' true parasitic loss
  double motorTopSpeedMph = 45.0;       // "Motor On" runs the rolls up to this and holds it
  double motorMaxForceLbf = 500.0;      // what the machine can drive with
  double absorberMaxForceLbf = 2000.0;  // what it can brake with
  double speedLoopTimeS = 0.8;          // speed error closing time of the speed loops
  double lowSpeedTaperMph = 1.0;        // power-based forces stop growing below this speed
  double liftTravelS = 3.0;
  bool liftsUpAtStart = false;
  double liftRaiseLimitMph = 0.5;  // lifts refuse to rise faster than this
  LoadCell::Config loadCell;
  WheelScales::Config scales;
  ThermalModel::Config thermal;
};

struct SimFaultOptions {
  uint32_t seed = 1;
  // Probabilities per reply.
  double loseByte = 0.0;       // one byte of the reply goes missing
  double corruptByte = 0.0;    // one byte of the reply arrives with bits flipped
  double lateReply = 0.0;      // the reply is held back by lateReplyUs
  double wrongChecksum = 0.0;  // a data frame carries a wrong checksum
  double nak = 0.0;            // the request is refused with NAK instead of being carried out
  double silence = 0.0;        // the request is carried out but not answered
  int64_t lateReplyUs = 400'000;
};

struct KeloSimOptions {
  SimLineOptions line;
  SimPhysicsOptions physics;
  SimFaultOptions faults;
  double firmwareVersion = 3.12;
  // Set-up memory values (variables 1 to 99, controller units) that replace the defaults.
  std::map<uint8_t, double> setup;
  // Requests kept for inspection (oldest dropped first).
  size_t requestLogLimit = 10'000;
};

}  // namespace tavkelo
