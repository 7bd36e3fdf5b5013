// Every member of the type library called through the remote API with extreme arguments: zero,
// negative, the largest and the most negative values a Single holds, very long text and values of
// the wrong JSON type. A member answers 200 with its own failure value, or 400 (413 for a body
// over the limit, 414 for a query over it) when the JSON cannot become its argument; never 500,
// and the server keeps serving.
#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <string>
#include <vector>

#include "ServerRig.hpp"

namespace tavkelo {
namespace {

using nlohmann::json;
using test::Reply;

// One kind of extreme argument, as a JSON value for each argument type.
struct Extreme {
  const char* name;
  json number;  // Byte, Integer, Long, Single and enumerations
  json boolean;
  json text;
};

const std::string& LongText() {
  static const std::string text(100000, 'X');
  return text;
}

std::vector<Extreme> Extremes() {
  return {
      {"zero", 0, false, ""},
      {"negative", -1, true, "-1"},
      {"largest", 1e38, true, "1e38"},
      {"most negative", -1e38, false, "-1e38"},
      {"long text", LongText().substr(0, 60000), LongText().substr(0, 60000),
       LongText().substr(0, 60000)},
      {"over the body limit", LongText(), LongText(), LongText()},
      {"wrong type", json::object(), json::array({1}), 12},
  };
}

json ArgumentFor(const Extreme& extreme, const std::string& type) {
  if (type == "Boolean") return extreme.boolean;
  if (type == "String") return extreme.text;
  return extreme.number;
}

// Query text for a property's parameter: a JSON value as the query shows it, strings bare.
std::string QueryText(const json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string UrlEncode(const std::string& text) {
  static const char* hex = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '-' || c == '.' || c == '_') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}

TEST(ServerExtremeArguments, EveryMemberAnswersWithItsFailureValueAndTheServerKeepsServing) {
  test::ServerRig rig;
  const json library = rig.Request("GET", "/automation/typelib").json;
  ASSERT_TRUE(library["members"].is_array());
  std::set<json> errorValues;
  for (const json& e : library["enumerations"]) {
    if (e["name"] == "QRTXErrorConstants") {
      for (const json& m : e["members"]) errorValues.insert(m["value"]);
    }
  }
  ASSERT_FALSE(errorValues.empty());

  // Each member is walked on an object that never connected, and on one that is connected to the
  // simulated dyne when the call is made (connected again after a call that ended its link).
  for (const bool connected : {false, true}) {
    const std::string o = rig.NewObject();
    int calls = 0, answered = 0;
    for (const json& member : library["members"]) {
      const std::string name = member["name"];
      const std::string kind = member["kind"];
      for (const Extreme& extreme : Extremes()) {
        SCOPED_TRACE(kind + " " + name + " with " + extreme.name + " arguments" +
                     (connected ? " while connected" : ""));
        if (connected) rig.ConnectObject(o);
        Reply reply;
        if (kind == "method") {
          json args = json::array();
          for (const json& p : member["parameters"])
            args.push_back(ArgumentFor(extreme, p["type"]));
          reply = rig.Request("POST", o + "/methods/" + name, json{{"args", args}}.dump());
        } else if (kind == "propertyPut") {
          json value = ArgumentFor(extreme, member["parameters"][0]["type"]);
          reply = rig.Request("PUT", o + "/properties/" + name, json{{"value", value}}.dump());
        } else {
          std::string query;
          for (const json& p : member["parameters"]) {
            query += (query.empty() ? "?" : "&") + p["name"].get<std::string>() + "=" +
                     UrlEncode(QueryText(ArgumentFor(extreme, p["type"])));
          }
          reply = rig.Request("GET", o + "/properties/" + name + query);
        }
        ++calls;
        // 413 and 414: a body or a query beyond the server's limits.
        ASSERT_TRUE(reply.status == 200 || reply.status == 400 || reply.status == 413 ||
                    reply.status == 414)
            << reply.status << " " << reply.text.substr(0, 300);
        if (reply.status != 200) {
          EXPECT_FALSE(reply.Error().empty()) << reply.text.substr(0, 300);
          continue;
        }
        ++answered;
        if (kind == "method" && member["result"] == "QRTXErrorConstants") {
          EXPECT_EQ(errorValues.count(reply.json["result"]), 1u) << reply.text.substr(0, 300);
        }
      }
    }
    EXPECT_GT(answered, calls / 3) << "most calls reach their member";
    // The object still answers.
    EXPECT_EQ(rig.Request("GET", o + "/properties/Connected").status, 200);
    EXPECT_EQ(rig.Request("DELETE", o).status, 200);
  }
  EXPECT_EQ(rig.Request("GET", "/api/server").status, 200);
}

TEST(ServerExtremeArguments, ASpeedWhoseLossOverflowsGivesInvalidValueAndIsLogged) {
  test::ServerRig rig;
  const std::string call = rig.NewObject() + "/methods/GetParasiticsAtSpeed";
  const std::string report = "clsKeloInterface: GetParasiticsAtSpeed-ERROR-Code:6";
  const int errors = rig.LogCount(report);
  for (double speed : {1e38, -1e38}) {
    Reply reply = rig.Request("POST", call, json{{"args", {speed}}}.dump());
    ASSERT_EQ(reply.status, 200) << reply.text;
    EXPECT_EQ(reply.json["result"], 201) << "gQRTXErrInvalidValue";
    EXPECT_EQ(reply.json["byRef"]["TWDUnseenPara"], 0);
  }
  EXPECT_EQ(rig.LogCount(report), errors + 2)
      << "the overflow is reported with the procedure's name";
  EXPECT_EQ(rig.LogCount("-Desc:Overflow"), 2);
  // A speed inside the range still gives the curve's value.
  Reply ordinary = rig.Request("POST", call, R"({"args": [30]})");
  EXPECT_EQ(ordinary.json["result"], 0);
}

}  // namespace
}  // namespace tavkelo
