#include "platform/Win32CommSerialChannel.hpp"

#include <windows.h>

#include <algorithm>
#include <cctype>

#include "platform/Win32Text.hpp"
#include "runtime/EventLoop.hpp"

namespace tavkelo {

struct Win32CommSerialChannel::Pending {
  OVERLAPPED overlapped{};
  uint8_t buffer[512]{};
  DWORD length = 0;
  Pending() { overlapped.hEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr); }
  ~Pending() { ::CloseHandle(overlapped.hEvent); }
};

namespace {

// "COM3" and "com3" open as "\\.\COM3", the form that also reaches COM10 and above.
std::string DevicePath(const std::string& device) {
  if (device.size() > 3 && (device[0] == 'C' || device[0] == 'c') &&
      (device[1] == 'O' || device[1] == 'o') && (device[2] == 'M' || device[2] == 'm') &&
      std::all_of(device.begin() + 3, device.end(),
                  [](char c) { return std::isdigit(static_cast<unsigned char>(c)); }))
    return "\\\\.\\" + device;
  return device;
}

}  // namespace

Win32CommSerialChannel::Win32CommSerialChannel(EventLoop& loop, std::string device)
    : loop_(loop), name_(std::move(device)) {}

Win32CommSerialChannel::~Win32CommSerialChannel() {
  Close();
}

std::string Win32CommSerialChannel::Win32Text(unsigned long error) const {
  return name_ + ": " + Win32ErrorText(error);
}

bool Win32CommSerialChannel::SetSettings(const std::string& settings) {
  settings_ = settings;
  return handle_ == nullptr || ApplySettings();
}

bool Win32CommSerialChannel::ApplySettings() {
  if (!IsStandardBaudRate(SettingsBaudRate(settings_))) {
    lastError_ = name_ + ": unsupported baud rate in '" + settings_ + "'";
    return false;
  }
  DCB dcb{};
  dcb.DCBlength = sizeof dcb;
  if (!::GetCommState(handle_, &dcb)) {
    lastError_ = Win32Text(::GetLastError());
    return false;
  }
  // Settings text: "baud,parity,data,stop"; data bits 8 and stop bits 1 are fixed.
  size_t comma = settings_.find(',');
  char parity =
      comma != std::string::npos && comma + 1 < settings_.size()
          ? static_cast<char>(std::toupper(static_cast<unsigned char>(settings_[comma + 1])))
          : 'N';
  dcb.BaudRate = static_cast<DWORD>(SettingsBaudRate(settings_));
  dcb.ByteSize = 8;
  dcb.StopBits = ONESTOPBIT;
  dcb.Parity = parity == 'E' ? EVENPARITY : parity == 'O' ? ODDPARITY : NOPARITY;
  dcb.fParity = dcb.Parity != NOPARITY;
  dcb.fBinary = TRUE;
  dcb.fOutxCtsFlow = FALSE;
  dcb.fOutxDsrFlow = FALSE;
  dcb.fDsrSensitivity = FALSE;
  dcb.fDtrControl = DTR_CONTROL_ENABLE;
  dcb.fRtsControl = RTS_CONTROL_ENABLE;
  dcb.fOutX = FALSE;
  dcb.fInX = FALSE;
  dcb.fNull = FALSE;
  dcb.fAbortOnError = FALSE;
  if (!::SetCommState(handle_, &dcb)) {
    lastError_ = Win32Text(::GetLastError());
    return false;
  }
  return true;
}

bool Win32CommSerialChannel::Open() {
  if (handle_ != nullptr) return true;
  lastError_.clear();
  HANDLE h = ::CreateFileW(WideFromUtf8(DevicePath(name_)).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                           nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    lastError_ = Win32Text(::GetLastError());
    return false;
  }
  handle_ = h;
  // A read ends when all it asked for has come, or after a second; writes never time out. The
  // pending read asks for one byte, and what queues behind it is then read at once.
  COMMTIMEOUTS timeouts{0, 0, 1000, 0, 0};
  if (!ApplySettings() || !::SetCommTimeouts(h, &timeouts)) {
    if (lastError_.empty()) lastError_ = Win32Text(::GetLastError());
    ::CloseHandle(h);
    handle_ = nullptr;
    return false;
  }
  ::SetupComm(h, 4096, 4096);
  ::PurgeComm(h, PURGE_RXCLEAR | PURGE_TXCLEAR);
  read_ = new Pending;
  write_ = new Pending;
  readWatch_ = loop_.WatchHandle(read_->overlapped.hEvent, [this] { OnReadSignalled(); });
  writeWatch_ = loop_.WatchHandle(write_->overlapped.hEvent, [this] { OnWriteSignalled(); });
  StartRead();
  return IsOpen();
}

void Win32CommSerialChannel::Close() {
  if (handle_ == nullptr) return;
  HANDLE h = static_cast<HANDLE>(handle_);
  ::CancelIoEx(h, nullptr);
  DWORD n = 0;
  // The buffers belong to the driver until the cancelled operations have finished.
  if (reading_) ::GetOverlappedResult(h, &read_->overlapped, &n, TRUE);
  if (writing_) ::GetOverlappedResult(h, &write_->overlapped, &n, TRUE);
  reading_ = writing_ = false;
  loop_.UnwatchHandle(readWatch_);
  loop_.UnwatchHandle(writeWatch_);
  readWatch_ = writeWatch_ = 0;
  ::CloseHandle(h);
  handle_ = nullptr;
  delete read_;
  delete write_;
  read_ = write_ = nullptr;
  in_.clear();
  out_.clear();
}

