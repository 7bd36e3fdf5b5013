// Who may reach the server in-process over loopback HTTP: hostile requests (a foreign Host, a
// cross-site form, a text/plain body, a foreign preflight, missing, wrong and read-only tokens)
// are refused with their status and {"error"} before anything reaches the dyne, the allowed ones
// are served, the dashboard's session cookie stands in for a token, and every state-changing
// request lands in the audit log with who sent it and what came of it.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <sstream>

#include "ServerRig.hpp"
#include "server/RequestGuard.hpp"
#include "sim/KeloController.hpp"

namespace tavkelo {
namespace {

using nlohmann::json;
using test::ReadFile;
using test::Reply;
using test::WriteFile;

const std::string kControl = "c0ntrol-token-0123456789";
const std::string kRead = "read-token-0123456789abc";

SecurityOptions Guarded() {
  SecurityOptions s;
  s.tokens = {{"ctl", "control", kControl}, {"viewer", "read", kRead}};
  s.requireToken = true;  // the test's client is on loopback
  s.allowOrigins = {"http://panel.example:8080"};
  s.allowHosts = {"station.local"};
  return s;
}

// What the dyne shows of a command that reached it.
struct DyneState {
  uint64_t frames;
  bool liftsUp;
  int test;
  bool operator==(const DyneState& o) const {
    return frames == o.frames && liftsUp == o.liftsUp && test == o.test;
  }
};

DyneState StateOf(test::ServerRig& rig) {
  KeloController& sim = *rig.Assembly().Ports().Simulator(1);
  return {sim.Counters().requests, sim.Plant().Lifts().IsUp(),
          static_cast<int>(rig.Assembly().Engine().Context().test.CurTest)};
}

TEST(RequestGuard, HostileRequestsAreRefusedBeforeTheyReachTheDyneAndAllowedOnesServed) {
  test::ServerRig rig(Guarded());
  // `as(t)`: token t alone; `with(h)`: the control token added to `h`.
  auto as = [](const std::string& token) {
    return httplib::Headers{{"Authorization", "Bearer " + token}};
  };
  auto with = [&](httplib::Headers h) {
    h.emplace("Authorization", "Bearer " + kControl);
    return h;
  };
  Reply created = rig.RequestWith("POST", "/automation/objects", "{}", as(kControl));
  ASSERT_EQ(created.status, 201) << created.text;
  const std::string o = "/automation/objects/" + created.json["id"].get<std::string>();
  // Connected, so that a command that got through would talk to the dyne.
  ASSERT_EQ(rig.RequestWith("POST", o + "/methods/Init", R"({"args": [true, 1, 9600, "N"]})",
                            as(kControl))
                .status,
            200);
  ASSERT_EQ(rig.RequestWith("POST", o + "/methods/Connect", "{}", as(kControl)).json["result"],
            true);
  const std::string port = ":" + std::to_string(rig.Port());
  const std::string raise = o + "/methods/RaiseLifts";
  const std::string lifts = R"({"args": [true, false]})";

  struct Case {
    const char* what;
    const char* method;
    std::string path;
    std::string body;
    httplib::Headers headers;
    int status;
    const char* error;  // the start of the message; "" for an allowed request
  };
  const httplib::Headers evilPreflight{{"Origin", "http://evil.example"},
                                       {"Access-Control-Request-Method", "POST"}};
  const httplib::Headers listedPreflight{{"Origin", "http://panel.example:8080"},
                                         {"Access-Control-Request-Method", "POST"}};
  const httplib::Headers basic{{"Authorization", "Basic " + kControl}};
  const char* evil = "requests from pages of http://evil.example are not served";
  const char* wanted = "this server wants a token";
  const char* invalid = "the token is not valid for this server";
  const char* readOnly = "the token viewer may only read";
  const Case cases[] = {
      {"cross-site form", "POST", "/api/console/raise-lifts", "a=1",
       with({{"Origin", "http://evil.example"},
             {"Content-Type", "application/x-www-form-urlencoded"}}),
       403, evil},
      {"text/plain body", "POST", raise, lifts, with({{"Content-Type", "text/plain"}}), 415,
       "a request that changes state must send Content-Type: application/json"},
      {"no body type", "DELETE", o, "", with({{"Content-Type", ""}}), 415,
       "a request that changes state must send"},
      {"foreign Host, API", "POST", "/api/console/start", R"({"test": 1})",
       with({{"Host", "evil.example" + port}}), 421, "this server is not reached as evil.example"},
      {"foreign Host, page", "GET", "/", "", with({{"Host", "evil.example"}}), 421,
       "this server is not reached as evil.example"},
      {"foreign Host, stream", "GET", "/api/readings/stream", "",
       with({{"Host", "rebound.evil.example" + port}}), 421,
       "this server is not reached as rebound.evil.example"},
      {"own name, other port", "GET", "/api/readings", "", with({{"Host", "localhost:1"}}), 421,
       "this server is not reached as localhost:1"},
      {"missing token", "POST", raise, lifts, {}, 401, wanted},
      {"missing token, read", "GET", "/api/readings", "", {}, 401, wanted},
      {"missing token, metrics", "GET", "/metrics", "", {}, 401, wanted},
      {"wrong token", "POST", raise, lifts, as(kControl + "x"), 401, invalid},
      {"not a bearer token", "GET", "/api/readings", "", basic, 401, invalid},
      {"read token, method", "POST", raise, lifts, as(kRead), 403, readOnly},
      {"read token, console", "POST", "/api/console/raise-lifts", "{}", as(kRead), 403, readOnly},
      {"foreign preflight", "OPTIONS", "/automation/objects", "", evilPreflight, 403, evil},
      // Allowed: reading with either role, the pages without a token, the own and listed
      // origins, the listed host name.
      {"read token, read", "GET", o + "/properties/Connected", "", as(kRead), 200, ""},
      {"read token, metrics", "GET", "/metrics", "", as(kRead), 200, ""},
      {"page without token", "GET", "/", "", {}, 200, ""},
      {"own origin", "GET", "/api/readings", "", with({{"Origin", "http://127.0.0.1" + port}}), 200,
       ""},
      {"listed origin", "GET", "/api/readings", "", with({{"Origin", "http://panel.example:8080"}}),
       200, ""},
      {"listed preflight", "OPTIONS", "/automation/objects", "", listedPreflight, 204, ""},
      {"named host", "GET", "/api/readings", "", with({{"Host", "station.local"}}), 200, ""},
  };
  const DyneState before = StateOf(rig);
  for (const Case& c : cases) {
    Reply r = rig.RequestWith(c.method, c.path, c.body, c.headers);
    EXPECT_EQ(r.status, c.status) << c.what << "\n" << r.text.substr(0, 200);
    if (c.status >= 400) {
      EXPECT_EQ(r.Error().rfind(c.error, 0), 0u) << c.what << ": " << r.text;
      EXPECT_EQ(r.json.size(), 1u) << c.what << ": {\"error\": ...} and nothing else";
    }
    EXPECT_EQ(r.headers.count("WWW-Authenticate"), c.status == 401 ? 1u : 0u) << c.what;
    const bool listed = std::string(c.what).rfind("listed", 0) == 0 && c.status < 400;
    EXPECT_EQ(r.headers.count("Access-Control-Allow-Origin"), listed ? 1u : 0u) << c.what;
    EXPECT_TRUE(StateOf(rig) == before) << c.what << ": it reached the dyne";
  }

  // A refused request's body is never read: its connection ends rather than take the body for the
  // next request.
  const int next = rig.Serve([&] {
    httplib::Client client("127.0.0.1", rig.Port());
    client.set_keep_alive(true);
    client.Post(raise, as(kRead), lifts, "application/json");
    auto res = client.Post(o + "/ping", as(kControl), "{}", "application/json");
    return res ? res->status : 0;
  });
  EXPECT_EQ(next, 200);
}

TEST(RequestGuard, TheDashboardsSessionCookieStandsInForTheTokenUntilSignOut) {
  test::ServerRig rig(Guarded());
  EXPECT_EQ(rig.RequestWith("GET", "/api/session", "", {}).json,
            (json{{"tokenWanted", true}, {"signedIn", false}, {"insecure", false}}));
  EXPECT_EQ(
      rig.RequestWith("POST", "/api/session", R"({"token": "guess-guess-guess-guess"})", {}).status,
      401);
  Reply in = rig.RequestWith("POST", "/api/session", R"({"token": ")" + kRead + R"("})", {});
  ASSERT_EQ(in.status, 200) << in.text;
  const std::string cookie = in.headers.find("Set-Cookie")->second;
  EXPECT_NE(cookie.find("HttpOnly; SameSite=Strict"), std::string::npos) << cookie;
  const httplib::Headers session{{"Cookie", "theme=dark; " + cookie.substr(0, cookie.find(';'))}};

  EXPECT_EQ(rig.RequestWith("GET", "/api/session", "", session).json.value("name", ""), "viewer");
  EXPECT_EQ(rig.RequestWith("GET", "/api/readings", "", session).status, 200);
  EXPECT_EQ(rig.RequestWith("POST", "/api/console/stop", "{}", session).status, 403)
      << "a read session";
  EXPECT_EQ(rig.RequestWith("DELETE", "/api/session", "", session).status, 200);
  EXPECT_EQ(rig.RequestWith("GET", "/api/readings", "", session).status, 401) << "signed out";
}

TEST(RequestGuard, TheAuditLogHasALineForEachStateChangingRequestWithWhoAndWhatCameOfIt) {
  SecurityOptions open;  // no tokens, as the station runs by default
  open.insecureNoAuth = true;
  test::ServerRig rig(open);
  EXPECT_EQ(rig.Request("GET", "/api/session").json,
            (json{{"tokenWanted", false}, {"signedIn", false}, {"insecure", true}}))
      << "the dashboard's banner";
  const std::string o = rig.NewObject();
  const Reply raised = rig.Request("POST", o + "/methods/RaiseLifts", R"({"args": [true, false]})");
  rig.Request("GET", o + "/properties/Connected");  // a read: not audited
  rig.RequestWith("POST", "/api/console/start", R"({"test": 1})", {{"Content-Type", "text/plain"}});
  rig.Request("DELETE", o);

  std::vector<json> lines;
  std::istringstream in(ReadFile(rig.LogFolder() + "/" + "AUDIT_" + [] {
    char day[16];
    std::time_t t = std::time(nullptr);
    std::tm parts{};
    ::localtime_r(&t, &parts);
    std::strftime(day, sizeof day, "%Y%m%d", &parts);
    return std::string(day);
  }() + ".LOG"));
  for (std::string line; std::getline(in, line);) lines.push_back(json::parse(line));
  ASSERT_EQ(lines.size(), 4u);
  const std::string id = o.substr(o.rfind('/') + 1);
  EXPECT_EQ(lines[0]["result"], (json{{"id", id}, {"leaseSeconds", 30}}));
  EXPECT_EQ(lines[1]["member"], "RaiseLifts");
  EXPECT_EQ(lines[1]["args"], (json{true, false}));
  EXPECT_EQ(lines[1]["result"], raised.json["result"]);
  EXPECT_EQ(lines[1]["status"], 200);
  EXPECT_EQ(lines[2]["status"], 415);
  EXPECT_EQ(lines[2]["member"], "start");
  EXPECT_EQ(lines[3]["method"], "DELETE");
  for (const json& line : lines) {
    EXPECT_EQ(line["who"], "loopback");
    EXPECT_EQ(line["client"], "127.0.0.1");
    EXPECT_EQ(line["time"].get<std::string>().size(), 24u) << line;
  }
}

TEST(RequestGuard, TokenFilesAndListenAddressesThatMustNotStartTheServer) {
  test::TempDir dir;
  struct FileCase {
    std::string text;
    mode_t mode;
    const char* error;  // "" when the file is good
  };
  const FileCase files[] = {
      {"# station\nalice control 0123456789abcdef\n\nbob read fedcba9876543210\n", 0600, ""},
      {"alice control 0123456789abcdef\n", 0640, "is open to other users (mode 0640)"},
      {"alice admin 0123456789abcdef\n", 0600, "line 1: the role must be control or read"},
      {"alice control short\n", 0600, "line 1: the token is shorter than 16 characters"},
      {"alice control\n", 0600, "line 1: expected NAME ROLE TOKEN"},
      {"a control 0123456789abcdef\na read 0123456789abcdeX\n", 0600,
       "line 2: the name or token of a is given twice"},
      {"# nobody\n", 0600, "holds no tokens"},
  };
  for (const FileCase& f : files) {
    const std::string path = dir.File("tokens");
    WriteFile(path, f.text);
    ::chmod(path.c_str(), f.mode);
    std::vector<SecurityOptions::Token> tokens;
    std::string error;
    EXPECT_EQ(LoadTokenFile(path, tokens, error), *f.error == 0) << f.text;
    EXPECT_NE(error.find(f.error), std::string::npos) << error;
    EXPECT_EQ(tokens.size(), *f.error == 0 ? 2u : 0u) << f.text;
  }

  SecurityOptions none, insecure, tokens, loopbackRequire;
  insecure.insecureNoAuth = true;
  tokens.tokens = {{"a", "control", "0123456789abcdef"}};
  loopbackRequire.requireToken = true;
  EXPECT_EQ(StartupRefusal("127.0.0.1", none), "");
  EXPECT_EQ(StartupRefusal("::1", none), "");
  EXPECT_NE(StartupRefusal("0.0.0.0", none).find("give --token-file PATH"), std::string::npos);
  EXPECT_NE(StartupRefusal("192.168.1.5", none), "");
  EXPECT_EQ(StartupRefusal("0.0.0.0", insecure), "");
  EXPECT_EQ(StartupRefusal("0.0.0.0", tokens), "");
  EXPECT_EQ(StartupRefusal("127.0.0.1", loopbackRequire), "--require-token needs --token-file");
}

}  // namespace
}  // namespace tavkelo
