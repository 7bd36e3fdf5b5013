#pragma once
// The public enumerations of clsKeloInterface, their error texts and test names. The names,
// misspellings included, are part of the published interface.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tavkelo {

enum QRTXErrorConstants : int32_t {
  gQRTXErrNoError = 0,
  gQRTXErrUnknownCommand = 1,
  gQRTXErrInvalidParameter = 2,
  gQRTXErrCantRaiseLiftNow = 3,
  gQRTXErrCantStartMotorNow = 4,
  gQRTXErrCantStartTestNow = 5,
  gQRTXErrCantZeroNow = 6,
  gQRTXErrCantSpanNow = 7,
  gQRTXErrErrorSavingCalibration = 8,
  gQRTXErrCantMoveFWDBaseNow = 9,
  gQRTXErrCantMoveRestraintsNow = 10,
  gQRTXErrCantChangeFWDBaseStateNow = 11,
  gQRTXErrNoLinkToDevice = 200,
  gQRTXErrInvalidValue = 201,
  gQRTXErrCommError = 202,
};

enum QRTXTestIndeces : int32_t {
  gQRTXTINoTest = 0,
  gQRTXTIWarmup = 1,
  gQRTXTIParasitics = 2,
  gQRTXTICoastDown = 3,
  gQRTXTIConstantTarget = 4,
  gQRTXTIASM = 5,
  gQRTXTIVehSim = 6,
};

enum QRTXASMTestModeIndeces : int32_t {
  gQRTXASMTMI5015 = 0,
  gQRTXASMTMI2525 = 1,
};

enum QRTXCTTModeIndeces : int32_t {
  gQRTXCTTMIManual = 0,
  gQRTXCTTMITorque = 1,
  gQRTXCTTMISpeed = 2,
  gQRTXCTTMIPower = 3,
};

enum QRTXLTCSIndeces : int32_t {
  gQRTXLTCSINotRun = 0,
  gQRTXLTCSIInProgess = 1,
  gQRTXLTCSIAborted = 2,
  gQRTXLTCSICompleted = 3,
};

enum QRTXPIDIndeces : int32_t {
  gQRTXPITorquePID = 1,
  gQRTXPISpeedPID = 2,
};

enum QRTXSysParamIndeces : int32_t {
  gQRTXSPIRollDiameter = 1,
  gQRTXSPITWDEquivalentWeight = 2,
  gQRTXSPIFWDEquivalentWeight = 3,
  gQRTXSPICalArmLength = 4,
  gQRTXSPICalWeight = 5,
  gQRTXSPIScaleCalWeight = 6,
  gQRTXSPIScalCalArmRatio = 7,
  gQRTXSPIPrimaryPulsesPerRev = 8,
  gQRTXSPISeconaryPulsesPerRev = 9,
  gQRTXSPIFWDPulsesPerRev = 10,
  gQRTXSPIFWDBaseMinWheelbase = 11,
  gQRTXSPIFWDBaseMaxWheelbase = 12,
  gQRTXSPITempInputLowCalDegreesF = 13,
  gQRTXSPITempInputHighCalDegreesF = 14,
  gQRTXSPIRestraintBackoffTime = 15,
  gQRTXSPIIsFWDDyno = 16,
  gQRTXSPIHasActiveRestaints = 17,
  gQRTXSPIPAUGearRatio = 18,
};

enum QRTXAnalogInputIndeces : int32_t {
  gQRTXAIIPAU1Torque = 1,
  gQRTXAIIFWDBaseDistance = 2,
  gQRTXAIILeftScale = 3,
  gQRTXAIIRightScale = 4,
  gQRTXAIIFrameTemp = 5,
  gQRTXAIIBearingTemp = 6,
};

std::string ErrorToString(int32_t error);
std::string TestIndexToString(int32_t testIndex);

// The enumerations as the type library lists them: each with its members in declared order.
struct EnumerationInfo {
  std::string name;
  std::vector<std::pair<std::string, int32_t>> members;
};
const std::vector<EnumerationInfo>& Enumerations();

}  // namespace tavkelo
