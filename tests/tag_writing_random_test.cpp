// Random files, choices and edits against a model of what is kept where. WAVECODEC_RANDOM_STEPS is
// the number of edits of each file, WAVECODEC_RANDOM_SEED the one file to be tested.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cwctype>
#include <map>
#include <optional>
#include <random>

#include "id3_builder.h"
#include "strict_walker.h"
#include "tag_writing.h"

namespace wavecodec {
namespace {

using namespace test;

using Fields = std::map<std::wstring, std::wstring>;  // by lower-case name; payloads as characters
using Choices = std::map<char, unsigned>;             // by the letters of StoredOptions
using Chunks = std::vector<std::pair<std::string, std::string>>;

// Names and the room that they have in `bext`.
const std::map<std::wstring, size_t> kBextNames = {
    {L"description", 256}, {L"originator", 32},       {L"origreference", 32}, {L"origdate", 10},
    {L"origtime", 8},      {L"codinghistory", 10000}, {L"timereference", 20}};
const std::vector<std::wstring> kListNames = {L"title",   L"artist",   L"album",     L"genre",
                                              L"comment", L"track",    L"copyright", L"year",
                                              L"subject", L"keywords", L"_cdtoc"};
const std::vector<std::wstring> kId3Names = {L"composer", L"a field of my own", L"tempo"};
constexpr wchar_t kFront[] = L"_albumart_1_Front Album Cover";
constexpr wchar_t kBack[] = L"_albumart_2_Back Album Cover<subdesc>reverse";
constexpr wchar_t kNot1252 = L'\u4E00';

std::wstring Lower(std::wstring text) {
  for (wchar_t& c : text) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
  return text;
}
std::wstring As1252(std::wstring text, wchar_t instead) {
  std::replace(text.begin(), text.end(), kNot1252, instead);
  return text;
}

// What a file's chunks hold.
struct Model {
  std::optional<Fields> List, Bext, Id3;
  unsigned Revision = 3;
  std::string PrivateFrame;  // in the ID3 tag
  std::string ForeignText;   // in the list

  [[nodiscard]] Fields View() const {
    Fields view = Id3.value_or(Fields{});
    if (Id3) view[L"tagversion"] = L"ID3v2." + std::to_wstring(Revision);
    if (List) view.insert(List->begin(), List->end());
    if (Bext) view.insert(Bext->begin(), Bext->end());
    return view;
  }
  void Write(const Entries& entries, const Choices& choices) {
    Fields first;  // of several values
    Fields all;
    for (const auto& [spelling, value] : entries) {
      const std::wstring name = Lower(spelling);
      if (name.starts_with(L"_riff_")) continue;
      first.emplace(name, value);
      const auto [place, is_new] = all.emplace(name, value);
      if (!is_new) place->second += L'\r' + value;
      if (!kBextNames.contains(name)) continue;
      if (!Bext) Bext = Fields{{L"timereference", L"0"}};
      (*Bext)[name] = As1252(value.substr(0, kBextNames.at(name)), L'_');
    }
    Rebuild(first, all, {}, choices);
  }
  void Delete(const std::vector<std::wstring>& names, const Choices& choices) {
    if (names.empty()) {
      *this = {};
      return;
    }
    if (Bext) {
      for (const std::wstring& name : names) Bext->erase(Lower(name));
      if (!Bext->empty()) Bext->emplace(L"timereference", L"0");
      if (Bext->empty()) Bext.reset();
    }
    Rebuild({}, {}, names, choices);
  }

