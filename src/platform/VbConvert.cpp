#include "platform/VbConvert.hpp"

#include <cctype>
#include <cfenv>
#include <cmath>
#include <string>

#include "platform/VbError.hpp"

namespace tavkelo {

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n';
}

double RadixValue(std::string_view text, size_t pos, int radix) {
  uint64_t value = 0;
  bool any = false;
  for (; pos < text.size(); ++pos) {
    char c = static_cast<char>(std::toupper(static_cast<unsigned char>(text[pos])));
    if (IsBlank(c)) continue;
    int digit;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (radix == 16 && c >= 'A' && c <= 'F') {
      digit = c - 'A' + 10;
    } else {
      break;
    }
    if (digit >= radix) break;
    value = value * static_cast<uint64_t>(radix) + static_cast<uint64_t>(digit);
    any = true;
    if (value > 0xFFFFFFFFull) break;
  }
  if (!any) return 0.0;
  if (value <= 0xFFFFull)
    return static_cast<double>(static_cast<int16_t>(static_cast<uint16_t>(value)));
  if (value <= 0xFFFFFFFFull)
    return static_cast<double>(static_cast<int32_t>(static_cast<uint32_t>(value)));
  return static_cast<double>(value);
}

}  // namespace

double VbVal(std::string_view text) {
  size_t pos = 0;
  while (pos < text.size() && IsBlank(text[pos])) ++pos;
  if (pos + 1 < text.size() && text[pos] == '&') {
    char radix = static_cast<char>(std::toupper(static_cast<unsigned char>(text[pos + 1])));
    if (radix == 'H') return RadixValue(text, pos + 2, 16);
    if (radix == 'O') return RadixValue(text, pos + 2, 8);
  }
  // Collect the characters of the number, skipping blanks, into a plain C-locale text.
  std::string number;
  auto next = [&]() -> char {
    while (pos < text.size() && IsBlank(text[pos])) ++pos;
    return pos < text.size() ? text[pos] : '\0';
  };
  char c = next();
  if (c == '+' || c == '-') {
    number.push_back(c);
    ++pos;
  }
  bool digits = false;
  while (std::isdigit(static_cast<unsigned char>(c = next()))) {
    number.push_back(c);
    ++pos;
    digits = true;
  }
  if (next() == '.') {
    number.push_back('.');
    ++pos;
    while (std::isdigit(static_cast<unsigned char>(c = next()))) {
      number.push_back(c);
      ++pos;
      digits = true;
    }
  }
  if (!digits) return 0.0;
  c = next();
  if (c == 'e' || c == 'E' || c == 'd' || c == 'D') {
    size_t save = pos;
    std::string exponent = "e";
    ++pos;
    char s = next();
    if (s == '+' || s == '-') {
      exponent.push_back(s);
      ++pos;
    }
    bool expDigits = false;
    while (std::isdigit(static_cast<unsigned char>(c = next()))) {
      exponent.push_back(c);
      ++pos;
      expDigits = true;
    }
    if (expDigits) {
      number += exponent;
    } else {
      pos = save;
    }
  }
  return std::strtod(number.c_str(), nullptr);
}

std::string VbUCase(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper;
}

std::optional<double> VbNumberText(std::string_view text) {
  size_t begin = 0, end = text.size();
  while (begin < end && IsBlank(text[begin])) ++begin;
  while (end > begin && IsBlank(text[end - 1])) --end;
  std::string_view t = text.substr(begin, end - begin);
  if (t.empty()) return std::nullopt;
  if (t.size() > 2 && t[0] == '&') {
    char radix = static_cast<char>(std::toupper(static_cast<unsigned char>(t[1])));
    for (size_t i = 2; i < t.size(); ++i) {
      char c = static_cast<char>(std::toupper(static_cast<unsigned char>(t[i])));
      bool ok = radix == 'H' ? std::isxdigit(static_cast<unsigned char>(c)) != 0
                             : radix == 'O' && c >= '0' && c <= '7';
      if (!ok) return std::nullopt;
    }
    return VbVal(t);
  }
  // sign, digits, point, digits, exponent: every character must belong to the number.
  size_t i = 0;
  auto digits = [&] {
    size_t start = i;
    while (i < t.size() && std::isdigit(static_cast<unsigned char>(t[i]))) ++i;
    return i - start;
  };
  if (t[i] == '+' || t[i] == '-') ++i;
  size_t whole = digits();
  size_t fraction = 0;
  if (i < t.size() && t[i] == '.') {
    ++i;
    fraction = digits();
  }
  if (whole + fraction == 0) return std::nullopt;
  if (i < t.size() && (t[i] == 'e' || t[i] == 'E' || t[i] == 'd' || t[i] == 'D')) {
    ++i;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
    if (digits() == 0) return std::nullopt;
  }
  if (i != t.size()) return std::nullopt;
  return VbVal(t);
}

namespace {
double RoundHalfEven(double value) {
  // nearbyint honours the current rounding mode, which is to-nearest-even by default.
  int saved = std::fegetround();
  std::fesetround(FE_TONEAREST);
  double r = std::nearbyint(value);
  std::fesetround(saved);
  return r;
}
}  // namespace

int16_t VbCInt(double value) {
  if (std::isnan(value)) throw VbOverflow();
  double r = RoundHalfEven(value);
  if (r < -32768.0 || r > 32767.0) throw VbOverflow();
  return static_cast<int16_t>(r);
}

int32_t VbCLng(double value) {
  if (std::isnan(value)) throw VbOverflow();
  double r = RoundHalfEven(value);
  if (r < -2147483648.0 || r > 2147483647.0) throw VbOverflow();
  return static_cast<int32_t>(r);
}

uint8_t VbCByte(double value) {
  if (std::isnan(value)) throw VbOverflow();
  double r = RoundHalfEven(value);
  if (r < 0.0 || r > 255.0) throw VbOverflow();
  return static_cast<uint8_t>(r);
}

}  // namespace tavkelo
