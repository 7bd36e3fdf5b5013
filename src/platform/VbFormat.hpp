#pragma once
// Text formatting with the classic Basic rules.
//
// Number formats: digit placeholders "0" (always a digit) and "#" (a digit only where the number
// has one), a decimal point, an exponent part "e+00" / "e-00", and up to two sections separated
// by ";" (positive;negative). Rounding is half away from zero on the number's decimal digits.
// A Single is formatted from its 7 significant decimal digits and a Double from its 15, as the
// classic runtime does.
//
// Date formats: yyyy, yy, MM, dd, HH, hh, nn, mm, ss in either case; "mm" means minutes right
// after an hour or before a second token and months otherwise, so "HHMMSS" is a time and
// "YYYYMMDD" a date.

#include <cstdint>
#include <string>
#include <string_view>

namespace tavkelo {

std::string VbFormat(double value, std::string_view format);
std::string VbFormat(float value, std::string_view format);
std::string VbFormat(int value, std::string_view format);
std::string VbFormat(int64_t value, std::string_view format);

// Formats an OLE date.
std::string VbFormatDate(double oleDate, std::string_view format);

// The general number text of a Single (up to 7 significant digits) and of a Double (up to 15):
// what CStr and string concatenation give, with "." as the decimal point.
std::string VbStr(float value);
std::string VbStr(double value);

// Upper-case hexadecimal of a 32-bit value, as Hex$ writes it (negative values in two's
// complement).
std::string VbHex(int64_t value);

// "True" or "False".
inline const char* BoolText(bool value) {
  return value ? "True" : "False";
}

}  // namespace tavkelo
