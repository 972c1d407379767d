#include "tags/tag_reading.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "id3v2/tag_bridge.h"
#include "module/report/std_report.h"
#include "riff/chunk_id.h"
#include "riff/chunk_reader.h"
#include "support/byte_order.h"
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
  [[nodiscard]] std::string_view Next() {
    ++Number;
    char* const digits = Text.data() + tag_name::kRiff.size();
    const auto written = std::to_chars(digits, Text.data() + Text.size(), Number);
    return {Text.data(), static_cast<size_t>(written.ptr - Text.data())};
  }
  void TakeBack() { --Number; }

 private:
  uint32_t Number = 0;
  std::string Text = std::string(tag_name::kRiff) + std::string(10, '0');
};

// The largest block that a host's record can tell.
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
    if (elsewhere || PayloadSize(chunk) > TagBlockWriter::kMostItem) return;
    const std::string_view text = name.Next();
    const uint64_t size =
        TagBlockWriter::ItemSize(text.size(), 0, static_cast<size_t>(PayloadSize(chunk)));
    if (size <= TagBlockWriter::kMostItem && size <= left && work(text, chunk)) {
      left -= size;
    } else {
      name.TakeBack();
    }
  });
}

bool WriteCarried(TagBlockWriter& writer, std::string_view name, const STRIFFChunk& chunk,
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

XStr PayloadText(std::span<const uint8_t> payload) {
  constexpr size_t kShown = 20;
  XStr text = L"DATA Length: " + std::to_wstring(payload.size()) + L"   ";
  for (const uint8_t byte : payload.first(std::min(payload.size(), kShown))) {
    text += byte >= ' ' && byte <= '~' ? static_cast<wchar_t>(byte) : L'.';
  }
  return text;
}

// A file's own text as it may stand in a report: it neither ends the line nor begins like the line
// of a traced operation.
XStr ReportText(std::string_view utf8) {
  XStr text = FromUtf8(utf8);
  for (wchar_t& c : text) {
    if (c < L' ' || c == 0x7F) c = L'.';
  }
  if (text.starts_with(StdReport::kEnter) || text.starts_with(StdReport::kLeave)) text[0] = L'.';
  return text;
}

// `carried` is the part of the block behind the tags.
void ReportTags(const NTag& tags, std::span<const uint8_t> carried, uint32_t count,
                const STNStdReport& report) {
  DebugLine(report) << count << L" ID Tags:";
  if (!StdReport::IsOpen(report.DebugHandle)) return;
  for (size_t i = 0; i < tags.Count(); ++i) {
    const NTag::Entry tag = tags.At(i);
    DebugLine(report) << ReportText(tag.Name) << L": "
                      << (tag.Data.empty() ? ReportText(tag.Value) : PayloadText(tag.Data));
  }
  CarriedName name;
  while (!carried.empty()) {
    const std::string_view text = name.Next();
    const auto item = carried.first(ReadU32LE(carried.data()));
    DebugLine(report) << ReportText(text) << L": "
                      << PayloadText(item.subspan(TagBlockWriter::ItemSize(text.size(), 0, 0)));
    carried = carried.subspan(item.size());
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
  if (sources.BextVersion) add(L"BEXT v" + std::to_wstring(*sources.BextVersion));
}

void MakeTagBlock(XMem& block, const NTag& tags, XFile& file, const clRIFFHandler& riff,
                  const WaveTagSources& sources, const STNStdReport& report) {
  const size_t tags_size = tags.GetRawSize();
  if (tags_size > kMostBlock) return;
  uint64_t carried_size = 0;
  ForEachCarried(
      riff, sources, kMostBlock - tags_size, [&](std::string_view name, const STRIFFChunk& chunk) {
        carried_size +=
            TagBlockWriter::ItemSize(name.size(), 0, static_cast<size_t>(PayloadSize(chunk)));
        return true;
      });
  if (!block.SetSize(tags_size + static_cast<size_t>(carried_size))) {
    carried_size = 0;  // the tags matter more
    if (!block.SetSize(tags_size)) throw std::bad_alloc();
  }
  TagBlockWriter writer(block.Data());
  tags.WriteRaw(writer);
  ForEachCarried(riff, sources, carried_size, [&](std::string_view name, const STRIFFChunk& chunk) {
    return WriteCarried(writer, name, chunk, file, report);
  });
  // Shorter than planned when a chunk could not be read.
  if (!block.SetSize(writer.Finish(), true)) throw std::bad_alloc();
  const std::span<const uint8_t> whole(block.Data(), block.Size());
  ReportTags(tags, whole.subspan(tags_size), ReadU32LE(block.Data()), report);
}

}  // namespace wavecodec
