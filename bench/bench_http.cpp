// Property reads over loopback HTTP: requests per second and latency percentiles of
// GET /automation/objects/{id}/properties/PrimarySpeedMPH on TavKeloASM's server assembled
// in-process (port 0) while the poller runs against the in-process simulator, side by side in the
// same run with an empty cpp-httplib handler, the limit of the HTTP stack on this machine.
//
//   bench_http [SECONDS_PER_ROW]        (default 2; every row is also capped at 200000 requests)
//
// Goals: at least half the empty handler's throughput, and p99 under 1 ms for one client.
// Both servers and all clients set TCP_NODELAY.

#include <httplib.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/BenchServer.hpp"

namespace tavkelo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMaxRequestsPerRow = 200'000;
constexpr int kWarmUpRequests = 200;

// A cpp-httplib server whose handler does nothing but answer a body of the same shape.
class EmptyServer {
 public:
  explicit EmptyServer(size_t keepAliveMaxCount) {
    http_.new_task_queue = [] { return new httplib::ThreadPool(32); };  // as TavKeloASM's
    http_.set_tcp_nodelay(true);
    if (keepAliveMaxCount > 0) http_.set_keep_alive_max_count(keepAliveMaxCount);
    http_.Get("/empty", [](const httplib::Request&, httplib::Response& res) {
      res.set_content(R"({"value":0.0})", "application/json");
    });
    port_ = http_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { http_.listen_after_bind(); });
  }
  ~EmptyServer() {
    http_.stop();
    thread_.join();
  }
  int Port() const { return port_; }

 private:
  httplib::Server http_;
  std::thread thread_;
  int port_ = 0;
};

struct Row {
  std::string target;
  int clients = 0;
  size_t requests = 0;
  size_t errors = 0;
  double seconds = 0;
  double perSecond = 0;
  double p50Us = 0;
  double p99Us = 0;
  double maxUs = 0;
};

double Percentile(std::vector<double>& sorted, double p) {
  if (sorted.empty()) return 0;
  size_t index = static_cast<size_t>(p * static_cast<double>(sorted.size() - 1) + 0.5);
  return sorted[std::min(index, sorted.size() - 1)];
}

// `clients` keep-alive connections, each sending GET path back to back for `seconds`.
Row Measure(const std::string& target, int port, const std::string& path, int clients,
            double seconds) {
  std::vector<std::vector<double>> latencies(static_cast<size_t>(clients));
  std::vector<size_t> errors(static_cast<size_t>(clients), 0);
  std::atomic<int> ready{0};
  std::atomic<bool> go{false};
  const size_t cap = kMaxRequestsPerRow / static_cast<size_t>(clients);
  Clock::time_point start, end;
  std::vector<std::thread> threads;
  for (int c = 0; c < clients; ++c) {
    threads.emplace_back([&, c] {
      httplib::Client client("127.0.0.1", port);
      client.set_tcp_nodelay(true);
      client.set_keep_alive(true);
      client.set_read_timeout(10, 0);
      auto& mine = latencies[static_cast<size_t>(c)];
      mine.reserve(cap);
      for (int i = 0; i < kWarmUpRequests; ++i) client.Get(path.c_str());
      ++ready;
      while (!go.load()) std::this_thread::yield();
      const Clock::time_point until = start + std::chrono::duration_cast<Clock::duration>(
                                                  std::chrono::duration<double>(seconds));
      while (mine.size() < cap) {
        Clock::time_point t0 = Clock::now();
        if (t0 >= until) break;
        auto res = client.Get(path.c_str());
        Clock::time_point t1 = Clock::now();
        if (!res || res->status != 200 || res->body.empty()) ++errors[static_cast<size_t>(c)];
        mine.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
      }
    });
  }
  while (ready.load() < clients) std::this_thread::yield();
  start = Clock::now();
  go = true;
  for (auto& t : threads) t.join();
  end = Clock::now();

  Row row;
  row.target = target;
  row.clients = clients;
  std::vector<double> all;
  for (auto& l : latencies) all.insert(all.end(), l.begin(), l.end());
  for (size_t e : errors) row.errors += e;
  std::sort(all.begin(), all.end());
  row.requests = all.size();
  row.seconds = std::chrono::duration<double>(end - start).count();
  row.perSecond = static_cast<double>(row.requests) / row.seconds;
  row.p50Us = Percentile(all, 0.50);
  row.p99Us = Percentile(all, 0.99);
  row.maxUs = all.empty() ? 0 : all.back();
  return row;
}

