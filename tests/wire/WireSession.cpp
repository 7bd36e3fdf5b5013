// kelo-wire-session DEVICE FOLDER: one scripted client session on a real serial line, the same
// on every platform, so that the requests a simulator logs can be compared between builds.
// Init and Connect (the handshake), one whole poll cycle, a written variable (the equivalent
// weight), DisConnect. The readings are suspended right after Connect, so the poller ends the
// cycle it began and the session's frames do not depend on how fast the machine is.
// FOLDER holds the session's INI file and logs. Exit status 0 when every step succeeded.

#include <cstdio>
#include <memory>
#include <string>

#include "automation/clsKeloInterface.hpp"
#include "host/HostContext.hpp"
#include "link/KeloContext.hpp"
#include "platform/NamedSemaphore.hpp"
#include "platform/SerialDevices.hpp"
#include "runtime/RealTimeLoop.hpp"

using namespace tavkelo;

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: kelo-wire-session DEVICE FOLDER\n");
    return 2;
  }
  const std::string device = argv[1];
  const std::string folder = argv[2];
  RealTimeLoop loop;
  HostOptions options;
  options.programFilePath = folder + "/TavKeloASM";
  options.instanceLockPath = folder + "/TavKeloASM.lock";
  options.semaphoreSuffix = "-wire-session";
  options.echoNotices = false;
  HostContext host(loop, options);
  KeloContext ctx(host);
  ctx.openPort = [&](int16_t) { return MakeSerialChannel(loop, device); };

  int failures = 0;
  auto check = [&](bool ok, const char* step) {
    std::printf("%s %s\n", ok ? "ok  " : "FAIL", step);
    if (!ok) ++failures;
  };
  loop.Post([&] {
    auto ki = std::make_unique<clsKeloInterface>(ctx);
    ki->Init(true, 1, 9600, "N");
    check(ki->Connect(), "Connect");
    if (ki->Connected()) {
      const int32_t before = ctx.store.StatusReplyCount;
      check(loop.PumpUntil([&] { return ctx.store.StatusReplyCount >= before + 2; }, 10000),
            "two poll cycles");
      check(ki->SetSystemParameter(gQRTXSPITWDEquivalentWeight, 3175.5f) == gQRTXErrNoError,
            "SetSystemParameter(TWDEquivalentWeight, 3175.5)");
      ki->DisConnect();
      check(!ki->Connected(), "DisConnect");
    }
    ki.reset();
    loop.Stop();
  });
  loop.Run();
  NamedSemaphore::Remove("KeloReadingsLock" + options.semaphoreSuffix);
  NamedSemaphore::Remove("KeloInterfaceLock" + options.semaphoreSuffix);
  std::printf("%d failed\n", failures);
  return failures == 0 ? 0 : 1;
}
