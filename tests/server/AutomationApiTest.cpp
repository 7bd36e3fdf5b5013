// The remote API's conversion between JSON and the automation types of the member table: each
// parameter type with the values it takes and the exact message for those it refuses, argument
// lists (positional, named, by reference), results and by-reference outputs.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "sequences/modMath.hpp"
#include "server/AutomationApi.hpp"
#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

using nlohmann::json;

const MemberInfo& Method(const char* name) {
  const MemberInfo* m = FindMember(name, MemberKind::Method);
  if (m == nullptr) throw std::logic_error(std::string("no method ") + name);
  return *m;
}

ParamInfo Param(const char* name, AutoTypeRef type) { return ParamInfo{name, type, false}; }

const AutoTypeRef kBoolean{AutoType::Boolean};
const AutoTypeRef kByte{AutoType::Byte};
const AutoTypeRef kInteger{AutoType::Integer};
const AutoTypeRef kLong{AutoType::Long};
const AutoTypeRef kSingle{AutoType::Single};
const AutoTypeRef kString{AutoType::String};
const AutoTypeRef kTestIndex{AutoType::Enum, "QRTXTestIndeces"};

struct GoodArgument {
  const char* label;
  ParamInfo param;
  json value;
  AutoValue expected;
};

TEST(AutomationApiArguments, EachTypeTakesItsValuesInTheParametersOwnType) {
  const GoodArgument cases[] = {
      {"true", Param("BeActive", kBoolean), true, true},
      {"false", Param("BeActive", kBoolean), false, false},
      {"byte low end", Param("WhichParam", kByte), 0, uint8_t{0}},
      {"byte high end", Param("WhichParam", kByte), 255, uint8_t{255}},
      {"byte as a whole double", Param("WhichParam", kByte), 7.0, uint8_t{7}},
      {"integer low end", Param("SerialPort", kInteger), -32768, int16_t{-32768}},
      {"integer high end", Param("SerialPort", kInteger), 32767, int16_t{32767}},
      {"long high end", Param("BaudRate", kLong), 2147483647, int32_t{2147483647}},
      {"long low end", Param("BaudRate", kLong), -2147483648LL, int32_t{-2147483647 - 1}},
      {"enumeration out of its members", Param("TestIndex", kTestIndex), 99, int32_t{99}},
      {"single from an integer", Param("TheSpeed", kSingle), 20, 20.0f},
      {"single from a fraction", Param("TheSpeed", kSingle), 8.555, 8.555f},
      {"single at its largest", Param("TheSpeed", kSingle), static_cast<double>(std::numeric_limits<float>::max()),
       std::numeric_limits<float>::max()},
      {"empty string", Param("Parity", kString), "", std::string()},
      {"string", Param("Parity", kString), "N", std::string("N")},
  };
  for (const auto& c : cases) {
    AutoValue got = ArgumentFromJson(c.value, c.param);
    EXPECT_EQ(got.index(), c.expected.index()) << c.label;
    EXPECT_EQ(got, c.expected) << c.label;
  }
}

struct BadArgument {
  ParamInfo param;
  json value;
  const char* message;
};

TEST(AutomationApiArguments, ValuesThatDoNotFitAreRefusedWithTheirReason) {
  const BadArgument cases[] = {
      {Param("BeActive", kBoolean), 1, "argument BeActive (Boolean): expected true or false, got 1"},
      {Param("BeActive", kBoolean), "true", "argument BeActive (Boolean): expected true or false, got \"true\""},
      {Param("BeActive", kBoolean), nullptr, "argument BeActive (Boolean): expected true or false, got null"},
      {Param("WhichParam", kByte), 300, "argument WhichParam (Byte): 300 is out of range 0 to 255"},
      {Param("WhichParam", kByte), -1, "argument WhichParam (Byte): -1 is out of range 0 to 255"},
      {Param("WhichParam", kByte), 1.5, "argument WhichParam (Byte): expected a whole number, got 1.5"},
      {Param("SerialPort", kInteger), 40000, "argument SerialPort (Integer): 40000 is out of range -32768 to 32767"},
      {Param("SerialPort", kInteger), -32769,
       "argument SerialPort (Integer): -32769 is out of range -32768 to 32767"},
      {Param("SerialPort", kInteger), "1", "argument SerialPort (Integer): expected a number, got string"},
      {Param("SerialPort", kInteger), true, "argument SerialPort (Integer): expected a number, got boolean"},
      {Param("BaudRate", kLong), 2147483648LL,
       "argument BaudRate (Long): 2147483648 is out of range -2147483648 to 2147483647"},
      {Param("BaudRate", kLong), json::array({9600}), "argument BaudRate (Long): expected a number, got array"},
      {Param("TestIndex", kTestIndex), "gQRTXTIWarmup",
       "argument TestIndex (QRTXTestIndeces): expected a number, got string"},
      {Param("TestIndex", kTestIndex), 4.25, "argument TestIndex (QRTXTestIndeces): expected a whole number, got 4.25"},
      {Param("TheSpeed", kSingle), 1e39, "argument TheSpeed (Single): 1e+39 does not fit a Single"},
      {Param("TheSpeed", kSingle), -1e39, "argument TheSpeed (Single): -1e+39 does not fit a Single"},
      {Param("TheSpeed", kSingle), json::object(), "argument TheSpeed (Single): expected a number, got object"},
      {Param("Parity", kString), 78, "argument Parity (String): expected a string, got number"},
      {Param("Parity", kString), nullptr, "argument Parity (String): expected a string, got null"},
  };
  for (const auto& c : cases) {
    try {
      ArgumentFromJson(c.value, c.param);
      ADD_FAILURE() << "accepted " << c.value.dump() << " for " << c.param.name;
    } catch (const ApiError& e) {
      EXPECT_EQ(e.Status(), 400) << c.message;
      EXPECT_STREQ(e.what(), c.message);
    }
  }
}

