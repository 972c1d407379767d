// The tag block, as hosts give it: what was read is written, read and written again.
#include "fuzz_target.h"
#include "tags/set/tag_set.h"
#include "wave_builder.h"

namespace wavecodec::fuzz {

using test::LE;
using namespace std::string_literals;

std::vector<Seed> Seeds() {
  const std::string wide =
      LE(2, 4) + LE(18, 4) + "A\0b\0c\0\0\0d\0\0\0"s + "xx" + LE(12, 4) + "E\0\0\0F\0\0\0"s;
  const std::string narrow = LE(2, 4) + LE(11, 4) + "_ab\0\0xx"s + LE(9, 4) + "E\0\xC3\xA9\0"s;
  return {{"wide", "w" + wide}, {"twice", "w" + wide + wide}, {"utf8", "u" + narrow}};
}

namespace {

void ReadWide(std::string_view block) {
  NTag tags;
  tags.InitFromRawMemory(block.data(), block.size());
  Check(tags.Count() * 4 <= block.size());
  XMem made;
  Check(tags.ToRawMemory(made) && made.Size() == tags.GetRawSize());
  NTag again;
  again.InitFromRawMemory(made.Data(), made.Size());
  XMem once_more;
  Check(again.ToRawMemory(once_more));
  Check(Text(made.Data(), made.Size()) == Text(once_more.Data(), once_more.Size()));
  // What hosts do with a set.
  tags.RemoveTagsBiggerThan(20);
  tags.MergeFrom(again, block.size() % 2 != 0);
  for (size_t i = 0; i < again.Count(); ++i) {
    Check(tags.FindElement(again.At(i).Name).has_value());
  }
  XStr text;
  XStr sub_text;
  tags.GetAlbumArt(1, text, sub_text);
  Check(!tags.PaddedTrackNum(L"Track").starts_with(L"0/"));
  tags.DropTagsBeginUnderScore(NTagKeepCDToc);
  tags.RemoveAllBinaryTags();
}

void ReadUTF8(std::string_view block) {
  NTag tags;
  tags.InitFromRawMemoryUTF8(block.data(), block.size());
  Check(tags.Count() * 4 <= block.size());
  XMem made;
  Check(tags.ToRawMemoryUTF8(made));
  NTag again;
  again.InitFromRawMemoryUTF8(made.Data(), made.Size());
  Check(again.Count() == tags.Count());
  for (size_t i = 0; i < tags.Count(); ++i) {
    Check(again.At(i).Name == tags.At(i).Name && again.At(i).Value == tags.At(i).Value);
  }
}

}  // namespace
}  // namespace wavecodec::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wavecodec::fuzz;
  std::string_view input = Text(data, size);
  TakeByte(input) == 'u' ? ReadUTF8(input) : ReadWide(input);
  return 0;
}
