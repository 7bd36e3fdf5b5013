#include <gtest/gtest.h>

#include <random>

#include "support/ReplyFuzzDriver.hpp"
#include "support/ScriptedController.hpp"

namespace tavkelo {
namespace {

// Bytes that are likely to matter to the reply parser, mixed with arbitrary ones.
std::vector<uint8_t> RandomReplies(std::mt19937& rng, size_t size) {
  static const uint8_t kInteresting[] = {0x02, 0x06, 0x15, 0x17, '$', '\r', ' ',
                                         '=',  '-',  '0',  '1',  '9', '.'};
  std::uniform_int_distribution<int> byte(0, 255);
  std::uniform_int_distribution<int> pick(0, 3);
  std::vector<uint8_t> data(size);
  for (auto& b : data) {
    b = pick(rng) == 0 ? static_cast<uint8_t>(byte(rng))
                       : kInteresting[static_cast<size_t>(byte(rng)) % sizeof kInteresting];
  }
  return data;
}

TEST(RandomReplies, EveryExchangeEndsWithAResultCode) {
  std::mt19937 rng(20261123);
  size_t exchanges = 0;
  for (int run = 0; run < 400; ++run) {
    std::uniform_int_distribution<size_t> length(0, 600);
    std::vector<uint8_t> data = RandomReplies(rng, length(rng));
    for (int32_t result : test::RunExchangesWithReplies(data.data(), data.size())) {
      EXPECT_TRUE(test::IsExchangeResult(result)) << "run " << run << " gave " << result;
      ++exchanges;
    }
  }
  EXPECT_GT(exchanges, 800u);
}

TEST(RandomReplies, TruncatedValidFramesEndWithAResultCode) {
  // A good status frame cut at every length, as the reply to a status request.
  const std::vector<uint8_t> good = test::DataFrame(std::string(16, '0'));
  for (size_t cut = 0; cut <= good.size(); ++cut) {
    std::vector<uint8_t> data = {1, 0};  // "D"
    for (int attempt = 0; attempt < 3; ++attempt) {
      data.push_back(static_cast<uint8_t>(cut));
      data.insert(data.end(), good.begin(), good.begin() + static_cast<long>(cut));
    }
    auto results = test::RunExchangesWithReplies(data.data(), data.size());
    ASSERT_GE(results.size(), 1u);
    // A frame without its end is never complete: the exchange times out.
    EXPECT_EQ(results[0], cut == good.size() ? 0 : 4) << cut;
  }
}

}  // namespace
}  // namespace tavkelo
