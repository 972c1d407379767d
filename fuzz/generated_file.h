// Files, tags and names that the bytes of an input choose.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz_target.h"
#include "id3_builder.h"
#include "strict_walker.h"
#include "tag_model.h"

namespace wavecodec::fuzz {

using namespace test;  // NOLINT(google-build-using-namespace)

using Chunks = std::vector<std::pair<std::string, std::string>>;

inline const std::vector<std::wstring> kId3Names = {L"composer", L"a field of my own", L"tempo"};
inline constexpr wchar_t kFront[] = L"_albumart_1_Front Album Cover";
inline constexpr wchar_t kBack[] = L"_albumart_2_Back Album Cover<subdesc>reverse";

// Makes choices by the bytes of an input, as few as each one needs; the first of each when the input
// is used up.
class Chooser {
 public:
  explicit Chooser(std::string_view input) : Input(input) {}

  [[nodiscard]] bool IsOver() const { return Input.empty(); }
  unsigned Below(unsigned limit) {
    unsigned value = 0;
    for (unsigned reach = limit - 1; reach != 0; reach >>= 8) value = value << 8 | TakeByte(Input);
    return value % limit;
  }
  bool OneIn(unsigned count) { return Below(count) == 0; }
  template <typename Range>
  auto Of(const Range& range) {
    return range[Below(static_cast<unsigned>(range.size()))];
  }
  std::string Bytes(unsigned below) { return Noise(Below(below), Below(256)); }
  std::string Letters(unsigned most) {
    std::string text = Noise(1 + Below(most), Below(256));
    for (char& c : text) c = static_cast<char>('a' + static_cast<uint8_t>(c) % 26);
    return text;
  }
  template <typename Range>
  void Shuffle(Range& range) {
    for (size_t i = range.size(); i > 1; --i) {
      std::swap(range[i - 1], range[Below(static_cast<unsigned>(i))]);
    }
  }
  // At times with letters of which only some are in Windows-1252.
  std::wstring Text(unsigned most) {
    const bool odd = OneIn(4);
    std::wstring text = Widen(Letters(most));
    for (size_t i = 0; odd && i < text.size(); ++i) {
      if (text[i] % 3 == 0)
        text[i] = std::array{L'\u00E9', L'\u20AC', kNot1252}[static_cast<size_t>(text[i]) / 3 % 3];
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

 private:
  std::string_view Input;
};

// A file of any layout that may be written to.
class GeneratedFile {
 public:
  explicit GeneratedFile(Chooser& chooser)
      : C(chooser), Rf64(C.OneIn(4)), Marked(Rf64 && C.OneIn(2)) {
    const unsigned missing = !Rf64 && C.OneIn(5) ? 1 + C.Below(5000) : 0;
    // A pad byte would be audio where `data` runs to the end.
    Audio = C.Bytes(C.OneIn(8) ? 100000 : 3000) + (Marked ? "" : "a");
    if (Audio.size() % 2 != 0 && Marked) Audio += 'a';
    AddChunks(Marked || missing != 0 ? 2 : 3);
    std::string body = Assemble(missing);
    const bool lacks_pad = body.size() % 2 != 0;
    uint64_t size = 4 + body.size() + (C.OneIn(2) ? missing : 0);
    if (lacks_pad && (C.OneIn(2) || missing != 0)) size += size % 2;
    if (lacks_pad && missing == 0 && C.OneIn(2)) body += '\0';
    if (!Rf64 && size == 4 + body.size() && size % 2 == 0 && missing == 0 && C.OneIn(3)) {
      Trailing = C.Bytes(50);
    } else if (C.OneIn(8)) {
      C.OneIn(2) ? size += 8 : size -= C.Below(LastSize + 1);  // as other programs have it
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
      Places[C.Below(places)].emplace_back(id, body);
    };
    for (unsigned left = C.Below(4); left > 0; --left) {
      add(C.Of(std::array{"JUNK", "PAD ", "junk"}), C.Bytes(C.OneIn(3) ? 3000 : 50));
    }
    for (const char* id : {"cue ", "smpl", "iXML", "fact", "abcd"}) {
      if (C.OneIn(4)) add(id, C.Bytes(60));
    }
    if (C.OneIn(5)) add("LIST", "adtl" + Chunk("labl", C.Bytes(20)));
    if (C.OneIn(3)) add("LIST", List());
    if (C.OneIn(3)) add("bext", Bext());
    if (C.OneIn(3)) add(C.Of(std::array{"id3 ", "ID3 "}), Id3());
  }
  std::string List() {
    Album = C.Below(2);
    Expected.List.emplace();
    std::string body = "INFO";
    const std::pair<const char*, const wchar_t*> items[] = {{"INAM", L"title"},
                                                            {"ISBJ", L"subject"},
                                                            {"IGNR", L"genre"},
                                                            {"IGNR", L"genre"},
                                                            {Album ? "ISRC" : "IPRD", L"album"}};
    for (const auto& [id, name] : items) {
      if (C.OneIn(2)) continue;
      const std::string text = C.Letters(20);
      body += Chunk(id, text + std::string(C.Below(3), '\0'));
      Expected.List->emplace(name, Chooser::Widen(text));
    }
    if (C.OneIn(4)) body += Expected.ForeignText = Chunk("XYZW", C.Letters(20));
    return C.OneIn(4) ? body + '\0' : body;
  }
  std::string Bext() {
    std::string body = C.Letters(256);
    const std::string history = C.Letters(50);
    Expected.Bext = {{L"description", Chooser::Widen(body)},
                     {L"codinghistory", Chooser::Widen(history)},
                     {L"timereference", L"4294967297"}};
    body.resize(338);
    return body + LE(4294967297, 8) + LE(1, 2) + Noise(254) + history;
  }
  std::string Id3() {
    const std::string text = C.Letters(20);
    Expected.Revision = 3 + C.Below(2);
    Expected.Id3 = {{L"title", Chooser::Widen(text)}, {L"composer", Chooser::Widen(text)}};
    // Frames this short have the same size field in both revisions.
    if (C.OneIn(2)) Expected.PrivateFrame = V3("PRIV", "owner" + std::string(1, '\0') + text);
    return Tag(Expected.Revision, 0,
               Text3("TIT2", text) + Text3("TCOM", text) + Expected.PrivateFrame) +
           std::string(C.Below(2) * 10, '\0');
  }
  // The chunks in order, without the pad byte of the last one.
  std::string Assemble(unsigned missing) {
    const auto formats =
        std::array{Fmt(1, 2, 44100, 16), Fmt(1, 1, 8000, 8), Fmt(3, 2, 96000, 32) + LE(0, 2),
                   Fmt(1, 6, 48000, 24) + LE(3, 2) + "odd"};
    for (Chunks& place : Places) C.Shuffle(place);
    Chunks& all = Places[0];
    all.emplace_back("fmt ", C.Of(formats).substr(8));
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
    if (Rf64 && !(Marked && C.OneIn(3))) {
      const uint64_t size = 4 + 36 + body.size();
      body = Chunk("ds64", LE(size, 8) + LE(Audio.size(), 8) + LE(7, 8) + LE(0, 4)) + body;
    }
    LastSize = static_cast<unsigned>(all.back().second.size());
    if (LastSize % 2 != 0) body.pop_back();
    return body;
  }

  Chooser& C;
  const bool Rf64, Marked;
  unsigned LastSize = 0;
  std::array<Chunks, 3> Places;  // before `fmt `, before `data`, behind it
};

}  // namespace wavecodec::fuzz
