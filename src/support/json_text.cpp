#include "support/json_text.h"

#include <algorithm>

#include "support/text_scan.h"

namespace wavecodec {
namespace {

constexpr bool IsHighSurrogate(wchar_t c) { return c >= 0xD800 && c <= 0xDBFF; }
constexpr bool IsLowSurrogate(wchar_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

// Letters that stand behind a backslash, and what each means.
constexpr std::string_view kEscapes = "\"\\/bfnrt";
constexpr std::string_view kEscaped = "\"\\/\b\f\n\r\t";

void AppendHexEscape(std::string& out, wchar_t c) {
  constexpr char kDigits[] = "0123456789abcdef";
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[c >> shift & 15];
}

wchar_t HexUnit(std::string_view digits) {
  int value = 0;
  for (const char c : digits.substr(0, 4)) value = value << 4 | HexDigit(c);
  return static_cast<wchar_t>(value);
}

wchar_t TakeHexUnit(std::string_view& rest) {
  const wchar_t unit = HexUnit(rest);
  rest.remove_prefix(4);
  if (!IsHighSurrogate(unit) || !rest.starts_with("\\u")) return unit;
  const wchar_t low = HexUnit(rest.substr(2));
  if (!IsLowSurrogate(low)) return unit;
  rest.remove_prefix(6);
  return static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
}

// Takes one character of the inside of a string that was read.
wchar_t TakeCharacter(std::string_view& rest) {
  if (rest.front() != '\\') return TakeUtf8(rest);
  const char kind = rest[1];
  rest.remove_prefix(2);
  return kind == 'u' ? TakeHexUnit(rest) : static_cast<wchar_t>(kEscaped[kEscapes.find(kind)]);
}

std::string_view Inside(std::string_view json) { return json.substr(1, json.size() - 2); }

// The digits of a number without its sign, the point taken out, and how many of them stand before
// the point once the exponent is applied.
struct Digits {
  std::string_view Whole;
  std::string_view Fraction;
  int64_t Before = 0;

  [[nodiscard]] size_t Count() const { return Whole.size() + Fraction.size(); }
  [[nodiscard]] unsigned At(size_t i) const {
    if (i >= Count()) return 0;
    return static_cast<unsigned>((i < Whole.size() ? Whole[i] : Fraction[i - Whole.size()]) - '0');
  }
};

Digits SplitNumber(std::string_view number) {
  // Far more than any number of digits that matters, and far from an overflow.
  constexpr int64_t kExponentLimit = int64_t{1} << 60;
  Digits digits;
  const size_t e = std::min(number.find_first_of("eE"), number.size());
  const std::string_view mantissa = number.substr(0, e);
  const size_t point = std::min(mantissa.find('.'), mantissa.size());
  digits.Whole = mantissa.substr(0, point);
  if (point < mantissa.size()) digits.Fraction = mantissa.substr(point + 1);
  int64_t exponent = 0;
  for (const char c : number.substr(e)) {
    if (IsDigit(c)) exponent = std::min(exponent * 10 + (c - '0'), kExponentLimit / 16);
  }
  if (e + 1 < number.size() && number[e + 1] == '-') exponent = -exponent;
  digits.Before = static_cast<int64_t>(digits.Whole.size()) + exponent;
  return digits;
}

}  // namespace

std::string ToJsonString(std::wstring_view text) {
  std::string out;
  out.reserve(text.size() + 2);
  out += '"';
  for (const wchar_t c : text) {
    const size_t escape = c > 0 && c < 0x80 ? kEscaped.find(static_cast<char>(c)) : kEscaped.npos;
    if (escape != kEscaped.npos) {
      out += '\\';
      out += kEscapes[escape];
    } else if ((c >= 0 && c < 0x20) || c == 0x7F || IsHighSurrogate(c) || IsLowSurrogate(c)) {
      AppendHexEscape(out, c);
    } else {
      AppendUtf8(out, c);
    }
  }
  out += '"';
  return out;
}

XStr FromJsonString(std::string_view json) {
  XStr out;
  std::string_view rest = Inside(json);
  out.reserve(rest.size());
  while (!rest.empty()) out += TakeCharacter(rest);
  return out;
}

bool JsonStringIs(std::string_view json, std::wstring_view text) {
  std::string_view rest = Inside(json);
  for (const wchar_t c : text) {
    if (rest.empty() || FoldCase(TakeCharacter(rest)) != FoldCase(c)) return false;
  }
  return rest.empty();
}

std::optional<int64_t> FromJsonNumber(std::string_view json) {
  const bool negative = json.starts_with('-');
  if (negative) json.remove_prefix(1);
  if (json.empty() || !IsDigit(json.front())) return std::nullopt;
  const Digits digits = SplitNumber(json);
  uint64_t value = 0;
  bool too_large = false;
  for (int64_t i = 0; i < digits.Before && !too_large; ++i) {
    // Behind the last digit only zeros follow, and those change nothing when all before were zero.
    if (value == 0 && i >= static_cast<int64_t>(digits.Count())) break;
    too_large = __builtin_mul_overflow(value, 10U, &value) ||
                __builtin_add_overflow(value, digits.At(static_cast<size_t>(i)), &value);
  }
  if (negative) {
    too_large = too_large || value > uint64_t{1} << 63;
    return too_large ? INT64_MIN : static_cast<int64_t>(0 - value);
  }
  return too_large ? INT64_MAX : static_cast<int64_t>(value);
}

}  // namespace wavecodec
