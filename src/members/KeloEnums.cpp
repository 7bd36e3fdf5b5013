#include "members/KeloEnums.hpp"

namespace tavkelo {

std::string ErrorToString(int32_t error) {
  switch (error) {
    case gQRTXErrNoError:
      return "No Error";
    case gQRTXErrUnknownCommand:
      return "Dev: Unknown Command";
    case gQRTXErrInvalidParameter:
      return "Dev: Invalid Parameter";
    case gQRTXErrCantRaiseLiftNow:
      return "Dev: Cant Raise Lift Now";
    case gQRTXErrCantStartMotorNow:
      return "Dev: Cant Start Motor Now";
    case gQRTXErrCantStartTestNow:
      return "Dev: Cant Start Test Now";
    case gQRTXErrCantZeroNow:
      return "Dev: Cant Zero Now";
    case gQRTXErrCantSpanNow:
      return "Dev: Cant Span Now";
    case gQRTXErrErrorSavingCalibration:
      return "Dev: Error Saving Calibration";
    case gQRTXErrCantMoveFWDBaseNow:
      return "Dev: Cant Move Base Now";
    case gQRTXErrCantMoveRestraintsNow:
      return "Dev: Cant Move Restraints Now";
    case gQRTXErrCantChangeFWDBaseStateNow:
      return "Dev: Cant Change 2WD/4WD State Now";
    case gQRTXErrNoLinkToDevice:
      return "DI: No Link To Device";
    case gQRTXErrInvalidValue:
      return "DI: Invalid Value";
    case gQRTXErrCommError:
      return "DI: Comm Error";
    default:
      return "Unknown Error. [" + std::to_string(error) + "]";
  }
}

std::string TestIndexToString(int32_t testIndex) {
  switch (testIndex) {
    case 0:
      return "No Test";
    case 1:
      return "Warm-Up";
    case 2:
      return "Parasitics";
    case 3:
      return "Coastdown";
    case 4:
      return "Constant Target";
    case 5:
      return "ASM";
    case 6:
      return "Vehicle Simulation";
    default:
      return "Unknown Test[" + std::to_string(testIndex) + "]'";
  }
}

const std::vector<EnumerationInfo>& Enumerations() {
  static const std::vector<EnumerationInfo> kEnumerations = {
      {"QRTXErrorConstants",
       {{"gQRTXErrNoError", 0},
        {"gQRTXErrUnknownCommand", 1},
        {"gQRTXErrInvalidParameter", 2},
        {"gQRTXErrCantRaiseLiftNow", 3},
        {"gQRTXErrCantStartMotorNow", 4},
        {"gQRTXErrCantStartTestNow", 5},
        {"gQRTXErrCantZeroNow", 6},
        {"gQRTXErrCantSpanNow", 7},
        {"gQRTXErrErrorSavingCalibration", 8},
        {"gQRTXErrCantMoveFWDBaseNow", 9},
        {"gQRTXErrCantMoveRestraintsNow", 10},
        {"gQRTXErrCantChangeFWDBaseStateNow", 11},
        {"gQRTXErrNoLinkToDevice", 200},
        {"gQRTXErrInvalidValue", 201},
        {"gQRTXErrCommError", 202}}},
      {"QRTXTestIndeces",
       {{"gQRTXTINoTest", 0},
        {"gQRTXTIWarmup", 1},
        {"gQRTXTIParasitics", 2},
        {"gQRTXTICoastDown", 3},
        {"gQRTXTIConstantTarget", 4},
        {"gQRTXTIASM", 5},
        {"gQRTXTIVehSim", 6}}},
      {"QRTXASMTestModeIndeces", {{"gQRTXASMTMI5015", 0}, {"gQRTXASMTMI2525", 1}}},
      {"QRTXCTTModeIndeces",
       {{"gQRTXCTTMIManual", 0},
        {"gQRTXCTTMITorque", 1},
        {"gQRTXCTTMISpeed", 2},
        {"gQRTXCTTMIPower", 3}}},
      {"QRTXLTCSIndeces",
       {{"gQRTXLTCSINotRun", 0},
        {"gQRTXLTCSIInProgess", 1},
        {"gQRTXLTCSIAborted", 2},
        {"gQRTXLTCSICompleted", 3}}},
      {"QRTXPIDIndeces", {{"gQRTXPITorquePID", 1}, {"gQRTXPISpeedPID", 2}}},
      {"QRTXSysParamIndeces",
       {{"gQRTXSPIRollDiameter", 1},
        {"gQRTXSPITWDEquivalentWeight", 2},
        {"gQRTXSPIFWDEquivalentWeight", 3},
        {"gQRTXSPICalArmLength", 4},
        {"gQRTXSPICalWeight", 5},
        {"gQRTXSPIScaleCalWeight", 6},
        {"gQRTXSPIScalCalArmRatio", 7},
        {"gQRTXSPIPrimaryPulsesPerRev", 8},
        {"gQRTXSPISeconaryPulsesPerRev", 9},
        {"gQRTXSPIFWDPulsesPerRev", 10},
        {"gQRTXSPIFWDBaseMinWheelbase", 11},
        {"gQRTXSPIFWDBaseMaxWheelbase", 12},
        {"gQRTXSPITempInputLowCalDegreesF", 13},
        {"gQRTXSPITempInputHighCalDegreesF", 14},
        {"gQRTXSPIRestraintBackoffTime", 15},
        {"gQRTXSPIIsFWDDyno", 16},
        {"gQRTXSPIHasActiveRestaints", 17},
        {"gQRTXSPIPAUGearRatio", 18}}},
      {"QRTXAnalogInputIndeces",
       {{"gQRTXAIIPAU1Torque", 1},
        {"gQRTXAIIFWDBaseDistance", 2},
        {"gQRTXAIILeftScale", 3},
        {"gQRTXAIIRightScale", 4},
        {"gQRTXAIIFrameTemp", 5},
        {"gQRTXAIIBearingTemp", 6}}},
  };
  return kEnumerations;
}

}  // namespace tavkelo
