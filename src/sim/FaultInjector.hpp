#pragma once
// Line and controller faults, per reply: chosen at random with set probabilities from a seeded
// generator (the same seed and the same requests give the same faults), or scripted for the next
// replies. Every reply draws the same number of random numbers for its decision, so scripted
// faults do not shift the random ones.

#include <array>
#include <cstdint>
#include <deque>
#include <random>
#include <vector>

#include "sim/KeloSimOptions.hpp"

namespace tavkelo {

enum class FaultKind { LoseByte, CorruptByte, LateReply, WrongChecksum, Nak, Silence };
inline constexpr int kFaultKinds = 6;

struct FaultPlan {
  std::array<bool, kFaultKinds> on{};
  bool Has(FaultKind kind) const { return on[static_cast<size_t>(kind)]; }
  bool Any() const;
};

class FaultInjector {
 public:
  explicit FaultInjector(const SimFaultOptions& options);

  // The next `count` replies get `kind` (on top of any random faults).
  void Schedule(FaultKind kind, int count);
  void SetProbability(FaultKind kind, double probability);
  double Probability(FaultKind kind) const { return probability_[static_cast<size_t>(kind)]; }
  int64_t LateReplyUs() const { return lateReplyUs_; }
  void SetLateReplyUs(int64_t us) { lateReplyUs_ = us; }

  // The faults of the next reply.
  FaultPlan NextReply();
  // Applies a plan's damage to the bytes of a reply: wrong checksum (data frames only), then one
  // corrupted byte, then one lost byte. Counts what was applied.
  void Damage(const FaultPlan& plan, std::vector<uint8_t>& reply, bool dataFrame);
  // Counts a fault the controller carried out itself (NAK, silence, late reply).
  void CountApplied(FaultKind kind) { ++applied_[static_cast<size_t>(kind)]; }
  uint64_t Applied(FaultKind kind) const { return applied_[static_cast<size_t>(kind)]; }

 private:
  std::mt19937 rng_;
  std::array<double, kFaultKinds> probability_{};
  int64_t lateReplyUs_;
  std::deque<std::pair<FaultKind, int>> scripted_;
  std::array<uint64_t, kFaultKinds> applied_{};
};

}  // namespace tavkelo