 private:
  void Rebuild(Fields first, Fields all, const std::vector<std::wstring>& deleted,
               const Choices& choices) {
    Fields view = View();
    for (const std::wstring& name : deleted) view.erase(Lower(name));
    first.insert(view.begin(), view.end());
    all.insert(view.begin(), view.end());
    const unsigned made = List || Id3 ? 2 : choices.at('D');
    if (List || made <= 1) {
      List.emplace();
      for (const std::wstring& name : kListNames) {
        if (first.contains(name)) List->emplace(name, As1252(first.at(name), L'_'));
      }
      if (List->empty() && ForeignText.empty()) List.reset();
    }
    if (!Id3 && made != 0 && made != 3) return;
    const Fields before = Id3.value_or(Fields{});
    Id3.emplace();
    for (const auto& [name, value] : all) {
      if (name == L"tagversion" || (Bext && Bext->contains(name) && Bext->at(name) == value)) {
        continue;
      }
      const auto old = before.find(name);
      const bool whole = choices.at('U') != 0 || (old != before.end() && old->second == value);
      Id3->emplace(name, whole ? value : As1252(value, L'?'));
    }
    if (Id3->empty() && PrivateFrame.empty()) {
      Id3.reset();
      Revision = 3;
    }
  }
};

class Random {
 public:
  explicit Random(uint32_t seed) : Engine(seed) {}

  unsigned Below(unsigned limit) { return static_cast<unsigned>(Engine() % limit); }
  bool OneIn(unsigned count) { return Below(count) == 0; }
  template <typename Range>
  auto Of(const Range& range) {
    return range[Below(static_cast<unsigned>(range.size()))];
  }
  std::string Bytes(unsigned below) { return Noise(Below(below), Below(UINT32_MAX)); }
  std::string Letters(unsigned most) {
    std::string text(1 + Below(most), '\0');
    for (char& c : text) c = static_cast<char>('a' + Below(26));
    return text;
  }
  // At times with letters of which only some are in Windows-1252.
  std::wstring Text(unsigned most) {
    const bool odd = OneIn(4);
    std::wstring text = Widen(Letters(most));
    for (wchar_t& c : text) {
      if (odd && OneIn(3)) c = Of(std::array{L'\u00E9', L'\u20AC', kNot1252});
    }
    return text;
  }
  static std::wstring Widen(const std::string& bytes) {
    std::wstring wide;
    for (const char c : bytes) wide += static_cast<wchar_t>(static_cast<uint8_t>(c));
    return wide;
  }

  // A value that list and ID3 keep as it is, but for letters that their encodings lack.
  std::wstring Value(const std::wstring& name) {
    if (name == L"_cdtoc") {  // an audio disc of three tracks
      std::string toc("\0\42\1\3", 4);
      for (const char track : std::string_view("\1\2\3\xAA")) {
        toc += std::string(2, '\0') + track + std::string(3, '\0') + track + '\7';
      }
      return Widen(toc);
    }
    if (name == L"track") return std::to_wstring(1 + Below(99)) + L"/99";
    if (name == L"year") return std::to_wstring(1900 + Below(200));
    if (name == L"tempo" || name == L"timereference") return std::to_wstring(Below(1000000));
    if (kBextNames.contains(name)) {
      return Text(static_cast<unsigned>(std::min(size_t{300}, kBextNames.at(name) * 5 / 4)));
    }
    return Text(OneIn(10) ? 3000 : 30);
  }
  std::wstring Name() {
    const auto field = std::next(kBextNames.begin(), Below(7));
    std::wstring name = Of(std::array{field->first, Of(kId3Names), Of(kListNames), Of(kListNames)});
    if (OneIn(3)) name[0] = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(name[0])));
    return name;
  }
  Entries Tags() {
    Entries entries;
    Fields names;
    for (unsigned left = 1 + Below(4); left > 0; --left) {
      const std::wstring spelling = Name();
      const std::wstring name = Lower(spelling);
      if (!names.emplace(name, L"").second) continue;
      const bool several = (name == L"artist" || name == L"composer") && OneIn(3);
      for (int values = several ? 3 : 1; values > 0; --values) {
        entries.emplace_back(spelling, Value(name));
      }
    }
    if (OneIn(5)) {
      entries.emplace_back(kFront, Widen("p" + Bytes(2000)));
      if (OneIn(2)) entries.emplace_back(kBack, Widen("p" + Bytes(2000)));
    }
    if (OneIn(5)) entries.emplace_back(L"_riff_1", L"fmt ");
    if (OneIn(5)) entries.emplace_back(L"TagVersion", L"ID3v2.2");
    return entries;
  }
  // Empty: everything.
  std::vector<std::wstring> Names() {
    std::vector<std::wstring> names;
    if (OneIn(6)) return names;
    for (unsigned left = 1 + Below(4); left > 0; --left) names.push_back(Name());
    if (OneIn(3)) names.emplace_back(kBack);
    if (names.back() == kBack && OneIn(2)) names.emplace_back(kFront);
    if (OneIn(5)) names.emplace_back(L"TagVersion");
    return names;
  }

