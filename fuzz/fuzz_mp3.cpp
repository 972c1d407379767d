// mp3.dll behind wave.dll: packets of chosen sizes, jumps, and streams opened one after another.
// What comes out must not depend on how the stream is cut.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "mp3/frame_length.h"
#include "wavecodec/codec_module.h"

namespace {

constexpr size_t kKept = 1 << 26;

// The output of a stream, up to a limit; touches what the module promises.
std::string DecodeStream(void* decoder, std::string_view stream, size_t packet) {
  std::string samples;
  do {
    STZuAudioBlock block{};
    block.data = stream.data();
    block.byteCount = static_cast<uint32_t>(std::min(stream.size(), packet));
    stream.remove_prefix(block.byteCount);
    block.lastBlock = stream.empty() ? 1 : 0;
    if (DecodeBlock(decoder, &block) != 1) continue;
    if ((block.data == nullptr) != (block.byteCount == 0)) abort();
    if (block.byteCount == 0) continue;
    const tWAVEFORMATEX& format = block.format.Format;
    if (format.nBlockAlign == 0 || block.byteCount % format.nBlockAlign != 0) abort();
    samples.append(static_cast<const char*>(block.data),
                   std::min<size_t>(block.byteCount, kKept - samples.size()));
  } while (!stream.empty());
  return samples;
}

// Whether there is what looks like a free format frame. Whether the library believes in one depends
// on how many bytes it sees at once.
bool HasFreeFormat(std::string_view stream) {
  for (size_t at = 0; at + 2 < stream.size(); ++at) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(stream[at + i]); };
    if (byte(0) == 0xFF && byte(1) >= 0xE0 && byte(2) < 0x10) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The first bytes steer; the rest is the stream.
  struct Plan {
    uint16_t Packet, Jump;
    uint8_t Header[4];
  } plan{};
  if (size < sizeof plan) return 0;
  memcpy(&plan, data, sizeof plan);
  std::string stream(reinterpret_cast<const char*>(data) + sizeof plan, size - sizeof plan);
  // With a valid header the stream is one of frames: no chance would make two in a row.
  const size_t length = wavecodec::FrameLength(plan.Header);
  for (size_t at = 0; length != 0 && at + sizeof plan.Header <= stream.size(); at += length) {
    memcpy(&stream[at], plan.Header, sizeof plan.Header);
  }

  const STNStdReport silent{};
  void* decoder = Create(&silent);
  STZuOpenDecoder source{};
  source.flags = ZuOpenPackets;
  if (Open(decoder, &source) != 1) abort();
  const std::string whole = DecodeStream(decoder, stream, 65536);
  SetPosition(decoder, plan.Jump);
  DecodeStream(decoder, std::string_view(stream).substr(std::min<size_t>(plan.Jump, stream.size())),
               size_t{plan.Packet} % 700 + 1);
  // A new start gives the same, however the bytes are cut.
  if (Open(decoder, &source) != 1) abort();
  const std::string again = DecodeStream(decoder, stream, size_t{plan.Packet} + 1);
  if (again != whole && !HasFreeFormat(stream)) abort();
  Close(decoder, nullptr);
  Destroy(decoder);
  return 0;
}
