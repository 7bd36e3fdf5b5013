// Leases through the HTTP server on virtual time: an object that its client stops renewing is
// released by the server's lease timer and then answers 404, while pings and calls keep an
// object alive for as long as they come. Time passes only when the test says so.
#include <gtest/gtest.h>

#include "ServerRig.hpp"

namespace tavkelo {
namespace {

using nlohmann::json;
using test::Reply;

class ServerLeases : public ::testing::Test {
 protected:
  static test::ServerRigOptions Options() {
    test::ServerRigOptions o;
    o.virtualTime = true;
    return o;
  }
  std::string Create(int leaseSeconds) {
    Reply r = rig.Request("POST", "/automation/objects", json{{"leaseSeconds", leaseSeconds}}.dump());
    EXPECT_EQ(r.status, 201) << r.text;
    EXPECT_EQ(r.json["leaseSeconds"], leaseSeconds);
    return r.json.value("id", "");
  }
  // The number of client objects, asked in a way that renews nobody's lease.
  int Objects() { return rig.Request("GET", "/api/server").json["objects"].get<int>(); }
  Reply Ping(const std::string& id) { return rig.Request("POST", "/automation/objects/" + id + "/ping", "{}"); }
  Reply Read(const std::string& id, const std::string& property) {
    return rig.Request("GET", "/automation/objects/" + id + "/properties/" + property);
  }

  test::ServerRig rig{Options()};
};

TEST_F(ServerLeases, AnAbandonedObjectIsReleasedAfterItsLeaseAndThenUnknown) {
  const std::string id = Create(2);
  ASSERT_EQ(Read(id, "Connected").status, 200);
  const int terminated = rig.LogCount("clsKeloInterface: Class_Terminate - Complete");
  rig.PassTime(2000);
  EXPECT_EQ(Objects(), 1) << "still within its lease";
  rig.PassTime(1001);  // the lease timer looks once a second
  EXPECT_EQ(Objects(), 0);
  EXPECT_EQ(rig.LogCount("clsKeloInterface: Class_Terminate - Complete"), terminated + 1);

  const std::string gone = "unknown object " + id + " (released, or its lease ran out)";
  struct Attempt {
    Reply reply;
    const char* what;
  };
  const Attempt attempts[] = {
      {Read(id, "Connected"), "property"},
      {rig.Request("POST", "/automation/objects/" + id + "/methods/Connect", "{}"), "method"},
      {rig.Request("PUT", "/automation/objects/" + id + "/properties/AutoUpdateEnabled", R"({"value": true})"), "put"},
      {Ping(id), "ping"},
  };
  for (const auto& a : attempts) {
    EXPECT_EQ(a.reply.status, 404) << a.what;
    EXPECT_EQ(a.reply.Error(), gone) << a.what;
  }
  Reply release = rig.Request("DELETE", "/automation/objects/" + id);
  EXPECT_EQ(release.status, 404);
  EXPECT_EQ(release.Error(), "unknown object " + id);
}

TEST_F(ServerLeases, PingsAndCallsKeepObjectsAliveForAsLongAsTheyCome) {
  const std::string pinged = Create(2);
  const std::string used = Create(2);
  const std::string idle = Create(2);
  for (int step = 0; step < 8; ++step) {  // 12 s: six leases
    rig.PassTime(1500);
    Reply ping = Ping(pinged);
    ASSERT_EQ(ping.status, 200) << "step " << step << ": " << ping.text;
    EXPECT_EQ(ping.json, (json{{"leaseSeconds", 2}}));
    ASSERT_EQ(Read(used, "PrimarySpeedMPH").status, 200) << "step " << step;
  }
  EXPECT_EQ(Objects(), 2);
  EXPECT_EQ(Ping(idle).status, 404);
  rig.PassTime(3001);
  EXPECT_EQ(Objects(), 0);
  EXPECT_EQ(Ping(pinged).status, 404);
  EXPECT_EQ(Read(used, "PrimarySpeedMPH").status, 404);
}

TEST_F(ServerLeases, TheDefaultLeaseAppliesWhenNoneIsAsked) {
  Reply r = rig.Request("POST", "/automation/objects", "{}");
  ASSERT_EQ(r.status, 201);
  EXPECT_EQ(r.json["leaseSeconds"], 30);
  rig.PassTime(29'000);
  EXPECT_EQ(Objects(), 1);
  rig.PassTime(2'001);
  EXPECT_EQ(Objects(), 0);
}

TEST_F(ServerLeases, AnExpiredConnectedObjectDisconnectsAsItsReleaseDoes) {
  const std::string id = Create(2);
  const std::string o = "/automation/objects/" + id;
  ASSERT_EQ(rig.Request("POST", o + "/methods/Init", R"({"args": [true, 1, 9600, "N"]})").status, 200);
  ASSERT_EQ(rig.Request("POST", o + "/methods/Connect", "{}").json["result"], true);
  const int disconnects = rig.LogCount("clsKeloInterface: DisConnect");
  rig.PassTime(3001);
  EXPECT_EQ(Objects(), 0);
  EXPECT_EQ(rig.LogCount("clsKeloInterface: DisConnect"), disconnects + 1);
  EXPECT_EQ(rig.LogCount("clsKeloInterface: Class_Terminate - Complete"), 1);
}

}  // namespace
}  // namespace tavkelo
