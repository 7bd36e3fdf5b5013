// The crossing time through the last two speed samples.

#include <gtest/gtest.h>

#include <optional>

#include "SequenceRig.hpp"
#include "sequences/SpeedCrossing.hpp"

namespace tavkelo {
namespace {

struct CrossingCase {
  float y1, y2;
  int32_t x1, x2;
  float speed;
  std::optional<int32_t> tick;  // on the line through the two samples, whole milliseconds
};

const CrossingCase kCrossings[] = {
    {30.2f, 29.8f, 1000000, 1000100, 30.0f, 1000050},  // inside the pair
    {30.0f, 29.5f, 2000, 2200, 30.0f, 2000},           // at the first sample
    {26.4f, 26.0f, 5000, 5300, 26.0f, 5300},           // at the second sample
    {25.6f, 25.2f, 1000000, 1000200, 24.9f, 1000350},  // missed: beyond the pair
    {10.0f, 12.0f, 100, 300, 11.0f, 200},              // rising speed
    {8.3f, 8.1f, 2000000000, 2000000150, 8.2f, 2000000075},
    // Slope -0.125 mph/ms (exact in binary): 20.5 and 21.5 ms go to the even neighbour.
    {20.0f, 12.0f, 0, 64, 17.4375f, 20},
    {20.0f, 12.0f, 0, 64, 17.3125f, 22},
    {20.0f, 12.0f, 0, 64, 17.4f, 21},                                // 20.8
    {30.2f, 29.8f, 5000, 5000, 30.0f, 0},                            // the same tick twice
    {30.0f, 30.0f, 5000, 5100, 29.0f, std::nullopt},                 // flat: no crossing
    {30.0f, 29.99999f, 2000000000, 2000000100, 0.0f, std::nullopt},  // beyond 32-bit ticks
};

TEST(CrossingTime, LiesOnTheLineThroughTheTwoSamples) {
  for (const CrossingCase& c : kCrossings) {
    SCOPED_TRACE(::testing::Message() << c.y1 << " " << c.y2 << " " << c.x1 << " " << c.speed);
    EXPECT_EQ(SpeedCrossing::CrossingTime(c.y1, c.y2, c.x1, c.x2, c.speed), c.tick);
  }
}

TEST(CrossingMark, FallsBackToTheCurrentSampleTickWithoutACrossing) {
  test::LinkFixture f{0};
  ReadingsStore& s = f.ctx->store;
  s.PreviousDyneSpeed = s.DyneSpeed = 25.3f;  // flat: no line to cross
  s.PreviousDyneSpeedTick = 1234567;
  s.DyneSpeedTick = 1234667;
  EXPECT_EQ(SpeedCrossing::Mark(*f.ctx, 25.0f, 3), 1234667);
  s.DyneSpeed = 24.9f;
  EXPECT_EQ(SpeedCrossing::Mark(*f.ctx, 25.0f, 3), 1234642);  // 100 ms x 0.3 / 0.4 from the first
}

}  // namespace
}  // namespace tavkelo
