// What the history costs the station, and how fast it answers:
//  1. a whole simulated coastdown on TavKeloASM's server assembled in-process on virtual time,
//     with the history on and off: poll cycles per second of CPU (the poller's work, the history's
//     recording included; the writer thread's share is not on the loop). Rows alternate, twice
//     each.
//  2. a history of 10,000 runs: the first page, a page deep into the list by cursor, a filtered
//     page and one run, over loopback HTTP, each the median of 50 requests.
//
//   bench_history [COASTDOWNS_PER_ROW]        (default 3)
//
// Goals: with history the poll cycle rate within 2% of that without; every request under 50 ms.

#include <httplib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "runtime/VirtualTimeLoop.hpp"
#include "support/BenchServer.hpp"

namespace tavkelo {
namespace {

double CpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

struct Rig {
  test::TempDir folder;
  VirtualTimeLoop loop;
  std::unique_ptr<ServerAssembly> server;

  explicit Rig(bool history) {
    ServerOptions options = bench::BenchOptions(folder, "bench-history");
    options.history = history;
    server = std::make_unique<ServerAssembly>(loop, options);
    bench::RequireReady(*server, "bench_history");
    if (!server->ConnectConsole(1)) {
      std::fprintf(stderr, "bench_history: the console did not connect\n");
      std::exit(1);
    }
  }
  ~Rig() { server->Release(); }
};

// Poll cycles per CPU second over `coastdowns` coastdowns.
double CoastdownRate(bool history, int coastdowns) {
  Rig rig(history);
  clsKeloInterface& console = rig.server->Server().Console();
  rig.loop.PumpFor(1500);
  const uint64_t cycles0 = rig.server->Server().Monitor().PollCycles();
  const double cpu0 = CpuSeconds();
  for (int i = 0; i < coastdowns; ++i) {
    if (console.StartTest(gQRTXTICoastDown) != gQRTXErrNoError) {
      std::fprintf(stderr, "bench_history: the coastdown did not start\n");
      std::exit(1);
    }
    rig.loop.PumpUntil([&] { return console.CurTest() == gQRTXTINoTest; }, 900'000);
    rig.loop.PumpFor(2000);
  }
  const double cpu = CpuSeconds() - cpu0;
  return static_cast<double>(rig.server->Server().Monitor().PollCycles() - cycles0) / cpu;
}

double MedianMs(httplib::Client& client, const std::string& path, int times) {
  std::vector<double> ms;
  for (int i = 0; i < times; ++i) {
    const auto start = std::chrono::steady_clock::now();
    auto res = client.Get(path);
    if (!res || res->status != 200) {
      std::fprintf(stderr, "bench_history: %s failed\n", path.c_str());
      std::exit(1);
    }
    ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                     .count());
  }
  std::sort(ms.begin(), ms.end());
  return ms[ms.size() / 2];
}

void Paging() {
  Rig rig(true);
  HistoryStore& store = *rig.server->History();
  const char* kinds[] = {"coastdown", "parasitics", "warmup", "asm"};
  for (int i = 0; i < 10000; ++i) {
    RunRow row;
    row.id = store.NextId();
    row.kind = kinds[i % 4];
    row.status = i % 7 ? "completed" : "aborted";
    row.passed = i % 7 != 0;
    row.startUnix = 1.7e9 + i * 3600.0;
    row.endUnix = row.startUnix + 120;
    row.results = {{"highActualSeconds", 7.5}, {"lowActualSeconds", 3.0}, {"coefK", 1.25}};
    row.parameters = {{"highWindowTopMph", 30}, {"lowWindowTopMph", 20}};
    store.InsertRun(row);
  }
  store.Flush();
  std::string error;
  if (!rig.server->Serve(error)) {
    std::fprintf(stderr, "bench_history: %s\n", error.c_str());
    std::exit(1);
  }
  httplib::Client client("127.0.0.1", rig.server->Server().Port());
  // A cursor 9,000 runs deep.
  auto deep = client.Get("/api/history?limit=1000");
  std::string cursor = nlohmann::json::parse(deep->body)["nextCursor"];
  for (int i = 0; i < 8; ++i) {
    deep = client.Get("/api/history?limit=1000&cursor=" + cursor);
    cursor = nlohmann::json::parse(deep->body)["nextCursor"];
  }
  const std::pair<const char*, std::string> rows[] = {
      {"first page (50)", "/api/history"},
      {"page 9,000 runs deep (50)", "/api/history?cursor=" + cursor},
      {"coastdowns since a date (50)", "/api/history?kind=coastdown&since=2024-01-01"},
      {"one run", "/api/history/5000"},
  };
  std::printf("\n10,000 stored runs, median of 50 requests over loopback HTTP (goal < 50 ms):\n");
  for (const auto& [name, path] : rows) {
    std::printf("  %-32s %8.2f ms\n", name, MedianMs(client, path, 50));
  }
  rig.server->BeginStop();
  while (!rig.server->ListenerDone()) rig.loop.PumpFor(10);
}

}  // namespace
}  // namespace tavkelo

int main(int argc, char** argv) {
  using namespace tavkelo;
  const int coastdowns = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
  std::printf(
      "Poll cycles per CPU second during %d simulated coastdown(s) (goal: on within 2%% of "
      "off):\n",
      coastdowns);
  double on = 0, off = 0;
  for (int round = 0; round < 2; ++round) {
    const double a = CoastdownRate(false, coastdowns);
    const double b = CoastdownRate(true, coastdowns);
    std::printf("  history off %10.0f    history on %10.0f\n", a, b);
    off += a;
    on += b;
  }
  std::printf("  history on / off: %.3f\n", on / off);
  Paging();
  return 0;
}
