#include "support/number_format.h"

#include <climits>
#include <exception>
#include <locale>

#include "support/text_scan.h"

namespace wavecodec {
namespace {

NumberFormat OfEnvironment() noexcept {
  try {
    const std::locale locale("");
    const auto& facet = std::use_facet<std::numpunct<wchar_t>>(locale);
    return {facet.thousands_sep(), facet.decimal_point(), facet.grouping()};
  } catch (const std::exception&) {  // the environment names a locale that is not there
    return {};
  }
}

}  // namespace

const NumberFormat& NumberFormat::User() noexcept {
  static const NumberFormat format = OfEnvironment();
  return format;
}

XStr NumberFormat::Integer(uint64_t number) const {
  XStr text = DecimalText(number);
  size_t group = 0;
  for (size_t end = text.size(); group < Grouping.size();) {
    const int size = Grouping[group];
    if (size <= 0 || size == CHAR_MAX || static_cast<size_t>(size) >= end) break;
    end -= static_cast<size_t>(size);
    text.insert(end, 1, Separator);
    if (group + 1 < Grouping.size()) ++group;
  }
  return text;
}

XStr NumberFormat::Hundredths(uint64_t number, uint64_t unit) const {
  uint64_t whole = number / unit;
  uint64_t hundredths = (number % unit * 100 + unit / 2) / unit;
  if (hundredths == 100) {
    ++whole;
    hundredths = 0;
  }
  XStr text = DecimalText(whole) + Point;
  if (hundredths < 10) text += L'0';
  return text + DecimalText(hundredths);
}

}  // namespace wavecodec
