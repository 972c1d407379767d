#include "support/number_format.h"

#include <climits>
#include <exception>
#include <locale>

#include "support/xstr.h"

namespace wavecodec {
namespace {

NumberFormat OfEnvironment() noexcept {
  try {
    const std::locale locale("");
    const auto& facet = std::use_facet<std::numpunct<wchar_t>>(locale);
    const auto utf8 = [](wchar_t c) { return ToUtf8({&c, 1}); };
    return {utf8(facet.thousands_sep()), utf8(facet.decimal_point()), facet.grouping()};
  } catch (const std::exception&) {  // the environment names a locale that is not there
    return {};
  }
}

}  // namespace

const NumberFormat& NumberFormat::User() noexcept {
  static const NumberFormat format = OfEnvironment();
  return format;
}

std::string NumberFormat::Integer(uint64_t number) const {
  std::string text = std::to_string(number);
  size_t group = 0;
  for (size_t end = text.size(); group < Grouping.size();) {
    const auto size = static_cast<signed char>(Grouping[group]);
    if (size <= 0 || size == SCHAR_MAX || static_cast<size_t>(size) >= end) break;
    end -= static_cast<size_t>(size);
    text.insert(end, Separator);
    if (group + 1 < Grouping.size()) ++group;
  }
  return text;
}

std::string NumberFormat::Hundredths(uint64_t number, uint64_t unit) const {
  uint64_t whole = number / unit;
  uint64_t hundredths = (number % unit * 100 + unit / 2) / unit;
  if (hundredths == 100) {
    ++whole;
    hundredths = 0;
  }
  const std::string decimals = std::to_string(hundredths);
  return std::to_string(whole) + Point + (hundredths < 10 ? "0" : "") + decimals;
}

}  // namespace wavecodec