  std::mt19937 Engine;
};

// A file of any layout that may be written to.
class RandomFile {
 public:
  explicit RandomFile(Random& random) : R(random), Rf64(R.OneIn(4)), Marked(Rf64 && R.OneIn(2)) {
    const unsigned missing = !Rf64 && R.OneIn(5) ? 1 + R.Below(5000) : 0;
    // A pad byte would be audio where `data` runs to the end.
    Audio = R.Bytes(R.OneIn(8) ? 100000 : 3000) + (Marked ? "" : "a");
    if (Audio.size() % 2 != 0 && Marked) Audio += 'a';
    AddChunks(Marked || missing != 0 ? 2 : 3);
    std::string body = Assemble(missing);
    const bool lacks_pad = body.size() % 2 != 0;
    uint64_t size = 4 + body.size() + (R.OneIn(2) ? missing : 0);
    if (lacks_pad && (R.OneIn(2) || missing != 0)) size += size % 2;
    if (lacks_pad && missing == 0 && R.OneIn(2)) body += '\0';
    if (!Rf64 && size == 4 + body.size() && size % 2 == 0 && missing == 0 && R.OneIn(3)) {
      Trailing = R.Bytes(50);
    } else if (R.OneIn(8)) {
      R.OneIn(2) ? size += 8 : size -= R.Below(LastSize + 1);  // as other programs have it
    }
    Bytes = (Rf64 ? "RF64" + LE(0xFFFFFFFF, 4) : "RIFF" + LE(size, 4)) + "WAVE" + body + Trailing;
  }

  std::string Bytes, Audio, Trailing;
  std::vector<std::string> Foreign;
  Model Expected;
  unsigned Album = 0;

