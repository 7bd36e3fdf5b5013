#include "platform/FdSerialChannel.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "runtime/EventLoop.hpp"

namespace tavkelo {

FdSerialChannel::FdSerialChannel(EventLoop& loop) : loop_(loop) {}

FdSerialChannel::FdSerialChannel(EventLoop& loop, int fd, std::string name)
    : loop_(loop), name_(std::move(name)), adoptedFd_(fd) {}

FdSerialChannel::~FdSerialChannel() {
  Close();
}

bool FdSerialChannel::SetSettings(const std::string& settings) {
  settings_ = settings;
  if (fd_ >= 0) return ApplySettings(fd_);
  return true;
}

bool FdSerialChannel::Open() {
  if (fd_ >= 0) return true;
  lastError_.clear();
  int fd = OpenFd();
  adoptedFd_ = -1;  // an adopted descriptor is opened once
  if (fd < 0) {
    if (lastError_.empty()) lastError_ = "cannot open " + name_;
    return false;
  }
  int flags = ::fcntl(fd, F_GETFL);
  ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
  if (!ApplySettings(fd)) {
    ::close(fd);
    return false;
  }
  fd_ = fd;
  watch_ = loop_.WatchFd(fd_, POLLIN, [this](short revents) { OnReady(revents); });
  return true;
}

void FdSerialChannel::Close() {
  if (fd_ < 0) return;
  loop_.UnwatchFd(watch_);
  watch_ = 0;
  ::close(fd_);
  fd_ = -1;
  in_.clear();
  out_.clear();
}

void FdSerialChannel::FlushKernelInput(int fd) {
  // Whatever has already arrived is read and dropped.
  uint8_t buf[512];
  while (::read(fd, buf, sizeof buf) > 0) {
  }
}

void FdSerialChannel::DiscardInput() {
  if (fd_ >= 0) FlushKernelInput(fd_);
  in_.clear();
}

void FdSerialChannel::DiscardOutput() {
  out_.clear();
  if (fd_ >= 0) {
    FlushKernelOutput(fd_);
    UpdateWatch();
  }
}

size_t FdSerialChannel::InBufferCount() {
  if (fd_ >= 0) ReadAvailable();
  return in_.size();
}

std::vector<uint8_t> FdSerialChannel::Input() {
  if (fd_ >= 0) ReadAvailable();
  std::vector<uint8_t> out(in_.begin(), in_.end());
  in_.clear();
  return out;
}

bool FdSerialChannel::Output(const uint8_t* data, size_t count) {
  if (fd_ < 0) return false;
  out_.insert(out_.end(), data, data + count);
  FlushPending();
  return fd_ >= 0;
}

void FdSerialChannel::FlushPending() {
  while (!out_.empty() && fd_ >= 0) {
    uint8_t buf[512];
    size_t n = 0;
    while (n < sizeof buf && n < out_.size()) {
      buf[n] = out_[n];
      ++n;
    }
    ssize_t written = ::write(fd_, buf, n);
    if (written > 0) {
      out_.erase(out_.begin(), out_.begin() + written);
      continue;
    }
    if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) break;
    HangUp();
    return;
  }
  UpdateWatch();
}

void FdSerialChannel::UpdateWatch() {
  if (fd_ >= 0)
    loop_.SetFdEvents(watch_, static_cast<short>(POLLIN | (out_.empty() ? 0 : POLLOUT)));
}

void FdSerialChannel::ReadAvailable() {
  uint8_t buf[512];
  for (;;) {
    ssize_t n = ::read(fd_, buf, sizeof buf);
    if (n > 0) {
      in_.insert(in_.end(), buf, buf + n);
      continue;
    }
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
    if (n < 0 && errno == EINTR) continue;
    // read() == 0 or a hard error: the other end is gone.
    HangUp();
    return;
  }
}

void FdSerialChannel::OnReady(short revents) {
  if (fd_ < 0) return;
  if (revents & POLLOUT) FlushPending();
  if (fd_ < 0) return;
  if (revents & (POLLIN | POLLHUP | POLLERR)) {
    size_t before = in_.size();
    ReadAvailable();
    if (fd_ < 0) return;
    if (in_.size() > before) NotifyReceived();
    if ((revents & (POLLHUP | POLLERR)) && !(revents & POLLIN)) HangUp();
  }
  if (revents & POLLNVAL) HangUp();
}

void FdSerialChannel::HangUp() {
  if (fd_ < 0) return;
  lastError_ = "line lost: " + name_;
  Close();
  RaiseComm(comm::EventDCB);
}

}  // namespace tavkelo
