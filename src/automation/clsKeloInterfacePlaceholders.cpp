// The published members of clsKeloInterface that do nothing: they keep the interface complete,
// and their fixed results are part of the contract.

#include "automation/clsKeloInterfaceInternal.hpp"

namespace tavkelo {

QRTXErrorConstants clsKeloInterface::GetAnalogInputCalibration(QRTXAnalogInputIndeces, float&,
                                                               float&, float&) {
  return NotImplemented("GetAnalogInputCalibration", gQRTXErrUnknownCommand);
}
QRTXErrorConstants clsKeloInterface::SetAnalogInputCalibration(QRTXAnalogInputIndeces, float, float,
                                                               float) {
  return NotImplemented("SetAnalogInputCalibration", gQRTXErrUnknownCommand);
}
QRTXErrorConstants clsKeloInterface::ZeroAnalogInput(QRTXAnalogInputIndeces) {
  return NotImplemented("ZeroAnalogInput", gQRTXErrUnknownCommand);
}
QRTXErrorConstants clsKeloInterface::GetPIDConstants(QRTXPIDIndeces, float&, float&, float&) {
  return NotImplemented("GetPIDConstants", gQRTXErrUnknownCommand);
}
QRTXErrorConstants clsKeloInterface::GetManualLoadTestParameters() {
  return NotImplemented("GetManualLoadTestParameters", gQRTXErrUnknownCommand);
}
QRTXErrorConstants clsKeloInterface::SetManualLoadTestParameters(float, float) {
  return NotImplemented("SetManualLoadTestParameters", gQRTXErrUnknownCommand);
}
QRTXErrorConstants clsKeloInterface::GetVehSimTestHPIntWinErrors(int16_t) {
  return NotImplemented("GetVehSimTestHPIntWinErrors", gQRTXErrUnknownCommand);
}
QRTXErrorConstants clsKeloInterface::GetVehSimTestHPIntWinParameters(int16_t) {
  return NotImplemented("GetVehSimTestHPIntWinParameters", gQRTXErrUnknownCommand);
}
QRTXErrorConstants clsKeloInterface::SetVehSimTestHPIntWinParameters(int16_t, float, float, bool) {
  return NotImplemented("SetVehSimTestHPIntWinParameters", gQRTXErrUnknownCommand);
}

QRTXErrorConstants clsKeloInterface::PositiveVoltageSpanAnalogInput(QRTXAnalogInputIndeces) {
  return NotImplemented("PositiveVoltageSpanAnalogInput", gQRTXErrNoError);
}
QRTXErrorConstants clsKeloInterface::NegativeVoltageSpanAnalogInput(QRTXAnalogInputIndeces) {
  return NotImplemented("NegativeVoltageSpanAnalogInput", gQRTXErrNoError);
}
QRTXErrorConstants clsKeloInterface::SetPIDConstants(QRTXPIDIndeces, float, float, float) {
  return NotImplemented("SetPIDConstants", gQRTXErrNoError);
}
QRTXErrorConstants clsKeloInterface::ResetPIDValues(QRTXPIDIndeces) {
  return NotImplemented("ResetPIDValues", gQRTXErrNoError);
}
QRTXErrorConstants clsKeloInterface::ResetParasitics() {
  return NotImplemented("ResetParasitics", gQRTXErrNoError);
}
QRTXErrorConstants clsKeloInterface::ResetVehSimTestHPIntWinErrors(int16_t) {
  return NotImplemented("ResetVehSimTestHPIntWinErrors", gQRTXErrNoError);
}
QRTXErrorConstants clsKeloInterface::ResetVehSimTestISE() {
  return NotImplemented("ResetVehSimTestISE", gQRTXErrNoError);
}
QRTXErrorConstants clsKeloInterface::SetFWDBaseDistance(float) {
  return NotImplemented("SetFWDBaseDistance", gQRTXErrNoError);
}
QRTXErrorConstants clsKeloInterface::SetFWDBaseState(bool) {
  return NotImplemented("SetFWDBaseState", gQRTXErrNoError);
}
QRTXErrorConstants clsKeloInterface::RetractFWDBaseToLimit() {
  return NotImplemented("RetractFWDBaseToLimit", gQRTXErrNoError);
}
QRTXErrorConstants clsKeloInterface::StopFWDBase() {
  return NotImplemented("StopFWDBase", gQRTXErrNoError);
}
QRTXErrorConstants clsKeloInterface::StopRestraints() {
  return NotImplemented("StopRestraints", gQRTXErrNoError);
}
bool clsKeloInterface::StartUsingLiveData() {
  return NotImplemented("StartUsingLiveData", true);
}
bool clsKeloInterface::StartFakeDataPlayBack(const std::string&) {
  return NotImplemented("StartFakeDataPlayBack", false);
}

// These answer at once, without a log line.
QRTXErrorConstants clsKeloInterface::CenterRestraints() {
  return gQRTXErrNoError;
}
QRTXErrorConstants clsKeloInterface::EdgeRestraints() {
  return gQRTXErrNoError;
}
QRTXErrorConstants clsKeloInterface::ExtendFWDBaseToLimit() {
  return gQRTXErrNoError;
}
QRTXErrorConstants clsKeloInterface::GetCoastdownTestParameters() {
  return gQRTXErrNoError;
}
QRTXErrorConstants clsKeloInterface::GetParasiticsCurves() {
  return gQRTXErrNoError;
}
QRTXErrorConstants clsKeloInterface::GetParasiticsTestParameters() {
  return gQRTXErrNoError;
}
QRTXErrorConstants clsKeloInterface::GetWarmupTestParameters() {
  return gQRTXErrNoError;
}

}  // namespace tavkelo
