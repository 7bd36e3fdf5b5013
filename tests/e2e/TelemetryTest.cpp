// What a fleet sees of a station, against the real tools: GET /metrics read by Prometheus's own
// parser (promtool), and the MQTT telemetry through a real mosquitto broker that the test starts
// on a free loopback port, stops and starts again, with mosquitto_sub as the subscriber; and
// TavKeloASM stopped while the broker is away, whose next start sends what was left first.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <map>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "E2eRig.hpp"
#include "RemoteKeloInterface.hpp"
#include "support/LoopbackSocket.hpp"
#include "support/TempDir.hpp"

namespace tavkelo::e2e {
namespace {

using Clock = std::chrono::steady_clock;

// The value of the sample `series` ("name" or "name{label=\"value\"}") in an exposition; -1 when
// it is not there.
double SampleValue(const std::string& text, const std::string& series) {
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.rfind(series + " ", 0) == 0) return std::stod(line.substr(series.size() + 1));
  }
  return -1;
}

std::string Scrape(AutomationClient& client) {
  httplib::Client http(client.BaseUrl());
  auto res = http.Get("/metrics");
  if (!res || res->status != 200) throw std::runtime_error("GET /metrics failed");
  EXPECT_EQ(res->get_header_value("Content-Type"), "text/plain; version=0.0.4; charset=utf-8");
  return res->body;
}

TEST(Metrics, PassPromtoolCountTheLinksFaultsAsTheLinkDoesAndOnlyGoUp) {
  E2eRig rig;
  rig.WriteIni(63);
  E2eRig::Server server = rig.StartServer({"--simulate"});
  AutomationClient client(server.url);
  client.Readings();  // a request of the readings group, counted below

  // Faults on the line: checksums the link answers with NAK, and replies that never come.
  client.Simulator("inject checksum 3");
  client.Simulator("inject silence 8");
  const auto deadline = Clock::now() + kTimeout;
  std::string first;
  nlohmann::json counters;
  do {
    std::this_thread::sleep_for(Millis(100));
    first = Scrape(client);
    counters = client.Readings()["counters"];
  } while ((counters["timeoutErrors"] == 0 || counters["checksumErrors"] == 0 ||
            SampleValue(first, R"(tavkelo_link_errors_total{kind="timeout"})") !=
                counters["timeoutErrors"].get<double>()) &&
           Clock::now() < deadline);
  // The link counts a failed exchange once, whatever its retries: the totals equal its counters.
  for (const auto& [kind, field] : std::map<std::string, std::string>{
           {"checksum", "checksumErrors"}, {"timeout", "timeoutErrors"}, {"nak", "naks"}}) {
    EXPECT_EQ(SampleValue(first, "tavkelo_link_errors_total{kind=\"" + kind + "\"}"),
              counters[field].get<double>())
        << kind << "\n"
        << first;
  }
  EXPECT_GT(counters["timeoutErrors"].get<int>(), 0);
  EXPECT_EQ(SampleValue(first, "tavkelo_link_connected"), 1);
  EXPECT_GT(SampleValue(first, "tavkelo_poll_cycles_total"), 0);
  EXPECT_GT(SampleValue(first, "tavkelo_link_exchange_duration_seconds_count"), 0);
  EXPECT_GE(SampleValue(first, R"(tavkelo_http_requests_total{group="readings",status="200"})"), 1);
  EXPECT_NE(first.find("tavkelo_build_info{version=\""), std::string::npos);
  // The schedule from the history: each kind in exactly one state.
  for (const char* kind : {"coastdown", "parasitics", "load_cell", "weight_scales"}) {
    double states = 0;
    for (const char* state : {"ok", "due", "overdue", "never_run"}) {
      const double v = SampleValue(first, std::string("tavkelo_schedule_state{kind=\"") + kind +
                                              "\",state=\"" + state + "\"}");
      EXPECT_TRUE(v == 0 || v == 1) << kind << " " << state << " " << v;
      states += v;
    }
    EXPECT_EQ(states, 1) << kind;
  }

  // Prometheus's own parser and linter find nothing wrong.
  test::TempDir dir;
  test::WriteFile(dir.File("metrics.txt"), first);
  RunResult check =
      RunToEnd({"/bin/sh", "-c", "promtool check metrics < '" + dir.File("metrics.txt") + "'"}, {},
               kTimeout);
  EXPECT_EQ(check.status, 0) << check.out << check.err;
  EXPECT_EQ(check.out + check.err, "") << "promtool lints nothing";

  // A later scrape: no counter went down.
  std::this_thread::sleep_for(Millis(300));
  const std::string second = Scrape(client);
  std::regex counterType(R"(# TYPE (\S+) (counter|histogram)\n)");
  int counted = 0;
  for (std::sregex_iterator it(first.begin(), first.end(), counterType), end; it != end; ++it) {
    const std::string name = (*it)[1];
    std::istringstream lines(first);
    std::string line;
    while (std::getline(lines, line)) {
      if (line.rfind(name, 0) != 0 || line[0] == '#') continue;
      const std::string series = line.substr(0, line.rfind(' '));
      const double before = std::stod(line.substr(line.rfind(' ') + 1));
      const double after = SampleValue(second, series);
      EXPECT_GE(after, before) << series;
      ++counted;
    }
  }
  EXPECT_GT(counted, 50);
  ASSERT_EQ(E2eRig::Stop(server), 0) << Describe(*server.process);
}

