#include <gtest/gtest.h>

#include "support/LinkFixture.hpp"
#include "support/ScriptedController.hpp"

namespace tavkelo {
namespace {

using test::DataFrame;
using test::ReceivedFrame;
using test::ScriptedReply;

class Parse : public ::testing::Test {
 protected:
  Parse() : controller(f.loop, f.line->DeviceEnd()) {
    f.ConnectLink();
    controller.SetResponder([this](const ReceivedFrame& r) {
      if (r.IsAck() || r.IsNak()) return std::vector<ScriptedReply>{};
      return std::vector<ScriptedReply>{{DataFrame(payload), 0}};
    });
  }
  test::LinkFixture f;
  test::ScriptedController controller;
  std::string payload;
};

// The replies are counted, going back to 9 after 99999.
TEST_F(Parse, StatusCharactersSetTheSixteenBitsAndTheRepliesAreCounted) {
  payload = "1001000000010001";
  EXPECT_EQ(f.ctx->polling.InterfaceKeloCommand('D', 0, 0), 0);
  const auto& bits = f.ctx->store.StatusBitsCopy;
  for (int k = 0; k < 16; ++k)
    EXPECT_EQ(bits[static_cast<size_t>(k)], payload[static_cast<size_t>(k)] == '1') << k;
  EXPECT_EQ(f.ctx->store.StatusReplyCount, 1);
  f.ctx->store.StatusReplyCount = 99999;
  f.ctx->polling.InterfaceKeloCommand('D', 0, 0);
  EXPECT_EQ(f.ctx->store.StatusReplyCount, 9);
}

TEST_F(Parse, AStatusCharacterOtherThanZeroOrOneIsAParseError) {
  payload = "1111111111111111";
  ASSERT_EQ(f.ctx->polling.InterfaceKeloCommand('D', 0, 0), 0);
  payload = "0000200000000000";
  EXPECT_EQ(f.ctx->polling.InterfaceKeloCommand('D', 0, 0), 8);
  EXPECT_EQ(f.ctx->store.ParseErrorMessage, "Error Parsing Dyne Status Data");
  for (bool bit : f.ctx->store.DyneStatusBits) EXPECT_TRUE(bit) << "bits stay as they were";
  EXPECT_EQ(f.ctx->store.counters.parseErrors, 1);
  EXPECT_EQ(controller.Requests().size(), 1u + 3u) << "a bad payload is asked for again";
  EXPECT_TRUE(f.LogContains("Parse Error: Count[1] - Error Parsing Dyne Status Data"));
}

}  // namespace
}  // namespace tavkelo
