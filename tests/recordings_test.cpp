// Recordings made by others decode to exactly the bytes of their `data` chunk; sox agrees.
#include <gtest/gtest.h>

#include <map>
#include <optional>

#include "support.h"

namespace wavecodec::test {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> Recordings(const std::string& package) {
  const char* folder = getenv("WAVECODEC_RECORDINGS");
  std::vector<fs::path> files;
  std::error_code none;
  for (const auto& entry : fs::directory_iterator(fs::path(folder ? folder : "") / package, none)) {
    files.push_back(entry.path());
  }
  return files;
}

std::string ReadAll(FILE* file) {
  std::string bytes;
  char buffer[65536];
  while (const size_t got = fread(buffer, 1, sizeof buffer, file)) bytes.append(buffer, got);
  return bytes;
}

std::string Content(const fs::path& path) {
  FILE* file = fopen(path.c_str(), "rb");
  std::string bytes = ReadAll(file);
  fclose(file);
  return bytes;
}

// The body of the first `data` chunk, by a walk of its own, as far as the file has it.
std::string DataChunk(const std::string& bytes) {
  for (size_t at = 12; at + 8 <= bytes.size();) {
    uint32_t size = 0;
    memcpy(&size, bytes.data() + at + 4, 4);
    if (bytes.compare(at, 4, "data") == 0) return bytes.substr(at + 8, size);
    at += 8 + size_t{size} + size % 2;
  }
  return {};
}

std::optional<std::string> Sox(const fs::path& path) {
  FILE* pipe = popen(("sox -D '" + path.native() + "' -t raw - 2>/dev/null").c_str(), "r");
  std::string bytes = ReadAll(pipe);
  return pclose(pipe) == 0 ? std::optional(bytes) : std::nullopt;
}

struct Decoded {
  explicit Decoded(const fs::path& path) {
    Instance decoder(Report.Record);
    Opened = decoder.Open(path.wstring(), ZuOpenDecode);
    if (Opened) Bytes = decoder.DecodeAll();
    Align = decoder.Record.audioInfo.format.Format.nBlockAlign;
  }
  CapturedReport Report;
  bool Opened = false;
  std::string Bytes;
  size_t Align = 0;
};

TEST(Recordings, DecodeToTheBytesOfTheirDataChunk) {
  const auto alsa = Recordings("alsa-utils");
  const auto python = Recordings("libpython3.11-testsuite");
  if (alsa.empty() && python.empty()) GTEST_SKIP() << "no recordings here";
  const bool has_sox = system("command -v sox >/dev/null") == 0;  // NOLINT(cert-env33-c)
  for (const auto& files : {alsa, python}) {
    for (const fs::path& path : files) {
      SCOPED_TRACE(path.filename());
      const Decoded decoded(path);
      EXPECT_EQ(decoded.Bytes, DataChunk(Content(path)));
      if (has_sox && !decoded.Bytes.empty()) {
        EXPECT_EQ(decoded.Bytes == Sox(path), true);
      }
    }
  }
}

// Big-endian containers, mu-law, cut files, sample widths that are no whole bytes. Frames of
// integer PCM are as long as channels and bits make them, whatever the file says: what is left at
// the end is no frame.
TEST(Recordings, OddOnesDecodeOrAreRefusedForAReason) {
  const auto files = Recordings("python3-scipy");
  if (files.empty()) GTEST_SKIP() << "no recordings here";
  const std::string big_endian = "Error RIFF chunk unknown 'RIFX'  [ScanFile]\r\n";
  const std::map<std::string, std::string> errors = {
      {"test-44100Hz-2ch-32bit-float-be.wav", big_endian},
      {"test-44100Hz-be-1ch-4bytes.wav", big_endian},
      {"test-8000Hz-be-3ch-5S-24bit.wav", big_endian},
      {"test-44100Hz-le-1ch-4bytes-incomplete-chunk.wav",
       "File error reading chunk.  [ScanFile]\r\n"
       "Error cannot find 'fmt ' chunk.  [PullOutFMTnDATA]\r\n"},
      {"test-44100Hz-le-1ch-4bytes-early-eof-no-data.wav",
       "Error cannot find 'data' chunk.  [PullOutFMTnDATA]\r\n"},
      {"test-8000Hz-le-1ch-1byte-ulaw.wav",
       "Error Cannot Create Wave Decoder (Unknown ACM ID: 7)?  [PrepareToDecodeAudio]\r\n"},
  };
  for (const fs::path& path : files) {
    SCOPED_TRACE(path.filename());
    Decoded decoded(path);
    const auto error = errors.find(path.filename());
    EXPECT_EQ(decoded.Report.Errors(), error != errors.end() ? error->second : "");
    if (!decoded.Opened) continue;
    const std::string data = DataChunk(Content(path));
    EXPECT_EQ(decoded.Bytes, data.substr(0, data.size() - data.size() % decoded.Align));
    EXPECT_FALSE(decoded.Bytes.empty());
  }
}

}  // namespace
}  // namespace wavecodec::test