// The user this test runs as: a broker started by root would otherwise turn into the user
// "mosquitto", which may not write the test's folder.
std::string UserName() {
  const passwd* user = ::getpwuid(::geteuid());
  return user != nullptr ? user->pw_name : "root";
}

// A mosquitto broker of the test's own on a free loopback port, its sessions kept on disk so
// that a stop and a start lose no subscriber's queued messages.
class Broker {
 public:
  Broker() : port_(test::LoopbackSocket(false).Port()) {
    test::WriteFile(dir_.File("mosquitto.conf"),
                    "listener " + std::to_string(port_) +
                        " 127.0.0.1\nallow_anonymous true\npersistence true\n"
                        "persistence_location " +
                        dir_.Path() + "/\nuser " + UserName() + "\n");
  }
  void Start() {
    process_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"/usr/sbin/mosquitto", "-c", dir_.File("mosquitto.conf")},
        Environment{});
    // Ready once its port takes connections.
    const auto deadline = Clock::now() + kTimeout;
    while (!Accepts()) {
      if (Clock::now() > deadline)
        throw std::runtime_error("mosquitto did not start: " + Describe(*process_));
      std::this_thread::sleep_for(Millis(20));
    }
  }
  void Stop() {
    process_->Signal(SIGTERM);
    process_->Wait(kTimeout);
  }
  int Port() const { return port_; }
  bool Accepts() const {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port_));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return ok;
  }
  std::string Url() const { return "mqtt://127.0.0.1:" + std::to_string(port_); }

  // mosquitto_sub with a session that outlives it (client id `id`), QoS 1, topic and payload.
  std::unique_ptr<ChildProcess> Subscribe(const std::string& id, const std::string& topic) const {
    return std::make_unique<ChildProcess>(
        std::vector<std::string>{"/usr/bin/mosquitto_sub", "-h", "127.0.0.1", "-p",
                                 std::to_string(port_), "-q", "1", "-c", "-i", id, "-v", "-t",
                                 topic},
        Environment{});
  }

 private:
  test::TempDir dir_;
  int port_;
  std::unique_ptr<ChildProcess> process_;
};

// The events (topic .../events) in a subscriber's output.
std::vector<nlohmann::json> Events(const ChildProcess& sub) {
  std::vector<nlohmann::json> events;
  std::istringstream lines(sub.Stdout());
  std::string line;
  while (std::getline(lines, line)) {
    if (line.rfind("tavkelo/lane1/events ", 0) == 0)
      events.push_back(nlohmann::json::parse(line.substr(line.find(' ') + 1)));
  }
  return events;
}

// The last state (topic .../state) in a subscriber's output; null when none came.
nlohmann::json LastState(const ChildProcess& sub) {
  nlohmann::json state;
  std::istringstream lines(sub.Stdout());
  std::string line;
  while (std::getline(lines, line)) {
    if (line.rfind("tavkelo/lane1/state ", 0) == 0)
      state = nlohmann::json::parse(line.substr(line.find(' ') + 1));
  }
  return state;
}

std::string UtcText(int64_t unix) {
  const auto seconds = static_cast<time_t>(unix);
  struct tm t {};
  gmtime_r(&seconds, &t);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &t);
  return text;
}

// A client object connected to the station, its lifts down.
std::unique_ptr<RemoteKeloInterface> Connected(AutomationClient& client) {
  auto k = std::make_unique<RemoteKeloInterface>(client);
  k->Init(true, 1, 9600, "N");
  EXPECT_TRUE(k->Connect());
  EXPECT_EQ(k->LowerLifts(true, false), gQRTXErrNoError);
  return k;
}

