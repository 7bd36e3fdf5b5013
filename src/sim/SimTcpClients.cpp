// The simulator's TCP listener, the part both platforms share: one client at a time is joined to
// the controller, and the listener hears of the controller's line being lost.
#include "platform/SerialChannel.hpp"
#include "sim/KeloController.hpp"
#include "sim/SimTcpListener.hpp"

namespace tavkelo {

SimTcpListener::SimTcpListener(EventLoop& loop, KeloController& controller)
    : loop_(loop), controller_(controller) {}

void SimTcpListener::FollowLineLost() {
  std::weak_ptr<bool> alive = alive_;
  controller_.SetOnLineLost([this, alive] {
    if (alive.lock()) OnClientLost();
  });
}

bool SimTcpListener::RefuseWhileServing() {
  if (!client_) return false;
  if (onEvent_) onEvent_("refused a second client");
  return true;
}

void SimTcpListener::Serve(std::unique_ptr<SerialChannel> channel, const std::string& peer) {
  client_ = std::move(channel);
  controller_.Attach(*client_);
  if (onEvent_) onEvent_("connected " + peer);
}

void SimTcpListener::DropClient() {
  controller_.SetOnLineLost(nullptr);
  if (client_) controller_.Detach();
  client_.reset();
}

void SimTcpListener::OnClientLost() {
  client_.reset();
  if (onEvent_) onEvent_("disconnected");
}

}  // namespace tavkelo
