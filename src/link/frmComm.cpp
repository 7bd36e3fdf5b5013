#include "link/frmComm.hpp"

#include <cstdio>

#include "link/KeloContext.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

std::string CommEventName(int16_t code) {
  const char* name = "?";
  switch (code) {
    case 2:
      name = "EvReceive";
      break;
    case 1:
      name = "EvSend";
      break;
    case 1004:
      name = "EventFrame";
      break;
    case 1006:
      name = "EventOverrun";
      break;
    case 1008:
      name = "EventExOver";
      break;
    case 1009:
      name = "EventRxParity";
      break;
    case 1010:
      name = "EventTxFull";
      break;
    case 1011:
      name = "EventDCB";
      break;
    default:
      break;
  }
  char hex[8];
  std::snprintf(hex, sizeof hex, "%04X", static_cast<unsigned>(static_cast<uint16_t>(code)));
  return std::string(name) + " (0x" + hex + ")";
}

frmComm::frmComm(KeloContext& ctx)
    : tmrUpdateReadings(ctx.loop), tmrDyneRespTimeout(ctx.loop), ctx_(ctx) {
  tmrUpdateReadings.SetInterval(kPollIntervalMs);
  tmrUpdateReadings.SetHandler([this] { tmrUpdateReadings_Timer(); });
  tmrDyneRespTimeout.SetInterval(kReplyTimeoutMs);
  tmrDyneRespTimeout.SetHandler([this] { tmrDyneRespTimeout_Timer(); });
}

frmComm::~frmComm() {
  if (port_) port_->SetOnComm(nullptr);
}

void frmComm::Load() {
  if (loaded_) return;
  loaded_ = true;
  if (ctx_.log.LoggingOn()) ctx_.log.WriteLog("frmComm-Loading ...");
}

void frmComm::Unload() {
  if (!loaded_) return;
  if (ctx_.log.LoggingOn()) ctx_.log.WriteLog("frmComm-UnLoading ...");
  tmrUpdateReadings.SetEnabled(false);
  tmrDyneRespTimeout.SetEnabled(false);
  ClosePort();
  loaded_ = false;
}

void frmComm::AttachPort(std::unique_ptr<SerialChannel> port) {
  if (port_) port_->SetOnComm(nullptr);
  port_ = std::move(port);
  if (port_) port_->SetOnComm([this](int16_t event) { KeloComm_OnComm(event); });
}

void frmComm::ClosePort() {
  if (port_ && port_->IsOpen()) port_->Close();
}

void frmComm::KeloComm_OnComm(int16_t event) {
  switch (event) {
    case comm::EvReceive:
      GatherDyneResponse();
      break;
    case comm::EvSend:
      break;
    case comm::EventFrame:
    case comm::EventOverrun:
    case comm::EventRxOver:
    case comm::EventRxParity:
    case comm::EventTxFull:
    case comm::EventDCB: {
      int32_t& count = ctx_.store.counters.commEvents;
      BumpCounter(count);
      if (ctx_.log.ComErr()) {
        ctx_.log.WriteLog("KeloComm_OnComm-Com_Error:" + CommEventName(event) +
                          "  Cnt:" + VbFormat(static_cast<int>(count), "##0"));
      }
      // The device went away and took the port with it: reconnect when that is wanted.
      if (event == comm::EventDCB && !PortOpen()) ctx_.recovery.LineLost();
      break;
    }
    default:
      break;
  }
}

void frmComm::GatherDyneResponse() {
  if (!port_) return;
  ReplyStatus status = kReplyPending;
  while (status == kReplyPending && port_->InBufferCount() > 0) {
    status = ctx_.exchange.TakeReplyBytes(port_->Input());
  }
  if (status == kReplyPending) return;
  tmrDyneRespTimeout.SetEnabled(false);
  // Stray bytes after the end raise no further receive events.
  if (status != kReplyOverFlow) port_->SetRThreshold(0);
  if (ctx_.log.RawCom()) {
    ctx_.log.WriteLog("GatherDyneResponse-Done-Sts:" + CommStatusName(status) +
                      " Cnt:" + VbFormat(static_cast<int>(ctx_.exchange.ReceiveCount()), "00"));
  }
}

void frmComm::tmrDyneRespTimeout_Timer() {
  tmrDyneRespTimeout.SetEnabled(false);
  ctx_.exchange.ReplyTimedOut();
}

void frmComm::tmrUpdateReadings_Timer() {
  if (!tmrUpdateReadings.Enabled()) return;
  tmrUpdateReadings.SetEnabled(false);
  ctx_.polling.UpdateDyneReadings();
}

}  // namespace tavkelo
