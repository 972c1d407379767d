// The body of a `LIST` chunk: read, written and read again, and what an edit keeps of it.
#include "fuzz_target.h"
#include "tags/list_chunk.h"
#include "wave_builder.h"

namespace wavecodec::fuzz {

using test::Chunk;
using namespace std::string_literals;

std::vector<Seed> Seeds() {
  const std::string info = "\0INFO"s + Chunk("INAM", "Title\0"s) + Chunk("ICMT", "odd") +
                           Chunk("ITOC", "3+96+3B2E+75C6+B05E+X96\0"s) + Chunk("ABCD", "?");
  const std::string every = "\5INFO" + Chunk("IART", "Ann") + Chunk("IART", "Bob") +
                            Chunk("ISRC", "Album") + Chunk("TRCK", "3/9") +
                            Chunk("IGNR", "\xE9\x80\0\0"s) + Chunk("ICOP", "\xC3\xA9");
  return {{"info", info},
          {"bytes behind", info + "x"},
          {"other options", every},
          {"no info", "\0adtl"s + Chunk("labl", "1234text")}};
}

namespace {

void ReadList(std::string_view body, uint32_t album, uint32_t track) {
  NTag tags;
  const bool whole = clRIFFLISTChunk::InitFrom(Bytes(body), body.size(), tags, {}, album);
  XMem made;
  Check(clRIFFLISTChunk::TagsToLIST(made, tags, {}, album, track));
  // The text of a table of contents is no exact inverse of every record.
  if (tags.RemoveTag(tag_name::kCDToc)) {
    Check(clRIFFLISTChunk::TagsToLIST(made, tags, {}, album, track));
  }
  if (made.IsEmpty()) return;
  // What was written is read back whole, and written again is the same.
  NTag back;
  Check(clRIFFLISTChunk::InitFrom(made.Data(), made.Size(), back, {}, album));
  XMem again;
  Check(clRIFFLISTChunk::TagsToLIST(again, back, {}, album, track));
  Check(Text(made.Data(), made.Size()) == Text(again.Data(), again.Size()));
  // An edit keeps the bytes of what nobody changed.
  XMem old;
  Check(old.SetSize(body.size()));
  body.copy(reinterpret_cast<char*>(old.Data()), body.size());
  const std::string others = clRIFFLISTChunk::OtherSubChunks(old, tags, album, track);
  Check(others.size() <= body.size() + 1);
  Check(clRIFFLISTChunk::KeepSubChunks(made, old, tags, tags, album));
  NTag kept;
  Check(clRIFFLISTChunk::InitFrom(made.Data(), made.Size(), kept, {}, album));
  for (size_t i = 0; whole && i < kept.Count(); ++i) {
    Check(tags.FindElement(kept.At(i).Name).has_value());
  }
  const size_t size = made.Size();
  Check(clRIFFLISTChunk::Lengthen(made, 6) && made.Size() == size + 6);
  NTag lengthened;
  Check(clRIFFLISTChunk::InitFrom(made.Data(), made.Size(), lengthened, {}, album));
  Check(lengthened.Count() == kept.Count());
}

}  // namespace
}  // namespace wavecodec::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wavecodec::fuzz;
  std::string_view input = Text(data, size);
  const uint8_t options = TakeByte(input);
  ReadList(input, options & 1, options >> 1 & 3);
  return 0;
}
