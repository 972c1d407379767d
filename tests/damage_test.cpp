// Damaged files: whatever the bytes, a call ends with a result, and audio comes from inside the
// file.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support.h"

namespace wavecodec::test {
namespace {

std::vector<std::string> Seeds() {
  const std::string data = Noise(3000);
  return {
      Stereo16(data),
      Riff(Chunk("JUNK", "pad") + ExtensibleFmt(1, 2, 48000, 24) + Chunk("fact", LE(100, 4)) +
           Chunk("data", data) + Chunk("LIST", "INFOINAM" + LE(4, 4) + "Name")),
      "RF64" + LE(0xFFFFFFFF, 4) + "WAVE" + Chunk("ds64", Noise(28)) + Fmt(3, 1, 8000, 64) +
          "data" + LE(0xFFFFFFFF, 4) + data,
      Riff(Fmt(85, 2, 44100, 0) + Chunk("data", data)),
  };
}

// Opens, decodes and seeks; false when something came out that does not lie in the file.
bool Survives(const TempFile& file, const std::string& bytes, uint32_t random) {
  Instance decoder;
  decoder.Range(random % 7 == 0 ? static_cast<int64_t>(random) - 1000 : 0,
                random % 5 == 0 ? static_cast<int64_t>(random) * 1000 : -1);
  decoder.Open(file.Name(), random % 32 & ~uint32_t{ZuOpenPackets});
  const auto decoded_lies_inside = [&] {
    std::string decoded = decoder.DecodeAll();
    if (decoded.ends_with('!')) decoded.pop_back();
    return bytes.find(decoded) != std::string::npos;
  };
  const bool first = decoded_lies_inside();
  decoder.Seek(static_cast<int64_t>(random % 3000) - 100);
  return decoded_lies_inside() && first;
}

TEST(Damage, EveryLengthOfAFile) {
  const TempFile file;
  for (const std::string& seed : Seeds()) {
    for (size_t length = 0; length <= seed.size(); length += length < 200 ? 1 : 97) {
      file.Write(seed.substr(0, length));
      ASSERT_TRUE(Survives(file, seed.substr(0, length), ZuOpenDecode)) << length;
    }
  }
}

TEST(Damage, TenThousandMutations) {
  std::mt19937 random(20240229);  // NOLINT(cert-msc*): the same files in every run
  const auto seeds = Seeds();
  const TempFile file;
  constexpr uint32_t kTelling[] = {0, 1, 0x7F, 0x80, 0xFF, 0x52};
  for (int round = 0; round < 10000; ++round) {
    std::string bytes = seeds[random() % seeds.size()];
    const size_t reach = random() % 3 == 0 ? bytes.size() : std::min<size_t>(bytes.size(), 120);
    for (auto changes = random() % 6; changes-- > 0;) {
      bytes[random() % reach] =
          static_cast<char>(random() % 2 ? kTelling[random() % std::size(kTelling)] : random());
    }
    if (random() % 4 == 0) bytes.resize(random() % bytes.size());
    if (random() % 8 == 0) bytes.insert(random() % (bytes.size() + 1), Noise(random() % 40));
    file.Write(bytes);
    ASSERT_TRUE(Survives(file, bytes, static_cast<uint32_t>(random()))) << "round " << round;
  }
}

}  // namespace
}  // namespace wavecodec::test
