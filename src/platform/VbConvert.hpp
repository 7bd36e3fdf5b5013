#pragma once
// Conversions with the classic Basic rules: the leading-number rule of Val, and the 16- and
// 32-bit conversions that round half to even and raise overflow.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavkelo {

// Val: blanks (space, tab, line feed) are skipped wherever they stand; then an optional sign,
// digits, an optional "." with digits and an optional exponent ("E" or "D"); reading stops at the
// first character that does not fit. "&H" and "&O" introduce hexadecimal and octal whole numbers
// (a value that fits 16 bits is read as a 16-bit signed value, as the classic runtime does).
// No number at all gives 0.
double VbVal(std::string_view text);

// UCase: the text with its ASCII letters in upper case.
std::string VbUCase(std::string_view text);

// The number a whole text stands for, as the classic conversions (CDbl, CInt) read a text: blanks
// around it allowed, "&H"/"&O" numbers too; nothing when any other character stands in it.
std::optional<double> VbNumberText(std::string_view text);

// CInt / CLng: round half to even, then raise overflow (error 6) outside the type's range.
int16_t VbCInt(double value);
int32_t VbCLng(double value);

// Fix-style conversion to a byte as the automation layer passes it (overflow outside 0..255).
uint8_t VbCByte(double value);

}  // namespace tavkelo
