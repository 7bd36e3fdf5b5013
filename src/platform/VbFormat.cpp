#include "platform/VbFormat.hpp"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "runtime/OleDate.hpp"

namespace tavkelo {

namespace {

// A non-negative number as decimal digits: value = d0.d1d2... x 10^exp. No digits means zero.
struct Decimal {
  std::string digits;
  int exp = 0;
};

Decimal ToDecimal(double magnitude, int significant) {
  Decimal d;
  if (magnitude == 0.0 || !std::isfinite(magnitude)) return d;
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*e", significant - 1, magnitude);
  // buf looks like "1.234560e+02"
  const char* p = buf;
  for (; *p && *p != 'e'; ++p) {
    if (std::isdigit(static_cast<unsigned char>(*p))) d.digits.push_back(*p);
  }
  d.exp = (*p == 'e') ? std::atoi(p + 1) : 0;
  while (!d.digits.empty() && d.digits.back() == '0') d.digits.pop_back();
  if (d.digits.empty()) d.exp = 0;
  return d;
}

// The digit at decimal position pos (10^pos) of d.
int DigitAt(const Decimal& d, int pos) {
  int index = d.exp - pos;
  if (index < 0 || index >= static_cast<int>(d.digits.size())) return 0;
  return d.digits[static_cast<size_t>(index)] - '0';
}

// Rounds d half away from zero so that its last kept position is 10^-places. Returns the integer
// digits (no leading zeros, empty for zero) and exactly `places` fraction digits.
void RoundFixed(const Decimal& d, int places, std::string& intPart, std::string& fracPart) {
  intPart.clear();
  fracPart.clear();
  int top = d.digits.empty() ? 0 : std::max(d.exp, 0);
  // Digits from 10^top down to 10^-places, most significant first.
  std::vector<int> digits;
  for (int pos = top; pos >= -places; --pos) digits.push_back(DigitAt(d, pos));
  bool roundUp = DigitAt(d, -places - 1) >= 5;
  if (roundUp) {
    int i = static_cast<int>(digits.size()) - 1;
    for (; i >= 0; --i) {
      if (digits[static_cast<size_t>(i)] == 9) {
        digits[static_cast<size_t>(i)] = 0;
      } else {
        ++digits[static_cast<size_t>(i)];
        break;
      }
    }
    if (i < 0) digits.insert(digits.begin(), 1);
  }
  size_t fracStart = digits.size() - static_cast<size_t>(places);
  for (size_t i = 0; i < fracStart; ++i) {
    if (intPart.empty() && digits[i] == 0) continue;
    intPart.push_back(static_cast<char>('0' + digits[i]));
  }
  for (size_t i = fracStart; i < digits.size(); ++i)
    fracPart.push_back(static_cast<char>('0' + digits[i]));
}

struct Section {
  std::string prefix;
  std::string suffix;
  int intPlaceholders = 0;
  int intForced = 0;  // placeholders from the first "0" to the decimal point
  bool hasPoint = false;
  std::string fracPattern;  // "0" and "#" after the point
  bool scientific = false;
  char expLetter = 'E';
  char expSign = '+';
  int expDigits = 0;
};

Section ParseSection(std::string_view text) {
  Section s;
  size_t i = 0;
  auto isPlaceholder = [](char c) { return c == '0' || c == '#'; };
  while (i < text.size() && !isPlaceholder(text[i]) && text[i] != '.')
    s.prefix.push_back(text[i++]);
  bool seenZero = false;
  while (i < text.size() && (isPlaceholder(text[i]) || text[i] == ',')) {
    if (text[i] != ',') {
      ++s.intPlaceholders;
      if (text[i] == '0') seenZero = true;
      if (seenZero) ++s.intForced;
    }
    ++i;
  }
  if (i < text.size() && text[i] == '.') {
    s.hasPoint = true;
    ++i;
    while (i < text.size() && isPlaceholder(text[i])) s.fracPattern.push_back(text[i++]);
  }
  if (i + 1 < text.size() && (text[i] == 'e' || text[i] == 'E') &&
      (text[i + 1] == '+' || text[i + 1] == '-')) {
    s.scientific = true;
    s.expLetter = text[i];
    s.expSign = text[i + 1];
    i += 2;
    while (i < text.size() && isPlaceholder(text[i])) {
      if (text[i] == '0') ++s.expDigits;
      ++i;
    }
  }
  s.suffix = std::string(text.substr(i));
  return s;
}

std::string FormatFraction(const Section& s, std::string frac) {
  // Trailing "#" positions drop their trailing zeros.
  size_t keep = frac.size();
  while (keep > 0 && s.fracPattern[keep - 1] == '#' && frac[keep - 1] == '0') --keep;
  frac.resize(keep);
  return frac;
}

std::string PadInt(const Section& s, std::string intPart) {
  while (static_cast<int>(intPart.size()) < s.intForced) intPart.insert(intPart.begin(), '0');
  return intPart;
}

std::string FormatFixed(const Section& s, const Decimal& d) {
  std::string intPart, fracPart;
  RoundFixed(d, static_cast<int>(s.fracPattern.size()), intPart, fracPart);
  std::string out = PadInt(s, intPart);
  if (s.hasPoint) {
    out.push_back('.');
    out += FormatFraction(s, fracPart);
  }
  return out;
}

std::string FormatScientific(const Section& s, const Decimal& d) {
  int intDigits = std::max(s.intPlaceholders, 1);
  int places = static_cast<int>(s.fracPattern.size());
  int dispExp = 0;
  std::string intPart, fracPart;
  if (d.digits.empty()) {
    RoundFixed(d, places, intPart, fracPart);
  } else {
    // The mantissa fills every integer placeholder: its first digit stands 10^(intDigits-1).
    dispExp = d.exp - (intDigits - 1);
    Decimal m = d;
    m.exp = d.exp - dispExp;
    RoundFixed(m, places, intPart, fracPart);
    if (static_cast<int>(intPart.size()) > intDigits) {  // rounding carried into a new digit
      ++dispExp;
      m.exp = d.exp - dispExp;
      RoundFixed(m, places, intPart, fracPart);
    }
  }
  std::string out = PadInt(s, intPart);
  if (s.hasPoint) {
    out.push_back('.');
    out += FormatFraction(s, fracPart);
  }
  out.push_back(s.expLetter);
  if (dispExp < 0) {
    out.push_back('-');
  } else if (s.expSign == '+') {
    out.push_back('+');
  }
  std::string e = std::to_string(std::abs(dispExp));
  while (static_cast<int>(e.size()) < s.expDigits) e.insert(e.begin(), '0');
  return out + e;
}

std::string FormatNumber(double value, int significant, std::string_view format) {
  if (format.empty()) return VbStr(value);
  std::string_view positive = format;
  std::string_view negative;
  bool hasNegativeSection = false;
  size_t semi = format.find(';');
  if (semi != std::string_view::npos) {
    positive = format.substr(0, semi);
    negative = format.substr(semi + 1);
    size_t semi2 = negative.find(';');
    if (semi2 != std::string_view::npos) negative = negative.substr(0, semi2);
    hasNegativeSection = true;
  }
  bool isNegative = value < 0;
  Decimal d = ToDecimal(std::fabs(value), significant);
  if (isNegative && hasNegativeSection && !negative.empty()) {
    Section s = ParseSection(negative);
    std::string body = s.scientific ? FormatScientific(s, d) : FormatFixed(s, d);
    return s.prefix + body + s.suffix;
  }
  Section s = ParseSection(positive);
  std::string body = s.scientific ? FormatScientific(s, d) : FormatFixed(s, d);
  // A single section shows a negative number with a leading minus, even when it rounds to zero.
  std::string sign = (isNegative && !d.digits.empty()) ? "-" : "";
  return sign + s.prefix + body + s.suffix;
}

std::string GeneralText(double value, int significant) {
  if (value == 0.0) return "0";
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value < 0 ? "-Infinity" : "Infinity";
  const std::string sign(value < 0 ? 1 : 0, '-');
  Decimal d = ToDecimal(std::fabs(value), significant);
  if (d.exp < -5 || d.exp >= significant) {
    std::string out = sign;
    out.push_back(d.digits[0]);
    if (d.digits.size() > 1) {
      out.push_back('.');
      out.append(d.digits, 1, std::string::npos);
    }
    char buf[16];
    std::snprintf(buf, sizeof buf, "E%c%02d", d.exp < 0 ? '-' : '+', std::abs(d.exp));
    return out + buf;
  }
  std::string intPart, fracPart;
  int places = std::max(0, static_cast<int>(d.digits.size()) - 1 - d.exp);
  RoundFixed(d, places, intPart, fracPart);
  std::string out = sign;
  out += intPart.empty() ? std::string("0") : intPart;
  if (!fracPart.empty()) {
    out.push_back('.');
    out += fracPart;
  }
  return out;
}

}  // namespace

std::string VbFormat(double value, std::string_view format) {
  return FormatNumber(value, 15, format);
}

std::string VbFormat(float value, std::string_view format) {
  return FormatNumber(static_cast<double>(value), 7, format);
}

std::string VbFormat(int value, std::string_view format) {
  return FormatNumber(static_cast<double>(value), 15, format);
}

std::string VbFormat(int64_t value, std::string_view format) {
  return FormatNumber(static_cast<double>(value), 17, format);
}

std::string VbStr(float value) {
  return GeneralText(static_cast<double>(value), 7);
}
std::string VbStr(double value) {
  return GeneralText(value, 15);
}

std::string VbHex(int64_t value) {
  char buf[24];
  if (value < 0) {
    std::snprintf(buf, sizeof buf, "%X", static_cast<uint32_t>(static_cast<int32_t>(value)));
  } else {
    std::snprintf(buf, sizeof buf, "%llX", static_cast<unsigned long long>(value));
  }
  return buf;
}

namespace {

struct DateToken {
  char kind;  // y, m, d, h, n, s, or 0 for literal
  int length;
  std::string literal;
};

std::vector<DateToken> TokeniseDate(std::string_view format) {
  std::vector<DateToken> tokens;
  size_t i = 0;
  while (i < format.size()) {
    char c = static_cast<char>(std::tolower(static_cast<unsigned char>(format[i])));
    if (c == 'y' || c == 'm' || c == 'd' || c == 'h' || c == 'n' || c == 's') {
      size_t j = i;
      while (j < format.size() && std::tolower(static_cast<unsigned char>(format[j])) == c) ++j;
      tokens.push_back(DateToken{c, static_cast<int>(j - i), {}});
      i = j;
    } else {
      if (tokens.empty() || tokens.back().kind != 0) tokens.push_back(DateToken{0, 0, {}});
      tokens.back().literal.push_back(format[i++]);
    }
  }
  // "m" is a minute right after an hour or right before a second, a month otherwise.
  for (size_t t = 0; t < tokens.size(); ++t) {
    if (tokens[t].kind != 'm') continue;
    char before = 0, after = 0;
    for (size_t b = t; b-- > 0;) {
      if (tokens[b].kind != 0) {
        before = tokens[b].kind;
        break;
      }
    }
    for (size_t a = t + 1; a < tokens.size(); ++a) {
      if (tokens[a].kind != 0) {
        after = tokens[a].kind;
        break;
      }
    }
    if (before == 'h' || after == 's') tokens[t].kind = 'n';
  }
  return tokens;
}

std::string Pad(int value, int width) {
  std::string text = std::to_string(value);
  while (static_cast<int>(text.size()) < width) text.insert(text.begin(), '0');
  return text;
}

}  // namespace

std::string VbFormatDate(double oleDate, std::string_view format) {
  // To the millisecond first (a date keeps no more), then the seconds as they stand.
  DateParts p = OleDateToParts(oleDate);
  std::string out;
  for (const DateToken& t : TokeniseDate(format)) {
    int width = t.length >= 2 ? 2 : 1;
    switch (t.kind) {
      case 0:
        out += t.literal;
        break;
      case 'y':
        out += t.length >= 3 ? Pad(p.year, 4) : Pad(p.year % 100, 2);
        break;
      case 'm':
        out += Pad(p.month, width);
        break;
      case 'd':
        out += Pad(p.day, width);
        break;
      case 'h':
        out += Pad(p.hour, width);
        break;
      case 'n':
        out += Pad(p.minute, width);
        break;
      case 's':
        out += Pad(p.second, width);
        break;
      default:
        break;
    }
  }
  return out;
}

}  // namespace tavkelo
