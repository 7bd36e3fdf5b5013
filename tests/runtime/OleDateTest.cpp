#include <gtest/gtest.h>

#include "runtime/OleDate.hpp"

namespace tavkelo {
namespace {

TEST(OleDate, KnownDatesRoundTripAndTheProfilesTextForm) {
  EXPECT_DOUBLE_EQ(OleDateFromParts(1899, 12, 30), 0.0);
  EXPECT_DOUBLE_EQ(OleDateFromParts(1900, 1, 1), 2.0);
  EXPECT_DOUBLE_EQ(OleDateFromParts(2000, 1, 1, 12, 0, 0), 36526.5);
  DateParts p = OleDateToParts(OleDateFromParts(2024, 2, 29, 23, 59, 58));
  EXPECT_EQ(p.year, 2024);
  EXPECT_EQ(p.month, 2);
  EXPECT_EQ(p.day, 29);
  EXPECT_EQ(p.second, 58);
  // The profile's text form.
  auto parsed = ParseOleDate("2020-06-22 14:23:05");
  ASSERT_TRUE(parsed.has_value());
  EXPECT_DOUBLE_EQ(*parsed, OleDateFromParts(2020, 6, 22, 14, 23, 5));
  EXPECT_TRUE(ParseOleDate("2020-06-22").has_value());
  EXPECT_FALSE(ParseOleDate("not a date").has_value());
  EXPECT_FALSE(ParseOleDate("2020-02-30 10:00:00").has_value());
  EXPECT_FALSE(ParseOleDate("").has_value());
  EXPECT_FALSE(ParseOleDate("2020-06-22 25:00:00").has_value());
}

}  // namespace
}  // namespace tavkelo
