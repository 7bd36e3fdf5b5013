// What telemetry costs the station: property reads over loopback HTTP (PrimarySpeedMPH, back to
// back on one keep-alive connection) and the poll cycle rate of TavKeloASM's server assembled
// in-process against the simulator, first bare, then with MQTT readings at 10 Hz to a mosquitto
// broker that the benchmark starts on a free port and a /metrics scrape every second. The rows
// alternate, twice each, so that the machine's drift falls on both.
//
//   bench_telemetry [SECONDS_PER_ROW]        (default 5)
//
// Goal: with telemetry, both figures within 5% of the bare ones.

#include <httplib.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/BenchServer.hpp"
#include "support/LoopbackSocket.hpp"

extern char** environ;

namespace tavkelo {
namespace {

using Clock = std::chrono::steady_clock;

struct Row {
  double readsPerSecond = 0;
  double cyclesPerSecond = 0;
  size_t scrapes = 0;
};

Row Measure(const std::string& mqttUrl, double seconds) {
  bench::RealTimeServer server("bench-telemetry", [&](ServerOptions& options) {
    options.mqtt.url = mqttUrl;
    options.mqtt.station = "bench";
    options.mqtt.readingsHz = 10;
  });
  const auto settle = Clock::now() + std::chrono::seconds(5);
  while (!mqttUrl.empty() &&
         !(server.Assembly().Mqtt() && server.Assembly().Mqtt()->BrokerConnected()) &&
         Clock::now() < settle)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  httplib::Client client("127.0.0.1", server.Port());
  client.set_tcp_nodelay(true);
  client.set_keep_alive(true);
  auto id = client.Post("/automation/objects", "{}", "application/json");
  const std::string path = "/automation/objects/" + id->body.substr(7, id->body.find('"', 7) - 7) +
                           "/properties/PrimarySpeedMPH";
  for (int i = 0; i < 200; ++i) client.Get(path.c_str());

  std::atomic<bool> done{false};
  Row row;
  std::thread scraper([&] {
    if (mqttUrl.empty()) return;
    httplib::Client prometheus("127.0.0.1", server.Port());
    auto next = Clock::now();
    while (!done) {
      if (Clock::now() >= next) {
        if (auto res = prometheus.Get("/metrics"); res && res->status == 200) ++row.scrapes;
        next += std::chrono::seconds(1);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  const uint64_t cycles0 = server.PollCycles();
  const auto start = Clock::now();
  const auto until =
      start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  size_t reads = 0;
  while (Clock::now() < until) {
    if (auto res = client.Get(path.c_str()); res && res->status == 200) ++reads;
  }
  const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  const uint64_t cycles = server.PollCycles() - cycles0;
  done = true;
  scraper.join();
  row.readsPerSecond = static_cast<double>(reads) / elapsed;
  row.cyclesPerSecond = static_cast<double>(cycles) / elapsed;
  return row;
}

}  // namespace
}  // namespace tavkelo

int main(int argc, char** argv) {
  using namespace tavkelo;
  const double seconds = argc > 1 ? std::atof(argv[1]) : 5.0;
  test::TempDir dir;
  const int port = test::LoopbackSocket(false).Port();
  const std::string conf = dir.File("mosquitto.conf");
  test::WriteFile(conf, "listener " + std::to_string(port) + " 127.0.0.1\nallow_anonymous true\n");
  const char* brokerArgv[] = {"/usr/sbin/mosquitto", "-c", conf.c_str(), nullptr};
  pid_t broker = -1;
  if (posix_spawn(&broker, brokerArgv[0], nullptr, nullptr, const_cast<char**>(brokerArgv),
                  environ) != 0) {
    std::fprintf(stderr, "bench_telemetry: cannot start %s\n", brokerArgv[0]);
    return 1;
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const std::string url = "mqtt://127.0.0.1:" + std::to_string(port);

  std::printf("%-34s %14s %14s %8s\n", "row", "reads/s", "poll cycles/s", "scrapes");
  double bare[2] = {0, 0}, with[2] = {0, 0};
  for (int round = 0; round < 2; ++round) {
    for (bool telemetry : {false, true}) {
      Row r = Measure(telemetry ? url : "", seconds);
      std::printf("%-34s %14.0f %14.2f %8zu\n",
                  telemetry ? "MQTT 10 Hz + scrape every second" : "bare", r.readsPerSecond,
                  r.cyclesPerSecond, r.scrapes);
      double* sums = telemetry ? with : bare;
      sums[0] += r.readsPerSecond;
      sums[1] += r.cyclesPerSecond;
    }
  }
  std::printf("with telemetry: reads %.1f%%, poll cycles %.1f%% of bare (goal: within 5%%)\n",
              100.0 * with[0] / bare[0], 100.0 * with[1] / bare[1]);
  ::kill(broker, SIGTERM);
  ::waitpid(broker, nullptr, 0);
  return 0;
}
