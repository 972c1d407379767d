#include "mp3/frame_length.h"

namespace wavecodec {
namespace {

// ISO/IEC 11172-3 and 13818-3: kbit/s by the header's index; 0 is free format and what is no rate.
constexpr unsigned kBitRates[][16] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},  // MPEG 1, layer 1
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},     // layer 2
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},      // layer 3
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},     // MPEG 2, layer 1
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},          // layers 2 and 3
};
constexpr unsigned kSampleRates[4] = {44100, 48000, 32000, 0};  // MPEG 1; 2 halves, 2.5 quarters

}  // namespace

size_t FrameLength(const uint8_t* header) {
  const unsigned version = header[1] >> 3 & 3U;  // 0 is MPEG 2.5, 2 is MPEG 2, 3 is MPEG 1
  const unsigned layer = 4 - (header[1] >> 1 & 3U);
  const bool is_sync = header[0] == 0xFF && header[1] >= 0xE0;
  if (!is_sync || version == 1 || layer == 4) return 0;
  const bool mpeg1 = version == 3;
  const unsigned row = mpeg1 ? layer - 1 : (layer == 1 ? 3 : 4);
  const unsigned bits_a_second = kBitRates[row][header[2] >> 4] * 1000;
  const unsigned rate = kSampleRates[header[2] >> 2 & 3U] >> (mpeg1 ? 0 : version == 2 ? 1 : 2);
  if (bits_a_second == 0 || rate == 0) return 0;
  const unsigned padding = header[2] >> 1 & 1U;
  if (layer == 1) return size_t{4} * (12 * bits_a_second / rate + padding);
  const unsigned samples = layer == 3 && !mpeg1 ? 576 : 1152;
  return samples / 8 * bits_a_second / rate + padding;
}

}  // namespace wavecodec
