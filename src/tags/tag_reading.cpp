#include "tags/tag_reading.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include "id3v2/tag_bridge.h"
#include "module/report/std_report.h"
#include "riff/chunk_id.h"
#include "riff/chunk_reader.h"
#include "support/byte_order.h"
#include "support/text_scan.h"
#include "tags/bext_chunk.h"
#include "tags/list_chunk.h"
#include "tags/tag_options.h"

namespace wavecodec {
namespace {

constexpr size_t kIDSize = 4;

constexpr AnyCaseID kFmt(chunk_id::kFmt);
constexpr AnyCaseID kData(chunk_id::kData);
constexpr AnyCaseID kList(chunk_id::kList);
constexpr AnyCaseID kBext(chunk_id::kBext);
constexpr AnyCaseID kId3(chunk_id::kId3);
constexpr AnyCaseID kNeverCarried[] = {AnyCaseID(chunk_id::kDs64),
                                       AnyCaseID(chunk_id::kFact),
                                       AnyCaseID(chunk_id::kJunk),
                                       AnyCaseID(chunk_id::kPad),
                                       kBext,
                                       kId3};

// `fmt ` and `data` travel as their IDs, which keep their places among the others.
bool IsMarkerOnly(const STRIFFChunk& chunk) {
  return kFmt.Is(chunk.ChunkID) || kData.Is(chunk.ChunkID);
}

uint64_t PayloadSize(const STRIFFChunk& chunk) {
  return IsMarkerOnly(chunk) ? kIDSize : kIDSize + chunk.ChunkSize;
}

// Reads the tags of one file: first the ID3 chunks, then the others.
class TagGatherer {
 public:
  TagGatherer(XFile& file, NTag& tags, const STNStdReport& report)
      : File(file), Tags(tags), Report(report) {}

  void ReadId3(size_t index, const STRIFFChunk& chunk) {
    if (!kId3.Is(chunk.ChunkID) || chunk.ChunkSize == 0) return;
    Sources.Id3Index = static_cast<ptrdiff_t>(index);
    TagID3v2 bridge(File, chunk.FileDataPosition, chunk.ChunkSize);
    if (bridge.GetID3v2TagSize() <= chunk.ChunkSize && bridge.Read(Found)) TakeFound();
  }
  void ReadOther(size_t index, const STRIFFChunk& chunk) {
    if (kList.Is(chunk.ChunkID)) ReadList(index, chunk);
    if (kBext.Is(chunk.ChunkID)) ReadBext(chunk);
  }

  WaveTagSources Sources;

 private:
  void ReadList(size_t index, const STRIFFChunk& chunk) {
    if (chunk.ChunkSize == 0 || !LoadChunk(Body, chunk, File, Report)) return;
    if (!AlbumOption) AlbumOption = TagOption(tag_option::kListAlbum);
    // Later entries of a name would be left out by the merge anyway.
    if (!clRIFFLISTChunk::InitFrom(Body.Data(), Body.Size(), Found, Report, *AlbumOption,
                                   NTagRepeats::FirstOnly)) {
      return;
    }
    Sources.ListIndex = static_cast<ptrdiff_t>(index);
    TakeFound();
  }
  void ReadBext(const STRIFFChunk& chunk) {
    Body.Free();
    const bool loaded = chunk.ChunkSize != 0 && LoadChunk(Body, chunk, File, Report);
    if (!Sources.BextVersion) {
      Sources.BextVersion =
          loaded ? clRIFFBEXTChunk::Version(Body.Data(), Body.Size()) : uint16_t{0};
    }
    if (loaded && clRIFFBEXTChunk::InitFrom(Body.Data(), Body.Size(), Found, Report)) TakeFound();
  }
  // No source has a name twice, so that the first one is taken as it is.
  void TakeFound() {
    if (Tags.Count() == 0) {
      std::swap(Tags, Found);
    } else {
      Tags.MergeFrom(std::move(Found), false);
    }
  }

  XFile& File;
  NTag& Tags;
  const STNStdReport& Report;
  NTag Found;  // the tags of one chunk
  XMem Body;
  std::optional<uint32_t> AlbumOption;
};

// The names of carried chunks, in their order.
class CarriedName {
 public:
  [[nodiscard]] std::wstring_view Next() {
    ++Number;
    Text.resize(tag_name::kRiff.size());
    AppendDecimal(Text, Number);
    return Text;
  }
  void TakeBack() { --Number; }