TEST(AutomationApiArguments, PositionalNamedAndLeftOutByReferenceArgumentsLineUpWithTheParameters) {
  std::vector<AutoValue> init = ArgumentsFromJson(Method("Init"), json::array({true, 1, 9600, "N"}));
  EXPECT_EQ(init, (std::vector<AutoValue>{true, int16_t{1}, int32_t{9600}, std::string("N")}));

  // Named arguments in any order.
  std::vector<AutoValue> named =
      ArgumentsFromJson(Method("Init"), json{{"Parity", "E"}, {"BaudRate", 19200}, {"SerialPort", 2}, {"BeActive", false}});
  EXPECT_EQ(named, (std::vector<AutoValue>{false, int16_t{2}, int32_t{19200}, std::string("E")}));

  // By-reference outputs may be left out: they start at zero, positional or named.
  const MemberInfo& para = Method("GetParasiticsAtSpeed");
  const std::vector<AutoValue> zeroOutputs{20.0f, 0.0f, 0.0f, 0.0f, 0.0f};
  EXPECT_EQ(ArgumentsFromJson(para, json::array({20})), zeroOutputs);
  EXPECT_EQ(ArgumentsFromJson(para, json{{"TheSpeed", 20}}), zeroOutputs);
  EXPECT_EQ(ArgumentsFromJson(para, json::array({20, 1.5})), (std::vector<AutoValue>{20.0f, 1.5f, 0.0f, 0.0f, 0.0f}));

  // A method without parameters takes no "args", an empty array or an empty object.
  for (const json& none : {json(), json::array(), json::object()}) {
    EXPECT_TRUE(ArgumentsFromJson(Method("Connect"), none).empty()) << none.dump();
  }
}

struct BadArguments {
  const char* method;
  json args;
  const char* message;
};

TEST(AutomationApiArguments, WrongCountsNamesAndShapesAreRefused) {
  const BadArguments cases[] = {
      {"RaiseLifts", json::array({true}), "RaiseLifts takes 2 arguments, got 1"},
      {"RaiseLifts", json::array({true, false, true}), "RaiseLifts takes 2 arguments, got 3"},
      {"RaiseLifts", json(), "RaiseLifts takes 2 arguments, got 0"},
      {"Connect", json::array({1}), "Connect takes 0 arguments, got 1"},
      {"Init", json::array({true, 1, 9600}), "Init takes 4 arguments, got 3"},
      {"GetParasiticsAtSpeed", json::array(), "GetParasiticsAtSpeed takes 1 to 5 arguments, got 0"},
      {"GetParasiticsAtSpeed", json::array({1, 2, 3, 4, 5, 6}), "GetParasiticsAtSpeed takes 1 to 5 arguments, got 6"},
      {"RaiseLifts", json{{"TWDLift", true}}, "RaiseLifts needs argument FWDLift"},
      {"RaiseLifts", json{{"TWDLift", true}, {"FWDLift", false}, {"Lift", true}}, "RaiseLifts has no parameter Lift"},
      {"RaiseLifts", json{{"twdlift", true}, {"FWDLift", false}}, "RaiseLifts has no parameter twdlift"},
      {"RaiseLifts", json(true), "\"args\" must be an array or an object"},
      {"RaiseLifts", json("true false"), "\"args\" must be an array or an object"},
      {"Init", json::array({true, 40000, 9600, "N"}), "argument SerialPort (Integer): 40000 is out of range -32768 to 32767"},
      {"GetSystemParameter", json::array({300}), "argument WhichParam (Byte): 300 is out of range 0 to 255"},
      {"Init", json{{"BeActive", 1}, {"SerialPort", 1}, {"BaudRate", 9600}, {"Parity", "N"}},
       "argument BeActive (Boolean): expected true or false, got 1"},
  };
  for (const auto& c : cases) {
    try {
      ArgumentsFromJson(Method(c.method), c.args);
      ADD_FAILURE() << c.method << " accepted " << c.args.dump();
    } catch (const ApiError& e) {
      EXPECT_EQ(e.Status(), 400) << c.message;
      EXPECT_STREQ(e.what(), c.message) << c.method << " " << c.args.dump();
    }
  }
}

