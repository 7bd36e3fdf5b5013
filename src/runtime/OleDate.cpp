#include "runtime/OleDate.hpp"

#include <cctype>
#include <cmath>

namespace tavkelo {

namespace {

// Days from 1970-01-01 of a proleptic Gregorian date.
int64_t DaysFromCivil(int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

void CivilFromDays(int64_t z, int& year, int& month, int& day) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t y = static_cast<int64_t>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  year = static_cast<int>(y + (month <= 2));
}

constexpr int64_t kOleEpochFromUnixDays = -25569;  // 1899-12-30 relative to 1970-01-01

bool ValidDate(int y, int m, int d) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (y < 100 || y > 9999 || m < 1 || m > 12 || d < 1) return false;
  int limit = kDays[m - 1];
  bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  if (m == 2 && leap) limit = 29;
  return d <= limit;
}

}  // namespace

double OleDateFromParts(int year, int month, int day, int hour, int minute, int second) {
  int64_t days = DaysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) -
                 kOleEpochFromUnixDays;
  double time = (hour * 3600.0 + minute * 60.0 + second) / 86400.0;
  return static_cast<double>(days) + time;
}

DateParts OleDateToParts(double date) {
  // Positive dates only matter here; negative ones would need the platform's odd encoding.
  int64_t totalMs = static_cast<int64_t>(std::llround(date * 86'400'000.0));
  int64_t days = totalMs / 86'400'000;
  int64_t msOfDay = totalMs % 86'400'000;
  if (msOfDay < 0) {
    msOfDay += 86'400'000;
    --days;
  }
  DateParts parts;
  CivilFromDays(days + kOleEpochFromUnixDays, parts.year, parts.month, parts.day);
  parts.hour = static_cast<int>(msOfDay / 3'600'000);
  parts.minute = static_cast<int>(msOfDay / 60'000 % 60);
  parts.second = static_cast<int>(msOfDay / 1000 % 60);
  parts.millisecond = static_cast<int>(msOfDay % 1000);
  return parts;
}

namespace {

bool ReadNumber(std::string_view text, size_t& pos, int minDigits, int maxDigits, int& value) {
  int digits = 0;
  value = 0;
  while (pos < text.size() && digits < maxDigits &&
         std::isdigit(static_cast<unsigned char>(text[pos]))) {
    value = value * 10 + (text[pos] - '0');
    ++pos;
    ++digits;
  }
  return digits >= minDigits;
}

bool ReadTime(std::string_view text, size_t& pos, int& h, int& mi, int& s) {
  if (!ReadNumber(text, pos, 1, 2, h)) return false;
  if (pos >= text.size() || text[pos] != ':') return false;
  ++pos;
  if (!ReadNumber(text, pos, 1, 2, mi)) return false;
  s = 0;
  if (pos < text.size() && text[pos] == ':') {
    ++pos;
    if (!ReadNumber(text, pos, 1, 2, s)) return false;
  }
  return h < 24 && mi < 60 && s < 60;
}

}  // namespace

std::optional<double> ParseOleDate(std::string_view text) {
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  text = text.substr(begin, end - begin);
  if (text.empty()) return std::nullopt;

  size_t pos = 0;
  int y = 0, m = 0, d = 0, h = 0, mi = 0, s = 0;
  size_t probe = 0;
  int first = 0;
  ReadNumber(text, probe, 1, 4, first);
  if (probe < text.size() && text[probe] == ':') {
    if (!ReadTime(text, pos, h, mi, s) || pos != text.size()) return std::nullopt;
    return (h * 3600.0 + mi * 60.0 + s) / 86400.0;
  }
  if (!ReadNumber(text, pos, 4, 4, y)) return std::nullopt;
  if (pos >= text.size() || (text[pos] != '-' && text[pos] != '/')) return std::nullopt;
  char sep = text[pos++];
  if (!ReadNumber(text, pos, 1, 2, m)) return std::nullopt;
  if (pos >= text.size() || text[pos] != sep) return std::nullopt;
  ++pos;
  if (!ReadNumber(text, pos, 1, 2, d)) return std::nullopt;
  if (!ValidDate(y, m, d)) return std::nullopt;
  if (pos < text.size()) {
    if (text[pos] != ' ' && text[pos] != 'T') return std::nullopt;
    while (pos < text.size() && (text[pos] == ' ' || text[pos] == 'T')) ++pos;
    if (!ReadTime(text, pos, h, mi, s) || pos != text.size()) return std::nullopt;
  }
  return OleDateFromParts(y, m, d, h, mi, s);
}

}  // namespace tavkelo
