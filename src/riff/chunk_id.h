// Four-character codes of RIFF chunks, and the ones that the module knows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

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
inline constexpr uint32_t kDs64 = RIFFChnkID("ds64");
inline constexpr uint32_t kJunk = RIFFChnkID("JUNK");
inline constexpr uint32_t kPad = RIFFChnkID("PAD ");
inline constexpr uint32_t kList = RIFFChnkID("LIST");
inline constexpr uint32_t kBext = RIFFChnkID("bext");  // EBU Tech 3285
inline constexpr uint32_t kId3 = RIFFChnkID("id3 ");
}  // namespace chunk_id

// The size of an RF64 container or chunk that is told elsewhere, in 64 bits (EBU Tech 3306).
inline constexpr uint32_t kRF64SizeMark = 0xFFFFFFFF;

// The ID with every ASCII letter between `first` and `last` moved by `shift`.
constexpr uint32_t ShiftLetters(uint32_t id, uint8_t first, uint8_t last, int shift) {
  uint32_t shifted = 0;
  for (unsigned bit = 0; bit < 32; bit += 8) {
    auto c = static_cast<uint8_t>(id >> bit);
    if (c >= first && c <= last) c = static_cast<uint8_t>(c + shift);
    shifted |= static_cast<uint32_t>(c) << bit;
  }
  return shifted;
}

// An ID that is found wholly in upper case or wholly in lower case (a mixed spelling such as "Data"
// is neither).
class AnyCaseID {
 public:
  constexpr explicit AnyCaseID(uint32_t name)
      : Upper(ShiftLetters(name, 'a', 'z', 'A' - 'a')),
        Lower(ShiftLetters(name, 'A', 'Z', 'a' - 'A')) {}
  [[nodiscard]] constexpr bool Is(uint32_t id) const { return id == Upper || id == Lower; }

 private:
  uint32_t Upper;
  uint32_t Lower;
};

// True when a stored ID is the ID `name`; with `any_case`, in the sense of AnyCaseID.
constexpr bool CompareID(uint32_t id, uint32_t name, bool any_case) {
  return any_case ? AnyCaseID(name).Is(id) : id == name;
}

// True for the chunks whose data mean nothing: "JUNK" and "PAD ", in any case.
constexpr bool IsPaddingID(uint32_t id) {
  return CompareID(id, chunk_id::kJunk, true) || CompareID(id, chunk_id::kPad, true);
}

// The four characters of an ID, for messages; what is no printable ASCII becomes ".", so that a
// damaged file cannot put control characters into a report.
XStr RIFFChnkID2CHR(uint32_t id);
void AppendRIFFChnkID(std::string& text, uint32_t id);

}  // namespace wavecodec
