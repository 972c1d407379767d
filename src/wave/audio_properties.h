// What a format and a chunk are to people: texts of the properties block, in UTF-8.
#pragma once

#include <cstdint>
#include <string>

#include "wave/wave_format.h"

namespace wavecodec {

// The quality class: by rate and bits for PCM and float, else by the bit rate of a channel.
const char* GetAudioQuality(const XAudioWFX& format);
// The codec's name.
std::string GetACMFormat(const XAudioWFX& format);
// The loudspeakers of the channels, by the channel mask when there is one.
std::string GetChannelString(const XAudioWFX& format);
// The form of the header, by the size of the `fmt ` chunk (0: none was found).
const char* GetWaveHeader(const XAudioWFX& format, uint64_t fmt_size);
// "Yes" when the codec needs no padding around the audio.
const char* GetGapless(const XAudioWFX& format);
// Appends a count of bytes in binary units: "16 bytes", "3 KB", "10.09 MB".
void AppendSizeText(std::string& text, uint64_t bytes);

}  // namespace wavecodec
