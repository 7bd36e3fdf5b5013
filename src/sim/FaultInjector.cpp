#include "sim/FaultInjector.hpp"

#include "link/DyneVocabulary.hpp"

namespace tavkelo {

bool FaultPlan::Any() const {
  for (bool b : on) {
    if (b) return true;
  }
  return false;
}

FaultInjector::FaultInjector(const SimFaultOptions& options)
    : rng_(options.seed), lateReplyUs_(options.lateReplyUs) {
  probability_ = {options.loseByte,      options.corruptByte, options.lateReply,
                  options.wrongChecksum, options.nak,         options.silence};
}

void FaultInjector::Schedule(FaultKind kind, int count) {
  if (count > 0) scripted_.emplace_back(kind, count);
}

void FaultInjector::SetProbability(FaultKind kind, double probability) {
  probability_[static_cast<size_t>(kind)] = probability;
}

FaultPlan FaultInjector::NextReply() {
  FaultPlan plan;
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  for (size_t k = 0; k < kFaultKinds; ++k) plan.on[k] = uniform(rng_) < probability_[k];
  // Each scripted entry covers the next replies, one at a time.
  for (auto it = scripted_.begin(); it != scripted_.end();) {
    plan.on[static_cast<size_t>(it->first)] = true;
    if (--it->second == 0) {
      it = scripted_.erase(it);
    } else {
      ++it;
    }
  }
  return plan;
}

void FaultInjector::Damage(const FaultPlan& plan, std::vector<uint8_t>& reply, bool dataFrame) {
  if (plan.Has(FaultKind::WrongChecksum) && dataFrame && reply.size() >= 5) {
    // Rewrite the two checksum characters with a different value.
    const size_t at = reply.size() - 3;
    const uint8_t right = XorChecksum(reply.data(), reply.data() + at);
    const uint8_t wrong =
        static_cast<uint8_t>(right ^ std::uniform_int_distribution<int>(1, 255)(rng_));
    const std::string text = ChecksumText(wrong);
    reply[at] = static_cast<uint8_t>(text[0]);
    reply[at + 1] = static_cast<uint8_t>(text[1]);
    CountApplied(FaultKind::WrongChecksum);
  }
  if (plan.Has(FaultKind::CorruptByte) && !reply.empty()) {
    const size_t at = std::uniform_int_distribution<size_t>(0, reply.size() - 1)(rng_);
    reply[at] = static_cast<uint8_t>(reply[at] ^ std::uniform_int_distribution<int>(1, 255)(rng_));
    CountApplied(FaultKind::CorruptByte);
  }
  if (plan.Has(FaultKind::LoseByte) && !reply.empty()) {
    const size_t at = std::uniform_int_distribution<size_t>(0, reply.size() - 1)(rng_);
    reply.erase(reply.begin() + static_cast<std::ptrdiff_t>(at));
    CountApplied(FaultKind::LoseByte);
  }
}

}  // namespace tavkelo
