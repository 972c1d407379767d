// Dates: the one text of a "Year" field and of ID3v2.4, and the parts of it that ID3v2.3 has frames
// for.
#pragma once

#include <string>
#include <string_view>

namespace wavecodec::id3parser {

bool is_valid_year(std::string_view text);           // "####"
bool is_valid_date(std::string_view text);           // "####" to "####-##-##T##:##:##"
bool is_valid_date_or_range(std::string_view text);  // or two of them joined by "/"

// TYER ("YYYY"), TDAT ("DDMM") and TIME ("HHMM"), as they stand in their frames.
struct t_oldDate {
  std::string year;
  std::string dayMonth;
  std::string time;

  // Whether these parts say something together with the ones before them.
  [[nodiscard]] bool usesDayMonth() const;
  [[nodiscard]] bool usesTime() const;
  // "YYYY", "YYYY-MM-DD" or "YYYY-MM-DDTHH:MM"; a year that is none stays as it is.
  [[nodiscard]] std::string text() const;
};

// As much of a valid date (the first one of a range) as the parts can say. No year for other text.
t_oldDate splitDate(std::string_view date);

}  // namespace wavecodec::id3parser
