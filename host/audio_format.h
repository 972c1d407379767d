// Reading wave formats, lengths and times.
#pragma once

#include <cstdint>
#include <string>

#include "wavecodec/codec_module.h"

namespace wavehost {

[[nodiscard]] bool IsExtensible(const WAVEFORMATEXTENSIBLE& format);
// The format tag; of an extensible format the one that its sub-format stands for.
[[nodiscard]] uint16_t EffectiveTag(const WAVEFORMATEXTENSIBLE& format);
// Bits of a sample that carry signal.
[[nodiscard]] uint16_t ValidBits(const WAVEFORMATEXTENSIBLE& format);
// Such as "PCM" or "IEEE float (extensible)".
[[nodiscard]] std::string CodecName(const WAVEFORMATEXTENSIBLE& format);

// True when the stored bytes are the decoded bytes, so that the stored length is the decoded
// length.
[[nodiscard]] bool IsStoredAsDelivered(const STZuAudioInfo& info);

// False when all that the header at an address says of the length is that nobody knows it: a stream
// that is made while it is sent. A file cannot promise more than it has.
[[nodiscard]] bool HasKnownLength(const std::string& source, const STZuAudioInfo& info);

[[nodiscard]] uint64_t WholeFrames(const WAVEFORMATEXTENSIBLE& format, uint64_t bytes);
[[nodiscard]] uint64_t Milliseconds(const WAVEFORMATEXTENSIBLE& format, uint64_t bytes);

// As "h:mm:ss.mmm".
[[nodiscard]] std::string TimeText(uint64_t milliseconds);

}  // namespace wavehost