 private:
  void AddChunks(unsigned places) {
    const auto add = [&](const char* id, const std::string& body) {
      Places[R.Below(places)].emplace_back(id, body);
    };
    for (unsigned left = R.Below(4); left > 0; --left) {
      add(R.Of(std::array{"JUNK", "PAD ", "junk"}), R.Bytes(R.OneIn(3) ? 3000 : 50));
    }
    for (const char* id : {"cue ", "smpl", "iXML", "fact", "abcd"}) {
      if (R.OneIn(4)) add(id, R.Bytes(60));
    }
    if (R.OneIn(5)) add("LIST", "adtl" + Chunk("labl", R.Bytes(20)));
    if (R.OneIn(3)) add("LIST", List());
    if (R.OneIn(3)) add("bext", Bext());
    if (R.OneIn(3)) add(R.Of(std::array{"id3 ", "ID3 "}), Id3());
  }
  std::string List() {
    Album = R.Below(2);
    Expected.List.emplace();
    std::string body = "INFO";
    const std::pair<const char*, const wchar_t*> items[] = {{"INAM", L"title"},
                                                            {"ISBJ", L"subject"},
                                                            {"IGNR", L"genre"},
                                                            {"IGNR", L"genre"},
                                                            {Album ? "ISRC" : "IPRD", L"album"}};
    for (const auto& [id, name] : items) {
      if (R.OneIn(2)) continue;
      const std::string text = R.Letters(20);
      body += Chunk(id, text + std::string(R.Below(3), '\0'));
      Expected.List->emplace(name, Random::Widen(text));
    }
    if (R.OneIn(4)) body += Expected.ForeignText = Chunk("XYZW", R.Letters(20));
    return R.OneIn(4) ? body + '\0' : body;
  }
  std::string Bext() {
    std::string body = R.Letters(256);
    const std::string history = R.Letters(50);
    Expected.Bext = {{L"description", Random::Widen(body)},
                     {L"codinghistory", Random::Widen(history)},
                     {L"timereference", L"4294967297"}};
    body.resize(338);
    return body + LE(4294967297, 8) + LE(1, 2) + Noise(254) + history;
  }
  std::string Id3() {
    const std::string text = R.Letters(20);
    Expected.Revision = 3 + R.Below(2);
    Expected.Id3 = {{L"title", Random::Widen(text)}, {L"composer", Random::Widen(text)}};
    // Frames this short have the same size field in both revisions.
    if (R.OneIn(2)) Expected.PrivateFrame = V3("PRIV", "owner" + std::string(1, '\0') + text);
    return Tag(Expected.Revision, 0,
               Text3("TIT2", text) + Text3("TCOM", text) + Expected.PrivateFrame) +
           std::string(R.Below(2) * 10, '\0');
  }
  // The chunks in order, without the pad byte of the last one.
  std::string Assemble(unsigned missing) {
    const auto formats =
        std::array{Fmt(1, 2, 44100, 16), Fmt(1, 1, 8000, 8), Fmt(3, 2, 96000, 32) + LE(0, 2),
                   Fmt(1, 6, 48000, 24) + LE(3, 2) + "odd"};
    for (Chunks& place : Places) std::shuffle(place.begin(), place.end(), R.Engine);
    Chunks& all = Places[0];
    all.emplace_back("fmt ", R.Of(formats).substr(8));
    all.insert(all.end(), Places[1].begin(), Places[1].end());
    all.emplace_back("data", Audio);
    all.insert(all.end(), Places[2].begin(), Places[2].end());
    std::string body;
    for (const auto& [id, data] : all) {
      if (WalkedChunk{id, data}.IsForeign()) Foreign.push_back(id + data);
      const size_t at = body.size() + 4;
      body += Chunk(id, data);
      if (id == "data" && Marked) body.replace(at, 4, LE(0xFFFFFFFF, 4));
      if (id == "data" && missing != 0) body.replace(at, 4, LE(data.size() + missing, 4));
    }
    if (Rf64 && !(Marked && R.OneIn(3))) {
      const uint64_t size = 4 + 36 + body.size();
      body = Chunk("ds64", LE(size, 8) + LE(Audio.size(), 8) + LE(7, 8) + LE(0, 4)) + body;
    }
    LastSize = static_cast<unsigned>(all.back().second.size());
    if (LastSize % 2 != 0) body.pop_back();
    return body;
  }

  Random& R;
  const bool Rf64, Marked;
  unsigned LastSize = 0;
  std::array<Chunks, 3> Places;  // before `fmt `, before `data`, behind it
};

Fields TagsOf(const std::wstring& file) {
  Instance instance;
  EXPECT_TRUE(instance.Open(file, ZuOpenTags));
  NTag tags;
  tags.InitFromRawMemory(instance.Record.tagData, instance.Record.tagSize);
  Fields fields;
  for (size_t i = 0; i < tags.Count(); ++i) {
    const STInternalTag tag = tags[i];
    if (tag.Name.starts_with(L"_riff_")) continue;
    const std::wstring payload(tag.Data.Data(), tag.Data.Data() + tag.Data.Size());
    EXPECT_TRUE(fields.emplace(Lower(tag.Name), tag.Value + payload).second);
  }
  return fields;
}

std::string Shown(const Fields& fields) {
  std::string text;
  for (const auto& [name, value] : fields) {
    text += "  " + ToWholeUtf8(name) + " = " + ToWholeUtf8(value.substr(0, 60)) + " (" +
            std::to_string(value.size()) + ")\n";
  }
  return text;
}

