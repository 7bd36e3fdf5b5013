#pragma once
// Dates as the automation platform keeps them: a double counting days since 1899-12-30 00:00,
// the fraction being the time of day.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavkelo {

struct DateParts {
  int year = 1899;
  int month = 12;
  int day = 30;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

double OleDateFromParts(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);
// Splits an OLE date; the time is rounded to the nearest millisecond.
DateParts OleDateToParts(double date);

// Parses the forms the profile and the log write: "yyyy-MM-dd HH:mm:ss", "yyyy-MM-dd",
// "yyyy/MM/dd HH:mm:ss" and "HH:mm:ss". Returns nothing for anything else or an invalid date.
std::optional<double> ParseOleDate(std::string_view text);

}  // namespace tavkelo
