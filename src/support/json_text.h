// Single JSON values as text: what a string or a number in a document means, and the reverse.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "support/xstr.h"

namespace wavecodec {

// A JSON string with its quotation marks. A lone surrogate is written as an escape.
std::string ToJsonString(std::wstring_view text);

// The functions below take the text of a value out of a document that was read, without a check of
// their own.

inline bool IsJsonString(std::string_view json) { return json.starts_with('"'); }
// The characters of a JSON string. A surrogate pair becomes its character; a lone surrogate stays
// that unit, and a byte that is no UTF-8 becomes U+FFFD.
XStr FromJsonString(std::string_view json);
// Whether a JSON string holds `text`, but for the case of ASCII letters.
bool JsonStringIs(std::string_view json, std::wstring_view text);

// The integer part of a JSON number. An unsigned number of 64 bits keeps its bits; what is larger
// gives the nearest there is. None when `json` is no number.
std::optional<int64_t> FromJsonNumber(std::string_view json);

}  // namespace wavecodec
