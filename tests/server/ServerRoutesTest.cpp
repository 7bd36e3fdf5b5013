// The remote automation API served in-process over loopback HTTP on virtual time, with the poller
// running against the simulated controller: every kind of bad call answered with its status and
// its exact message while the server keeps serving, named and by-reference arguments, leases, and
// reads answered while another client commands the dyne. The type library is TypeLibraryTest's.
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

#include "ServerRig.hpp"
#include "server/AutomationApi.hpp"

namespace tavkelo {
namespace {

using nlohmann::json;
using test::Reply;

class ServerRoutes : public ::testing::Test {
 protected:
  // A new object, initialised and connected to the simulated port 1.
  std::string NewConnectedObject(const std::string& body = "{}") {
    const std::string o = rig.NewObject(body);
    rig.ConnectObject(o);
    return o;
  }
  // The number of client objects, asked in a way that renews nobody's lease.
  int Objects() { return rig.Request("GET", "/api/server").json["objects"].get<int>(); }

  test::ServerRig rig;
};

std::string Expand(std::string text, const std::string& token, const std::string& value) {
  for (size_t at = text.find(token); at != std::string::npos;
       at = text.find(token, at + value.size())) {
    text.replace(at, token.size(), value);
  }
  return text;
}

TEST_F(ServerRoutes, BadCallsAreAnsweredWithTheirStatusAndWhatWasWrong) {
  const std::string o = rig.NewObject();
  const std::string gone = rig.NewObject(R"({"leaseSeconds": 1})");
  rig.PassTime(2001);  // `gone`'s lease runs out; `o` keeps the default 30 s
  struct BadCall {
    const char* method;
    std::string path;  // "{o}": the live object, "{gone}": the expired one
    std::string body;
    int status;
    const char* error;  // "{gone}" stands for the expired object's path
  };
  const BadCall cases[] = {
      {"POST", "/automation/objects", "{\"leaseSeconds\": ", 400,
       "malformed JSON in the request body"},
      {"POST", "{o}/methods/RaiseLifts", "[true, false]", 400,
       "the request body must be a JSON object"},
      {"POST", "/automation/objects", R"({"leaseSeconds": 3601})", 400,
       "leaseSeconds must be a whole number from 1 to 3600"},
      {"GET", "{gone}/properties/Connected", "", 404,
       "unknown object {gone} (released, or its lease ran out)"},
      {"POST", "{gone}/ping", "{}", 404, "unknown object {gone} (released, or its lease ran out)"},
      {"DELETE", "{gone}", "", 404, "unknown object {gone}"},
      {"GET", "{o}/properties/connected", "", 404, "clsKeloInterface has no property connected"},
      {"POST", "{o}/methods/Connected", "{}", 404, "clsKeloInterface has no method Connected"},
      {"GET", "/automation/objects", "", 404, "no such path: /automation/objects"},
      // A path's escapes that are not UTF-8 come back as U+FFFD.
      {"GET", "/api/r%ADeadings", "", 404,
       "no such path: /api/r\xEF\xBF\xBD"
       "eadings"},
      {"POST", "{o}/methods/RaiseLifts", R"({"args": [true]})", 400,
       "RaiseLifts takes 2 arguments, got 1"},
      {"POST", "{o}/methods/Connect", R"({"args": [1]})", 400, "Connect takes 0 arguments, got 1"},
      {"POST", "{o}/methods/RaiseLifts", R"({"args": [1, 0]})", 400,
       "argument TWDLift (Boolean): expected true or false, got 1"},
      {"POST", "{o}/methods/Init", R"({"args": [true, "1", 9600, "N"]})", 400,
       "argument SerialPort (Integer): expected a number, got string"},
      {"POST", "{o}/methods/Init", R"({"args": [true, 40000, 9600, "N"]})", 400,
       "argument SerialPort (Integer): 40000 is out of range -32768 to 32767"},
      {"POST", "{o}/methods/GetSystemParameter", R"({"args": [300]})", 400,
       "argument WhichParam (Byte): 300 is out of range 0 to 255"},
      {"POST", "{o}/methods/GetSystemParameter", R"({"args": [1.5]})", 400,
       "argument WhichParam (Byte): expected a whole number, got 1.5"},
      {"POST", "{o}/methods/SetWarmupTestParameters", R"({"args": [1e40]})", 400,
       "argument NewWarmupTimeSeconds (Single): 1e+40 does not fit a Single"},
      {"POST", "{o}/methods/Init", R"({"args": [true, 1, 2147483648, "N"]})", 400,
       "argument BaudRate (Long): 2147483648 is out of range -2147483648 to 2147483647"},
      {"POST", "{o}/methods/Init", R"({"args": [true, 1, 9600, 78]})", 400,
       "argument Parity (String): expected a string, got number"},
      {"POST", "{o}/methods/StartTest", R"({"args": ["gQRTXTIWarmup"]})", 400,
       "argument TestIndex (QRTXTestIndeces): expected a number, got string"},
      {"POST", "{o}/methods/GetParasiticsAtSpeed", R"({"args": []})", 400,
       "GetParasiticsAtSpeed takes 1 to 5 arguments, got 0"},
      {"POST", "{o}/methods/Init", R"({"args": {"BeActive": true}})", 400,
       "Init needs argument SerialPort"},
      {"POST", "{o}/methods/RaiseLifts",
       R"({"args": {"TWDLift": true, "FWDLift": true, "Both": true}})", 400,
       "RaiseLifts has no parameter Both"},
      {"POST", "{o}/methods/RaiseLifts", R"({"args": "true, false"})", 400,
       "\"args\" must be an array or an object"},
      {"PUT", "{o}/properties/Connected", R"({"value": true})", 405,
       "property Connected is read-only"},
      {"PUT", "{o}/properties/AutoUpdateEnabled", "{}", 400, "the body needs {\"value\": ...}"},
      {"GET", "{o}/properties/VehSimTestOnlyIntegrateInWindow", "", 400,
       "VehSimTestOnlyIntegrateInWindow needs the query parameter WhichWin"},
      {"GET", "{o}/properties/PrimarySpeedMPH?WhichWin=1", "", 400,
       "PrimarySpeedMPH takes no query parameter WhichWin"},
      {"GET", "/api/sim?port=1x", "", 400, "port must be a whole number from 1 to 255"},
      {"POST", "/api/sim", R"({"command": "weights 3", "port": 65537})", 400,
       "port must be a whole number from 1 to 255"},
      {"POST", "/api/sim", R"({"port": 1})", 400,
       "the body needs {\"command\": \"...\"}, for example \"weights 3\""},
      {"POST", "/api/console/connect", R"({"port": "1"})", 400,
       "port must be a whole number from 1 to 255"},
      {"POST", "/api/console/start", "{}", 400, "start needs {\"test\": 1 to 6}"},
      {"POST", "/api/console/jump", "{}", 404, "no console action jump"},
      {"GET", "/api/notices?since=-1", "", 400, "since must be a whole number of 0 or more"},
      {"POST", "/api/wizard/ok", "{}", 404, "the wizard forms have no button ok"},
      {"POST", "/api/wizard/continue", "{}", 409,
       "no calibration form is open, or its continue button is hidden"},
      {"POST", "{o}/methods/StartFakeDataPlayBack",
       R"({"args": [")" + std::string(70 * 1024, 'x') + R"("]})", 413, "request body too large"},
  };
  for (const auto& c : cases) {
    const std::string path = Expand(Expand(c.path, "{o}", o), "{gone}", gone);
    const std::string label = std::string(c.method) + " " + path + " " + c.body.substr(0, 60);
    Reply r = rig.Request(c.method, path, c.body);
    EXPECT_EQ(r.status, c.status) << label << "\n" << r.text.substr(0, 200);
    EXPECT_EQ(r.Error(), Expand(c.error, "{gone}", gone.substr(gone.rfind('/') + 1))) << label;
    EXPECT_EQ(r.json.size(), 1u) << label << ": {\"error\": ...} and nothing else";
  }

  // The live object and the server carry on.
  EXPECT_EQ(rig.Request("POST", o + "/ping", "{}").json, (json{{"leaseSeconds", 30}}));
  EXPECT_EQ(rig.Request("POST", o + "/methods/Init", R"({"args": [true, 2, 9600, "N"]})").status,
            200);
  EXPECT_EQ(rig.Request("GET", o + "/properties/SerialPort").json, (json{{"value", 2}}))
      << "Init took effect";
  EXPECT_EQ(Objects(), 1);
}

TEST_F(ServerRoutes, NamedArgumentsInAnyOrderAndByReferenceOutputs) {
  const std::string o = rig.NewObject();
  Reply para =
      rig.Request("POST", o + "/methods/GetParasiticsAtSpeed", R"({"args": {"TheSpeed": 20}})");
  ASSERT_EQ(para.status, 200) << para.text;
  EXPECT_EQ(para.json["result"], 0);
  ASSERT_EQ(para.json["byRef"].size(), 4u) << para.text;
  EXPECT_GT(para.json["byRef"]["TWDUnseenPara"].get<double>(), 0.0)
      << "the loss on the curve the dyne reported";
  for (const char* zero : {"TWDRawPara", "FWDRawPara", "FWDUnseenPara"})
    EXPECT_EQ(para.json["byRef"][zero], 0.0) << zero;
  // A placeholder leaves its outputs as they came in; a Single travels with its own digits.
  Reply pid = rig.Request("POST", o + "/methods/GetPIDConstants",
                          R"({"args": {"IValue": 0.1, "WhichPID": 1}})");
  EXPECT_EQ(pid.json,
            (json{{"result", 1}, {"byRef", {{"PValue", 0.0}, {"IValue", 0.1}, {"DValue", 0.0}}}}))
      << pid.text;
  Reply lifts = rig.Request("POST", o + "/methods/RaiseLifts",
                            R"({"args": {"FWDLift": false, "TWDLift": true}})");
  EXPECT_EQ(lifts.status, 200) << "a member's refusal is its result, not an HTTP error";
  EXPECT_EQ(lifts.json["result"], 200) << "not connected: no link to the device";
}

TEST(ServerValues, ASingleTravelsWithItsOwnDigitsAndWhatJsonCannotSayAsNull) {
  EXPECT_EQ(ValueToJson(8.555f).dump(), "8.555") << "not 8.55500030517578125";
  EXPECT_EQ(ValueToJson(-30.0f).dump(), "-30.0");
  EXPECT_EQ(ValueToJson(1.0e20f).get<double>(), 1.0e20);
  EXPECT_EQ(ValueToJson(std::numeric_limits<float>::quiet_NaN()), json(nullptr));
  EXPECT_EQ(ValueToJson(-std::numeric_limits<float>::infinity()), json(nullptr));
}

TEST_F(ServerRoutes, LeasesRunOutUnlessPingsOrCallsRenewThem) {
  const std::string idle = NewConnectedObject(R"({"leaseSeconds": 2})");
  const std::string pinged = rig.NewObject(R"({"leaseSeconds": 2})");
  const std::string used = rig.NewObject(R"({"leaseSeconds": 2})");
  ASSERT_EQ(rig.Request("GET", idle + "/properties/SerialPort").status, 200);  // its last use
  const int disconnects = rig.LogCount("clsKeloInterface: DisConnect");
  auto renew = [&] {
    EXPECT_EQ(rig.Request("POST", pinged + "/ping", "{}").json, (json{{"leaseSeconds", 2}}));
    EXPECT_EQ(rig.Request("GET", used + "/properties/PrimarySpeedMPH").status, 200);
  };
  renew();
  rig.PassTime(1500);
  renew();
  rig.PassTime(500);
  EXPECT_EQ(Objects(), 3) << "exactly its lease is still within it";
  rig.PassTime(1001);  // the lease timer looks once a second
  EXPECT_EQ(Objects(), 2);
  EXPECT_EQ(rig.LogCount("clsKeloInterface: DisConnect"), disconnects + 1)
      << "released as DELETE releases";
  EXPECT_EQ(rig.LogCount("clsKeloInterface: Class_Terminate - Complete"), 1);
  for (int step = 0; step < 6; ++step) {  // 9 s: four leases over
    renew();
    rig.PassTime(1500);
  }
  EXPECT_EQ(Objects(), 2);
  rig.PassTime(3001);
  EXPECT_EQ(Objects(), 0);
  EXPECT_EQ(rig.Request("GET", used + "/properties/PrimarySpeedMPH").status, 404);
}

TEST_F(ServerRoutes, AnObjectDoesNotExpireDuringItsOwnLongCall) {
  const std::string o = NewConnectedObject(R"({"leaseSeconds": 2})");
  ASSERT_EQ(rig.Request("POST", o + "/methods/StartTest", R"({"args": [1]})").json["result"], 0);
  for (int i = 0; i < 6; ++i) {  // the warm-up's motor runs the rolls up; the client pings
    ASSERT_EQ(rig.Request("POST", o + "/ping", "{}").status, 200);
    rig.PassTime(1500);
  }
  ASSERT_EQ(rig.Request("POST", o + "/ping", "{}").status, 200);
  // DisConnect stops the warm-up and waits until the dyne is at rest, longer than the lease.
  const double before = rig.NowS();
  EXPECT_EQ(rig.Request("POST", o + "/methods/DisConnect", "{}").status, 200);
  EXPECT_GT(rig.NowS() - before, 3.0) << "the call outlasted the lease and the lease timer's look";
  EXPECT_EQ(rig.Request("GET", o + "/properties/Connected").json, (json{{"value", false}}));
  EXPECT_EQ(Objects(), 1);
  rig.PassTime(3001);
  EXPECT_EQ(Objects(), 0) << "idle afterwards, it expires as usual";
}

TEST_F(ServerRoutes, ReadsAreAnsweredWhileAnotherClientCommandsTheDyne) {
  const std::string o = NewConnectedObject();
  std::atomic<int> good{0};
  std::vector<int> results = rig.Serve([&] {
    std::thread reader([&] {
      for (int i = 0; i < 40; ++i)
        good += rig.Send("GET", o + "/properties/Connected").json == json{{"value", true}};
    });
    std::vector<int> r;
    for (const char* member : {"RaiseLifts", "LowerLifts", "RaiseLifts", "LowerLifts"}) {
      r.push_back(
          rig.Send("POST", o + "/methods/" + member, R"({"args": [true, false]})").json["result"]);
    }
    reader.join();
    return r;
  });
  EXPECT_EQ(good.load(), 40);
  EXPECT_EQ(results, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace tavkelo
