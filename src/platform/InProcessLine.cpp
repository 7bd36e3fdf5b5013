#include "platform/InProcessLine.hpp"

#include <cmath>

namespace tavkelo {

class InProcessLine::End final : public SerialChannel {
 public:
  End(EventLoop& loop, std::string name, const InProcessLine& line)
      : loop_(loop), name_(std::move(name)), line_(line) {}
  ~End() override {
    for (auto id : pending_) loop_.Cancel(id);
  }

  void SetPeer(End* peer) { peer_ = peer; }

  std::string Name() const override { return name_; }
  bool SetSettings(const std::string& settings) override {
    settings_ = settings;
    return true;
  }
  std::string Settings() const override { return settings_; }
  bool Open() override {
    if (unplugged_) {
      lastError_ = "no device: " + name_;
      return false;
    }
    open_ = true;
    return true;
  }
  // The device goes away: an open end closes and raises EventDCB, as a vanished device does, and
  // it cannot be opened until the device is back.
  void Unplug() {
    unplugged_ = true;
    if (!open_) return;
    Close();
    lastError_ = "line lost: " + name_;
    RaiseComm(comm::EventDCB);
  }
  void PlugIn() { unplugged_ = false; }
  bool Unplugged() const { return unplugged_; }
  void Close() override {
    open_ = false;
    in_.clear();
    arriving_.clear();
  }
  bool IsOpen() const override { return open_; }

  void DiscardInput() override {
    Settle();
    in_.clear();
  }
  void DiscardOutput() override {}  // bytes already on the wire cannot be called back

  size_t InBufferCount() override {
    Settle();
    return in_.size();
  }
  std::vector<uint8_t> Input() override {
    Settle();
    std::vector<uint8_t> out(in_.begin(), in_.end());
    in_.clear();
    return out;
  }

  bool Output(const uint8_t* data, size_t count) override {
    if (!open_ || peer_ == nullptr) return false;
    const double byteUs = line_.ByteTimeUs();
    double start = std::max(static_cast<double>(loop_.NowUs()), lineFreeAtUs_);
    for (size_t i = 0; i < count; ++i) {
      start += byteUs;
      peer_->Arrive(static_cast<int64_t>(std::ceil(start)), data[i]);
    }
    lineFreeAtUs_ = start;
    sent_ += count;
    return true;
  }

  uint64_t Sent() const { return sent_; }

 private:
  // A byte reaches this end at atUs: it joins the input buffer at that time, and the receive
  // event is raised when the loop gets there.
  void Arrive(int64_t atUs, uint8_t byte) {
    if (!open_) return;
    arriving_.push_back({atUs, byte});
    pending_.push_back(loop_.CallAtUs(atUs, [this] { OnArrivalDue(); }));
  }

  void OnArrivalDue() {
    pending_.pop_front();  // arrivals come due in the order they were sent
    size_t before = in_.size();
    Settle();
    // Bytes that a read already took (say, after a blocking pause) raise no event of their own.
    if (open_ && in_.size() > before) NotifyReceived();
  }

  // Moves every byte whose arrival time has come into the input buffer.
  void Settle() {
    const int64_t now = loop_.NowUs();
    while (!arriving_.empty() && arriving_.front().first <= now) {
      if (open_) in_.push_back(arriving_.front().second);
      arriving_.pop_front();
    }
  }

  EventLoop& loop_;
  std::string name_;
  const InProcessLine& line_;
  End* peer_ = nullptr;
  std::string settings_ = "9600,N,8,1";
  bool open_ = false;
  bool unplugged_ = false;
  std::deque<uint8_t> in_;
  std::deque<std::pair<int64_t, uint8_t>> arriving_;
  std::deque<EventLoop::ScheduleId> pending_;
  double lineFreeAtUs_ = 0;
  uint64_t sent_ = 0;
};

namespace {
// A port that the link can own while the line keeps the real end. The newest port made for an
// end receives its events; an older one going away leaves the newer one's handler in place.
class ForwardingPort final : public SerialChannel {
 public:
  explicit ForwardingPort(SerialChannel& target)
      : target_(target), token_(std::make_shared<int>(0)) {
    std::weak_ptr<int> alive = token_;
    target_.SetOnComm([this, alive](int16_t event) {
      if (!alive.expired()) RaiseComm(event);
    });
  }
  std::string Name() const override { return target_.Name(); }
  bool SetSettings(const std::string& s) override { return target_.SetSettings(s); }
  std::string Settings() const override { return target_.Settings(); }
  bool Open() override { return target_.Open(); }
  void Close() override { target_.Close(); }
  bool IsOpen() const override { return target_.IsOpen(); }
  void DiscardInput() override { target_.DiscardInput(); }
  void DiscardOutput() override { target_.DiscardOutput(); }
  size_t InBufferCount() override { return target_.InBufferCount(); }
  std::vector<uint8_t> Input() override { return target_.Input(); }
  bool Output(const uint8_t* data, size_t count) override { return target_.Output(data, count); }
  void SetRThreshold(int threshold) override { target_.SetRThreshold(threshold); }
  int RThreshold() const override { return target_.RThreshold(); }

 private:
  SerialChannel& target_;
  std::shared_ptr<int> token_;
};
}  // namespace

InProcessLine::InProcessLine(EventLoop& loop, int baudRate)
    : baudRate_(baudRate > 0 ? baudRate : 9600),
      host_(std::make_unique<End>(loop, "sim", *this)),
      device_(std::make_unique<End>(loop, "sim-device", *this)) {
  host_->SetPeer(device_.get());
  device_->SetPeer(host_.get());
}

InProcessLine::~InProcessLine() = default;

SerialChannel& InProcessLine::HostEnd() {
  return *host_;
}
SerialChannel& InProcessLine::DeviceEnd() {
  return *device_;
}

std::unique_ptr<SerialChannel> InProcessLine::HostPort() {
  return std::make_unique<ForwardingPort>(*host_);
}

void InProcessLine::Unplug() {
  host_->Unplug();
}
void InProcessLine::PlugIn() {
  host_->PlugIn();
}
bool InProcessLine::Unplugged() const {
  return host_->Unplugged();
}

uint64_t InProcessLine::BytesToDevice() const {
  return host_->Sent();
}
uint64_t InProcessLine::BytesToHost() const {
  return device_->Sent();
}

}  // namespace tavkelo
