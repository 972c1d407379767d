// Damaged tags: whatever bytes stand in a chunk, reading gives tags or none.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "id3_builder.h"
#include "id3v2/tag_bridge.h"
#include "tags/bext_chunk.h"
#include "tags/list_chunk.h"
#include "wave_builder.h"

namespace wavecodec {
namespace {

using namespace test;
using namespace std::string_literals;

// Bytes that pose as a file.
class MemoryFile : public XFile {
 public:
  explicit MemoryFile(const std::string& bytes) : Bytes(bytes) {}
  int64_t Size() const override { return static_cast<int64_t>(Bytes.size()); }
  bool SetPosition(int64_t offset, ENXFilePos /*from*/) override {
    Position = static_cast<size_t>(offset);
    return true;
  }
  size_t Read(void* buffer, size_t count) override {
    const size_t got =
        Bytes.copy(static_cast<char*>(buffer), count, std::min(Position, Bytes.size()));
    Position += got;
    return got;
  }
  size_t ReadSmall(void* buffer, size_t count) override { return Read(buffer, count); }

 private:
  const std::string& Bytes;
  size_t Position = 0;
};

// A whole tag, told by its version, or nothing.
void ReadId3(const std::string& bytes) {
  MemoryFile file(bytes);
  NTag tags;
  TagID3v2 bridge(file, 0, bytes.size());
  const bool whole = bridge.Read(tags);
  ASSERT_EQ(tags.FindElement("TagVersion").has_value(), whole);
  ASSERT_EQ(tags.Count() != 0, whole);
  if (!whole) return;
  // What was read is written again, over itself; from then on nothing changes any more.
  XMem made;
  ASSERT_TRUE(bridge.MakeTag(made, tags));
  const std::string written(made.Data(), made.Data() + made.Size());
  if (written.empty()) return;
  MemoryFile again(written);
  TagID3v2 rewriting(again, 0, written.size());
  ASSERT_TRUE(rewriting.Read(tags));
  ASSERT_TRUE(rewriting.MakeTag(made, tags));
  ASSERT_EQ(std::string(made.Data(), made.Data() + made.Size()), written);
}

void ReadList(const std::string& bytes) {
  NTag tags;
  clRIFFLISTChunk::InitFrom(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), tags, {},
                            0);
  XMem body;
  ASSERT_TRUE(clRIFFLISTChunk::TagsToLIST(body, tags, {}, 0, 0));
}

void ReadBext(const std::string& bytes) {
  NTag tags;
  const bool whole = clRIFFBEXTChunk::InitFrom(reinterpret_cast<const uint8_t*>(bytes.data()),
                                               bytes.size(), tags, {});
  ASSERT_EQ(whole, bytes.size() >= 602);
}

void ReadBlock(const std::string& bytes) {
  NTag tags;
  tags.InitFromRawMemory(bytes.data(), bytes.size());
  ASSERT_LE(tags.Count() * 4, bytes.size());
}

struct Seed {
  std::string Bytes;
  void (*Read)(const std::string& bytes);
};

std::vector<Seed> Seeds() {
  const std::string text =
      "\1\xFF\xFE"
      "A\0\x3D\xD8\0\xDE\0\0\xFF\xFE"
      "B\0\0\0"s;
  const std::string picture =
      "\0image/jpeg\0\3cover\0\xFF\xD8\xFF\xE0"
      "data\xFF"s;
  const std::string comment =
      "\3eng"
      "iTunNORM\0 00000001 00000002\0"s;
  const std::string rating = "owner@example.org\0\xC4\0\0\0\7"s;
  const std::string frames3 =
      Text3("TIT2", "Title") + V3("TPE1", text) + V3("COMM", comment) + Text3("TYER", "2026") +
      Text3("TDAT", "2111") + Text3("TIME", "1200") + Text3("TCON", "(17)Rock;(4)") +
      Text3("TRCK", "3/12") + V3("POPM", rating) + V3("APIC", picture) +
      V3("WXXX", "\0site\0http://example.org/"s) + V3("TXXX", "\0REPLAYGAIN_TRACK_GAIN\0-3.2 dB"s) +
      V3("PRIV", "own\0\1\2"s) + V3("MCDI", std::string(20, '\4')) +
      V3("USLT", "\0engd\0la la\r\nla"s);
  const std::string frames4 = V4("TIT2", "\3Title\0Second"s) +
                              V4("TDRC",
                                 "\0"
                                 "2026-11-21T12:00:00"s) +
                              V4("TIPL", "\3mix\0me\0"s) + V4("TXXX", "\2\0d\0\0\0v"s) +
                              V4("COMM", comment, 3) +
                              V4("APIC", BE(20, 4) + "\0image/png\0\4\0\xFF\0\xE0"s, 3) +
                              V4("CHAP", "ch\0" + std::string(16, '\0') + V4("TIT2", "\0Chapter"s));
  const std::string frames2 = V2("TT2", "\0Title"s) + V2("PIC", "\0PNG\3\0data"s) +
                              V2("COM", "\0engd\0text"s) +
                              V2("TDA",
                                 "\0"
                                 "2111"s);
  const std::string info = "INFO" + Chunk("INAM", "Title\0"s) + Chunk("ICMT", "odd") +
                           Chunk("ITOC", "3+96+3B2E+75C6+B05E+X96\0"s) + Chunk("ABCD", "?");
  const std::string bext = "Description" + std::string(591, '\1') + "A=PCM,F=48000\r\n";
  const std::string block =
      LE(2, 4) + LE(18, 4) + "A\0b\0c\0\0\0d\0\0\0"s + "xx" + LE(12, 4) + "E\0\0\0F\0\0\0"s;
  std::string sync3 = frames3;
  for (size_t at = 0; (at = sync3.find('\xFF', at)) != std::string::npos; at += 2)
    sync3.insert(at + 1, 1, '\0');
  const std::string padding(64, '\0');
  return {
      {Tag(3, 0, frames3), ReadId3},
      {Tag(3, 0, frames3 + padding), ReadId3},
      {Tag(3, 0x80, sync3), ReadId3},
      {Tag(3, 0x40, BE(6, 4) + padding.substr(0, 6) + frames3), ReadId3},
      {Tag(3, 0x20, frames3) + "behind", ReadId3},
      {Tag(4, 0, frames4), ReadId3},
      {Tag(4, 0x80, frames4 + padding), ReadId3},
      {Tag(4, 0x40, SyncSafe(6) + BE(0x0100, 2) + frames4), ReadId3},
      {Tag(4, 0x10, frames4) + "3DI" + padding.substr(0, 7), ReadId3},
      {Tag(2, 0, frames2), ReadId3},
      {Tag(2, 0x80, frames2 + padding), ReadId3},
      {Tag(3, 0, V3("TT2\0"s, "\0Title"s) + frames3), ReadId3},
      {Tag(4, 0, frames3), ReadId3},
      {Tag(3, 0, frames4), ReadId3},
      {info, ReadList},
      {info + "x", ReadList},
      {"adtl" + Chunk("labl", "1234text"), ReadList},
      {bext, ReadBext},
      {block, ReadBlock},
      {block + block, ReadBlock},
  };
}

TEST(TagDamage, EveryPrefixAndManyMutations) {
  constexpr int kMutations = 5000;  // of each seed
  std::mt19937 random(20261121);
  const auto below = [&](size_t limit) { return random() % limit; };
  for (const Seed& seed : Seeds()) {
    seed.Read(seed.Bytes);
    for (size_t length = 0; length < seed.Bytes.size(); ++length) {
      seed.Read(seed.Bytes.substr(0, length));
    }
    for (int i = 0; i < kMutations; ++i) {
      std::string bytes = seed.Bytes;
      for (size_t edits = 1 + below(4); edits > 0 && !bytes.empty(); --edits) {
        const size_t at = below(bytes.size());
        switch (below(4)) {
          case 0:
            bytes[at] = static_cast<char>(random());
            break;
          case 1:
            bytes[at] = "\0\x7F\xFF\1"[below(4)];
            break;
          case 2:
            bytes.erase(at, 1 + below(8));
            break;
          default:
            bytes.insert(at, bytes.substr(below(bytes.size()), below(16)));
        }
      }
      seed.Read(bytes);
      if (testing::Test::HasFatalFailure()) return;
    }
  }
}

}  // namespace
}  // namespace wavecodec
