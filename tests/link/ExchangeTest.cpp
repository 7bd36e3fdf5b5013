#include <gtest/gtest.h>

#include "link/DyneUnits.hpp"
#include "support/LinkFixture.hpp"
#include "support/ScriptedController.hpp"

namespace tavkelo {
namespace {

using test::Bytes;
using test::DataFrame;
using test::ReceivedFrame;
using test::ScriptedReply;

class Exchange : public ::testing::Test {
 protected:
  Exchange() : controller(f.loop, f.line->DeviceEnd()) { f.ConnectLink(); }

  int32_t Command(uint8_t command, uint8_t variable = 0, float value = 0.0f) {
    return f.ctx->polling.InterfaceKeloCommand(command, variable, value);
  }
  // Answers with ACK, the status and a variable; the test may override.
  static std::vector<ScriptedReply> Healthy(const ReceivedFrame& r) {
    if (r.IsAck() || r.IsNak()) return {};
    switch (r.command()) {
      case 'D':
        return {{DataFrame("1000000000000001"), 0}};
      case 'E':
        return {{DataFrame(" 209=12.5 mph\r"), 0}};
      case 'C':
        return {{DataFrame(" 211=3.5 Hp\r 231=100.0 lbf\r 209=22.0 mph\r"), 0}};
      default:
        return {{{0x06}, 0}};
    }
  }

  test::LinkFixture f;
  test::ScriptedController controller;
};

TEST_F(Exchange, GetStatusFrameIsFourBytesAndIsLogged) {
  controller.SetResponder(Healthy);
  EXPECT_EQ(Command('D'), 0);
  auto requests = controller.Requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].bytes, (std::vector<uint8_t>{0xB4, 0x11, 0x44, 0x05}));
  EXPECT_TRUE(f.LogContains(
      "SCOMMPUT-Cnt:04 Dat:[B4 11 44 05]  [<B4><OC1>D<ENQ>]DyneCmd[D-Get Status]   "));
  // The data frame was acknowledged.
  f.loop.PumpFor(10);
  ASSERT_EQ(controller.Received().size(), 2u);
  EXPECT_TRUE(controller.Received()[1].IsAck());
}

TEST_F(Exchange, TheZeroFillSettingReachesTheWire) {
  controller.SetResponder(Healthy);
  f.host->ZeroFillVariableNumber = false;
  Command('E', 9);
  f.host->ZeroFillVariableNumber = true;
  Command('E', 9);
  auto r = controller.Requests();
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0].Text().substr(2), "E  9\x05");
  EXPECT_EQ(r[1].Text().substr(2), "E009\x05");
}

TEST_F(Exchange, AWriteGoesOutInControllerUnitsAndTheStoreHoldsWhatWasSent) {
  controller.SetResponder(Healthy);
  f.ctx->store.TorqueSpeedFactor = RollFactor(8.555f);
  EXPECT_EQ(Command('F', 201, 90.0f), 0);
  ASSERT_EQ(controller.Requests().size(), 1u);
  // 90 ft-lb at the roll surface is 252.49 lbf, written with one decimal.
  EXPECT_EQ(controller.Requests()[0].Text().substr(2),
            "F201=252.5 lbf\r\x17"
            "25$");
  EXPECT_FLOAT_EQ(f.ctx->store.slots[0].controllerValue, 252.5f);
}

TEST_F(Exchange, AnInvalidCommandOrAClosedLinkIsRefusedBeforeAnythingIsSent) {
  controller.SetResponder(Healthy);
  EXPECT_EQ(Command('W'), 6);
  EXPECT_EQ(f.ctx->polling.SendDyneCommand('W'), 6);
  f.ctx->polling.SetConnected(false);
  EXPECT_EQ(Command('D'), 7);
  f.loop.PumpFor(500);
  EXPECT_TRUE(controller.Received().empty());
}

