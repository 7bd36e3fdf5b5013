#include "link/DyneRequestFrame.hpp"

#include <algorithm>
#include <exception>

#include "link/DyneUnits.hpp"
#include "link/DyneVocabulary.hpp"
#include "platform/VbConvert.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

namespace {
std::string VariableNumberText(uint8_t variable, bool zeroFill) {
  if (zeroFill) return VbFormat(static_cast<int>(variable), "000");
  std::string text = VbFormat(static_cast<int>(variable), "##0");
  return std::string(3 - std::min<size_t>(3, text.size()), ' ') + text;
}
}  // namespace

RequestFrame EncodeRequest(int32_t command, uint8_t variable, float controllerValue,
                           const RequestOptions& options) {
  RequestFrame f;
  int stage = 0;
  auto put = [&f](uint8_t b) {
    if (static_cast<size_t>(f.count) >= f.bytes.size())
      throw VbRuntimeError(kVbErrSubscriptOutOfRange, "BuildCommSendBuffer",
                           "Subscript out of range");
    f.bytes[static_cast<size_t>(f.count++)] = b;
  };
  auto putText = [&put](const std::string& text) {
    for (char c : text) put(static_cast<uint8_t>(c));
  };
  try {
    put(frame::Lead1);
    put(frame::Lead2);
    put(static_cast<uint8_t>(command));
    stage = 300;
    switch (command) {
      case cmd::GetVariable:
        stage = 310;
        putText(VariableNumberText(variable, options.zeroFillVariableNumber));
        put(frame::ENQ);
        break;
      case cmd::WriteVariable: {
        stage = 322;
        DyneValueFormat format = FormatDyneValue(variable);
        stage = 323;
        std::string valueText = VbFormat(controllerValue, format.format) + format.unit;
        stage = 324;
        f.sentValue = static_cast<float>(VbVal(valueText));
        stage = 325;
        putText(VariableNumberText(variable, options.zeroFillVariableNumber));
        put('=');
        putText(valueText);
        put(frame::CR);
        put(frame::ETB);
        stage = 326;
        // From the 0x11 through the ETB.
        putText(ChecksumText(XorChecksum(f.bytes.data() + 1, f.bytes.data() + f.count)));
        put(frame::End);
        break;
      }
      case cmd::GetTestValues:
      case cmd::GetStatus:
        stage = 330;
        put(frame::ENQ);
        break;
      default:
        stage = 340;
        break;
    }
  } catch (const VbRuntimeError& e) {
    f.error = FrameError{stage, e.Number(), e.Description()};
  } catch (const std::exception& e) {
    f.error = FrameError{stage, 51, e.what()};
  }
  return f;
}

std::string DyneCmdText(int32_t command, uint8_t variable) {
  try {
    std::string text =
        "DyneCmd[" + std::string(1, static_cast<char>(command)) + "-" + DyneCommandName(command);
    if (command == cmd::GetVariable || command == cmd::WriteVariable) {
      text += " (" + DyneVariableName(variable) + ")]";
    } else {
      text += "]";
    }
    return text;
  } catch (...) {
    return "DyneCmd[error]";
  }
}

}  // namespace tavkelo
