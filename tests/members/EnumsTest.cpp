// The enumerations' texts as clients and the log see them, and their spellings.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "members/KeloEnums.hpp"

namespace tavkelo {
namespace {

TEST(ErrorTexts, EveryConstantHasItsText) {
  const std::pair<int32_t, const char*> cases[] = {
      {0, "No Error"},                     {1, "Dev: Unknown Command"},
      {2, "Dev: Invalid Parameter"},       {3, "Dev: Cant Raise Lift Now"},
      {4, "Dev: Cant Start Motor Now"},    {5, "Dev: Cant Start Test Now"},
      {6, "Dev: Cant Zero Now"},           {7, "Dev: Cant Span Now"},
      {8, "Dev: Error Saving Calibration"}, {9, "Dev: Cant Move Base Now"},
      {10, "Dev: Cant Move Restraints Now"}, {11, "Dev: Cant Change 2WD/4WD State Now"},
      {200, "DI: No Link To Device"},      {201, "DI: Invalid Value"},
      {202, "DI: Comm Error"},             {12, "Unknown Error. [12]"},
      {-1, "Unknown Error. [-1]"},         {199, "Unknown Error. [199]"}};
  for (const auto& [value, text] : cases) EXPECT_EQ(ErrorToString(value), text) << value;
}

TEST(TestNames, KnownIndexesAndTheApostropheOfUnknownOnes) {
  const char* names[] = {"No Test", "Warm-Up", "Parasitics", "Coastdown", "Constant Target", "ASM",
                         "Vehicle Simulation"};
  for (int32_t i = 0; i <= 6; ++i) EXPECT_EQ(TestIndexToString(i), names[i]);
  EXPECT_EQ(TestIndexToString(7), "Unknown Test[7]'");
  EXPECT_EQ(TestIndexToString(-2), "Unknown Test[-2]'");
}

// The type library's enumerations, every name and value letter for letter, misspellings included.
TEST(Enumerations, EveryMemberWithItsValueInOrder) {
  using Members = std::vector<std::pair<std::string, int32_t>>;
  const std::vector<std::pair<std::string, Members>> expected = {
      {"QRTXErrorConstants",
       {{"gQRTXErrNoError", 0}, {"gQRTXErrUnknownCommand", 1}, {"gQRTXErrInvalidParameter", 2},
        {"gQRTXErrCantRaiseLiftNow", 3}, {"gQRTXErrCantStartMotorNow", 4}, {"gQRTXErrCantStartTestNow", 5},
        {"gQRTXErrCantZeroNow", 6}, {"gQRTXErrCantSpanNow", 7}, {"gQRTXErrErrorSavingCalibration", 8},
        {"gQRTXErrCantMoveFWDBaseNow", 9}, {"gQRTXErrCantMoveRestraintsNow", 10},
        {"gQRTXErrCantChangeFWDBaseStateNow", 11}, {"gQRTXErrNoLinkToDevice", 200},
        {"gQRTXErrInvalidValue", 201}, {"gQRTXErrCommError", 202}}},
      {"QRTXTestIndeces",
       {{"gQRTXTINoTest", 0}, {"gQRTXTIWarmup", 1}, {"gQRTXTIParasitics", 2}, {"gQRTXTICoastDown", 3},
        {"gQRTXTIConstantTarget", 4}, {"gQRTXTIASM", 5}, {"gQRTXTIVehSim", 6}}},
      {"QRTXASMTestModeIndeces",
       {{"gQRTXASMTMI5015", 0}, {"gQRTXASMTMI2525", 1}}},
      {"QRTXCTTModeIndeces",
       {{"gQRTXCTTMIManual", 0}, {"gQRTXCTTMITorque", 1}, {"gQRTXCTTMISpeed", 2}, {"gQRTXCTTMIPower", 3}}},
      {"QRTXLTCSIndeces",
       {{"gQRTXLTCSINotRun", 0}, {"gQRTXLTCSIInProgess", 1}, {"gQRTXLTCSIAborted", 2},
        {"gQRTXLTCSICompleted", 3}}},
      {"QRTXPIDIndeces",
       {{"gQRTXPITorquePID", 1}, {"gQRTXPISpeedPID", 2}}},
      {"QRTXSysParamIndeces",
       {{"gQRTXSPIRollDiameter", 1}, {"gQRTXSPITWDEquivalentWeight", 2}, {"gQRTXSPIFWDEquivalentWeight", 3},
        {"gQRTXSPICalArmLength", 4}, {"gQRTXSPICalWeight", 5}, {"gQRTXSPIScaleCalWeight", 6},
        {"gQRTXSPIScalCalArmRatio", 7}, {"gQRTXSPIPrimaryPulsesPerRev", 8},
        {"gQRTXSPISeconaryPulsesPerRev", 9}, {"gQRTXSPIFWDPulsesPerRev", 10},
        {"gQRTXSPIFWDBaseMinWheelbase", 11}, {"gQRTXSPIFWDBaseMaxWheelbase", 12},
        {"gQRTXSPITempInputLowCalDegreesF", 13}, {"gQRTXSPITempInputHighCalDegreesF", 14},
        {"gQRTXSPIRestraintBackoffTime", 15}, {"gQRTXSPIIsFWDDyno", 16}, {"gQRTXSPIHasActiveRestaints", 17},
        {"gQRTXSPIPAUGearRatio", 18}}},
      {"QRTXAnalogInputIndeces",
       {{"gQRTXAIIPAU1Torque", 1}, {"gQRTXAIIFWDBaseDistance", 2}, {"gQRTXAIILeftScale", 3},
        {"gQRTXAIIRightScale", 4}, {"gQRTXAIIFrameTemp", 5}, {"gQRTXAIIBearingTemp", 6}}},
  };
  const auto& all = Enumerations();
  ASSERT_EQ(all.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(all[i].name, expected[i].first);
    ASSERT_EQ(all[i].members.size(), expected[i].second.size()) << expected[i].first;
    for (size_t m = 0; m < expected[i].second.size(); ++m) {
      EXPECT_EQ(all[i].members[m].first, expected[i].second[m].first) << expected[i].first;
      EXPECT_EQ(all[i].members[m].second, expected[i].second[m].second) << expected[i].second[m].first;
    }
  }
}

}  // namespace
}  // namespace tavkelo
