#pragma once
// The dyne controller's vocabulary: one-character commands, numbered variables, the reply states,
// and the two renderings of raw bytes that log lines use. Pure lookup and formatting.

#include <cstddef>
#include <cstdint>
#include <string>

namespace tavkelo {

// Command characters.
namespace cmd {
inline constexpr uint8_t RegulatorOff = '0';
inline constexpr uint8_t SpeedRegulatorOn = '1';
inline constexpr uint8_t TorqueRegulatorOn = '2';
inline constexpr uint8_t DriveRegulatorOn = '3';
inline constexpr uint8_t AsmRegulatorOn = '4';
inline constexpr uint8_t RaiseLifts = '5';
inline constexpr uint8_t LowerLifts = '6';
inline constexpr uint8_t ResetDistance = '9';
inline constexpr uint8_t AugmentedBreakingOn = 'A';
inline constexpr uint8_t AugmentedBreakingOff = 'B';
inline constexpr uint8_t GetTestValues = 'C';
inline constexpr uint8_t GetStatus = 'D';
inline constexpr uint8_t GetVariable = 'E';
inline constexpr uint8_t WriteVariable = 'F';
inline constexpr uint8_t RestraintSystemStop = 'G';
inline constexpr uint8_t StopWatch1On = 'H';
inline constexpr uint8_t StopWatch1Off = 'I';
inline constexpr uint8_t MotorOn = 'J';
inline constexpr uint8_t MotorOff = 'K';
inline constexpr uint8_t CalibrateZeroPoint = 'L';
inline constexpr uint8_t CalibrateAmplification = 'M';
inline constexpr uint8_t StopZeroAmpCalibration = 'N';
inline constexpr uint8_t IgbtTestOn = 'O';
inline constexpr uint8_t IgbtTestOff = 'P';
inline constexpr uint8_t VariableLoadRegulatorOn = 'Q';
inline constexpr uint8_t StopWatch2On = 'R';
inline constexpr uint8_t StopWatch2Off = 'S';
inline constexpr uint8_t AutoOffsetAdjustOn = 'T';
inline constexpr uint8_t AutoOffsetAdjustOff = 'U';
inline constexpr uint8_t AutoOffsetAdjustNormal = 'V';
inline constexpr uint8_t TwelveVoltOn = 'X';
inline constexpr uint8_t TwelveVoltOff = 'Y';
inline constexpr uint8_t BeltCompensationOn = 'a';
inline constexpr uint8_t BeltCompensationOff = 'b';
}  // namespace cmd

// Variable numbers.
namespace var {
inline constexpr uint8_t VERSION = 0;
inline constexpr uint8_t ROLLDIAMETER = 1;
inline constexpr uint8_t BASEINERTIA = 6;
inline constexpr uint8_t TORQUE_REG_RELEASE = 30;
inline constexpr uint8_t TORQUE_CAL_FACTOR = 36;
inline constexpr uint8_t EEPROM_RESET = 50;
inline constexpr uint8_t PARASITIC_LOSSES_A = 51;
inline constexpr uint8_t PARASITIC_LOSSES_B = 52;
inline constexpr uint8_t PARASITIC_LOSSES_C = 53;
inline constexpr uint8_t AMPLIFICATION_SCALE1 = 59;
inline constexpr uint8_t AMPLIFICATION_SCALE2 = 61;
inline constexpr uint8_t PARASITIC_TEMP_COMP = 84;
inline constexpr uint8_t PARASITIC_TEMP_DEGC = 85;
inline constexpr uint8_t CAL_WEIGHT = 88;
inline constexpr uint8_t LOSSES_15MPH = 98;
inline constexpr uint8_t LOSSES_25MPH = 99;
inline constexpr uint8_t SPEEDTARGET = 200;
inline constexpr uint8_t TORQUETARGET = 201;
inline constexpr uint8_t DSR_VEHWEIGHT = 202;
inline constexpr uint8_t DSR_C = 203;
inline constexpr uint8_t DSR_B = 204;
inline constexpr uint8_t DSR_A = 205;
inline constexpr uint8_t BRAKECONTROL = 206;
inline constexpr uint8_t STOPWATCH1_START_SPEED = 207;
inline constexpr uint8_t STOPWATCH1_STOP_SPEED = 208;
inline constexpr uint8_t SPEED = 209;
inline constexpr uint8_t ACCELERATION = 210;
inline constexpr uint8_t POWER = 211;
inline constexpr uint8_t GTRL_A = 212;
inline constexpr uint8_t GTRL_B = 213;
inline constexpr uint8_t GTRL_C = 214;
inline constexpr uint8_t SUPPORT_SPEED = 215;
inline constexpr uint8_t RIGHTWEIGHT = 216;
inline constexpr uint8_t LEFTWEIGHT = 217;
inline constexpr uint8_t ISE = 218;
inline constexpr uint8_t TORQUEMINUS = 220;
inline constexpr uint8_t TORQUEPLUS = 221;
inline constexpr uint8_t FORCETEMP = 222;
inline constexpr uint8_t LINECURRENT = 223;
inline constexpr uint8_t BEARINGTEMP = 224;
inline constexpr uint8_t DISTANCE = 225;
inline constexpr uint8_t NOTASSIGNED = 226;
inline constexpr uint8_t STOPWATCH1 = 227;
inline constexpr uint8_t ASMPWRTARGET = 228;
inline constexpr uint8_t ASMGTRL = 229;
inline constexpr uint8_t ASMSPEED = 230;
inline constexpr uint8_t TORQUE = 231;
inline constexpr uint8_t INTERSPEED = 232;
inline constexpr uint8_t STOPWATCH1_INTER = 233;
inline constexpr uint8_t STOPWATCH2_START_SPEED = 234;
inline constexpr uint8_t STOPWATCH2_STOP_SPEED = 235;
inline constexpr uint8_t STOPWATCH2 = 236;
inline constexpr uint8_t TOTALWEIGHT = 238;
inline constexpr uint8_t PARASITICS_A_COEFF = 239;
inline constexpr uint8_t PARASITICS_B_COEFF = 240;
inline constexpr uint8_t PARASITICS_C_COEFF = 241;
inline constexpr uint8_t PARASITIC_5015_LOSSES = 242;
inline constexpr uint8_t PARASITIC_2525_LOSSES = 243;
inline constexpr uint8_t MEASURING_DIRECTION = 244;
}  // namespace var

// Framing bytes.
namespace frame {
inline constexpr uint8_t Lead1 = 0xB4;
inline constexpr uint8_t Lead2 = 0x11;
inline constexpr uint8_t STX = 0x02;
inline constexpr uint8_t ENQ = 0x05;
inline constexpr uint8_t ACK = 0x06;
inline constexpr uint8_t CR = 0x0D;
inline constexpr uint8_t NAK = 0x15;
inline constexpr uint8_t ETB = 0x17;
inline constexpr uint8_t End = '$';
}  // namespace frame

// Status bits with a fixed meaning (bit k is character k+1 of the status payload).
namespace status {
inline constexpr int LiftsUp = 0;
inline constexpr int LiftsDown = 1;
inline constexpr int DeviceErrorA = 6;
inline constexpr int DeviceErrorB = 7;
inline constexpr int MotorFault = 8;
inline constexpr int RestraintsIn = 11;
inline constexpr int DeviceErrorC = 12;
inline constexpr int OverTemperature = 13;
inline constexpr int MotorOn = 15;
}  // namespace status

// Reply states of an exchange.
enum ReplyStatus : int16_t {
  kReplyUnknown = 0,
  kReplyPending = 1,
  kReplyTimeout = 2,
  kReplyOverFlow = 3,
  kReplyNAK = 4,
  kReplyACK = 5,
  kReplyData = 6,
};

// Exchange results: how an exchange ended.
namespace xr {
inline constexpr int32_t Success = 0;
inline constexpr int32_t DeviceError = 2;
inline constexpr int32_t ChecksumError = 3;
inline constexpr int32_t Timeout = 4;
inline constexpr int32_t Refused = 5;
inline constexpr int32_t InvalidCommand = 6;
inline constexpr int32_t NotConnected = 7;
inline constexpr int32_t ParseError = 8;
}  // namespace xr

// The characters the link accepts as commands.
inline constexpr const char* kValidDyneCommands = "0123456789ABCDEFGHIJKLMNOPQRSTUVXYab";

std::string DyneCommandName(int32_t code);
std::string DyneVariableName(uint8_t number);
// The bare name of a variable ("ROLLDIAMETER"), "??" for a number without one.
std::string DyneVariableBareName(uint8_t number);
bool IsValidDyneCommand(uint8_t code);
std::string CommStatusName(int16_t status);
std::string FormatHexBytes(const uint8_t* bytes, int16_t count);
std::string FormatControlChars(const uint8_t* bytes, int16_t count);
// XOR of bytes [begin, end).
uint8_t XorChecksum(const uint8_t* begin, const uint8_t* end);
// A checksum byte as two upper-case hexadecimal characters, high digit first.
std::string ChecksumText(uint8_t sum);

}  // namespace tavkelo