TEST(AutomationApiResults, ValuesTravelAsJsonWithASinglesOwnDigits) {
  EXPECT_EQ(ValueToJson(AutoValue()), json(nullptr));
  EXPECT_EQ(ValueToJson(true), json(true));
  EXPECT_EQ(ValueToJson(uint8_t{200}), json(200));
  EXPECT_EQ(ValueToJson(int16_t{-5}), json(-5));
  EXPECT_EQ(ValueToJson(int32_t{202}), json(202));
  EXPECT_EQ(ValueToJson(std::string("No Error")), json("No Error"));
  // 8.555f is 8.55500030517578125 as a double; the answer carries the Single's own digits.
  EXPECT_EQ(ValueToJson(8.555f).dump(), "8.555");
  EXPECT_EQ(ValueToJson(0.1f).dump(), "0.1");
  EXPECT_EQ(ValueToJson(-30.0f).dump(), "-30.0");
  EXPECT_EQ(ValueToJson(1.0e20f).get<double>(), 1.0e20);
  EXPECT_EQ(ValueToJson(std::numeric_limits<float>::quiet_NaN()), json(nullptr)) << "JSON has no NaN";
  EXPECT_EQ(ValueToJson(std::numeric_limits<float>::infinity()), json(nullptr));
}

TEST(AutomationApiResults, ACallAnswersItsResultAndOnlyItsByReferenceParameters) {
  const MemberInfo& para = Method("GetParasiticsAtSpeed");
  std::vector<AutoValue> args{20.0f, 1.0f, 2.0f, 10.25f, 4.0f};
  json answer = CallResultJson(para, int32_t{0}, args);
  EXPECT_EQ(answer, (json{{"result", 0},
                          {"byRef", {{"TWDRawPara", 1.0}, {"FWDRawPara", 2.0}, {"TWDUnseenPara", 10.25}, {"FWDUnseenPara", 4.0}}}}));

  json init = CallResultJson(Method("Init"), AutoValue(), {true, int16_t{1}, int32_t{9600}, std::string("N")});
  EXPECT_EQ(init, (json{{"result", nullptr}, {"byRef", json::object()}}));
}

TEST(AutomationApiResults, ByReferenceOutputsComeBackFromTheMemberItself) {
  test::InterfaceFixture f;
  auto k = f.NewInterface();
  f.ctx->store.ParasiticCoefK = 1.5f;
  f.ctx->store.ParasiticCoefA = 0.25f;
  f.ctx->store.ParasiticCoefB = 0.01f;
  const MemberInfo& para = Method("GetParasiticsAtSpeed");
  // Whatever the client passes in for the outputs, the member sets them.
  std::vector<AutoValue> args = ArgumentsFromJson(para, json::array({20, 7, 7, 7, 7}));
  json answer = CallResultJson(para, para.invoke(*k, args), args);
  EXPECT_EQ(answer["result"], 0);
  EXPECT_EQ(answer["byRef"]["TWDUnseenPara"], ValueToJson(modMath::evalcurve(1.5f, 0.25f, 0.01f, 20.0f)));
  EXPECT_GT(answer["byRef"]["TWDUnseenPara"].get<double>(), 1.5) << "a loss that grows with speed";
  for (const char* zero : {"TWDRawPara", "FWDRawPara", "FWDUnseenPara"}) EXPECT_EQ(answer["byRef"][zero], 0.0) << zero;

  // A placeholder leaves its outputs as they came in.
  const MemberInfo& pid = Method("GetPIDConstants");
  std::vector<AutoValue> pidArgs = ArgumentsFromJson(pid, json{{"WhichPID", 1}, {"IValue", 2.5}});
  json pidAnswer = CallResultJson(pid, pid.invoke(*k, pidArgs), pidArgs);
  EXPECT_EQ(pidAnswer, (json{{"result", 1}, {"byRef", {{"PValue", 0.0}, {"IValue", 2.5}, {"DValue", 0.0}}}}));
}

}  // namespace
}  // namespace tavkelo
