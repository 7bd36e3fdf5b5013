#pragma once
// A serial line shaped after the serial communications control the link was designed for: open
// and close, settings text ("9600,N,8,1"), discard input and output, bytes waiting, read what is
// there, write one frame in one operation, a receive threshold, and events delivered on the loop.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tavkelo {

// Event codes of the serial control.
namespace comm {
inline constexpr int16_t EvSend = 1;
inline constexpr int16_t EvReceive = 2;
inline constexpr int16_t EventFrame = 1004;
inline constexpr int16_t EventOverrun = 1006;
inline constexpr int16_t EventRxOver = 1008;
inline constexpr int16_t EventRxParity = 1009;
inline constexpr int16_t EventTxFull = 1010;
// Raised when the device behind the port vanishes or the other end hangs up; the port closes.
inline constexpr int16_t EventDCB = 1011;
}  // namespace comm

class SerialChannel {
 public:
  using CommHandler = std::function<void(int16_t event)>;
  virtual ~SerialChannel() = default;

  // A human-readable name of the port ("/dev/ttyS0", "socket://host:port", "sim").
  virtual std::string Name() const = 0;
  virtual bool SetSettings(const std::string& settings) = 0;
  virtual std::string Settings() const = 0;
  // Opens the port; false when it cannot be opened (the reason is in LastError()).
  virtual bool Open() = 0;
  virtual void Close() = 0;
  virtual bool IsOpen() const = 0;
  virtual std::string LastError() const { return lastError_; }

  virtual void DiscardInput() = 0;
  virtual void DiscardOutput() = 0;
  // Bytes received and not read yet.
  virtual size_t InBufferCount() = 0;
  // Everything received so far, removed from the input buffer.
  virtual std::vector<uint8_t> Input() = 0;
  // Writes the bytes as one operation; false when the port is closed or the write fails.
  virtual bool Output(const uint8_t* data, size_t count) = 0;

  // With a threshold above 0, arriving bytes raise comm::EvReceive once at least that many wait.
  virtual void SetRThreshold(int threshold) { rThreshold_ = threshold; }
  virtual int RThreshold() const { return rThreshold_; }
  void SetOnComm(CommHandler handler) { onComm_ = std::move(handler); }

 protected:
  void RaiseComm(int16_t event) {
    if (onComm_) onComm_(event);
  }
  // Called by implementations after bytes were added to the input buffer.
  void NotifyReceived() {
    if (rThreshold_ > 0 && InBufferCount() >= static_cast<size_t>(rThreshold_))
      RaiseComm(comm::EvReceive);
  }
  std::string lastError_;

 private:
  int rThreshold_ = 0;
  CommHandler onComm_;
};

// Parses the baud rate out of a settings text such as "9600,N,8,1" (0 when there is none).
int SettingsBaudRate(const std::string& settings);
// The rates a port can be opened at: 300, 1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200.
bool IsStandardBaudRate(int baud);

}  // namespace tavkelo