 private:
  uint32_t Number = 0;
  XStr Text{tag_name::kRiff};
};

// The largest item that its signed size field can tell, and the largest block that a host's record
// can.
constexpr uint64_t kMostItem = std::numeric_limits<int32_t>::max();
constexpr uint64_t kMostBlock = std::numeric_limits<uint32_t>::max();

// Walks the chunks that are carried: those for which `left` bytes of the block are enough.
template <typename Work>
void ForEachCarried(const clRIFFHandler& riff, const WaveTagSources& sources, uint64_t left,
                    Work work) {
  CarriedName name;
  riff.ForEachChunk([&](size_t index, const STRIFFChunk& chunk) {
    const bool elsewhere = static_cast<ptrdiff_t>(index) == sources.ListIndex ||
                           std::any_of(std::begin(kNeverCarried), std::end(kNeverCarried),
                                       [&](const AnyCaseID& id) { return id.Is(chunk.ChunkID); });
    if (elsewhere || PayloadSize(chunk) > kMostItem) return;
    const std::wstring_view text = name.Next();
    const uint64_t size =
        TagBlockWriter::ItemSize(text.size(), 0, static_cast<size_t>(PayloadSize(chunk)));
    if (size <= kMostItem && size <= left && work(text, chunk)) {
      left -= size;
    } else {
      name.TakeBack();
    }
  });
}

bool WriteCarried(TagBlockWriter& writer, std::wstring_view name, const STRIFFChunk& chunk,
                  XFile& file, const STNStdReport& report) {
  const auto size = static_cast<size_t>(PayloadSize(chunk));
  uint8_t* const payload = writer.Begin(name, {}, size);
  WriteU32LE(payload, chunk.ChunkID);
  if (size == kIDSize ||
      ReadFileIntoMemory(payload + kIDSize, size - kIDSize, chunk.FileDataPosition, file, report)) {
    return true;
  }
  writer.Drop();
  return false;
}

XStr PayloadText(const XMem& payload) {
  constexpr size_t kShown = 20;
  XStr text = L"DATA Length: " + DecimalText(payload.Size()) + L"   ";
  for (size_t i = 0; i < std::min(payload.Size(), kShown); ++i) {
    const uint8_t byte = payload.Data()[i];
    text += byte >= ' ' && byte <= '~' ? static_cast<wchar_t>(byte) : L'.';
  }
  return text;
}

void ReportTags(const XMem& block, const STNStdReport& report) {
  DebugLine(report) << ReadU32LE(block.Data()) << L" ID Tags:";
  if (!StdReport::IsOpen(report.DebugHandle)) return;
  NTag tags;
  tags.InitFromRawMemory(block.Data(), block.Size());
  for (const STInternalTag& tag : tags) {
    DebugLine(report) << tag.Name << L": "
                      << (tag.Data.IsEmpty() ? tag.Value : PayloadText(tag.Data));
  }
}

}  // namespace

WaveTagSources InternalReadTags(XFile& file, const clRIFFHandler& riff, NTag& tags,
                                const STNStdReport& report) {
  tags.Destroy();
  TagGatherer gatherer(file, tags, report);
  riff.ForEachChunk(
      [&](size_t index, const STRIFFChunk& chunk) { gatherer.ReadId3(index, chunk); });
  riff.ForEachChunk(
      [&](size_t index, const STRIFFChunk& chunk) { gatherer.ReadOther(index, chunk); });
  return gatherer.Sources;
}

void AppendTagKinds(XStr& kinds, const WaveTagSources& sources) {
  const auto add = [&](std::wstring_view kind) {
    if (!kinds.empty()) kinds += L" & ";
    kinds += kind;
  };
  if (sources.ListIndex != -1) add(L"LIST");
  if (sources.Id3Index != -1) add(L"ID3");
  if (sources.BextVersion) add(L"BEXT v" + DecimalText(*sources.BextVersion));
}

void MakeTagBlock(XMem& block, const NTag& tags, XFile& file, const clRIFFHandler& riff,
                  const WaveTagSources& sources, const STNStdReport& report) {
  const uint64_t tags_size = tags.GetRawSize();
  uint64_t carried_size = 0;
  ForEachCarried(riff, sources, kMostBlock - std::min(kMostBlock, tags_size),
                 [&](std::wstring_view name, const STRIFFChunk& chunk) {
                   carried_size += TagBlockWriter::ItemSize(
                       name.size(), 0, static_cast<size_t>(PayloadSize(chunk)));
                   return true;
                 });
  if (!block.SetSize(static_cast<size_t>(tags_size + carried_size))) throw std::bad_alloc();
  TagBlockWriter writer(block.Data());
  tags.WriteRaw(writer);
  ForEachCarried(riff, sources, carried_size,
                 [&](std::wstring_view name, const STRIFFChunk& chunk) {
                   return WriteCarried(writer, name, chunk, file, report);
                 });
  // Shorter than planned when a chunk could not be read.
  if (!block.SetSize(writer.Finish(), true)) throw std::bad_alloc();
  ReportTags(block, report);
}

}  // namespace wavecodec
