#include "id3v2/dates.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "support/text_scan.h"

namespace wavecodec::id3parser {
namespace {

bool matches(std::string_view text, std::string_view mask) {
  return std::equal(text.begin(), text.end(), mask.begin(), mask.end(),
                    [](char c, char m) { return m == '#' ? IsDigit(c) : c == m; });
}

int number(std::string_view digits) {
  int value = 0;
  for (const char c : digits) value = value * 10 + (c - '0');
  return value;
}

bool isRealDay(int year, int month, int day) {
  if (month < 1 || month > 12) return false;
  constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  const int days = kDays[static_cast<size_t>(month - 1)] + (leap && month == 2 ? 1 : 0);
  return day >= 1 && day <= days;
}

}  // namespace

bool is_valid_year(std::string_view text) { return matches(text, "####"); }

bool is_valid_date(std::string_view text) {
  constexpr std::string_view kMask = "####-##-##T##:##:##";
  switch (text.size()) {
    case 4:
    case 7:
    case 10:
    case 13:
    case 16:
    case 19:
      return matches(text, kMask.substr(0, text.size()));
    default:
      return false;
  }
}

bool is_valid_date_or_range(std::string_view text) {
  const size_t slash = text.find('/');
  return is_valid_date(text.substr(0, slash)) &&
         (slash == std::string_view::npos || is_valid_date(text.substr(slash + 1)));
}

bool t_oldDate::usesDayMonth() const {
  const std::string_view dm = dayMonth;
  return is_valid_year(year) && matches(dm, "####") &&
         isRealDay(number(year), number(dm.substr(2)), number(dm.substr(0, 2)));
}

bool t_oldDate::usesTime() const {
  const std::string_view hm = time;
  return usesDayMonth() && matches(hm, "####") && number(hm.substr(0, 2)) < 24 &&
         number(hm.substr(2)) < 60;
}

std::string t_oldDate::text() const {
  std::string out = year;
  if (usesDayMonth()) out.append("-").append(dayMonth, 2, 2).append("-").append(dayMonth, 0, 2);
  if (usesTime()) out.append("T").append(time, 0, 2).append(":").append(time, 2, 2);
  return out;
}

t_oldDate splitDate(std::string_view date) {
  t_oldDate parts;
  if (!is_valid_date_or_range(date)) return parts;
  date = date.substr(0, date.find('/'));
  parts.year = date.substr(0, 4);
  if (date.size() < 10) return parts;
  parts.dayMonth.append(date.substr(8, 2)).append(date.substr(5, 2));
  if (!parts.usesDayMonth()) parts.dayMonth.clear();
  if (date.size() < 16) return parts;
  parts.time.append(date.substr(11, 2)).append(date.substr(14, 2));
  if (!parts.usesTime()) parts.time.clear();
  return parts;
}

}  // namespace wavecodec::id3parser
