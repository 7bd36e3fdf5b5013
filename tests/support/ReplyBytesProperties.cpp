#include "support/ReplyBytesProperties.hpp"

#include <vector>

#include "link/DyneReplyFrame.hpp"

namespace tavkelo::test {

namespace {

struct Gathered {
  std::vector<uint8_t> bytes;
  ReplyStatus status = kReplyPending;
};

// Feeds the reply in batches of the given sizes (the last size repeats), as the form does.
Gathered GatherInBatches(const std::vector<uint8_t>& reply, const std::vector<size_t>& sizes,
                         std::string& broken) {
  Gathered g;
  size_t pos = 0;
  for (size_t i = 0; pos < reply.size() && g.status == kReplyPending; ++i) {
    const size_t n = std::min(sizes[std::min(i, sizes.size() - 1)], reply.size() - pos);
    const GatherStep step = GatherReplyBytes(g.bytes.size(), reply.data() + pos, n);
    if (step.taken > n) broken = "took more bytes than the batch had";
    if (step.status == kReplyOverFlow && (step.taken != 0 || g.bytes.size() + n <= kMaxReplyBytes))
      broken = "an overflow that is none, or that took bytes";
    if (step.status == kReplyPending && step.taken != n)
      broken = "dropped bytes of a reply going on";
    g.bytes.insert(g.bytes.end(), reply.begin() + static_cast<long>(pos),
                   reply.begin() + static_cast<long>(pos + std::min(step.taken, n)));
    g.status = step.status;
    pos += n;
  }
  if (g.bytes.size() > kMaxReplyBytes) broken = "gathered more than 255 bytes";
  const bool single = g.bytes.size() == 1;
  if ((g.status == kReplyACK && !(single && g.bytes[0] == 0x06)) ||
      (g.status == kReplyNAK && !(single && g.bytes[0] == 0x15)))
    broken = "an ACK or NAK that is not a single first byte";
  if (g.status == kReplyData && (g.bytes.size() < 2 || g.bytes.back() != '$'))
    broken = "a data frame that does not end with a later \"$\"";
  return g;
}

void CheckParsers(const std::vector<uint8_t>& bytes, std::string& broken) {
  CheckDataFrame(bytes.data(), bytes.size());
  const StatusReply status = ParseStatusReply(bytes.data(), bytes.size());
  if (status.result != xr::Success && status.result != xr::ParseError)
    broken = "status result code";
  if ((status.result == xr::Success) != status.errorMessage.empty()) broken = "status message";
  if (status.result == xr::Success) {
    for (size_t k = 0; k < status.bits.size(); ++k) {
      if (status.bits[k] != (bytes[k + 1] == '1')) broken = "a status bit not from its character";
    }
  }
  const VariableReply variable = ParseVariableReply(bytes.data(), bytes.size());
  if (variable.result != xr::Success && variable.result != xr::ParseError)
    broken = "variable result code";
  if ((variable.result == xr::Success) != variable.errorMessage.empty())
    broken = "variable message";
  if (variable.groupCount > VariableReply::kMaxGroups) broken = "more than five groups";
}

}  // namespace

std::string CheckReplyBytes(const uint8_t* data, size_t size) {
  if (size == 0) return "";
  std::string broken;
  const std::vector<uint8_t> reply(data + 1, data + size);
  // Batch sizes from the first byte: a small pseudo-random sequence of 1 to 32 bytes.
  std::vector<size_t> sizes;
  uint32_t state = 0x9E3779B9u ^ (data[0] * 0x01000193u);
  for (int i = 0; i < 64; ++i) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    sizes.push_back(1 + state % (1 + (data[0] & 31u)));
  }
  const Gathered split = GatherInBatches(reply, sizes, broken);
  const Gathered whole = GatherInBatches(reply, {reply.size() + 1}, broken);
  const Gathered single = GatherInBatches(reply, {1}, broken);
  // While the bytes fit, how they are split does not change the reply.
  if (reply.size() <= kMaxReplyBytes) {
    if (split.status != whole.status || split.bytes != whole.bytes ||
        single.status != whole.status || single.bytes != whole.bytes)
      broken = "the reply depends on how its bytes were split";
  }
  CheckParsers(split.bytes, broken);
  CheckParsers(reply, broken);
  return broken;
}

}  // namespace tavkelo::test
