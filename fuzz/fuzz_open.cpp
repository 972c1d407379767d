// A whole file through the entry points: every flag, decoding, ranges and seeks.
#include <cstring>

#include "fuzz_target.h"
#include "instance.h"
#include "wave_builder.h"

namespace wavecodec::fuzz {

using namespace test;  // NOLINT(google-build-using-namespace)

namespace {

// The first bytes of an input steer the calls; the rest is the file.
struct Plan {
  uint32_t Flags;
  int64_t From, To, Seek;
};

}  // namespace

std::vector<Seed> Seeds() {
  // flags 29 (everything but packets), the whole range, seek to frame 3
  const std::string plan = LE(29, 4) + LE(0, 4) + LE(0, 8) + LE(UINT64_MAX, 8) + LE(3, 8);
  const std::string data = Chunk("data", Noise(600));
  const std::string wide =
      Chunk("fmt ", LE(0xFFFE, 2) + LE(2, 2) + LE(48000, 4) + LE(288000, 4) + LE(6, 2) + LE(24, 2) +
                        LE(22, 2) + LE(24, 2) + LE(3, 4) + LE(1, 2) +
                        std::string("\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 14));
  std::vector<Seed> seeds = {
      {"pcm", Riff(Fmt(1, 2, 44100, 16) + data)},
      {"float", Riff(Fmt(3, 1, 8000, 64) + Chunk("fact", LE(75, 4)) + data)},
      {"extensible",
       Riff(wide + Chunk("JUNK", "pad") + data + Chunk("LIST", "INFOINAM" + LE(4, 4) + "Name"))},
      {"adpcm", Riff(Fmt(2, 1, 8000, 4) + Chunk("fact", LE(1200, 4)) + data)},
      {"mpeg", Riff(Fmt(85, 2, 44100, 0) + data)},
      {"rf64", "RF64" + LE(0xFFFFFFFF, 4) + "WAVE" + Chunk("ds64", std::string(28, '\0')) +
                   Fmt(1, 2, 44100, 24) + "data" + LE(0xFFFFFFFF, 4) + Noise(600)},
  };
  for (Seed& seed : seeds) seed.Bytes.insert(0, plan);
  return seeds;
}

}  // namespace wavecodec::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wavecodec::fuzz;
  Plan plan{};
  if (size < sizeof plan) return 0;
  memcpy(&plan, data, sizeof plan);
  const std::string_view bytes = Text(data, size).substr(sizeof plan);
  static const WorkFile file("fuzz_open");
  file.Write(bytes);

  Instance decoder;
  STZuCodecGetSet range{};
  range.RangeFrom = plan.From;
  range.RangeTo = plan.To;
  Set(decoder.Self, L"Set Decode Range", &range);
  decoder.Opens(file.Name(), plan.Flags & 29);  // packet mode ends at once: a test has it
  // Audio comes from inside the file.
  Check(bytes.find(decoder.DecodeAll()) != std::string_view::npos);
  SetPosition(decoder.Self, plan.Seek);
  Check(bytes.find(decoder.DecodeAll()) != std::string_view::npos);
  Close(decoder.Self, nullptr);
  return 0;
}