// Runs a constant-target test from start to end through a client object.
void RunATest(RemoteKeloInterface& k) {
  ASSERT_EQ(k.StartTest(gQRTXTIConstantTarget), gQRTXErrNoError);
  ASSERT_EQ(k.StopTest(), gQRTXErrNoError);
  const auto deadline = Clock::now() + kTimeout;
  while (k.CurTest() != gQRTXTINoTest && Clock::now() < deadline)
    std::this_thread::sleep_for(Millis(50));
}

// Every event once, in order: the numbers run from 1 without a gap, through `runs` tests.
void ExpectEveryEventInOrder(const std::vector<nlohmann::json>& all, size_t runs) {
  std::vector<std::string> testEvents;
  for (size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(all[i]["seq"], i + 1) << all[i];
    EXPECT_EQ(all[i]["station"], "lane1");
    const std::string type = all[i]["type"];
    if (type.rfind("test", 0) == 0) testEvents.push_back(type);
  }
  std::vector<std::string> expected;
  for (size_t r = 0; r < runs; ++r) expected.insert(expected.end(), {"testStarted", "testEnded"});
  EXPECT_EQ(testEvents, expected);
  ASSERT_FALSE(all.empty());
  EXPECT_EQ(all.back()["outcome"], "completed");
  EXPECT_EQ(all.back()["testName"], "Constant Target");
}

