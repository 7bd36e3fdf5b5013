#pragma once
// A Windows serial port (COM1, \\.\COM12) through the Win32 comm API: the settings text's baud
// rate and parity, 8 data bits, 1 stop bit, no flow control. Receiving is one overlapped ReadFile
// of one byte kept pending at all times, whose event wakes the loop; when it ends, the bytes
// queued behind it are read at once (their count from ClearCommError). A read that has waited a
// second for its byte ends empty (Windows reports success with no bytes, wine ERROR_TIMEOUT: both
// simply start the next read). The "return at once with what has arrived" time-outs are not used:
// wine does not implement them. Writing is overlapped too, so a frame never holds the loop
// for its transmit time. A read or write that fails for any other reason means the device is
// gone: the channel raises comm::EventDCB and closes, as on Linux.

#include <cstdint>
#include <deque>
#include <string>

#include "platform/SerialChannel.hpp"

namespace tavkelo {

class EventLoop;

class Win32CommSerialChannel final : public SerialChannel {
 public:
  // `device` is "COM<n>" or "\\.\COM<n>" (any other name is opened as it stands).
  Win32CommSerialChannel(EventLoop& loop, std::string device);
  ~Win32CommSerialChannel() override;

  std::string Name() const override { return name_; }
  bool SetSettings(const std::string& settings) override;
  std::string Settings() const override { return settings_; }
  bool Open() override;
  void Close() override;
  bool IsOpen() const override { return handle_ != nullptr; }
  void DiscardInput() override;
  void DiscardOutput() override;
  size_t InBufferCount() override;
  std::vector<uint8_t> Input() override;
  bool Output(const uint8_t* data, size_t count) override;

 private:
  struct Pending;  // an OVERLAPPED with its event and buffer
  bool ApplySettings();
  std::string Win32Text(unsigned long error) const;
  void StartRead();
  // Takes a finished read's bytes into the input buffer; true when one had finished.
  bool HarvestRead();
  // Reads what the driver holds already, after the pending read's byte.
  void ReadQueued();
  void OnReadSignalled();
  void StartWrite();
  void OnWriteSignalled();
  void HangUp(unsigned long error);

  EventLoop& loop_;
  std::string name_;
  std::string settings_ = "9600,N,8,1";
  void* handle_ = nullptr;
  Pending* read_ = nullptr;
  Pending* write_ = nullptr;
  bool reading_ = false;
  bool writing_ = false;
  int readWatch_ = 0;
  int writeWatch_ = 0;
  std::deque<uint8_t> in_;
  std::deque<uint8_t> out_;
};

}  // namespace tavkelo