void Win32CommSerialChannel::StartRead() {
  while (handle_ != nullptr && !reading_) {
    if (::ReadFile(handle_, read_->buffer, 1, nullptr, &read_->overlapped) ||
        ::GetLastError() == ERROR_IO_PENDING) {
      reading_ = true;  // finished or not, the event tells the loop
      return;
    }
    DWORD error = ::GetLastError();
    // A read that timed out at once (wine may answer so): the next one waits again.
    if (error == ERROR_TIMEOUT || error == ERROR_OPERATION_ABORTED) continue;
    HangUp(error);
  }
}

bool Win32CommSerialChannel::HarvestRead() {
  if (!reading_) return false;
  DWORD n = 0;
  if (::GetOverlappedResult(handle_, &read_->overlapped, &n, FALSE)) {
    reading_ = false;
    in_.insert(in_.end(), read_->buffer, read_->buffer + n);
    if (n > 0) ReadQueued();
    return true;
  }
  DWORD error = ::GetLastError();
  if (error == ERROR_IO_INCOMPLETE) return false;
  reading_ = false;
  // A second of silence (ERROR_TIMEOUT under wine; Windows reports success with no bytes) or a
  // cancelled read: nothing arrived. Anything else: the device is gone.
  if (error != ERROR_TIMEOUT && error != ERROR_OPERATION_ABORTED) HangUp(error);
  return true;
}

void Win32CommSerialChannel::ReadQueued() {
  DWORD errors = 0;
  COMSTAT status{};
  while (handle_ != nullptr && ::ClearCommError(handle_, &errors, &status) && status.cbInQue > 0) {
    DWORD wanted = std::min<DWORD>(status.cbInQue, sizeof read_->buffer);
    DWORD n = 0;
    // The bytes are there: the read finishes at once.
    if ((!::ReadFile(handle_, read_->buffer, wanted, nullptr, &read_->overlapped) &&
         ::GetLastError() != ERROR_IO_PENDING) ||
        !::GetOverlappedResult(handle_, &read_->overlapped, &n, TRUE)) {
      DWORD error = ::GetLastError();
      if (error != ERROR_TIMEOUT) HangUp(error);
      return;
    }
    in_.insert(in_.end(), read_->buffer, read_->buffer + n);
    if (n == 0) return;
  }
}

void Win32CommSerialChannel::OnReadSignalled() {
  size_t before = in_.size();
  if (!HarvestRead()) {
    if (!reading_ && read_ != nullptr) ::ResetEvent(read_->overlapped.hEvent);
    return;
  }
  StartRead();
  if (handle_ != nullptr && in_.size() > before) NotifyReceived();
}

size_t Win32CommSerialChannel::InBufferCount() {
  if (HarvestRead()) StartRead();
  return in_.size();
}

std::vector<uint8_t> Win32CommSerialChannel::Input() {
  if (HarvestRead()) StartRead();
  std::vector<uint8_t> bytes(in_.begin(), in_.end());
  in_.clear();
  return bytes;
}

void Win32CommSerialChannel::DiscardInput() {
  if (handle_ != nullptr) {
    if (HarvestRead()) StartRead();
    ::PurgeComm(handle_, PURGE_RXCLEAR);
  }
  in_.clear();
}

void Win32CommSerialChannel::DiscardOutput() {
  out_.clear();
  if (handle_ != nullptr) ::PurgeComm(handle_, PURGE_TXABORT | PURGE_TXCLEAR);
}

bool Win32CommSerialChannel::Output(const uint8_t* data, size_t count) {
  if (handle_ == nullptr) return false;
  out_.insert(out_.end(), data, data + count);
  if (!writing_) StartWrite();
  return handle_ != nullptr;
}

void Win32CommSerialChannel::StartWrite() {
  if (handle_ == nullptr || writing_ || out_.empty()) return;
  // The bytes in flight leave the queue; a short write puts the rest back in front.
  DWORD n = static_cast<DWORD>(std::min(out_.size(), sizeof write_->buffer));
  std::copy_n(out_.begin(), n, write_->buffer);
  out_.erase(out_.begin(), out_.begin() + n);
  write_->length = n;
  if (::WriteFile(handle_, write_->buffer, n, nullptr, &write_->overlapped) ||
      ::GetLastError() == ERROR_IO_PENDING) {
    writing_ = true;
    return;
  }
  HangUp(::GetLastError());
}

void Win32CommSerialChannel::OnWriteSignalled() {
  if (!writing_) {
    if (write_ != nullptr) ::ResetEvent(write_->overlapped.hEvent);
    return;
  }
  DWORD n = 0;
  if (::GetOverlappedResult(handle_, &write_->overlapped, &n, FALSE)) {
    writing_ = false;
    if (n < write_->length)
      out_.insert(out_.begin(), write_->buffer + n, write_->buffer + write_->length);
  } else {
    DWORD error = ::GetLastError();
    if (error == ERROR_IO_INCOMPLETE) return;
    writing_ = false;
    if (error != ERROR_OPERATION_ABORTED) {  // aborted: the output was discarded on purpose
      HangUp(error);
      return;
    }
  }
  ::ResetEvent(write_->overlapped.hEvent);
  StartWrite();
}

void Win32CommSerialChannel::HangUp(unsigned long error) {
  if (handle_ == nullptr) return;
  Close();
  lastError_ = "line lost: " + name_ + " (" + Win32ErrorText(error) + ")";
  RaiseComm(comm::EventDCB);
}

}  // namespace tavkelo
