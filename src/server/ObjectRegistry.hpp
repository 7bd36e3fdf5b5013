#pragma once
// The interface objects that remote clients created, each with a lease. A client renews its lease
// with every call and with pings; an object not renewed within its lease is released, as the
// component runtime releases the objects of a client that died. Loop thread only.

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "automation/clsKeloInterface.hpp"
#include "runtime/LoopTimer.hpp"

namespace tavkelo {

class KeloContext;

class ObjectRegistry {
 public:
  ObjectRegistry(KeloContext& ctx, int defaultLeaseSeconds, int maxLeaseSeconds = 3600);
  ~ObjectRegistry();

  struct Created {
    std::string id;
    int leaseSeconds = 0;
  };
  // Creates an object (its creation runs Class_Initialize). leaseSeconds <= 0 takes the default.
  Created Create(int leaseSeconds);
  // The object with this id, or nullptr; renews nothing.
  clsKeloInterface* Find(const std::string& id) const;
  // A call on the object begins or ends: both renew the lease, and an object with a call under
  // way does not expire (its client is waiting for the answer, not gone).
  clsKeloInterface* BeginCall(const std::string& id);
  void EndCall(const std::string& id);
  bool Ping(const std::string& id, int& leaseSeconds);
  // Takes the object out of the registry; the caller releases it (its release can wait).
  std::unique_ptr<clsKeloInterface> Take(const std::string& id);
  // Objects whose lease ran out, taken out of the registry.
  std::vector<std::unique_ptr<clsKeloInterface>> TakeExpired();
  std::vector<std::unique_ptr<clsKeloInterface>> TakeAll();
  size_t Count() const { return objects_.size(); }
  int DefaultLease() const { return defaultLease_; }

 private:
  struct Entry {
    std::unique_ptr<clsKeloInterface> object;
    int leaseSeconds = 0;
    uint32_t renewedTick = 0;
    int callsUnderWay = 0;
  };
  std::string NewId();

  KeloContext& ctx_;
  int defaultLease_;
  int maxLease_;
  std::map<std::string, Entry> objects_;
  uint64_t counter_ = 0;
};

}  // namespace tavkelo