// No reply: three sends, then a time-out. The time-out lines stop after ten in a row and come
// back after a success.
TEST_F(Exchange, NoReplyMeansThreeSendsThenTimeoutAndTheLinesStopAfterTenInARow) {
  bool answer = false;
  controller.SetResponder(
      [&](const ReceivedFrame& r) { return answer ? Healthy(r) : std::vector<ScriptedReply>{}; });
  int64_t start = f.loop.NowUs();
  EXPECT_EQ(Command('D'), 4);
  auto r = controller.Requests();
  ASSERT_EQ(r.size(), 3u);
  // 300 ms reply time-out (seen within one 5 ms check), then a 200 ms pause before each resend.
  for (size_t i = 1; i < r.size(); ++i) {
    int64_t gapMs = (r[i].atUs - r[i - 1].atUs) / 1000;
    EXPECT_GE(gapMs, 500);
    EXPECT_LE(gapMs, 506);
  }
  int64_t totalMs = (f.loop.NowUs() - start) / 1000;
  EXPECT_GE(totalMs, 3 * 300 + 2 * 200);
  EXPECT_LE(totalMs, 3 * 306 + 2 * 200 + 10);
  EXPECT_EQ(f.ctx->store.counters.timeoutErrors, 1);
  EXPECT_EQ(f.ctx->store.counters.consecutiveTimeouts, 1);
  EXPECT_TRUE(f.LogContains(
      "Cmd[D-Get Status]\r\n[B4 11 44 05] Timeout Error: Count[1] Cmd[D-Get Status]"));

  for (int i = 1; i < 12; ++i) EXPECT_EQ(Command('D'), 4);
  EXPECT_EQ(f.LogCount("Timeout Error"), 10);
  EXPECT_EQ(f.ctx->store.counters.timeoutErrors, 12);
  EXPECT_EQ(f.ctx->store.counters.consecutiveTimeouts, 12);
  answer = true;
  EXPECT_EQ(Command('D'), 0);
  EXPECT_EQ(f.ctx->store.counters.consecutiveTimeouts, 0);
  answer = false;
  EXPECT_EQ(Command('D'), 4);
  EXPECT_EQ(f.LogCount("Timeout Error"), 11);
  EXPECT_TRUE(f.LogContains("Timeout Error: Count[13]"));
}

// A refused command is resent and counted, not logged; a lift command waits longer before the
// resend; the counters wrap above 999999.
TEST_F(Exchange, RefusalsAreResentAndCountedButNotLogged) {
  controller.SetResponder([](const ReceivedFrame&) {
    return std::vector<ScriptedReply>{{{0x15}, 0}};
  });
  EXPECT_EQ(Command('J'), 5);
  EXPECT_EQ(controller.Requests().size(), 3u);
  EXPECT_EQ(f.ctx->store.counters.nakCount, 1);
  EXPECT_FALSE(f.LogContains("Cmd[J-Motor On]\r\n[B4 11 4A]"))
      << "a refusal is counted, not logged";
  controller.Clear();
  EXPECT_EQ(Command('5'), 5);
  auto r = controller.Requests();
  ASSERT_EQ(r.size(), 3u);
  int64_t gapMs = (r[1].atUs - r[0].atUs) / 1000;
  EXPECT_GE(gapMs, 500);
  EXPECT_LE(gapMs, 510);
  EXPECT_FALSE(f.ctx->store.LiftsUp);
  f.ctx->store.counters.nakCount = 999999;
  Command('J');
  EXPECT_EQ(f.ctx->store.counters.nakCount, 0);
}

TEST_F(Exchange, BadChecksumIsAnsweredWithNakTwiceThenFails) {
  std::vector<uint8_t> bad = DataFrame("1000000000000001");
  bad[bad.size() - 2] ^= 0x01;  // spoil the checksum's low digit
  controller.SetResponder([&](const ReceivedFrame& r) {
    if (r.IsAck()) return std::vector<ScriptedReply>{};
    return std::vector<ScriptedReply>{{bad, 0}};  // a NAK gets the same frame again
  });
  EXPECT_EQ(Command('D'), 3);
  const auto& all = controller.Received();
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0].command(), 'D');
  EXPECT_TRUE(all[1].IsNak());
  EXPECT_TRUE(all[2].IsNak());
  EXPECT_EQ(f.ctx->store.counters.checksumErrors, 1);
  EXPECT_TRUE(f.LogContains("Checksum Error: Count[1]"));
  EXPECT_FALSE(f.ctx->store.StatusBitsCopy[0]) << "nothing stored from a bad frame";
}

TEST_F(Exchange, OverflowWithoutEndMarkerIsADeviceErrorAfterThreeAttempts) {
  std::vector<uint8_t> flood(300, 'x');
  flood[0] = 0x02;
  controller.SetResponder([&](const ReceivedFrame& r) {
    if (r.IsAck() || r.IsNak()) return std::vector<ScriptedReply>{};
    return std::vector<ScriptedReply>{{flood, 0}};
  });
  EXPECT_EQ(Command('E', 209), 2);
  EXPECT_EQ(controller.Requests().size(), 3u);
  EXPECT_EQ(f.ctx->store.counters.deviceErrors, 1);
  EXPECT_TRUE(f.LogContains("Device Error: Count[1]"));
}

