// Tags written into files of any kind, one change after another: whatever the file says of itself,
// its audio stays the same, and a file that could be opened can be opened.
#include <array>

#include "fuzz_target.h"
#include "id3_builder.h"
#include "instance.h"
#include "stored_options.h"
#include "tag_entries.h"
#include "wave_builder.h"

namespace wavecodec::fuzz {

using namespace test;  // NOLINT(google-build-using-namespace)

std::vector<Seed> Seeds() {
  const std::string fmt = Fmt(1, 1, 8000, 16);
  const std::string data = Chunk("data", Noise(401));
  const std::string list = Chunk("LIST", "INFO" + Chunk("INAM", "Name") + Chunk("XYZW", "abc"));
  const std::string id3 = Chunk("id3 ", Tag(3, 0, Text3("TIT2", "Title") + std::string(40, '\0')));
  const std::string bext = Chunk("bext", "Description" + std::string(600, '\0'));
  const std::string junk = Chunk("JUNK", std::string(60, '\0'));
  const auto rf64 = [&](const std::string& chunks) {
    return "RF64" + LE(0xFFFFFFFF, 4) + "WAVE" +
           Chunk("ds64", LE(chunks.size() + 40, 8) + LE(401, 8) + std::string(12, '\0')) + chunks;
  };
  std::vector<Seed> seeds = {
      {"plain", Riff(fmt + data)},
      {"tags in front", Riff(fmt + list + junk + id3 + bext + data)},
      {"tags behind", Riff(fmt + data + list + id3 + bext + junk)},
      {"padding", Riff(junk + fmt + junk + list + junk + data + Chunk("cue ", Noise(28)))},
      {"RF64", rf64(fmt + list + "data" + LE(0xFFFFFFFF, 4) + Noise(401) + '\0' + id3)},
      {"RF64 to the end", rf64(fmt + "data" + LE(0xFFFFFFFF, 4) + Noise(401))},
      {"RF64 that ds64 tells less of, odd: a pad byte became audio",
       rf64(fmt + "data" + LE(0xFFFFFFFF, 4) + Noise(413))},
      {"an empty bext chunk: a copy from it to nowhere", Riff(fmt + data + Chunk("bext", ""))},
      {"odd audio to the end of the file, its last byte behind the container",
       Riff(Fmt(1, 1, 8000, 8) + list + "data" + LE(1000000, 4) + Noise(400)) + '\1'},
      {"cut", Riff(fmt + list + data).substr(0, 300)},
      {"bytes behind", Riff(fmt + data) + Noise(33)},
  };
  unsigned number = 0;
  for (Seed& seed : seeds) {
    std::string plan;  // choices and changes
    for (const unsigned step : {1U, 35U, 5U, 90U}) {
      plan += static_cast<char>(number * 37 + step);
      plan += static_cast<char>(number++ * 51);
    }
    seed.Bytes.insert(0, plan);
  }
  return seeds;
}

namespace {

// Changes of every kind: short and long, each container, growing and shrinking.
const std::vector<XMem>& Blocks() {
  const std::wstring text(3000, L'x');
  static const std::vector<XMem> blocks = [&] {
    std::vector<XMem> made;
    made.push_back(BlockOf({{L"Title", L"T"}}));
    made.push_back(BlockOf({{L"Title", text}, {L"Artist", L"\u4E00"}}));
    made.push_back(BlockOf({{L"Description", L"d"}, {L"OrigDate", L"2026-11-21"}}));
    made.push_back(BlockOf({{L"CodingHistory", text}, {L"TimeReference", L"123456789012"}}));
    made.push_back(BlockOf({{L"Composer", L"a"}, {L"Composer", L"b"}, {L"Year", L"1999"}}));
    made.push_back(BlockOf({{L"_albumart_1_Front Album Cover", text}}));
    made.push_back(BlockOf({{L"Comment", text.substr(0, 64)}, {L"Mood", L"m"}}));
    made.push_back(BlockOf({{L"Title", L""}, {L"Genre", L"Rock"}, {L"Track", L"3/9"}}));
    return made;
  }();
  return blocks;
}

bool Change(Instance& instance, const std::wstring& file, uint8_t step) {
  using namespace std::string_literals;
  static const std::array<std::wstring, 8> names = {L""s,
                                                    L"Title\0"s,
                                                    L"Artist\0Year\0"s,
                                                    L"Description\0OrigDate\0CodingHistory\0"s,
                                                    L"_albumart_1_Front Album Cover\0"s,
                                                    L"Composer\0Mood\0Comment\0"s,
                                                    L"TagVersion\0"s,
                                                    L"TITLE\0genre\0track\0"s};
  if (step % 3 == 0) return instance.DeleteTags(file, names[step / 3 % names.size()]);
  const XMem& block = Blocks()[step / 3 % Blocks().size()];
  return instance.SetTags(file, block.Data(), block.Size());
}

struct Audio {
  bool Opened;
  std::string Bytes;
};

Audio AudioOf(const std::wstring& file) {
  Instance instance;
  Audio audio{instance.Opens(file, ZuOpenDecode | ZuOpenTags), {}};
  if (audio.Opened) audio.Bytes = instance.DecodeAll();
  return audio;
}

}  // namespace
}  // namespace wavecodec::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wavecodec::fuzz;
  static const WorkFile file("fuzz_tag_writes");
  static const StoredOptions options;
  constexpr size_t kSteps = 4;
  if (size < 2 * kSteps) return 0;
  std::string_view input = Text(data, size);
  file.Write(input.substr(2 * kSteps));
  const std::string_view file_begin = input.substr(2 * kSteps, 4);
  const Audio before = AudioOf(file.Name());
  for (size_t i = 0; i < kSteps; ++i) {
    const uint8_t choices = TakeByte(input);
    options.Store({{'D', choices & 3},
                   {'P', choices >> 2 & 1},
                   {'T', choices >> 3 & 3},
                   {'S', choices >> 5 & 3},
                   {'V', choices >> 6 & 1},
                   {'U', choices >> 7}});
    const std::string old = file.Bytes();
    Instance instance;
    const bool changed = Change(instance, file.Name(), TakeByte(input));
    Check(changed || file.Bytes() == old, "a change that failed");
    const Audio after = AudioOf(file.Name());
    Check(after.Opened == before.Opened, "opens");
    // Where only `ds64` tells the size of `data`, a pad byte behind it counted as audio before.
    const bool had_pad = file_begin == "RF64" && before.Bytes.starts_with(after.Bytes) &&
                         before.Bytes.size() - after.Bytes.size() <= UINT16_MAX;
    Check(had_pad || after.Bytes == before.Bytes, "the audio");
    Check(!std::filesystem::exists(file.Path.string() + ".wave-journal"), "the journal");
  }
  return 0;
}
