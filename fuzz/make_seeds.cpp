// Writes the seed inputs of a fuzz target into a folder.
#include <filesystem>
#include <fstream>

#include "wave_builder.h"

using namespace wavecodec::test;  // NOLINT(google-build-using-namespace)

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  // flags 29 (everything but packets), the whole range, seek to frame 3
  const std::string plan = LE(29, 4) + LE(0, 4) + LE(0, 8) + LE(UINT64_MAX, 8) + LE(3, 8);
  const std::string data = Chunk("data", Noise(600));
  const std::string wide =
      Chunk("fmt ", LE(0xFFFE, 2) + LE(2, 2) + LE(48000, 4) + LE(288000, 4) + LE(6, 2) + LE(24, 2) +
                        LE(22, 2) + LE(24, 2) + LE(3, 4) + LE(1, 2) +
                        std::string("\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 14));
  const std::string files[] = {
      Riff(Fmt(1, 2, 44100, 16) + data),
      Riff(Fmt(3, 1, 8000, 64) + Chunk("fact", LE(75, 4)) + data),
      Riff(wide + Chunk("JUNK", "pad") + data + Chunk("LIST", "INFOINAM" + LE(4, 4) + "Name")),
      Riff(Fmt(2, 1, 8000, 4) + Chunk("fact", LE(1200, 4)) + data),
      Riff(Fmt(85, 2, 44100, 0) + data),
      "RF64" + LE(0xFFFFFFFF, 4) + "WAVE" + Chunk("ds64", std::string(28, '\0')) +
          Fmt(1, 2, 44100, 24) + "data" + LE(0xFFFFFFFF, 4) + Noise(600),
  };
  int number = 0;
  for (const std::string& file : files) {
    std::ofstream(std::filesystem::path(argv[1]) / ("seed" + std::to_string(number++)),
                  std::ios::binary)
        << plan << file;
  }
}
