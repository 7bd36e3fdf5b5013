#include <gtest/gtest.h>

#include "link/DyneUnits.hpp"
#include "support/LinkFixture.hpp"

namespace tavkelo {
namespace {

TEST(Units, RollDiameterBothWays) {
  EXPECT_NEAR(ToClientUnits(1, 2159.0f, 0), 8.5f, 1e-5);
  EXPECT_NEAR(ToControllerUnits(1, 8.5f, 0), 2159.0f, 0.01f);
}

TEST(Units, TorqueThroughTheRollFactor) {
  float k = RollFactor(8.555f);
  EXPECT_NEAR(k, 8.555 * 989978.64876768 / 63360.0, 1e-3);
  EXPECT_NEAR(ToClientUnits(231, 100.0f, k), 35.645f, 0.01f);
  EXPECT_NEAR(ToControllerUnits(201, 35.645f, k), 100.0f, 0.01f);
}

struct FactorCase {
  float diameter;
  float usedDiameter;
};

class RollFactorBounds : public ::testing::TestWithParam<FactorCase> {};

TEST_P(RollFactorBounds, OutsideTheBoundsTheNominalDiameterIsUsed) {
  double expected = static_cast<double>(GetParam().usedDiameter) * 989978.64876768 / 63360.0;
  EXPECT_NEAR(RollFactor(GetParam().diameter), expected, 1e-3);
}

INSTANTIATE_TEST_SUITE_P(Diameters, RollFactorBounds,
                         ::testing::Values(FactorCase{6.5f, 6.5f}, FactorCase{10.5f, 10.5f},
                                           FactorCase{6.4f, 8.555f}, FactorCase{10.6f, 8.555f},
                                           FactorCase{12.0f, 8.555f}, FactorCase{0.0f, 8.555f},
                                           FactorCase{8.0f, 8.0f}));

struct ShiftCase {
  uint8_t variable;
  float clientValue;
  float sent;
};

class NegativeShift : public ::testing::TestWithParam<ShiftCase> {};

// Through the slot conversion, as a Write Variable request converts its value.
TEST_P(NegativeShift, NegativeValuesTravelAsUnsignedQuantities) {
  test::LinkFixture f(0);
  RequestSlot& slot = f.ctx->store.slots[0];
  slot.variable = GetParam().variable;
  slot.clientValue = GetParam().clientValue;
  slot.writePending = true;
  f.ctx->readings.ScaleConvertData(false);
  EXPECT_NEAR(slot.controllerValue, GetParam().sent, 1e-3) << static_cast<int>(GetParam().variable);
}

INSTANTIATE_TEST_SUITE_P(
    Variables, NegativeShift,
    ::testing::Values(ShiftCase{51, -5.0f, 65531.0f}, ShiftCase{98, -1.0f, 65535.0f},
                      ShiftCase{88, -10.0f, 65526.0f}, ShiftCase{200, -5.0f, 873.85f},
                      ShiftCase{238, -1.0f, 877.85f}, ShiftCase{219, -5.0f, -5.0f},
                      ShiftCase{237, -5.0f, -5.0f}, ShiftCase{239, -5.0f, -5.0f},
                      ShiftCase{30, -5.0f, -5.0f}, ShiftCase{51, 5.0f, 5.0f}));

TEST(Units, AWritePendingSlotOnlyConvertsTowardsTheController) {
  test::LinkFixture f(0);
  RequestSlot& slot = f.ctx->store.slots[0];
  slot.variable = 1;
  slot.clientValue = 8.5f;
  slot.controllerValue = 1.0f;
  slot.writePending = true;
  f.ctx->readings.ScaleConvertData(true);
  EXPECT_NEAR(slot.controllerValue, 2159.0f, 0.01f);
  EXPECT_EQ(slot.controllerUnit, "0.1 mm");
  EXPECT_EQ(slot.clientUnit, "Inches");
}

TEST(Units, SettledValueFormats) {
  EXPECT_EQ(FormatDyneValue(209).format, "##0.0");
  EXPECT_EQ(FormatDyneValue(209).unit, " mph");
  EXPECT_EQ(FormatDyneValue(231).unit, " lbf");
  EXPECT_EQ(FormatDyneValue(217).format, "####0");
  EXPECT_EQ(FormatDyneValue(228).unit, " Hp");
  EXPECT_EQ(FormatDyneValue(226).format, "##0.00");
  EXPECT_EQ(FormatDyneValue(226).unit, "");
}

}  // namespace
}  // namespace tavkelo
