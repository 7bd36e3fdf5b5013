#include "automation/clsKeloInterface.hpp"

#include <exception>

#include "automation/clsKeloInterfaceInternal.hpp"
#include "link/DyneUnits.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

QRTXErrorConstants DeviceResultToError(int32_t exchangeResult) {
  switch (exchangeResult) {
    case 0:
      return gQRTXErrNoError;
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
    case 8:
      return gQRTXErrCommError;
    case 6:
      return gQRTXErrUnknownCommand;
    case 7:
      return gQRTXErrNoLinkToDevice;
    default:
      return gQRTXErrNoError;  // an outcome the table does not know counts as success
  }
}

void clsKeloInterface::LogCall(const std::string& text) {
  if (ctx_.log.ClsCal()) ctx_.log.WriteLog(std::string(kClassName) + ": " + text);
}

QRTXErrorConstants clsKeloInterface::Finish(const std::string& name, QRTXErrorConstants result) {
  LogCall(name + " - " + ErrorToString(result));
  return result;
}

clsKeloInterface::clsKeloInterface(KeloContext& ctx) : ctx_(ctx) {
  std::string stage = "10";
  try {
    if (ctx_.log.LoggingOn()) ctx_.log.WriteLog(std::string(kClassName) + ": Class_Initialize");
    stage = "20";
    ctx_.AcquireSemaphores();
    stage = "30";
    if (ctx_.comm.PortOpen()) ctx_.comm.ClosePort();
    ctx_.recovery.Cancel();  // the link starts over with this object
    stage = "40";
    SerialPort_ = 0;
    BaudRate_ = 0;
    Parity_.clear();
    CommSettings_.clear();
    stage = "50";
    ctx_.polling.ResetLinkState();
    Active_ = false;
    stage = "60";
    ctx_.comm.tmrUpdateReadings.SetEnabled(false);
    ctx_.comm.tmrDyneRespTimeout.SetEnabled(false);
    ctx_.params.WarmupTimeSeconds = 0;
    stage = "80";
    ctx_.comm.Load();
  } catch (const std::exception& e) {
    ctx_.log.LogException(e, std::string(kClassName) + ": Class_Initialize[" + stage + "]", 16);
  }
}

clsKeloInterface::~clsKeloInterface() {
  try {
    if (ctx_.log.LoggingOn()) ctx_.log.WriteLog(std::string(kClassName) + ": Class_Terminate");
    DisConnect();
    ctx_.ReleaseSemaphores();
    ctx_.comm.Unload();
    if (ctx_.log.LoggingOn())
      ctx_.log.WriteLog(std::string(kClassName) + ": Class_Terminate - Complete");
  } catch (const std::exception& e) {
    ctx_.log.LogException(e, std::string(kClassName) + ": Class_Terminate", 16);
  }
}

void clsKeloInterface::Init(bool BeActive, int16_t SerialPort, int32_t BaudRate,
                            const std::string& Parity) {
  Active_ = BeActive;
  SerialPort_ = SerialPort;
  BaudRate_ = BaudRate;
  Parity_ = Parity;
  CommSettings_ = std::to_string(BaudRate) + "," + Parity + ",8,1";
  LogCall(std::string("Init Act:") + BoolText(BeActive) + " COM" +
          VbFormat(static_cast<int>(SerialPort), "0") + ": [" + CommSettings_ + "]");
}

bool clsKeloInterface::InitFromIniFile(const std::string&, const std::string&) {
  return NotImplemented("InitFromIniFile", false);
}

void clsKeloInterface::SaveSettingsToIniFile(const std::string&, const std::string&) {
  NotImplemented("SaveSettingsToIniFile", 0);
}

std::string clsKeloInterface::ErrorConstantToString(QRTXErrorConstants TheError) {
  return ErrorToString(TheError);
}

int32_t clsKeloInterface::Send(int32_t command, uint8_t variable, float value) {
  return ctx_.polling.InterfaceKeloCommand(command, variable, value);
}

void clsKeloInterface::SuspendDyneReadings() {
  ctx_.polling.SuspendDyneReadings();
}
void clsKeloInterface::ResumeDyneReadings() {
  ctx_.polling.ResumeDyneReadings();
}

