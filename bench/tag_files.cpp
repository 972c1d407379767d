#include "tag_files.h"

#include <fstream>
#include <string>
#include <string_view>

#include "wave_builder.h"

namespace bench {
namespace {

namespace fs = std::filesystem;
using wavecodec::test::Chunk;
using wavecodec::test::Fmt;
using wavecodec::test::LE;
using wavecodec::test::Noise;
using wavecodec::test::Riff;

constexpr size_t kFiles = 2000;
constexpr size_t kMillion = 1000000;
constexpr size_t kAudioBytes = 16000;

fs::path Kept(const std::string& name, const std::string& bytes) {
  fs::path path = fs::path(BENCH_FOLDER) / name;
  if (!fs::exists(path) || fs::file_size(path) != bytes.size()) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
  }
  return path;
}

std::string Frame(std::string_view id, std::string_view payload) {
  std::string frame(id);
  for (int shift = 24; shift >= 0; shift -= 8) {
    frame += static_cast<char>(payload.size() >> shift);
  }
  return frame + std::string(2, '\0') + std::string(payload);
}

std::string Id3Chunk(const std::string& frames) {
  std::string tag("ID3\3\0\0", 6);
  for (int shift = 21; shift >= 0; shift -= 7) {
    tag += static_cast<char>(frames.size() >> shift & 0x7F);
  }
  return Chunk("id3 ", tag + frames);
}

std::string Wave(const std::string& chunks) {
  static const std::string audio = Fmt(1, 2, 44100, 16) + Chunk("data", Noise(kAudioBytes));
  return Riff(audio + chunks);
}

std::string TagsOf(size_t number) {
  constexpr std::string_view kItems[] = {"INAM", "IART", "IPRD", "ICMT",
                                         "ICRD", "IGNR", "ITRK", "ISFT"};
  constexpr std::string_view kFrames[] = {"TIT2", "TPE1", "TALB", "TPE2", "TCOM", "TCON",
                                          "TRCK", "TPOS", "TYER", "TCOP", "TPUB", "TENC"};
  const std::string text = " text of file " + std::to_string(number);
  std::string info = "INFO";
  for (const std::string_view item : kItems) info += Chunk(item, std::string(item) + text + '\0');
  std::string frames;
  for (const std::string_view id : kFrames) {
    frames += Frame(id, std::string(1, '\0') + std::string(id) + text);
  }
  frames += Frame("COMM", std::string("\0eng\0", 5) + "A comment, somewhat longer," + text);
  return Chunk("LIST", info) + Id3Chunk(frames);
}

template <typename Make>
std::string Repeat(Make make) {
  std::string all;
  for (size_t i = 0; i < kMillion; ++i) all += make(i);
  return all;
}

}  // namespace

const std::vector<fs::path>& TaggedFiles() {
  static const std::vector<fs::path> files = [] {
    std::vector<fs::path> made;
    for (size_t i = 0; i < kFiles; ++i) {
      made.push_back(Kept("tags/" + std::to_string(i) + ".wav", Wave(TagsOf(i))));
    }
    return made;
  }();
  return files;
}

fs::path MillionFile(Million kind) {
  const auto frames = [](std::string_view id, auto payload) {
    return Wave(Id3Chunk(Repeat([&](size_t i) { return Frame(id, payload(i)); })));
  };
  switch (kind) {
    case Million::Chunks:
      return Kept("million-chunks.wav", Wave(Repeat([](size_t) { return Chunk("note", "text"); })));
    case Million::InfoItems:
      return Kept("million-items.wav", Wave(Chunk("LIST", "INFO" + Repeat([](size_t i) {
                                                            return Chunk("IART",
                                                                         LE('A' + i % 26, 2));
                                                          }))));
    case Million::TitleFrames:
      return Kept("million-titles.wav",
                  frames("TIT2", [](size_t i) { return '\0' + std::to_string(i); }));
    case Million::PrivateFrames:
      return Kept("million-private.wav",
                  frames("PRIV", [](size_t i) { return std::string("owner\0", 6) + LE(i, 4); }));
    case Million::UserTextFrames:
      break;
  }
  return Kept("million-user.wav", frames("TXXX", [](size_t i) {
                return '\0' + std::to_string(i) + std::string("\0value", 6);
              }));
}

}  // namespace bench
