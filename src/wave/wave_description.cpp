// What a decoder tells of its source apart from the audio: tags and properties.
#include <algorithm>
#include <array>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "module/report/std_report.h"
#include "riff/chunk_id.h"
#include "support/number_format.h"
#include "support/utf8.h"
#include "tags/tag_reading.h"
#include "wave/audio_properties.h"
#include "wave/wave_decoder.h"

namespace wavecodec {
namespace {

constexpr std::string_view kRiffChunks = "Riff Chunks";

// The properties of a file, in their order; the names lie elsewhere.
class PropertyList {
 public:
  struct Property {
    std::string_view Name;
    std::string Value;
  };

  void Add(std::string_view name, std::string value) {
    Size += TagBlockWriter::ItemSize(name.size(), ScanUtf8(value).Characters, 0);
    Properties[Count++] = {name, std::move(value)};
  }
  void AddUnlessEmpty(std::string_view name, std::string value) {
    if (!value.empty()) Add(name, std::move(value));
  }
  [[nodiscard]] size_t BlockSize() const { return Size; }
  [[nodiscard]] std::span<const Property> All() const { return {Properties.data(), Count}; }

 private:
  std::array<Property, 9> Properties;
  size_t Count = 0;
  size_t Size = TagBlockWriter::kHeaderSize;
};

}  // namespace

const XMem& clWaveDecoderCore::ReadIDTags(XStr& kinds) {
  const TraceScope trace(Report, "ReadIDTags");
  TagBlock.Free();
  FindAllChunks();
  if (!PullOutFMTnDATA()) return TagBlock;
  const WaveTagSources sources = InternalReadTags(Source, Riff, Tags, Report);
  AppendTagKinds(kinds, sources);
  MakeTagBlock(TagBlock, Tags, Source, Riff, sources, Report);
  trace.Leave();
  return TagBlock;
}

std::string clWaveDecoderCore::SampleCountText() const {
  const NumberFormat& user = NumberFormat::User();
  if (IsPCMOrFloat(FileWFX.WFXFormatTag())) {
    const int64_t align = std::max(1, FileWFX.BlockAlign());
    return user.Integer(static_cast<uint64_t>(CalcStreamLengthBytes() / align));
  }
  return FactSamples != 0 ? user.Integer(FactSamples) : std::string();
}

// Calls take(text) with the parts of the list of chunks, one a chunk.
template <typename Take>
void clWaveDecoderCore::TellRiffChunks(Take take) const {
  std::string text;
  Riff.ForEachChunk([&](size_t index, const STRIFFChunk& chunk) {
    text = index == 0 ? "'" : ",  '";
    AppendRIFFChnkID(text, chunk.ChunkID);
    text += "' ";
    AppendSizeText(text, chunk.ChunkSize);
    take(std::string_view{text});
  });
}

std::string clWaveDecoderCore::ContainsText(const std::string& kinds) const {
  bool art = false;
  bool toc = false;
  bool crc = false;
  bool gain = false;
  for (size_t i = 0; i < Tags.Count(); ++i) {
    const std::string_view name = Tags.At(i).Name;
    art = art || StartsWithName(name, "_albumart_1");
    toc = toc || SameName(name, tag_name::kCDToc);
    crc = crc || SameName(name, tag_name::kCRC);
    gain =
        gain || SameName(name, "replaygain_track_gain") || SameName(name, "replaygain_album_gain");
  }
  std::string text;
  const auto add = [&](bool is_there, const std::string& what) {
    if (is_there) text += (text.empty() ? "" : ", ") + what;
  };
  add(art, "Album Art");
  add(toc, "CD TOC");
  add(crc, "CRC");
  add(gain, "ReplayGain");
  if (!kinds.empty()) add(true, "ID Tag [" + kinds + "]");
  return text;
}

const XMem* clWaveDecoderCore::FillAudioProps(const XStr& tag_kinds) {
  const TraceScope trace(Report, "FillAudioProps");
  Properties.Free();
  if (!PullOutFMTnDATA()) return nullptr;
  const auto fmt = Riff.FindChunkForRead(chunk_id::kFmt, false);
  const std::string kinds = ToUtf8(tag_kinds);
  PropertyList list;
  list.Add("Audio Quality", GetAudioQuality(FileWFX));
  list.Add("Encoder Settings", GetACMFormat(FileWFX));
  list.Add("Wave Header", GetWaveHeader(FileWFX, fmt ? fmt->ChunkSize : 0));
  list.Add("Channel Mapping", GetChannelString(FileWFX));
  list.AddUnlessEmpty("Sample Count", SampleCountText());
  if (ListsChunks()) list.Add(kRiffChunks, {});
  list.AddUnlessEmpty("ID Tag", kinds);
  list.AddUnlessEmpty("Contains", ContainsText(kinds));
  list.Add("Gapless", GetGapless(FileWFX));

  // The chunks of a file can be so many that their text is only made where it goes.
  size_t chunks_length = 0;
  if (ListsChunks()) {
    TellRiffChunks([&](std::string_view text) { chunks_length += text.size(); });
  }
  if (!Properties.SetSize(list.BlockSize() + 2 * chunks_length)) throw std::bad_alloc();
  TagBlockWriter writer(Properties.Data());
  for (const PropertyList::Property& property : list.All()) {
    writer.Begin(property.Name);
    writer.Append(property.Value);
    if (property.Name == kRiffChunks) {
      TellRiffChunks([&](std::string_view text) { writer.Append(text); });
    }
    writer.EndItem();
  }
  writer.Finish();
  ReportProperties();
  trace.Leave();
  return &Properties;
}

void clWaveDecoderCore::ReportProperties() const {
  if (!StdReport::IsOpen(Report.DebugHandle)) return;
  NTag properties;
  properties.InitFromRawMemory(Properties.Data(), Properties.Size());
  for (size_t i = 0; i < properties.Count(); ++i) {
    const STInternalTag property = properties[i];
    const XStr prefix = L"\t" + property.Name + L": ";
    StdReport::WriteDEBUG(property.Value, Report, nullptr, true, prefix.c_str());
  }
}

}  // namespace wavecodec
