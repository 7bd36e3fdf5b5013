#pragma once
// The out-of-process server's COM side: the class factory of clsKeloInterface, registered with COM
// for multiple use (every client's object comes from this one process), and the process's
// lifetime: when the last object (and the last LockServer) is released, the server waits a short
// grace for a client that is activating, revokes the factory, keeps pumping a little longer for
// calls already under way, and then ends; an object made meanwhile keeps it serving.

#include <windows.h>
// after windows.h
#include <objbase.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "runtime/EventLoop.hpp"

namespace tavkelo {

class ComServer {
 public:
  // Makes one automation object (the object creation of clsKeloInterface) whose final release
  // calls `released`; null when it cannot.
  using MakeObject = std::function<IDispatch*(std::function<void()> released)>;
  // `onIdle` ends the process the orderly way once the last object has gone.
  ComServer(EventLoop& loop, MakeObject make, std::function<void()> onIdle);
  ~ComServer();
  ComServer(const ComServer&) = delete;
  ComServer& operator=(const ComServer&) = delete;

  // Offers the class to COM (CoRegisterClassObject, local server, multiple use); false with
  // Error() set when COM refuses.
  bool Offer(const CLSID& clsid);
  void Withdraw();
  bool Offered() const { return cookie_ != 0; }
  const std::string& Error() const { return error_; }

  // The factory COM calls (also for tests, which create objects through it directly).
  IClassFactory* Factory();
  long Objects() const { return objects_; }
  // Withdraws the class and has COM drop every reference its clients hold (CoDisconnectObject),
  // so that each object's final release runs now.
  void DisconnectAll();

  // How long the server waits after the last release before it withdraws, and how long it keeps
  // pumping after that before it ends.
  static constexpr int64_t kGraceUs = 2'000'000;
  static constexpr int64_t kDrainUs = 300'000;

 private:
  class ClassFactory;
  void ObjectCreated();
  void ObjectReleased();
  // An object or a lock arrived: no ending is pending, and the class is offered again.
  void Revive();
  void LockChanged(bool lock);
  void CheckIdle();
  void OnGraceOver();
  void OnDrained();

  EventLoop& loop_;
  MakeObject make_;
  std::function<void()> onIdle_;
  ClassFactory* factory_;
  CLSID clsid_{};
  DWORD cookie_ = 0;
  long objects_ = 0;
  std::set<IUnknown*> live_;  // the objects made and not yet finally released
  long locks_ = 0;
  bool everUsed_ = false;
  bool offeredOnce_ = false;
  EventLoop::ScheduleId pending_ = 0;
  std::string error_;
};

}  // namespace tavkelo