std::string Machine() {
  std::string model = "unknown CPU";
  std::ifstream cpuinfo("/proc/cpuinfo");
  for (std::string line; std::getline(cpuinfo, line);) {
    if (line.rfind("model name", 0) == 0) {
      model = line.substr(line.find(':') + 2);
      break;
    }
  }
  utsname u{};
  ::uname(&u);
  return model + ", " + std::to_string(std::thread::hardware_concurrency()) +
         " hardware threads, " + u.sysname + " " + u.release;
}

void Print(const Row& r) {
  std::printf("%-44s %7d %9zu %10.0f %9.1f %9.1f %10.1f %6zu\n", r.target.c_str(), r.clients,
              r.requests, r.perSecond, r.p50Us, r.p99Us, r.maxUs, r.errors);
}

int Main(int argc, char** argv) {
  double seconds = argc > 1 ? std::atof(argv[1]) : 2.0;
  if (seconds <= 0 || seconds > 60) {
    std::fprintf(stderr, "usage: bench_http [SECONDS_PER_ROW (0 to 60, default 2)]\n");
    return 2;
  }
#ifdef NDEBUG
  const char* build = "optimized (NDEBUG)";
#else
  const char* build = "DEBUG BUILD: figures are not representative";
#endif
  std::printf("bench_http: %s\n  %s; cpp-httplib %s; %.1f s per row (at most %zu requests)\n\n",
              Machine().c_str(), build, CPPHTTPLIB_VERSION, seconds, kMaxRequestsPerRow);

  bench::RealTimeServer server("bench-http");
  if (!server.ConsoleConnected()) {
    std::fprintf(stderr, "bench_http: the console did not connect to the simulated dyne\n");
    return 1;
  }
  httplib::Client setup("127.0.0.1", server.Port());
  setup.set_tcp_nodelay(true);
  auto created = setup.Post("/automation/objects", R"({"leaseSeconds": 3600})", "application/json");
  if (!created || created->status != 201) {
    std::fprintf(stderr, "bench_http: cannot create an object\n");
    return 1;
  }
  const std::string id = nlohmann::json::parse(created->body)["id"];
  // A new object resets the link, as Class_Initialize does: the client connects it again.
  const std::string methods = "/automation/objects/" + id + "/methods/";
  setup.Post((methods + "Init").c_str(), R"({"args": [true, 1, 9600, "N"]})", "application/json");
  auto connect = setup.Post((methods + "Connect").c_str(), "{}", "application/json");
  if (!connect || nlohmann::json::parse(connect->body)["result"] != true) {
    std::fprintf(stderr, "bench_http: the object did not connect to the simulated dyne\n");
    return 1;
  }
  const std::string property = "/automation/objects/" + id + "/properties/PrimarySpeedMPH";
  auto probe = setup.Get(property.c_str());
  std::printf("  GET %s -> %d %s\n", property.c_str(), probe ? probe->status : 0,
              probe ? probe->body.c_str() : "");
  auto cyclesPerSecond = [&](uint64_t before, double elapsed) {
    return static_cast<double>(server.PollCycles() - before) / elapsed;
  };
  // The poller's own pace with nobody reading: one cycle a second while the rolls stand still.
  uint64_t idleBefore = server.PollCycles();
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  std::printf("  poller, dyne at rest, no HTTP load: %.1f cycles per second\n\n",
              cyclesPerSecond(idleBefore, seconds));

  EmptyServer emptyDefault(0);          // cpp-httplib's default: 5 requests per connection
  EmptyServer emptyLongLived(1000000);  // connections kept for good

  std::printf("%-44s %7s %9s %10s %9s %9s %10s %6s\n", "target", "clients", "requests", "req/s",
              "p50 us", "p99 us", "max us", "errors");
  struct Result {
    Row empty, emptyLong, rest, busy;
    double restCycles = 0, busyCycles = 0;
  };
  std::vector<Result> results(2);
  const int clientCounts[2] = {1, 8};
  for (size_t i = 0; i < 2; ++i) {
    Result& r = results[i];
    r.empty = Measure("empty handler (keep-alive max 5, default)", emptyDefault.Port(), "/empty",
                      clientCounts[i], seconds);
    Print(r.empty);
    r.emptyLong = Measure("empty handler (keep-alive unlimited)", emptyLongLived.Port(), "/empty",
                          clientCounts[i], seconds);
    Print(r.emptyLong);
    uint64_t before = server.PollCycles();
    r.rest =
        Measure("property read, dyne at rest", server.Port(), property, clientCounts[i], seconds);
    r.restCycles = cyclesPerSecond(before, r.rest.seconds);
    Print(r.rest);
  }

  // A vehicle drives the rolls with the motor off: the poller now runs cycle after cycle, as
  // while the rolls coast in a test.
  auto drive = setup.Post("/api/sim", R"({"command": "drive speed 30"})", "application/json");
  if (!drive || drive->status != 200) {
    std::fprintf(stderr, "bench_http: the simulator refused to drive\n");
    return 1;
  }
  std::this_thread::sleep_for(std::chrono::seconds(3));
  uint64_t drivingBefore = server.PollCycles();
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  std::printf(
      "-- a vehicle drives the rolls at 30 mph; poller with no HTTP load: %.1f cycles per second\n",
      cyclesPerSecond(drivingBefore, seconds));
  for (size_t i = 0; i < 2; ++i) {
    Result& r = results[i];
    uint64_t before = server.PollCycles();
    r.busy = Measure("property read, poller running continuously", server.Port(), property,
                     clientCounts[i], seconds);
    r.busyCycles = cyclesPerSecond(before, r.busy.seconds);
    Print(r.busy);
  }

  std::printf(
      "\nagainst the goals (TavKeloASM keeps its connections open, so the like-for-like\n"
      "baseline is the empty handler with unlimited keep-alive):\n");
  for (const Result& r : results) {
    for (const Row* read : {&r.rest, &r.busy}) {
      double ratio = read->perSecond / r.emptyLong.perSecond;
      std::printf(
          "  %d client%s %-44s reads/empty %.2f (goal >= 0.50: %s), reads/default-keep-alive empty "
          "%.2f, "
          "poller %.1f cycles/s\n",
          read->clients, read->clients == 1 ? ", " : "s,", (read->target + ":").c_str(), ratio,
          ratio >= 0.5 ? "met" : "MISSED", read->perSecond / r.empty.perSecond,
          read == &r.rest ? r.restCycles : r.busyCycles);
    }
  }
  for (const Row* one : {&results[0].rest, &results[0].busy}) {
    std::printf("  1 client, %-44s p99 %.1f us (goal < 1000 us: %s)\n", (one->target + ":").c_str(),
                one->p99Us, one->p99Us < 1000.0 ? "met" : "MISSED");
  }
  size_t errors = 0;
  for (const Result& r : results)
    errors += r.empty.errors + r.emptyLong.errors + r.rest.errors + r.busy.errors;
  if (errors != 0) std::printf("  %zu requests failed\n", errors);
  return errors == 0 ? 0 : 1;
}

}  // namespace
}  // namespace tavkelo

int main(int argc, char** argv) {
  return tavkelo::Main(argc, argv);
}
