// The body of a `bext` chunk: read, written over itself and read again.
#include "fuzz_target.h"
#include "tags/bext_chunk.h"

namespace wavecodec::fuzz {

std::vector<Seed> Seeds() {
  std::string fields = "Description";
  for (const auto& [at, text] : {std::pair{256, "Originator"},
                                 {288, "Reference"},
                                 {320, "2026-11-21"},
                                 {330, "12:00:00"},
                                 {338, "\1\2\3\4\5"}}) {
    fields.resize(static_cast<size_t>(at));
    fields += text;
  }
  fields.resize(602);
  fields[346] = 2;
  return {
      {"fields", fields + "A=PCM,F=48000\r\n"},
      {"full", "Description" + std::string(591, '\1') + "A=PCM\r\n"},
      {"a time past 63 bits: an edit changed it", std::string(338, 'x') + std::string(264, '\xFF')},
      {"short", fields.substr(0, 601)}};
}

namespace {

void ReadBext(std::string_view body) {
  NTag tags;
  const bool whole = clRIFFBEXTChunk::InitFrom(Bytes(body), body.size(), tags, {});
  Check(whole == (body.size() >= 602));
  clRIFFBEXTChunk::Version(Bytes(body), body.size());
  XMem made;
  if (!clRIFFBEXTChunk::TagsToBEXT(made, tags, {})) return;
  XMem replaced;
  Check(replaced.SetSize(body.size()));
  body.copy(reinterpret_cast<char*>(replaced.Data()), body.size());
  Check(clRIFFBEXTChunk::KeepOldBytes(made, replaced));
  NTag back;
  Check(clRIFFBEXTChunk::InitFrom(made.Data(), made.Size(), back, {}));
  Check(back.Count() == tags.Count());
  for (size_t i = 0; i < tags.Count(); ++i) {
    Check(back.GetTagValue(tags[i].Name) == tags.GetTagValue(tags[i].Name));
  }
  clRIFFBEXTChunk::RemoveTagsFromList(back, {});
  Check(back.Count() == 0);
}

}  // namespace
}  // namespace wavecodec::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  wavecodec::fuzz::ReadBext(wavecodec::fuzz::Text(data, size));
  return 0;
}
