// The crossing time through the last two speed samples, and its log line.

#include <gtest/gtest.h>

#include <cmath>

#include "SequenceRig.hpp"
#include "sequences/SpeedCrossing.hpp"

namespace tavkelo {
namespace {

struct CrossingCase {
  const char* what;
  float y1, y2;
  int32_t x1, x2;
  float speed;
};

class Crossing : public ::testing::TestWithParam<CrossingCase> {};

// The same straight line, written as a weighted mean of the two ticks.
double ExpectedTick(const CrossingCase& c) {
  const double fraction =
      (static_cast<double>(c.y1) - c.speed) / (static_cast<double>(c.y1) - c.y2);
  return c.x1 + fraction * (c.x2 - c.x1);
}

TEST_P(Crossing, LiesOnTheLineThroughTheTwoSamples) {
  const CrossingCase& c = GetParam();
  const auto at = SpeedCrossing::CrossingTime(c.y1, c.y2, c.x1, c.x2, c.speed);
  ASSERT_TRUE(at.has_value());
  // Rounded to a whole millisecond; the single-precision slope adds far less than that.
  EXPECT_NEAR(*at, ExpectedTick(c), 0.5 + 1e-3);
}

INSTANTIATE_TEST_SUITE_P(
    Samples, Crossing,
    ::testing::Values(CrossingCase{"inside the pair", 30.2f, 29.8f, 1000000, 1000100, 30.0f},
                      CrossingCase{"at the first sample", 30.0f, 29.5f, 2000, 2200, 30.0f},
                      CrossingCase{"at the second sample", 26.4f, 26.0f, 5000, 5300, 26.0f},
                      CrossingCase{"missed: beyond the pair", 25.6f, 25.2f, 1000000, 1000200,
                                   24.9f},
                      CrossingCase{"rising speed", 10.0f, 12.0f, 100, 300, 11.0f},
                      CrossingCase{"large ticks", 8.3f, 8.1f, 2000000000, 2000000150, 8.2f}),
    [](const auto& info) {
      std::string name = info.param.what;
      for (char& ch : name) {
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
      }
      return name;
    });

TEST(CrossingTime, IsRoundedToAWholeMillisecond) {
  // Slope -0.125 mph/ms from 20 mph at tick 0 (exact in binary): 17.4375 mph is crossed at
  // 20.5 ms and 17.3125 mph at 21.5 ms; halves go to the even neighbour as a Long conversion does.
  auto at = SpeedCrossing::CrossingTime(20.0f, 12.0f, 0, 64, 17.4375f);
  ASSERT_TRUE(at.has_value());
  EXPECT_EQ(*at, 20);
  at = SpeedCrossing::CrossingTime(20.0f, 12.0f, 0, 64, 17.3125f);
  ASSERT_TRUE(at.has_value());
  EXPECT_EQ(*at, 22);
  at = SpeedCrossing::CrossingTime(20.0f, 12.0f, 0, 64, 17.4f);
  ASSERT_TRUE(at.has_value());
  EXPECT_EQ(*at, 21);  // 20.8
}

TEST(CrossingTime, SamplesWithTheSameTickGiveZero) {
  EXPECT_EQ(SpeedCrossing::CrossingTime(30.2f, 29.8f, 5000, 5000, 30.0f), 0);
}

TEST(CrossingTime, AFlatLineHasNoCrossing) {
  EXPECT_FALSE(SpeedCrossing::CrossingTime(30.0f, 30.0f, 5000, 5100, 29.0f).has_value());
}

TEST(CrossingTime, ACrossingBeyondThe32BitTicksHasNone) {
  // Nearly flat: the crossing lies far beyond what a tick count can hold.
  EXPECT_FALSE(
      SpeedCrossing::CrossingTime(30.0f, 29.99999f, 2000000000, 2000000100, 0.0f).has_value());
}

TEST(CrossingMark, FallsBackToTheCurrentSampleTickAndLogsTheLine) {
  test::LinkFixture f{8};
  ReadingsStore& s = f.ctx->store;
  s.PreviousDyneSpeed = 25.3f;
  s.DyneSpeed = 25.3f;  // flat: no line to cross
  s.PreviousDyneSpeedTick = 1234567;
  s.DyneSpeedTick = 1234667;
  EXPECT_EQ(SpeedCrossing::Mark(*f.ctx, 25.0f, 3), 1234667);
  s.DyneSpeed = 24.9f;
  const int32_t mark = SpeedCrossing::Mark(*f.ctx, 25.0f, 3);
  EXPECT_NEAR(mark, 1234567 + 100.0 * 0.3 / 0.4, 1.0);
  const auto lines = test::LogLinesWithoutStamps(f);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "PP-Pas:03  Y1,2:25.3,25.3  X1,2:01234567,01234667  Tgt:25.0 TT:01234667");
  EXPECT_EQ(lines[1], "PP-Pas:03  Y1,2:25.3,24.9  X1,2:01234567,01234667  Tgt:25.0 TT:0" +
                          std::to_string(mark));
}

}  // namespace
}  // namespace tavkelo
