// mp3.dll behind wave.dll: packets of chosen sizes, jumps, and streams opened one after another.
// What comes out must not depend on how the stream is cut.
#include <algorithm>
#include <cstring>

#include "fuzz_target.h"
#include "mp3/frame_length.h"
#include "wave_builder.h"
#include "wavecodec/codec_module.h"

namespace wavecodec::fuzz {

using test::LE;
using test::Noise;

namespace {

// The first bytes steer; the rest is the stream. With a valid header it is made one of frames: no
// chance would make two in a row.
struct Plan {
  uint16_t Packet, Jump;
  uint8_t Header[4];
};

}  // namespace

std::vector<Seed> Seeds() {
  std::vector<Seed> seeds;
  const std::pair<const char*, uint32_t> headers[] = {
      {"layer 1", 0x00E0FFFF}, {"layer 2", 0x00A0FDFF},     {"layer 3", 0x0090FBFF},
      {"mono", 0xC090FBFF},    {"MPEG-2", 0x0080F3FF},      {"MPEG-2.5", 0x0080E3FF},
      {"joint", 0x6490FBFF},   {"free format", 0x0000FBFF}, {"junk", 0}};
  for (const auto& [name, header] : headers) {
    seeds.push_back({name, LE(300, 2) + LE(1000, 2) + LE(header, 4) + LE(header, 4) +
                               std::string(32, '\x33') + Noise(2500)});
  }
  return seeds;
}

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
    Check((block.data == nullptr) == (block.byteCount == 0));
    if (block.byteCount == 0) continue;
    const tWAVEFORMATEX& format = block.format.Format;
    Check(format.nBlockAlign != 0 && block.byteCount % format.nBlockAlign == 0);
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
}  // namespace wavecodec::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wavecodec::fuzz;
  Plan plan{};
  if (size < sizeof plan) return 0;
  memcpy(&plan, data, sizeof plan);
  std::string stream(Text(data, size).substr(sizeof plan));
  const size_t length = wavecodec::FrameLength(plan.Header);
  for (size_t at = 0; length != 0 && at + sizeof plan.Header <= stream.size(); at += length) {
    memcpy(&stream[at], plan.Header, sizeof plan.Header);
  }

  const STNStdReport silent{};
  void* decoder = Create(&silent);
  STZuOpenDecoder source{};
  source.flags = ZuOpenPackets;
  Check(Open(decoder, &source) == 1);
  const std::string whole = DecodeStream(decoder, stream, 65536);
  SetPosition(decoder, plan.Jump);
  DecodeStream(decoder, std::string_view(stream).substr(std::min<size_t>(plan.Jump, stream.size())),
               size_t{plan.Packet} % 700 + 1);
  // A new start gives the same, however the bytes are cut.
  Check(Open(decoder, &source) == 1);
  const std::string again = DecodeStream(decoder, stream, size_t{plan.Packet} + 1);
  Check(again == whole || HasFreeFormat(stream));
  Close(decoder, nullptr);
  Destroy(decoder);
  return 0;
}
