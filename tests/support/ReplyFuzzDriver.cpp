#include "support/ReplyFuzzDriver.hpp"

#include "support/LinkFixture.hpp"
#include "support/ScriptedController.hpp"

namespace tavkelo::test {

bool IsExchangeResult(int32_t r) {
  return r == 0 || r == 2 || r == 3 || r == 4 || r == 5 || r == 8;
}

std::vector<int32_t> RunExchangesWithReplies(const uint8_t* data, size_t size) {
  static const uint8_t kCommands[] = {'C', 'D', 'E', 'E', 'J', '5', 'F'};
  LinkFixture f(0);
  ScriptedController controller(f.loop, f.line->DeviceEnd());
  f.ConnectLink();
  size_t pos = 0;
  auto take = [&](size_t n) {
    size_t start = pos;
    pos = std::min(size, pos + n);
    return std::vector<uint8_t>(data + start, data + pos);
  };
  // Each reply: a header byte (low 7 bits: the length; high bit: a delay byte follows, in
  // 2 ms steps), then the reply's bytes.
  controller.SetResponder([&](const ReceivedFrame&) {
    std::vector<ScriptedReply> replies;
    if (pos >= size) return replies;
    uint8_t header = data[pos++];
    int64_t delayUs = 0;
    if ((header & 0x80) != 0 && pos < size) delayUs = static_cast<int64_t>(data[pos++]) * 2000;
    replies.push_back({take(header & 0x7Fu), delayUs});
    return replies;
  });
  std::vector<int32_t> results;
  while (pos + 2 <= size && results.size() < 16) {
    uint8_t command = kCommands[data[pos++] % sizeof kCommands];
    uint8_t variable = data[pos++];
    results.push_back(f.ctx->polling.InterfaceKeloCommand(command, variable, 1.5f));
    f.loop.PumpFor(50);
  }
  return results;
}

}  // namespace tavkelo::test