// Makes an edit in the file and in the model, and tells it. Made once more it changes nothing.
std::string Edit(Random& random, const TempFile& file, Model& expected, const Choices& choices) {
  Instance instance;
  const std::wstring name = file.Name();
  const bool again = random.OneIn(3);
  const auto twice = [&](const auto& work) {
    EXPECT_TRUE(work());
    const std::string once = FileBytes(file.Path);
    EXPECT_TRUE(!again || (work() && FileBytes(file.Path) == once)) << "the second time";
  };
  if (random.OneIn(3)) {
    const std::vector<std::wstring> names = random.Names();
    std::string told = "delete\n";
    for (const std::wstring& one : names) told += "  " + ToWholeUtf8(one) + "\n";
    expected.Delete(names, choices);
    twice([&] { return DeleteTags(instance, name, names); });
    return told;
  }
  const Entries entries = random.Tags();
  expected.Write(entries, choices);
  twice([&] { return SetTags(instance, name, entries); });
  return "write\n" + Shown(Fields(entries.begin(), entries.end()));
}

void CheckFile(const RandomFile& file, const WalkedFile& before, const std::string& bytes) {
  const WalkedFile walked(bytes);
  const WalkedChunk* const data = walked.Find("data");
  EXPECT_EQ(walked.Fault, "");
  EXPECT_TRUE(data != nullptr && data->Body == file.Audio);
  EXPECT_TRUE(walked.Foreign() == file.Foreign) << "chunks that are no tags";
  EXPECT_TRUE(walked.Trailing == file.Trailing) << walked.Trailing.size() << " bytes behind";
  EXPECT_LE(walked.PaddingPairs(), before.PaddingPairs());
  EXPECT_NE(bytes.find(file.Expected.PrivateFrame), std::string::npos);
  EXPECT_NE(bytes.find(file.Expected.ForeignText), std::string::npos);
}

// Until the first difference.
void RunFile(uint32_t seed, unsigned long steps) {
  Random random(seed);
  RandomFile file(random);
  const TempFile place(file.Bytes);
  for (unsigned long step = 0; step <= steps; ++step) {
    Choices choices;
    std::string text = "A" + std::to_string(file.Album);
    for (const char letter : std::string_view("DPTSKVU")) {
      choices[letter] = random.Below(letter == 'S' ? 6 : 4);
      text += letter + std::to_string(choices[letter]);
    }
    const StoredOptions options(text);
    const std::string before = FileBytes(place.Path);
    if (step != 0) text += "\n" + Edit(random, place, file.Expected, choices);
    const std::string after = FileBytes(place.Path);
    if (after != before) CheckFile(file, WalkedFile(before), after);
    const Fields tags = TagsOf(place.Name());
    const Fields expected = file.Expected.View();
    EXPECT_TRUE(tags == expected) << "expected\n" << Shown(expected) << "found\n" << Shown(tags);
    ASSERT_FALSE(::testing::Test::HasFailure())
        << "WAVECODEC_RANDOM_SEED=" << seed << " step " << step << "\n"
        << WalkedFile(before).Shape() << "\n"
        << text << WalkedFile(after).Shape();
  }
}

TEST(TagWriting, RandomEditsKeepTheFileTightAndTheTagsAsTheModelSays) {
  const char* const steps = getenv("WAVECODEC_RANDOM_STEPS");
  const char* const seed = getenv("WAVECODEC_RANDOM_SEED");
  // In memory where that can be had.
  const bool moved = getenv("TMPDIR") == nullptr && access("/dev/shm", W_OK) == 0 &&
                     setenv("TMPDIR", "/dev/shm", 1) == 0;
  const uint32_t first = seed == nullptr ? 1 : static_cast<uint32_t>(std::stoul(seed));
  const uint32_t count = seed == nullptr ? 60 : 1;
  for (uint32_t s = first; s < first + count && !HasFailure(); ++s) {
    RunFile(s, steps == nullptr ? 20 : std::stoul(steps));
  }
  if (moved) unsetenv("TMPDIR");
}

}  // namespace
}  // namespace wavecodec
