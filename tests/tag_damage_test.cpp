// Random tags, whole and damaged: what is there comes back, and damage gives tags or none.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "id3_frames.h"
#include "tags/bext_chunk.h"
#include "tags/list_chunk.h"
#include "wave_builder.h"

namespace wavecodec {
namespace {

using namespace test;
using namespace id3parser;
using namespace std::string_literals;

// In an order of its own, pictures without their numbers.
std::vector<std::string> Sorted(const std::string& list) {
  std::vector<std::string> items = Items(list);
  for (std::string& item : items) {
    if (item.starts_with("_albumart_")) item.erase(10, 1);
  }
  std::sort(items.begin(), items.end());
  return items;
}

// Random choices that are the same in every run.
class Chooser {
 public:
  size_t Number(size_t below) { return Random() % below; }
  // One of several texts, separated by "|".
  std::string Of(const std::string& texts) {
    const auto count = static_cast<size_t>(std::count(texts.begin(), texts.end(), '|')) + 1;
    size_t start = 0;
    for (size_t i = Number(count); i > 0; --i) start = texts.find('|', start) + 1;
    return texts.substr(start, texts.find('|', start) - start);
  }

  std::mt19937 Random{5};  // NOLINT(cert-msc*)
};

// A list in another order, without its last items.
std::string Shuffled(const std::string& list, Chooser& choose, size_t without = 0) {
  std::vector<std::string> items = Items(list);
  std::shuffle(items.begin(), items.end(), choose.Random);
  std::string text;
  for (size_t i = without; i < items.size(); ++i) text += items[i] + "; ";
  return text;
}

std::string RandomTags(Chooser& choose) {
  std::string tags;
  for (size_t i = choose.Number(8); i > 0; --i) {
    const std::string name = choose.Of(
        "Artist|Style|Genre|Comment|Comment x y|Lyrics|Year|Original release year|Title|Track|"
        "Rating|Own/field|Payment|TIT2|User defined URL link||Disc|Recording dates");
    if (SetOf(tags).FindElement(name)) continue;
    std::string value = choose.Of("a|5|(");
    for (size_t n = choose.Number(6); n > 0; --n) {
      value += choose.Of("a|B|/|;|7|(|)|1999|\r|\n|b |\u00E4");
    }
    if (name.ends_with("link")) std::erase(value, ' ');  // it sets the description apart
    tags += name + "=" + value + "; ";
  }
  for (size_t i = choose.Number(4); i > 0; --i) {
    tags += "_albumart_" + std::to_string(i) +
            choose.Of("_Undefined|_Front Album Cover|_Media|_Artist Logo") +
            choose.Of("|<subdesc>d|<subdesc>\u0416") +
            "==" + choose.Of("a|\xFF\xE0 a photo|\x89PNG a picture") + "; ";
  }
  return tags + choose.Of("|_cdtoc==toc");
}

// Whatever the fields are, and were, they come back; writing what was read changes nothing.
TEST(ID3v2Bridge, RandomTagsComeBack) {
  Chooser choose;
  std::map<Options, std::string> tags;
  for (int round = 0; round < 400; ++round) {
    const std::string given = RandomTags(choose);
    for (const wchar_t* version : {L"ID3v2WriteV22", L"ID3v2WriteV24"}) {
      for (const wchar_t* encoding : {L"", L"ID3v2EncodeUni", L"ID3v2EncodeUTF8"}) {
        Options options = {version, encoding};
        std::string& tag = tags[options];
        if (round % 2 == 0) options.push_back(L"WriteStrictYearDate");
        tag = Made(tag, given, options);
        ASSERT_EQ(Sorted(ReadBack(tag)), Sorted(given));
        ASSERT_EQ(Made(tag, Shuffled(ReadBack(tag), choose)), tag);
      }
    }
  }
}

constexpr char kFrames[] =
    "TIT2 ~a|TIT2 ~a~b~|TIT2 \1\xFF\xFE\xE4~~~|TIT2 \4x|TIT2 ~|TPE1 ~a~b|TPE1 ~a\rb\n\r|"
    "TPE1 \1\xFE\xFF~c|TPE1 ~|TCON ~(17)|TCON ~(147)|TCON ~(4)own;Rock|TCON ~17~Pop|TCMP ~0|"
    "TCMP ~1|TXXX ~TITLE~c|TXXX ~Own~a~b|TXXX ~own~c|TXXX ~~x|TXXX ~_own~x|TXXX ~TagVersion~x|"
    "TXXX ~_albumart_1_Media~x|TXXX ~Year~2004|TXXX ~itunnorm~x|COMM ~deu~a|"
    "COMM ~eng~b\r\nc\rd|COMM ~engiTunNORM~0|COMM ~engx~y|COMM ~|USLT ~deu~a|USLT ~eng~b|"
    "WXXX ~d~http|WXXX ~~http|WXXX ~none|WPAY http|WPAY other|POPM me~\x20|POPM you~\xFF|"
    "POPM x|APIC ~m~\3~a|APIC ~m~\x11z~a|APIC ~m~\4~|APIC \3none|MCDI toc|MCDI other|"
    "PRIV a~\xFF\xE0|PRIV b|";

// Dates are moved into the frames of the version.
std::string RandomFrames(Chooser& choose, unsigned version) {
  const std::string pool = kFrames + (version == 3 ? "TYER ~2004|TYER ~c. 1999|TDAT ~0506|TDAT ~99"s
                                                   : "TDRC ~2004-06|TDRC ~2001"s);
  std::string frames;
  for (size_t i = choose.Number(12); i > 0; --i) {
    frames += choose.Of(version == 2 ? "TT2 ~a|COM ~engd~t|PIC ~PNG\3~d|TDA x|PIC ?" : pool) + "; ";
  }
  return frames;
}

// Whatever frames there are: writing what was read keeps every one of them, an edit of one field
// all others.
TEST(ID3v2Bridge, RandomFramesStay) {
  Chooser choose;
  for (unsigned round = 0; round < 1000; ++round) {
    const unsigned version = 3 + round % 2;
    const std::string frames = RandomFrames(choose, version);
    const std::string old = Tag(version, 0, Frames(version, frames));
    const std::string read = ReadBack(old), made = Made(old, read);
    ASSERT_EQ(made.empty(), frames.empty());
    if (made.empty()) continue;
    SCOPED_TRACE(frames);
    ASSERT_EQ(Sorted(ReadBack(made)), Sorted(read));
    ASSERT_EQ(Sorted(Show(made)), Sorted(frames));
    ASSERT_EQ(Made(made, read), made);
    const std::string edited = Shuffled(read, choose, 1) + "New=value";
    ASSERT_EQ(Sorted(ReadBack(Made(old, edited))), Sorted(edited));
  }
}

std::string Damaged(std::string bytes, Chooser& choose) {
  for (size_t edits = choose.Number(5); edits > 0 && !bytes.empty(); --edits) {
    const size_t at = choose.Number(bytes.size()), kind = choose.Number(5);
    if (kind == 0) bytes[at] = static_cast<char>(choose.Number(256));
    if (kind == 1) bytes[at] = "\0\1\2\3\4\x7F\x80\xE0\xFE\xFF"[choose.Number(10)];
    if (kind == 2) bytes.erase(at, 1 + choose.Number(8));
    if (kind == 3) bytes.insert(at, bytes.substr(choose.Number(bytes.size()), choose.Number(16)));
    if (kind == 4 && choose.Number(2) == 0) bytes.resize(at);
  }
  return bytes;
}

// A whole tag, told by its version, or nothing; what was read can be written again, and after
// that nothing changes any more.
TEST(TagDamage, Id3) {
  Chooser choose;
  for (unsigned round = 0; round < 60000; ++round) {
    const unsigned version = 2 + round % 3;
    std::string body = Frames(version, RandomFrames(choose, version));
    if (version == 3) body += V3("TIT3", "sizex", 0x80);
    if (version == 4) body += V4("APIC", BE(20, 4) + "\0image/png\0\4\0\xFF\0\xE0"s, 3);
    body.resize(body.size() + choose.Number(2) * 20);
    const unsigned flags =
        choose.Number(2) == 0 ? 0 : static_cast<unsigned>(choose.Number(16)) << 4;
    if ((flags & 0x40) != 0)
      body = (version == 4 ? SyncSafe(6) + "xx" : BE(6, 4) + "ABCDEF") + body;
    for (size_t at = 0; (flags & 0x80) != 0 && (at = body.find('\xFF', at)) != body.npos; at += 2) {
      body.insert(at + 1, version == 4 ? 0 : 1, '\0');
    }
    const std::string bytes = Damaged(Tag(version, flags, body), choose);
    SCOPED_TRACE(testing::PrintToString(bytes));
    const NTag tags = TagFile(bytes).Read();
    ASSERT_EQ(tags.FindElement("TagVersion").has_value(), tags.Count() != 0);
    if (tags.Count() == 0) continue;
    const std::string once = TagFile(bytes).Make(tags);
    // A frame without a byte, which a fault leaves, is only gone then.
    const std::string twice = TagFile(once).Make(TagFile(once).Read());
    ASSERT_EQ(TagFile(twice).Make(TagFile(twice).Read()), twice);
  }
}

TEST(TagDamage, OtherChunksAndTheTagBlock) {
  Chooser choose;
  const std::string info = "INFO" + Chunk("INAM", "Title\0"s) + Chunk("ICMT", "odd") +
                           Chunk("ITOC", "3+96+3B2E+75C6+B05E+X96\0"s) + Chunk("ABCD", "?");
  const std::string bext = "Description" + std::string(591, '\1') + "A=PCM,F=48000\r\n";
  const std::string block = LE(4, 4) + LE(18, 4) + "A\0b\0c\0\0\0d\0\0\0xx"s + LE(12, 4) +
                            "E\0\0\0F\0\0\0"s + LE(10, 4) + "A\0\0\0\0\0"s;
  for (int round = 0; round < 15000; ++round) {
    NTag tags;
    XMem made;
    std::string bytes = Damaged(info, choose);
    const auto data = [&] { return reinterpret_cast<const uint8_t*>(bytes.data()); };
    clRIFFLISTChunk::InitFrom(data(), bytes.size(), tags, {}, 0);
    ASSERT_TRUE(clRIFFLISTChunk::TagsToLIST(made, tags, {}, 0, 0));
    bytes = Damaged(bext, choose);
    ASSERT_EQ(clRIFFBEXTChunk::InitFrom(data(), bytes.size(), tags, {}), bytes.size() >= 602);
    bytes = Damaged(block, choose);
    ASSERT_LE(SetIn(bytes.data(), bytes.size()).Count() * 4, bytes.size());
  }
}

}  // namespace
}  // namespace wavecodec
