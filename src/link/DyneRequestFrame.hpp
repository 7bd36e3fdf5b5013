#pragma once
// A request's frame as a pure function of the request: 0xB4 0x11, the command character and what
// the command carries (the variable number, the value text and its checksum); DyneCmdText names
// the request in the log. Nothing here touches the line, the store or the poller; the value of a
// "Write Variable" arrives already in the controller's units.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace tavkelo {

struct RequestOptions {
  // The variable number zero-filled ("009") rather than right-aligned by blanks ("  9").
  bool zeroFillVariableNumber = false;
};

// A failure while building a frame: the stage reached and the run-time error's number and text.
struct FrameError {
  int stage = 0;
  int32_t number = 0;
  std::string description;
};

struct RequestFrame {
  static constexpr size_t kCapacity = 60;

  std::array<uint8_t, kCapacity> bytes{};
  int16_t count = 0;
  // "Write Variable": the numeric value of the value text as written, which is what the
  // controller receives.
  std::optional<float> sentValue;
  // Set when the frame could not be completed; `bytes` hold what was built up to then.
  std::optional<FrameError> error;
};

// `controllerValue` is used by "Write Variable" only.
RequestFrame EncodeRequest(int32_t command, uint8_t variable, float controllerValue,
                           const RequestOptions& options);

// "DyneCmd[E-Get Variable (209-SPEED)]": a request as the log names it.
std::string DyneCmdText(int32_t command, uint8_t variable);

}  // namespace tavkelo