bool clsKeloInterface::Connect() {
  bool result = false;
  try {
    if (!ctx_.comm.PortOpen()) {
      std::unique_ptr<SerialChannel> port = ctx_.openPort ? ctx_.openPort(SerialPort_) : nullptr;
      if (!port) return false;
      // Eight data bits and one stop bit at the client's baud rate and parity.
      port->SetSettings(CommSettings_);
      ctx_.comm.AttachPort(std::move(port));
      ctx_.comm.KeloComm()->Open();
    }
    if (!ctx_.comm.PortOpen()) return false;

    ctx_.polling.SetConnected(true);
    int32_t outcome = ConnectHandshake();
    const std::string prefix =
        "Connect - 'COM" + std::to_string(SerialPort_) + "'  Settings: " + CommSettings_;
    if (outcome != 0) {
      ctx_.polling.SetConnected(false);
      ctx_.polling.SetReadingsActive(false);
      LogCall(prefix + "  ... Fail. Kelo Comm Error[" + std::to_string(outcome) + "]");
      return false;
    }
    LogCall(prefix + "  ... Success");
    // This object reconnects the link if the device goes away.
    ctx_.recovery.Remember(this, [this] { return Connect(); });
    ctx_.polling.SetReadingsActive(true);
    ResumeDyneReadings();
    result = true;
  } catch (const std::exception& e) {
    ctx_.log.LogException(e, std::string(kClassName) + ": Connect", 16);
  }
  return result;
}

int32_t clsKeloInterface::ConnectHandshake() {
  if (ctx_.params.WarmupTimeSeconds == 0) ctx_.params.InstallDefaults();
  int32_t rc = ReadDyneInformation();
  if (rc != 0) return rc;
  rc = Send(cmd::GetStatus);
  if (rc != 0) return rc;
  rememberedLift_ = false;
  rememberedLift_ = LiftStatus();
  // The controller's write-access code; DisConnect withdraws it.
  Send(cmd::WriteVariable, var::VERSION, 4127.0f);
  rc = Send(cmd::GetVariable, var::TORQUE_REG_RELEASE);
  if (ctx_.store.TorqueRegRelease == 20) return rc;
  return Send(cmd::WriteVariable, var::TORQUE_REG_RELEASE, 20.0f);
}

int32_t clsKeloInterface::ReadDyneInformation() {
  ReadingsStore& s = ctx_.store;
  for (uint8_t v : {var::VERSION, var::BASEINERTIA, var::ROLLDIAMETER}) {
    int32_t rc = Send(cmd::GetVariable, v);
    if (rc != 0) return rc;
  }
  // The first, looser bound, and the speed-torque factor from it.
  if (!(s.RollDiameter >= 6.5f && s.RollDiameter <= 10.5f)) s.RollDiameter = 8.555f;
  s.TorqueSpeedFactor =
      static_cast<float>(static_cast<double>(s.RollDiameter) * 989978.64876768 / 63360.0);
  for (uint8_t v : {var::PARASITIC_LOSSES_A, var::PARASITIC_LOSSES_B, var::PARASITIC_LOSSES_C,
                    var::LOSSES_15MPH, var::LOSSES_25MPH}) {
    int32_t rc = Send(cmd::GetVariable, v);
    if (rc != 0) return rc;
  }
  if (ctx_.log.LoggingOn()) LogInformationDump();
  if (s.RollDiameter < 7.0f || s.BaseInertia < 1000.0f) {
    ctx_.log.LogError(2, "Invalid Dyne Information",
                      std::string(kClassName) + ": ReadDyneInformation", 0);
  }
  // The second, tighter clamp.
  if (s.BaseInertia > 3000.0f || s.BaseInertia < 1000.0f) s.BaseInertia = 2000.0f;
  if (s.RollDiameter > 9.5f || s.RollDiameter < 7.5f) s.RollDiameter = 8.555f;
  return 0;
}