TEST(Mqtt, StateWillReadingsAndNumberedEventsSurviveABrokerOutageAndARestart) {
  Broker broker;
  broker.Start();
  std::unique_ptr<ChildProcess> sub = broker.Subscribe("fleet", "tavkelo/lane1/#");
  std::this_thread::sleep_for(Millis(300));  // the subscription is in place before anything
  E2eRig rig;
  rig.WriteIni(63);
  const std::vector<std::string> args = {"--simulate", "--mqtt",      broker.Url(), "--station",
                                         "lane1",      "--mqtt-rate", "10"};
  const std::string history = rig.DataDir() + "/../TavKeloASM.history.sqlite";
  E2eRig::Server server = rig.StartServer(args);
  ASSERT_TRUE(sub->WaitForLine("tavkelo/lane1/status online", kTimeout)) << Describe(*sub);
  ASSERT_TRUE(sub->WaitForLine("tavkelo/lane1/readings {", kTimeout)) << Describe(*sub);
  AutomationClient client(server.url);
  std::unique_ptr<RemoteKeloInterface> k = Connected(client);
  RunATest(*k);
  ASSERT_TRUE(sub->WaitForLine("\"type\":\"testEnded\"", kTimeout)) << Describe(*sub);

  // A newcomer gets the retained status and state at once.
  RunResult retained = RunToEnd(
      {"/usr/bin/mosquitto_sub", "-h", "127.0.0.1", "-p", std::to_string(broker.Port()), "-v", "-C",
       "2", "-W", "10", "-t", "tavkelo/lane1/status", "-t", "tavkelo/lane1/state"},
      {}, kTimeout);
  EXPECT_NE(retained.out.find("tavkelo/lane1/status online\n"), std::string::npos) << retained.out;
  const size_t state = retained.out.find("tavkelo/lane1/state ");
  ASSERT_NE(state, std::string::npos) << retained.out;
  const nlohmann::json stateJson = nlohmann::json::parse(
      retained.out.substr(state + 20, retained.out.find('\n', state) - state - 20));
  EXPECT_EQ(stateJson["connected"], true);
  EXPECT_EQ(stateJson["link"], "up");
  EXPECT_EQ(stateJson["schedule"]["coastdown"]["state"], "never_run") << stateJson;

  // The subscriber leaves (its session stays with the broker), the broker goes away, a test runs
  // meanwhile, the broker comes back, and so does the subscriber.
  sub->Signal(SIGTERM);
  sub->Wait(kTimeout);
  std::vector<nlohmann::json> all = Events(*sub);
  broker.Stop();
  RunATest(*k);
  EXPECT_EQ(SampleValue(Scrape(client), "tavkelo_mqtt_connected"), 0);
  broker.Start();
  // The outbox empties into the broker, which keeps the events for the absent subscriber.
  const auto deadline = Clock::now() + kTimeout;
  while (SampleValue(Scrape(client), "tavkelo_mqtt_outbox_events") != 0 &&
         Clock::now() < deadline) {
    std::this_thread::sleep_for(Millis(50));
  }
  const std::string metrics = Scrape(client);
  EXPECT_EQ(SampleValue(metrics, "tavkelo_mqtt_connects_total"), 2);
  EXPECT_EQ(SampleValue(metrics, "tavkelo_mqtt_events_dropped_total"), 0);
  std::unique_ptr<ChildProcess> again = broker.Subscribe("fleet", "tavkelo/lane1/#");
  ASSERT_TRUE(again->WaitForLine("\"type\":\"testEnded\"", kTimeout)) << Describe(*again);
  std::vector<nlohmann::json> outage = all;
  for (const nlohmann::json& e : Events(*again)) outage.push_back(e);
  ExpectEveryEventInOrder(outage, 2);

  // Killed, TavKeloASM cannot say goodbye: the broker publishes its last will.
  server.process->Signal(SIGKILL);
  server.process->Wait(kTimeout);
  EXPECT_TRUE(again->WaitForLine("tavkelo/lane1/status offline", kTimeout)) << Describe(*again);
  again->Signal(SIGTERM);
  again->Wait(kTimeout);
  for (const nlohmann::json& e : Events(*again)) all.push_back(e);

  // Stopped while the broker is away, TavKeloASM leaves what it could not send in the history
  // file; the next start sends that first and numbers on.
  broker.Stop();
  server = rig.StartServer(args);
  {
    AutomationClient second(server.url);
    RunATest(*Connected(second));
  }
  ASSERT_EQ(E2eRig::Stop(server), 0) << Describe(*server.process);
  EXPECT_EQ(Sqlite(history, "SELECT group_concat(json_extract(payload, '$.type')) FROM outbox"),
            "testStarted,testEnded");
  // A coastdown passed a day ago: the state says when it falls due.
  const int64_t dayAgo = static_cast<int64_t>(std::time(nullptr)) - 86400;
  Sqlite(history,
         "INSERT INTO runs (kind, status, start_unix, end_unix, passed) VALUES "
         "('coastdown', 'completed', " +
             std::to_string(dayAgo) + ", " + std::to_string(dayAgo) + ", 1)");
  broker.Start();
  std::unique_ptr<ChildProcess> third = broker.Subscribe("fleet", "tavkelo/lane1/#");
  server = rig.StartServer(args);
  ASSERT_TRUE(third->WaitForLine("\"type\":\"testEnded\"", kTimeout)) << Describe(*third);
  for (const nlohmann::json& e : Events(*third)) all.push_back(e);
  ExpectEveryEventInOrder(all, 3);
  EXPECT_EQ(Sqlite(history, "SELECT COUNT(*) FROM outbox"), "0");

  nlohmann::json schedule = LastState(*third)["schedule"];
  EXPECT_EQ(schedule["coastdown"]["state"], "ok") << schedule;
  EXPECT_EQ(schedule["coastdown"]["due"], UtcText(dayAgo + 7 * 86400)) << schedule;
  EXPECT_EQ(schedule["parasitics"]["state"], "never_run") << schedule;
  EXPECT_EQ(schedule["parasitics"]["due"], nullptr) << schedule;
  // A parasitics check that falls due within the day, written while the server runs: the state
  // follows without anything happening on the station.
  const int64_t almost30Days = dayAgo - 28 * 86400 - 3600;
  Sqlite(history,
         "PRAGMA busy_timeout=5000; INSERT INTO runs (kind, status, start_unix, "
         "end_unix, passed) VALUES ('parasitics', 'completed', " +
             std::to_string(almost30Days) + ", " + std::to_string(almost30Days) + ", 1)");
  const auto stateDeadline = Clock::now() + kTimeout;
  while (LastState(*third)["schedule"]["parasitics"]["state"] != "due" &&
         Clock::now() < stateDeadline) {
    std::this_thread::sleep_for(Millis(100));
  }
  schedule = LastState(*third)["schedule"];
  EXPECT_EQ(schedule["parasitics"]["state"], "due") << schedule;
  EXPECT_EQ(schedule["parasitics"]["due"], UtcText(almost30Days + 30 * 86400)) << schedule;
  ASSERT_EQ(E2eRig::Stop(server), 0) << Describe(*server.process);
  broker.Stop();
}

TEST(Mqtt, WrongOptionsAreRefusedBeforeServing) {
  E2eRig rig;
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"--mqtt", "http://broker"}, "must start with mqtt:// or mqtts://"},
      {{"--mqtt", "mqtt://broker:99999"}, "port must be a number from 1 to 65535"},
      {{"--mqtt", "mqtt://broker", "--station", "lane/1"}, "--station must name the station"},
      {{"--mqtt", "mqtt://user@broker", "--mqtt-password-file", "/nonexistent"},
       "cannot read the password"}};
  for (const auto& [args, message] : cases) {
    RunResult run = rig.RunServer(args);
    EXPECT_EQ(run.status, 2) << args[1];
    EXPECT_NE(run.err.find(message), std::string::npos) << run.err;
  }
}

}  // namespace
}  // namespace tavkelo::e2e
