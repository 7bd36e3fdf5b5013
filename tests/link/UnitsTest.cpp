#include <gtest/gtest.h>

#include "link/DyneUnits.hpp"
#include "support/LinkFixture.hpp"

namespace tavkelo {
namespace {

// Outside 6.5 to 10.5 inches the nominal 8.555 is used. (The conversions through the factor are
// judged on the wire, in the link's exchanges.)
TEST(Units, RollFactorOutsideTheBoundsUsesTheNominalDiameter) {
  for (float d : {6.4f, 10.6f, 12.0f, 0.0f}) EXPECT_EQ(RollFactor(d), RollFactor(8.555f)) << d;
  for (float d : {6.5f, 8.0f, 10.5f})
    EXPECT_NEAR(RollFactor(d) / RollFactor(8.555f), d / 8.555f, 1e-6) << d;
}

struct ShiftCase {
  uint8_t variable;
  float clientValue;
  float sent;
};

// Through the slot conversion, as a Write Variable request converts its value.
TEST(Units, NegativeValuesTravelAsUnsignedQuantities) {
  const ShiftCase cases[] = {{51, -5.0f, 65531.0f}, {98, -1.0f, 65535.0f}, {88, -10.0f, 65526.0f},
                             {200, -5.0f, 873.85f}, {238, -1.0f, 877.85f}, {219, -5.0f, -5.0f},
                             {237, -5.0f, -5.0f},   {239, -5.0f, -5.0f},   {30, -5.0f, -5.0f},
                             {51, 5.0f, 5.0f}};
  test::LinkFixture f(0);
  RequestSlot& slot = f.ctx->store.slots[0];
  for (const ShiftCase& c : cases) {
    slot.variable = c.variable;
    slot.clientValue = c.clientValue;
    slot.writePending = true;
    f.ctx->readings.ScaleConvertData(false);
    EXPECT_NEAR(slot.controllerValue, c.sent, 1e-3) << static_cast<int>(c.variable);
  }
}

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

}  // namespace
}  // namespace tavkelo