void clsKeloInterface::LogInformationDump() {
  const ReadingsStore& s = ctx_.store;
  const char* sci = "#0.00000e+00;-0.00000e+00";
  const std::string crlf = "\r\n";
  std::string dump = "**** Current Dyne Information ****" + crlf +
                     "           Firmware_Version: " + VbStr(s.DyneVersion) + crlf +
                     "           Base_Inertia    : " + VbFormat(s.BaseInertia, "###0") + " Pounds" +
                     crlf + "           Roller_Diameter : " + VbFormat(s.RollDiameter, "#0.000") +
                     " Inches" + crlf + "           Parasitics Coefficients" + crlf +
                     "              K: " + VbFormat(s.TorqueSpeedFactor, sci) + crlf +
                     "              A: " + VbFormat(s.ParasiticCoefK, sci) +
                     "  Raw_Val_Var51: " + VbStr(s.ParasiticLossA) + crlf +
                     "              B: " + VbFormat(s.ParasiticCoefA, sci) +
                     "  Raw_Val_Var52: " + VbStr(s.ParasiticLossB) + crlf +
                     "              C: " + VbFormat(s.ParasiticCoefB, sci) +
                     "  Raw_Val_Var53: " + VbStr(s.ParasiticLossC) + crlf +
                     "           Parasitic_Losses_HP" + crlf +
                     "              @15Mph: " + VbFormat(s.Losses15MphHP, "#0.00") +
                     "  Raw_Val_Var98: " + VbStr(s.Losses15Mph) + crlf +
                     "              @25Mph: " + VbFormat(s.Losses25MphHP, "#0.00") +
                     "  Raw_Val_Var99: " + VbStr(s.Losses25Mph);
  ctx_.log.WriteLog(dump);
}

void clsKeloInterface::DisConnect() {
  LogCall("DisConnect");
  ctx_.recovery.Forget(this);
  if (ctx_.polling.Connected()) {
    const SharedTestState& t = ctx_.test;
    if (t.CurTest != test::None || t.CurCalibration != calibration::None) {
      // The running sequence closes itself (its closing commands need the poller). The request
      // is made again while waiting: a calibration drops one that comes before its form is up.
      ctx_.loop.PumpUntil(
          [this, &t] {
            if (t.CurTest == test::None && t.CurCalibration == calibration::None) return true;
            RequestStops();
            return false;
          },
          -1);
    }
    LogCall("Disconnect...");
    SuspendDyneReadings();
    ctx_.polling.SetReadingsActive(false);
    Send(cmd::WriteVariable, var::VERSION, 0.0f);
    ctx_.comm.ClosePort();
  }
  // The interface lock taken by the suspend stays taken; the next Connect gives it back.
  ctx_.polling.SetConnected(false);
}

bool clsKeloInterface::Update() {
  if (!ctx_.polling.Connected()) return false;
  if (!ctx_.polling.ReadingsActive()) {
    SuspendDyneReadings();
    Send(cmd::GetStatus);
    Send(cmd::GetTestValues);
    for (uint8_t v : {var::ACCELERATION, var::DISTANCE, var::LEFTWEIGHT, var::RIGHTWEIGHT,
                      var::BEARINGTEMP, var::FORCETEMP}) {
      Send(cmd::GetVariable, v);
    }
    ResumeDyneReadings();
  }
  return true;
}

bool clsKeloInterface::AutoUpdateEnabled() {
  return ctx_.polling.ReadingsActive();
}

void clsKeloInterface::AutoUpdateEnabled(bool value) {
  const SharedTestState& t = ctx_.test;
  // A client cannot stop the poller under a running sequence.
  if (t.CurTest == test::Warmup || t.CurTest == test::Parasitics || t.CurTest == test::Coastdown)
    return;
  auto busy = [](int16_t status) { return status == 1 || status == 2; };
  if (busy(t.SleepStatus) || busy(t.LcwsStatus)) return;
  ctx_.polling.SetReadingsActive(value);
}

int32_t clsKeloInterface::AutoUpdateErrorCount() {
  const LinkCounters& c = ctx_.store.counters;
  return c.deviceErrors + c.checksumErrors + c.timeoutErrors + c.nakCount + c.parseErrors;
}

void clsKeloInterface::ResetAutoUpdateErrorCount() {
  // Only the first two of the five: the others keep counting.
  ctx_.store.counters.deviceErrors = 0;
  ctx_.store.counters.checksumErrors = 0;
}

float clsKeloInterface::TimeSinceLastUpdate() {
  return (static_cast<float>(ctx_.Tick()) - static_cast<float>(ctx_.host.LastUpdateTick)) / 1000.0f;
}

}  // namespace tavkelo
