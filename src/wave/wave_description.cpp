// What a decoder tells of its source apart from the audio: tags and properties.
#include <algorithm>
#include <array>
#include <new>

#include "module/report/std_report.h"
#include "riff/chunk_id.h"
#include "support/number_format.h"
#include "tags/tag_reading.h"
#include "wave/audio_properties.h"
#include "wave/wave_decoder.h"

namespace wavecodec {
namespace {

using namespace std::string_view_literals;

constexpr std::wstring_view kFirstPicture = L"_albumart_1";
constexpr std::wstring_view kTrackGain = L"replaygain_track_gain";
constexpr std::wstring_view kAlbumGain = L"replaygain_album_gain";

struct Property {
  std::wstring_view Name;
  std::wstring_view Value;
};

// The properties of a file, in their order; the texts lie elsewhere.
class PropertyList {
 public:
  const Property& Add(std::wstring_view name, std::wstring_view value) {
    Size += TagBlockWriter::ItemSize(name.size(), value.size(), 0);
    return Properties[Count++] = {name, value};
  }
  void AddUnlessEmpty(std::wstring_view name, std::wstring_view value) {
    if (!value.empty()) Add(name, value);
  }
  [[nodiscard]] size_t BlockSize() const { return Size; }
  [[nodiscard]] const Property* begin() const { return Properties.data(); }
  [[nodiscard]] const Property* end() const { return Properties.data() + Count; }

 private:
  std::array<Property, 9> Properties;
  size_t Count = 0;
  size_t Size = TagBlockWriter::kHeaderSize;
};

}  // namespace

const XMem& clWaveDecoderCore::ReadIDTags(XStr& kinds) {
  const TraceScope trace(Report, "ReadIDTags");
  TagBlock.Free();
  if (!PullOutFMTnDATA()) return TagBlock;
  const WaveTagSources sources = InternalReadTags(Source, Riff, Tags, Report);
  AppendTagKinds(kinds, sources);
  MakeTagBlock(TagBlock, Tags, Source, Riff, sources, Report);
  trace.Leave();
  return TagBlock;
}

XStr clWaveDecoderCore::SampleCountText() const {
  const NumberFormat& user = NumberFormat::User();
  if (IsPCMOrFloat(FileWFX.WFXFormatTag())) {
    const int64_t align = std::max(1, FileWFX.BlockAlign());
    return user.Integer(static_cast<uint64_t>(CalcStreamLengthBytes() / align));
  }
  return FactSamples != 0 ? user.Integer(FactSamples) : XStr();
}

// Calls take(text) with the parts of the list of chunks, one a chunk.
template <typename Take>
void clWaveDecoderCore::TellRiffChunks(Take take) const {
  XStr text;
  text.reserve(32);
  Riff.ForEachChunk([&](size_t index, const STRIFFChunk& chunk) {
    text = index == 0 ? L"'"sv : L",  '"sv;
    AppendRIFFChnkID(text, chunk.ChunkID);
    text += L"' "sv;
    AppendSizeText(text, chunk.ChunkSize);
    take(std::wstring_view(text));
  });
}

XStr clWaveDecoderCore::ContainsText(const XStr& kinds) const {
  bool art = false;
  bool toc = false;
  bool crc = false;
  bool gain = false;
  for (const STInternalTag& tag : Tags) {
    const std::wstring_view name = tag.Name;
    art = art || NameBegins(name, kFirstPicture);
    toc = toc || EqualNoCase(name, tag_name::kCDToc);
    crc = crc || EqualNoCase(name, tag_name::kCRC);
    gain = gain || EqualNoCase(name, kTrackGain) || EqualNoCase(name, kAlbumGain);
  }
  XStr text;
  const auto add = [&](bool is_there, std::wstring_view what) {
    if (!is_there) return;
    if (!text.empty()) text += L", "sv;
    text += what;
  };
  add(art, L"Album Art"sv);
  add(toc, L"CD TOC"sv);
  add(crc, L"CRC"sv);
  add(gain, L"ReplayGain"sv);
  if (!kinds.empty()) add(true, L"ID Tag [" + kinds + L"]");
  return text;
}

const XMem* clWaveDecoderCore::FillAudioProps(const XStr& kinds) {
  const TraceScope trace(Report, "FillAudioProps");
  Properties.Free();
  if (!PullOutFMTnDATA()) return nullptr;
  const auto fmt = Riff.FindChunkForRead(chunk_id::kFmt, false);
  const XStr codec = GetACMFormat(FileWFX);
  const XStr channels = GetChannelString(FileWFX);
  const XStr samples = SampleCountText();
  const XStr contains = ContainsText(kinds);
  PropertyList list;
  list.Add(L"Audio Quality"sv, GetAudioQuality(FileWFX));
  list.Add(L"Encoder Settings"sv, codec);
  list.Add(L"Wave Header"sv, GetWaveHeader(FileWFX, fmt ? fmt->ChunkSize : 0));
  list.Add(L"Channel Mapping"sv, channels);
  list.AddUnlessEmpty(L"Sample Count"sv, samples);
  const Property& chunks = list.Add(L"Riff Chunks"sv, {});
  list.AddUnlessEmpty(L"ID Tag"sv, kinds);
  list.AddUnlessEmpty(L"Contains"sv, contains);
  list.Add(L"Gapless"sv, GetGapless(FileWFX));

  // The chunks of a file can be so many that their text is only made where it goes.
  size_t chunks_length = 0;
  TellRiffChunks([&](std::wstring_view text) { chunks_length += text.size(); });
  if (!Properties.SetSize(list.BlockSize() + 2 * chunks_length)) throw std::bad_alloc();
  TagBlockWriter writer(Properties.Data());
  for (const Property& property : list) {
    if (&property == &chunks) {
      writer.BeginValue(property.Name, chunks_length);
      TellRiffChunks([&](std::wstring_view text) { writer.Append(text); });
      writer.EndText();
    } else {
      writer.Begin(property.Name, property.Value, 0);
    }
  }
  writer.Finish();
  ReportProperties();
  trace.Leave();
  return &Properties;
}

void clWaveDecoderCore::ReportProperties() const {
  NTag properties;
  if (StdReport::IsOpen(Report.DebugHandle)) {
    properties.InitFromRawMemory(Properties.Data(), Properties.Size());
  }
  for (const STInternalTag& property : properties) {
    const XStr prefix = L"\t" + property.Name + L": ";
    StdReport::WriteDEBUG(property.Value, Report, nullptr, true, prefix.c_str());
  }
}

}  // namespace wavecodec
