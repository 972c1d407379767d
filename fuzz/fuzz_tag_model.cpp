// Changes of the tags of files of all layouts, under all choices, against a model of what is kept
// where, and against a reader that forgives nothing.
#include "fuzz_target.h"
#include "generated_file.h"
#include "instance.h"
#include "stored_options.h"

namespace wavecodec::fuzz {

using namespace std::string_literals;

std::vector<Seed> Seeds() {
  std::vector<Seed> seeds;
  for (uint32_t i = 1; i <= 40; ++i)
    seeds.push_back({"noise " + std::to_string(i), Noise(1500, i)});
  seeds.push_back(
      {"a list that can hold nothing of what is written twice",
       "\xD4\x5F\x0C\x2B\x0B\0\0\x0E\x7E\xA7\xBE\xDB\xA8\x78\x3E\xA8\x5E\x28\xE2\xCA"
       "c\x8E"
       "eata\x87\xF4\xCB\xA3\x87\xF4\xAC\xE5\x8A\x28\x24\xA3\x87\xF4\xCB\xA3\x87\xCB"s});
  return seeds;
}

namespace {

Fields TagsOf(const std::wstring& file) {
  Instance instance;
  Check(instance.Opens(file, ZuOpenTags), "opens");
  NTag tags;
  tags.InitFromRawMemory(instance.Record.tagData, instance.Record.tagSize);
  Fields fields;
  for (size_t i = 0; i < tags.Count(); ++i) {
    const STInternalTag tag = tags[i];
    if (tag.Name.starts_with(L"_riff_")) continue;
    const std::wstring payload(tag.Data.Data(), tag.Data.Data() + tag.Data.Size());
    Check(fields.emplace(Lower(tag.Name), tag.Value + payload).second, ToWholeUtf8(tag.Name));
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

// Makes a change in the file and in the model, and tells it. Made once more it changes nothing,
// unless the first time took away a chunk that could hold nothing of it: then comes what a file
// without tags gets.
std::string Change(Chooser& chooser, const WorkFile& file, Model& expected,
                   const Choices& choices) {
  Instance instance;
  const bool again = chooser.OneIn(3), had_chunk = expected.List || expected.Id3;
  const auto twice = [&](const auto& work) {
    Check(work(), "a change");
    const std::string once = file.Bytes();
    const bool lost_chunk = had_chunk && !expected.List && !expected.Id3;
    Check(!again || lost_chunk || (work() && file.Bytes() == once), "the second time");
  };
  if (chooser.OneIn(3)) {
    std::wstring packed;
    const std::vector<std::wstring> names = chooser.Names();
    for (const std::wstring& name : names) packed += name + L'\0';
    expected.Delete(names, choices);
    twice([&] { return instance.DeleteTags(file.Name(), packed); });
    return "delete " + ToWholeUtf8(packed);
  }
  const Entries entries = chooser.Tags();
  expected.Write(entries, choices);
  const XMem block = BlockOf(entries);
  twice([&] { return instance.SetTags(file.Name(), block.Data(), block.Size()); });
  return "write\n" + Shown(Fields(entries.begin(), entries.end()));
}

// What is wrong with a changed file; nothing, when nothing is.
std::string FaultOf(const GeneratedFile& file, const std::string& before,
                    const std::string& bytes) {
  const WalkedFile walked(bytes);
  const WalkedChunk* const data = walked.Find("data");
  std::string fault = walked.Fault;
  if (data == nullptr || data->Body != file.Audio) fault += " the audio;";
  if (walked.Foreign() != file.Foreign) fault += " chunks that are no tags;";
  if (walked.Trailing != file.Trailing) fault += " bytes behind the container;";
  if (walked.PaddingPairs() > WalkedFile(before).PaddingPairs()) fault += " padding in pairs;";
  if (bytes.find(file.Expected.PrivateFrame) == std::string::npos) fault += " a private frame;";
  if (bytes.find(file.Expected.ForeignText) == std::string::npos) fault += " an unknown text;";
  return fault.empty() ? fault : fault + "\n" + WalkedFile(before).Shape() + "\n" + walked.Shape();
}

}  // namespace
}  // namespace wavecodec::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wavecodec::fuzz;
  constexpr int kMostSteps = 30;
  static const WorkFile place("fuzz_tag_model");
  static const StoredOptions options;
  Chooser chooser(Text(data, size));
  GeneratedFile file(chooser);
  place.Write(file.Bytes);
  for (int step = 0; step <= kMostSteps && !chooser.IsOver(); ++step) {
    Choices choices{{'A', file.Album}};
    for (const char letter : std::string_view("DPTSKVU")) {
      choices[letter] = chooser.Below(letter == 'S' ? 6 : 4);
    }
    options.Store(choices);
    const std::string before = place.Bytes();
    const std::string told =
        step == 0 ? "as it is" : Change(chooser, place, file.Expected, choices);
    const std::string after = place.Bytes();
    if (after != before) {
      const std::string fault = FaultOf(file, before, after);
      Check(fault.empty(), told + fault);
    }
    const Fields tags = TagsOf(place.Name());
    const Fields expected = file.Expected.View();
    Check(tags == expected, told + "expected\n" + Shown(expected) + "found\n" + Shown(tags) +
                                WalkedFile(before).Shape());
  }
  return 0;
}
