#include "server/ObjectRegistry.hpp"

#include <cstdio>
#include <random>

#include "link/KeloContext.hpp"

namespace tavkelo {

ObjectRegistry::ObjectRegistry(KeloContext& ctx, int defaultLeaseSeconds, int maxLeaseSeconds)
    : ctx_(ctx), defaultLease_(defaultLeaseSeconds), maxLease_(maxLeaseSeconds) {}

ObjectRegistry::~ObjectRegistry() = default;

std::string ObjectRegistry::NewId() {
  static thread_local std::mt19937_64 rng{std::random_device{}()};
  char id[40];
  std::snprintf(id, sizeof id, "%016llx%04llx", static_cast<unsigned long long>(rng()),
                static_cast<unsigned long long>(++counter_ & 0xFFFF));
  return id;
}

ObjectRegistry::Created ObjectRegistry::Create(int leaseSeconds) {
  int lease = leaseSeconds <= 0 ? defaultLease_ : std::min(leaseSeconds, maxLease_);
  std::string id = NewId();
  Entry entry;
  entry.object = std::make_unique<clsKeloInterface>(ctx_);
  entry.leaseSeconds = lease;
  entry.renewedTick = ctx_.loop.TickCount();
  objects_.emplace(id, std::move(entry));
  return {id, lease};
}

clsKeloInterface* ObjectRegistry::Find(const std::string& id) const {
  auto it = objects_.find(id);
  return it == objects_.end() ? nullptr : it->second.object.get();
}

clsKeloInterface* ObjectRegistry::BeginCall(const std::string& id) {
  auto it = objects_.find(id);
  if (it == objects_.end()) return nullptr;
  it->second.renewedTick = ctx_.loop.TickCount();
  ++it->second.callsUnderWay;
  return it->second.object.get();
}

void ObjectRegistry::EndCall(const std::string& id) {
  auto it = objects_.find(id);
  if (it == objects_.end()) return;  // released meanwhile
  it->second.renewedTick = ctx_.loop.TickCount();
  --it->second.callsUnderWay;
}

bool ObjectRegistry::Ping(const std::string& id, int& leaseSeconds) {
  auto it = objects_.find(id);
  if (it == objects_.end()) return false;
  it->second.renewedTick = ctx_.loop.TickCount();
  leaseSeconds = it->second.leaseSeconds;
  return true;
}

std::unique_ptr<clsKeloInterface> ObjectRegistry::Take(const std::string& id) {
  auto it = objects_.find(id);
  if (it == objects_.end()) return nullptr;
  auto object = std::move(it->second.object);
  objects_.erase(it);
  return object;
}

std::vector<std::unique_ptr<clsKeloInterface>> ObjectRegistry::TakeExpired() {
  std::vector<std::unique_ptr<clsKeloInterface>> expired;
  uint32_t now = ctx_.loop.TickCount();
  for (auto it = objects_.begin(); it != objects_.end();) {
    uint32_t idleMs = now - it->second.renewedTick;
    if (it->second.callsUnderWay == 0 &&
        idleMs > static_cast<uint32_t>(it->second.leaseSeconds) * 1000u) {
      expired.push_back(std::move(it->second.object));
      it = objects_.erase(it);
    } else {
      ++it;
    }
  }
  return expired;
}

std::vector<std::unique_ptr<clsKeloInterface>> ObjectRegistry::TakeAll() {
  std::vector<std::unique_ptr<clsKeloInterface>> all;
  for (auto& [id, entry] : objects_) all.push_back(std::move(entry.object));
  objects_.clear();
  return all;
}

}  // namespace tavkelo
