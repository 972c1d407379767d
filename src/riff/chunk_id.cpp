#include "riff/chunk_id.h"

namespace wavecodec {
void AppendRIFFChnkID(std::string& text, uint32_t id) {
  for (unsigned bit = 0; bit < 32; bit += 8) {
    const auto c = static_cast<uint8_t>(id >> bit);
    text += c >= 0x20 && c <= 0x7E ? static_cast<char>(c) : '.';
  }
}

XStr RIFFChnkID2CHR(uint32_t id) {
  std::string text;
  AppendRIFFChnkID(text, id);
  return {text.begin(), text.end()};
}

}  // namespace wavecodec
