// Four-character codes of RIFF chunks, and the ones that the module knows.
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/xstr.h"

namespace wavecodec {

// The four bytes of a name as they stand in the file, as one little-endian number.
constexpr uint32_t RIFFChnkID(const char (&name)[5]) {
  uint32_t id = 0;
  for (size_t i = 4; i-- > 0;) id = id << 8 | static_cast<uint8_t>(name[i]);
  return id;
}

namespace chunk_id {
inline constexpr uint32_t kRiff = RIFFChnkID("RIFF");
inline constexpr uint32_t kRf64 = RIFFChnkID("RF64");  // EBU Tech 3306
inline constexpr uint32_t kWave = RIFFChnkID("WAVE");
inline constexpr uint32_t kFmt = RIFFChnkID("fmt ");
inline constexpr uint32_t kData = RIFFChnkID("data");
inline constexpr uint32_t kFact = RIFFChnkID("fact");
}  // namespace chunk_id

// True when a stored ID is the ID `name`; with `any_case`, when it is `name` wholly in upper case
// or wholly in lower case (a mixed spelling such as "Data" is neither).
bool CompareID(uint32_t id, uint32_t name, bool any_case);

// The four characters of an ID, for messages; what is no printable ASCII becomes ".", so that a
// damaged file cannot put control characters into a report.
XStr RIFFChnkID2CHR(uint32_t id);

}  // namespace wavecodec