TEST_F(Exchange, ALeadingDollarDoesNotEndTheReply) {
  int attempt = 0;
  controller.SetResponder([&](const ReceivedFrame& r) {
    if (r.IsAck() || r.IsNak()) return std::vector<ScriptedReply>{};
    std::vector<uint8_t> reply = DataFrame("1000000000000001");
    if (attempt++ == 0) reply.insert(reply.begin(), '$');  // not a start byte: bad frame, resend
    return std::vector<ScriptedReply>{{reply, 0}};
  });
  EXPECT_EQ(Command('D'), 0);
  EXPECT_EQ(controller.Requests().size(), 2u);
  EXPECT_TRUE(f.ctx->store.StatusBitsCopy[0]);
  EXPECT_TRUE(f.ctx->store.StatusBitsCopy[15]);
  EXPECT_EQ(f.ctx->store.counters.deviceErrors, 0);
}

TEST_F(Exchange, SuccessfulCommandsSetTheRegulatorAndLiftFlags) {
  controller.SetResponder(Healthy);
  Command('2');
  EXPECT_TRUE(f.LogContains("Internal Dyne Cmd[2-Torque Regulator On]"));
  EXPECT_TRUE(f.ctx->store.RegulatorOn);
  Command('0');
  EXPECT_FALSE(f.ctx->store.RegulatorOn);
  Command('5');
  EXPECT_TRUE(f.ctx->store.LiftsUp);
  Command('6');
  EXPECT_FALSE(f.ctx->store.LiftsUp);
}

// Sixteen '0'/'1' characters set the status bits (the rest of the payload is not examined) and
// each reply is counted, back to 9 after 99999 (the over-temperature bit 13 reaches the copy only
// once it has lasted, so it is left clear here). Any other character among them, or fewer of
// them, is a parse error: counted, logged, asked for again, the bits left as they were.
TEST_F(Exchange, StatusRepliesSetTheBitsOrAreParseErrors) {
  std::string payload;
  controller.SetResponder([&](const ReceivedFrame& r) {
    if (r.IsAck() || r.IsNak()) return std::vector<ScriptedReply>{};
    return std::vector<ScriptedReply>{{DataFrame(payload), 0}};
  });
  for (const char* good : {"1001000000010001", "1111111111111011xx"}) {
    payload = good;
    EXPECT_EQ(Command('D'), 0) << good;
    for (size_t k = 0; k < 16; ++k)
      EXPECT_EQ(f.ctx->store.StatusBitsCopy[k], good[k] == '1') << good << " bit " << k;
  }
  EXPECT_EQ(f.ctx->store.StatusReplyCount, 2);
  f.ctx->store.StatusReplyCount = 99999;
  Command('D');
  EXPECT_EQ(f.ctx->store.StatusReplyCount, 9);
  int errors = 0;
  for (const char* bad : {"0000200000000000", "010000000000000", "0 00000000000000"}) {
    payload = bad;
    controller.Clear();
    EXPECT_EQ(Command('D'), 8) << bad;
    EXPECT_EQ(f.ctx->store.ParseErrorMessage, "Error Parsing Dyne Status Data") << bad;
    EXPECT_EQ(f.ctx->store.counters.parseErrors, ++errors) << bad;
    EXPECT_EQ(controller.Requests().size(), 3u) << bad << ": a bad payload is asked for again";
    for (size_t k = 0; k < 16; ++k)
      EXPECT_EQ(f.ctx->store.DyneStatusBits[k], k != 13) << bad << ": bits stay, " << k;
  }
  EXPECT_TRUE(f.LogContains("Parse Error: Count[1] - Error Parsing Dyne Status Data"));
}

// The test values fill three slots in order, converted: the torque through the roll factor.
TEST_F(Exchange, TestValuesAreStoredByPosition) {
  controller.SetResponder(Healthy);
  f.ctx->store.TorqueSpeedFactor = 150.0f;
  EXPECT_EQ(Command('C'), 0);
  const auto& slots = f.ctx->store.slots;
  EXPECT_EQ(slots[0].variable, 211);
  EXPECT_EQ(slots[1].variable, 231);
  EXPECT_EQ(slots[2].variable, 209);
  EXPECT_EQ(slots[1].controllerUnit, "lbf");
  EXPECT_EQ(slots[1].clientUnit, "ftlb");
  EXPECT_FLOAT_EQ(f.ctx->store.DynePower, 3.5f);
  EXPECT_FLOAT_EQ(f.ctx->store.DyneTorque, 100.0f * 150.0f / 375.0f);
  EXPECT_FLOAT_EQ(f.ctx->store.DyneSpeed, 22.0f);
  EXPECT_EQ(Command('E', 209), 0);
  EXPECT_FLOAT_EQ(f.ctx->store.DyneSpeed, 12.5f);
  EXPECT_FLOAT_EQ(f.ctx->store.PreviousDyneSpeed, 22.0f);
  EXPECT_TRUE(
      f.LogContains("InterfaceKeloCommand: Get Variable (Num:209 Val:12.500 Unit:'') Processed"));
}

}  // namespace
}  // namespace tavkelo
