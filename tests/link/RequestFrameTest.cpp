#include <gtest/gtest.h>

#include <string>

#include "link/DyneRequestFrame.hpp"
#include "link/DyneVocabulary.hpp"

namespace tavkelo {
namespace {

// The frame as the log renders it ("[<B4><OC1>D<ENQ>]").
std::string Rendered(const RequestFrame& f) {
  return FormatControlChars(f.bytes.data(), f.count);
}

struct EncodeCase {
  const char* name;
  int32_t command;
  uint8_t variable;
  float value;
  bool zeroFill;
  const char* rendered;
  const char* logText;
};

TEST(Encode, FrameAndLogText) {
  // clang-format off
  const EncodeCase cases[] = {
    {"GetStatus", 'D', 0, 0.0f, false, "[<B4><OC1>D<ENQ>]", "DyneCmd[D-Get Status]"},
    {"GetTestValues", 'C', 7, 0.0f, true, "[<B4><OC1>C<ENQ>]",
               "DyneCmd[C-Get Test Values]"},
    {"MotorOnIsThreeBytes", 'J', 0, 0.0f, false, "[<B4><OC1>J]", "DyneCmd[J-Motor On]"},
    {"UnnamedCommand", '7', 0, 0.0f, false, "[<B4><OC1>7]", "DyneCmd[7-??]"},
    {"VariableRightAligned", 'E', 1, 0.0f, false, "[<B4><OC1>E  1<ENQ>]",
               "DyneCmd[E-Get Variable (001-ROLLDIAMETER)]"},
    {"VariableZeroFilled", 'E', 1, 0.0f, true, "[<B4><OC1>E001<ENQ>]",
               "DyneCmd[E-Get Variable (001-ROLLDIAMETER)]"},
    {"TwoDigitVariable", 'E', 51, 0.0f, false, "[<B4><OC1>E 51<ENQ>]",
               "DyneCmd[E-Get Variable (051-PARASITIC_LOSSES_A)]"},
    {"ThreeDigitVariable", 'E', 209, 0.0f, true, "[<B4><OC1>E209<ENQ>]",
               "DyneCmd[E-Get Variable (209-SPEED)]"},
    {"WriteWithUnitText", 'F', 201, 345.6f, false,
               "[<B4><OC1>F201=345.6 lbf<CR><ETB>21$]",
               "DyneCmd[F-Write Variable (201-TORQUETARGET)]"},
    {"WriteRoundsToItsFormat", 'F', 200, 12.34f, false,
               "[<B4><OC1>F200=12.3 mph<CR><ETB>09$]",
               "DyneCmd[F-Write Variable (200-SPEEDTARGET)]"},
    {"ChecksumBelowSixteenHasALeadingZero", 'F', 200, 10.2f, false,
               "[<B4><OC1>F200=10.2 mph<CR><ETB>0A$]",
               "DyneCmd[F-Write Variable (200-SPEEDTARGET)]"},
    {"WriteShiftedCalibrationWord", 'F', 51, 65531.0f, false,
               "[<B4><OC1>F 51=65531<CR><ETB>60$]",
               "DyneCmd[F-Write Variable (051-PARASITIC_LOSSES_A)]"}};
  // clang-format on
  for (const EncodeCase& c : cases) {
    RequestFrame f = EncodeRequest(c.command, c.variable, c.value, RequestOptions{c.zeroFill});
    EXPECT_EQ(Rendered(f), c.rendered) << c.name;
    EXPECT_EQ(DyneCmdText(c.command, c.variable), c.logText) << c.name;
    EXPECT_FALSE(f.error.has_value()) << c.name;
  }
}

TEST(EncodeWrite, TheSentValueIsTheValueTextReadBack) {
  EXPECT_FLOAT_EQ(*EncodeRequest('F', 200, 12.34f, {}).sentValue, 12.3f);
  EXPECT_FLOAT_EQ(*EncodeRequest('F', 202, 3456.7f, {}).sentValue, 3457.0f);
  EXPECT_FALSE(EncodeRequest('E', 200, 12.34f, {}).sentValue.has_value());
}

TEST(EncodeWrite, AValueTooLongForTheBufferStopsAtSixtyBytesWithItsStage) {
  RequestFrame f = EncodeRequest('F', 225, -3.0e38f, {});
  ASSERT_TRUE(f.error.has_value());
  EXPECT_EQ(f.count, 60);
  EXPECT_EQ(f.error->number, 9);
  EXPECT_EQ(f.error->description, "Subscript out of range");
  EXPECT_EQ(f.error->stage, 326) << "the value text fitted, its checksum did not";
  EXPECT_EQ(Rendered(f).substr(0, 17), "[<B4><OC1>F225=-3");
}

}  // namespace
}  // namespace tavkelo
