#include "riff/chunk_id.h"

namespace wavecodec {
namespace {

// The ID with every ASCII letter between `first` and `last` moved by `shift`.
uint32_t ShiftLetters(uint32_t id, uint8_t first, uint8_t last, int shift) {
  uint32_t shifted = 0;
  for (unsigned bit = 0; bit < 32; bit += 8) {
    auto c = static_cast<uint8_t>(id >> bit);
    if (c >= first && c <= last) c = static_cast<uint8_t>(c + shift);
    shifted |= static_cast<uint32_t>(c) << bit;
  }
  return shifted;
}

}  // namespace

bool CompareID(uint32_t id, uint32_t name, bool any_case) {
  if (!any_case) return id == name;
  return id == ShiftLetters(name, 'a', 'z', 'A' - 'a') ||
         id == ShiftLetters(name, 'A', 'Z', 'a' - 'A');
}

XStr RIFFChnkID2CHR(uint32_t id) {
  XStr text;
  for (unsigned bit = 0; bit < 32; bit += 8) {
    const auto c = static_cast<uint8_t>(id >> bit);
    text += c >= 0x20 && c <= 0x7E ? static_cast<wchar_t>(c) : L'.';
  }
  return text;
}

}  // namespace wavecodec
