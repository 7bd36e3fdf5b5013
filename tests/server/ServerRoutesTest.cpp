// The remote automation API served in-process over loopback HTTP, with the poller running against
// the simulated controller: objects, properties, methods, the type library, and every kind of bad
// call answered with its status and its exact message while the server keeps serving.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

#include "ServerRig.hpp"
#include "server/AutomationApi.hpp"

namespace tavkelo {
namespace {

using nlohmann::json;
using test::Reply;
using test::Send;

class ServerRoutes : public ::testing::Test {
 protected:
  ServerRoutes() : client(rig.NewClient()) {}
  Reply Call(const std::string& method, const std::string& path, const std::string& body = "") {
    return Send(*client, method, path, body);
  }
  std::string NewObject() {
    Reply created = Call("POST", "/automation/objects", "{}");
    EXPECT_EQ(created.status, 201) << created.text;
    return created.json.value("id", "");
  }
  std::string Object(const std::string& id) { return "/automation/objects/" + id; }

  test::ServerRig rig;
  std::unique_ptr<httplib::Client> client;
};

TEST_F(ServerRoutes, AClientCreatesConnectsReadsCommandsAndReleasesItsObject) {
  Reply created = Call("POST", "/automation/objects", "{}");
  ASSERT_EQ(created.status, 201) << created.text;
  EXPECT_EQ(created.json["leaseSeconds"], 30);
  const std::string o = Object(created.json["id"]);

  Reply init = Call("POST", o + "/methods/Init", R"({"args": [true, 1, 9600, "N"]})");
  EXPECT_EQ(init.status, 200);
  EXPECT_EQ(init.json, (json{{"result", nullptr}, {"byRef", json::object()}}));
  Reply connect = Call("POST", o + "/methods/Connect", "{}");
  EXPECT_EQ(connect.json, (json{{"result", true}, {"byRef", json::object()}})) << connect.text;

  struct Property {
    const char* name;
    json value;
  };
  const Property properties[] = {{"Connected", true},  {"Active", true},          {"SerialPort", 1},
                                 {"BaudRate", 9600},   {"Parity", "N"},           {"CurTest", 0},
                                 {"AutoUpdateEnabled", true}, {"LiftStatus", false}};
  for (const auto& p : properties) {
    Reply r = Call("GET", o + "/properties/" + p.name);
    EXPECT_EQ(r.status, 200) << p.name << " " << r.text;
    EXPECT_EQ(r.json, (json{{"value", p.value}})) << p.name;
  }
  Reply diameter = Call("GET", o + "/properties/RollDiameter");
  EXPECT_NEAR(diameter.json["value"].get<double>(), 8.555, 0.001);
  Reply window = Call("GET", o + "/properties/VehSimTestOnlyIntegrateInWindow?WhichWin=1");
  EXPECT_EQ(window.status, 200) << window.text;
  EXPECT_TRUE(window.json["value"].is_boolean());

  // Named arguments, an enumeration result, by-reference outputs.
  Reply lifts = Call("POST", o + "/methods/RaiseLifts", R"({"args": {"FWDLift": false, "TWDLift": true}})");
  EXPECT_EQ(lifts.json["result"], 0) << lifts.text;
  Reply refused = Call("POST", o + "/methods/RaiseLifts", R"({"args": [false, true]})");
  EXPECT_EQ(refused.status, 200) << "a member's refusal is its result, not an HTTP error";
  EXPECT_EQ(refused.json["result"], 2);
  Reply lower = Call("POST", o + "/methods/LowerLifts", R"({"args": [true, false]})");
  EXPECT_EQ(lower.json["result"], 0);
  Reply text = Call("POST", o + "/methods/ErrorConstantToString", R"({"args": [200]})");
  EXPECT_EQ(text.json["result"], "DI: No Link To Device");
  Reply para = Call("POST", o + "/methods/GetParasiticsAtSpeed", R"({"args": [20]})");
  ASSERT_EQ(para.status, 200) << para.text;
  EXPECT_EQ(para.json["result"], 0);
  EXPECT_EQ(para.json["byRef"].size(), 4u);
  EXPECT_GT(para.json["byRef"]["TWDUnseenPara"].get<double>(), 0.0) << "the loss the dyne reported at connect";
  EXPECT_EQ(para.json["byRef"]["TWDRawPara"], 0.0);

  // The one writable property.
  Reply put = Call("PUT", o + "/properties/AutoUpdateEnabled", R"({"value": false})");
  EXPECT_EQ(put.status, 200) << put.text;
  EXPECT_EQ(put.json, (json{{"value", false}}));
  EXPECT_EQ(Call("GET", o + "/properties/AutoUpdateEnabled").json["value"], false);
  EXPECT_EQ(Call("PUT", o + "/properties/AutoUpdateEnabled", R"({"value": true})").status, 200);
  EXPECT_EQ(Call("GET", o + "/properties/AutoUpdateEnabled").json["value"], true);

  Reply ping = Call("POST", o + "/ping", "{}");
  EXPECT_EQ(ping.json, (json{{"leaseSeconds", 30}}));
  Reply released = Call("DELETE", o);
  EXPECT_EQ(released.status, 200);
  EXPECT_EQ(released.json, (json{{"released", true}}));
  Reply again = Call("DELETE", o);
  EXPECT_EQ(again.status, 404);
  EXPECT_EQ(again.Error(), "unknown object " + created.json["id"].get<std::string>());
  EXPECT_EQ(rig.LogCount("clsKeloInterface: Class_Terminate - Complete"), 1);
}

TEST_F(ServerRoutes, ALeaseCanBeAskedForAtCreation) {
  Reply five = Call("POST", "/automation/objects", R"({"leaseSeconds": 5})");
  EXPECT_EQ(five.status, 201);
  EXPECT_EQ(five.json["leaseSeconds"], 5);
  Reply longest = Call("POST", "/automation/objects", R"({"leaseSeconds": 3600})");
  EXPECT_EQ(longest.json["leaseSeconds"], 3600);
  EXPECT_NE(five.json["id"], longest.json["id"]);
}

TEST_F(ServerRoutes, TheTypeLibraryIsTheOneGeneratedFromTheMemberTable) {
  Reply library = Call("GET", "/automation/typelib");
  ASSERT_EQ(library.status, 200);
  EXPECT_EQ(library.json, TypeLibraryJson());
}

struct BadCall {
  const char* method;
  const char* path;  // "{o}" stands for a live object
  std::string body;
  int status;
  const char* error;  // "{id}" stands for the live object's id
};

std::string Expand(std::string text, const std::string& token, const std::string& value) {
  for (size_t at = text.find(token); at != std::string::npos; at = text.find(token, at + value.size())) {
    text.replace(at, token.size(), value);
  }
  return text;
}

TEST_F(ServerRoutes, BadCallsAreAnsweredWithTheirStatusAndWhatWasWrong) {
  const std::string id = NewObject();
  const std::string unknown = "(released, or its lease ran out)";
  const BadCall cases[] = {
      // the body
      {"POST", "/automation/objects", "{\"leaseSeconds\": ", 400, "malformed JSON in the request body"},
      {"POST", "/automation/objects", "[1, 2]", 400, "the request body must be a JSON object"},
      {"POST", "/automation/objects", R"({"leaseSeconds": 0})", 400, "leaseSeconds must be a whole number from 1 to 3600"},
      {"POST", "/automation/objects", R"({"leaseSeconds": 3601})", 400, "leaseSeconds must be a whole number from 1 to 3600"},
      {"POST", "/automation/objects", R"({"leaseSeconds": "10"})", 400, "leaseSeconds must be a whole number from 1 to 3600"},
      {"POST", "{o}/methods/RaiseLifts", "{\"args\": [true, false", 400, "malformed JSON in the request body"},
      {"POST", "{o}/methods/RaiseLifts", "\"args\"", 400, "the request body must be a JSON object"},
      // unknown objects and members
      {"GET", "/automation/objects/0123456789abcdef0000/properties/Connected", "", 404,
       "unknown object 0123456789abcdef0000 (released, or its lease ran out)"},
      {"POST", "/automation/objects/nosuchobject/methods/Connect", "{}", 404,
       "unknown object nosuchobject (released, or its lease ran out)"},
      {"PUT", "/automation/objects/nosuchobject/properties/AutoUpdateEnabled", R"({"value": true})", 404,
       "unknown object nosuchobject (released, or its lease ran out)"},
      {"POST", "/automation/objects/nosuchobject/ping", "{}", 404,
       "unknown object nosuchobject (released, or its lease ran out)"},
      {"DELETE", "/automation/objects/nosuchobject", "", 404, "unknown object nosuchobject"},
      {"GET", "{o}/properties/NoSuchProperty", "", 404, "clsKeloInterface has no property NoSuchProperty"},
      {"GET", "{o}/properties/RaiseLifts", "", 404, "clsKeloInterface has no property RaiseLifts"},
      {"GET", "{o}/properties/connected", "", 404, "clsKeloInterface has no property connected"},
      {"POST", "{o}/methods/Frobnicate", "{}", 404, "clsKeloInterface has no method Frobnicate"},
      {"POST", "{o}/methods/Connected", "{}", 404, "clsKeloInterface has no method Connected"},
      {"GET", "/automation/objects", "", 404, "no such path: /automation/objects"},
      {"GET", "{o}/properties/Primary-Speed", "", 404, "no such path: /automation/objects/{id}/properties/Primary-Speed"},
      // argument counts, types and ranges
      {"POST", "{o}/methods/RaiseLifts", R"({"args": [true]})", 400, "RaiseLifts takes 2 arguments, got 1"},
      {"POST", "{o}/methods/RaiseLifts", R"({"args": [true, false, true]})", 400, "RaiseLifts takes 2 arguments, got 3"},
      {"POST", "{o}/methods/RaiseLifts", "{}", 400, "RaiseLifts takes 2 arguments, got 0"},
      {"POST", "{o}/methods/Connect", R"({"args": [1]})", 400, "Connect takes 0 arguments, got 1"},
      {"POST", "{o}/methods/RaiseLifts", R"({"args": [1, 0]})", 400,
       "argument TWDLift (Boolean): expected true or false, got 1"},
      {"POST", "{o}/methods/Init", R"({"args": [true, "1", 9600, "N"]})", 400,
       "argument SerialPort (Integer): expected a number, got string"},
      {"POST", "{o}/methods/Init", R"({"args": [true, 40000, 9600, "N"]})", 400,
       "argument SerialPort (Integer): 40000 is out of range -32768 to 32767"},
      {"POST", "{o}/methods/GetSystemParameter", R"({"args": [300]})", 400,
       "argument WhichParam (Byte): 300 is out of range 0 to 255"},
      {"POST", "{o}/methods/SetWarmupTestParameters", R"({"args": [1e40]})", 400,
       "argument NewWarmupTimeSeconds (Single): 1e+40 does not fit a Single"},
      {"POST", "{o}/methods/StartTest", R"({"args": ["gQRTXTIWarmup"]})", 400,
       "argument TestIndex (QRTXTestIndeces): expected a number, got string"},
      {"POST", "{o}/methods/Init", R"({"args": {"BeActive": true}})", 400, "Init needs argument SerialPort"},
      {"POST", "{o}/methods/RaiseLifts", R"({"args": {"TWDLift": true, "FWDLift": true, "Both": true}})", 400,
       "RaiseLifts has no parameter Both"},
      {"POST", "{o}/methods/RaiseLifts", R"({"args": "true, false"})", 400, "\"args\" must be an array or an object"},
      // properties
      {"PUT", "{o}/properties/Connected", R"({"value": true})", 405, "property Connected is read-only"},
      {"PUT", "{o}/properties/PrimarySpeedMPH", R"({"value": 10})", 405, "property PrimarySpeedMPH is read-only"},
      {"PUT", "{o}/properties/NoSuchProperty", R"({"value": 1})", 404, "clsKeloInterface has no property NoSuchProperty"},
      {"PUT", "{o}/properties/AutoUpdateEnabled", "{}", 400, "the body needs {\"value\": ...}"},
      {"PUT", "{o}/properties/AutoUpdateEnabled", R"({"value": 1})", 400,
       "argument value (Boolean): expected true or false, got 1"},
      {"GET", "{o}/properties/VehSimTestOnlyIntegrateInWindow", "", 400,
       "VehSimTestOnlyIntegrateInWindow needs the query parameter WhichWin"},
      {"GET", "{o}/properties/VehSimTestOnlyIntegrateInWindow?WhichWin=40000", "", 400,
       "argument WhichWin (Integer): 40000 is out of range -32768 to 32767"},
      {"GET", "{o}/properties/VehSimTestOnlyIntegrateInWindow?WhichWin=first", "", 400,
       "argument WhichWin (Integer): expected a number, got string"},
      {"GET", "{o}/properties/PrimarySpeedMPH?WhichWin=1", "", 400, "PrimarySpeedMPH takes no query parameter WhichWin"},
      // a body above the limit
      {"POST", "{o}/methods/StartFakeDataPlayBack", R"({"args": [")" + std::string(70 * 1024, 'x') + R"("]})", 413,
       "request body too large"},
  };
  for (const auto& c : cases) {
    std::string path = Expand(c.path, "{o}", Object(id));
    std::string error = Expand(c.error, "{id}", id);
    auto fresh = rig.NewClient();  // a refused request may close its connection
    Reply r = Send(*fresh, c.method, path, c.body);
    std::string label = std::string(c.method) + " " + path.substr(0, 120) + " " + c.body.substr(0, 60);
    EXPECT_EQ(r.status, c.status) << label << "\n" << r.text.substr(0, 200);
    EXPECT_EQ(r.Error(), error) << label;
    EXPECT_EQ(r.json.size(), 1u) << label << ": {\"error\": ...} and nothing else";
  }

  // The object and the server are as they were: the same client, and a new one, carry on.
  Reply ping = Call("POST", Object(id) + "/ping", "{}");
  EXPECT_EQ(ping.status, 200) << ping.text;
  auto other = rig.NewClient();
  Reply init = Send(*other, "POST", Object(id) + "/methods/Init", R"({"args": [true, 1, 9600, "N"]})");
  EXPECT_EQ(init.status, 200) << init.text;
  EXPECT_EQ(Send(*other, "POST", Object(id) + "/methods/Connect", "{}").json["result"], true);
  EXPECT_EQ(Send(*other, "GET", Object(id) + "/properties/Connected").json["value"], true);
  EXPECT_EQ(Send(*other, "GET", Object(id) + "/properties/SerialPort").json["value"], 1) << "Init took effect";
}

TEST_F(ServerRoutes, ClientsReadConcurrentlyWhileAnotherCommandsTheDyne) {
  const std::string id = NewObject();
  ASSERT_EQ(Call("POST", Object(id) + "/methods/Init", R"({"args": [true, 1, 9600, "N"]})").status, 200);
  ASSERT_EQ(Call("POST", Object(id) + "/methods/Connect", "{}").json["result"], true);
  std::atomic<int> good{0}, bad{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&] {
      auto c = rig.NewClient();
      for (int i = 0; i < 40; ++i) {
        Reply r = Send(*c, "GET", Object(id) + "/properties/PrimarySpeedMPH");
        (r.status == 200 && r.json["value"].is_number() ? good : bad)++;
      }
    });
  }
  std::vector<int> results;
  for (int i = 0; i < 4; ++i) {
    results.push_back(Call("POST", Object(id) + "/methods/RaiseLifts", R"({"args": [true, false]})").json["result"]);
    results.push_back(Call("POST", Object(id) + "/methods/LowerLifts", R"({"args": [true, false]})").json["result"]);
  }
  for (auto& t : readers) t.join();
  EXPECT_EQ(good.load(), 160);
  EXPECT_EQ(bad.load(), 0);
  EXPECT_EQ(results, std::vector<int>(8, 0));
}

}  // namespace
}  // namespace tavkelo
