// What the host can ask with `Get` and tell with `Set`. All answers are constants, so the texts
// that a host receives stay valid as long as the module is loaded.
#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "module/decoder.h"
#include "module/report/std_report.h"
#include "tags/tag_writing.h"

namespace wavecodec {
namespace {

struct FileKind {
  const wchar_t* Extension;
  const wchar_t* Name;
};

constexpr FileKind kDecodes[] = {
    {L".wav", L"Wave"},
    {L".bwf", L"Broadcast Wave Format"},
};

constexpr const wchar_t* kStreamingDecodes[] = {
    L"audio/wav",  L"application/wav",  L"audio/x-wav",  L"application/x-wav",
    L"audio/wave", L"application/wave", L"audio/x-wave", L"application/x-wave",
};

constexpr const wchar_t* kDescription = L"Wave Decoder";
constexpr const wchar_t* kProperties =
    L"Audio Quality\rChannel Mapping\rEncoder Settings\rWave Header\rRiff Chunks\rSample Count\r"
    L"Gapless\rID Tag\rContains";
constexpr const wchar_t* kDefaultProperties = L"Audio Quality\rEncoder Settings\rContains";

// The host stores the position of the choice that the user makes, so the order of the choices is
// binding; choice 0 is the default.
constexpr size_t kMostChoices = 5;
struct TagOption {
  const wchar_t* Name;
  const wchar_t* SettingsPath;
  std::array<const wchar_t*, kMostChoices> Choices;  // null behind the last
};

constexpr TagOption kTagOptions[] = {
    {L"Tag Creation",
     L"Tagging\\WaveTagDefault",
     {L"(default - LIST & ID3)", L"LIST", L"(none)", L"ID3"}},
    {L"LIST Chunk Position",
     L"Tagging\\WaveLISTPos",
     {L"[data]  [LIST]", L"[LIST]  [optional padding]  [data]"}},
    {L"LIST Album Tag", L"Tagging\\WaveLISTAlbum", {L"IPRD", L"ISRC"}},
    {L"LIST Track Tag", L"Tagging\\WaveLISTTrack", {L"ITRK", L"TRCK", L"itrk"}},
    {L"LIST Padding Type",
     L"Tagging\\WaveLISTPadding",
     {L"'JUNK' Chunk", L"'PAD ' Chunk", L"(none)"}},
    {L"LIST Padding Size",
     L"Tagging\\WaveLISTPaddingSize",
     {L"2 KB", L"1 KB", L"4 KB", L"8 KB", L"16 KB"}},
    {L"ID3v2 Version", L"Tagging\\WaveID3v2Version", {L"v2.3", L"v2.2", L"v2.21"}},
    {L"ID3v2 Text Encoding", L"Tagging\\WaveID3v2UnicodeEncode", {L"ANSI", L"Unicode-16"}},
};

// The element at an index that the host gave; null outside.
template <typename T, size_t N>
const T* ElementAt(const std::span<const T, N> elements, int32_t index) {
  const bool inside = index >= 0 && static_cast<size_t>(index) < elements.size();
  return inside ? &elements[static_cast<size_t>(index)] : nullptr;
}

bool GetDecodes(STZuCodecGetSet& record) {
  const FileKind* kind = ElementAt(std::span(kDecodes), record.Index);
  if (kind == nullptr) return false;
  record.Text1 = kind->Extension;
  record.Text2 = kind->Name;
  return true;
}

bool GetStreamingDecodes(STZuCodecGetSet& record) {
  const auto* mime_type = ElementAt(std::span(kStreamingDecodes), record.Index);
  if (mime_type == nullptr) return false;
  record.Text1 = *mime_type;
  return true;
}

bool GetTagOption(STZuCodecGetSet& record) {
  const TagOption* option = ElementAt(std::span(kTagOptions), record.Index);
  if (option == nullptr) return false;
  const auto* choice = ElementAt(std::span(option->Choices), record.SubIndex);
  if (choice == nullptr || *choice == nullptr) return false;
  record.Text1 = option->Name;
  record.Text2 = option->SettingsPath;
  record.Text3 = *choice;
  return true;
}

template <const wchar_t* const& Text>
bool GetConstant(STZuCodecGetSet& record) {
  record.Text1 = Text;
  return true;
}

struct Query {
  std::wstring_view Key;
  bool (*Answer)(STZuCodecGetSet& record);
};

constexpr Query kQueries[] = {
    {L"Decodes", GetDecodes},
    {L"StreamingDecodes", GetStreamingDecodes},
    {L"Decoder Description", GetConstant<kDescription>},
    {L"Property Elements", GetConstant<kProperties>},
    {L"Default Property Elements", GetConstant<kDefaultProperties>},
    {L"ID Tag Options", GetTagOption},
};

}  // namespace

bool clDecoder::Get(const wchar_t* key, STZuCodecGetSet& record) {
  DebugLine(Report, "Get") << key;
  for (const Query& query : kQueries) {
    if (query.Key == key) return query.Answer(record);
  }
  return false;
}

bool clDecoder::Set(const wchar_t* key, STZuCodecGetSet& record) {
  DebugLine(Report, "Set") << key;
  const std::wstring_view name = key;
  if (name == L"IDTags") {
    const auto size = static_cast<size_t>(std::max(record.SubIndex, 0));
    return WriteIDTags(record.Text1, record.Data, size, Report);
  }
  if (name != L"Set Decode Range") return false;
  DecodeFrom = record.RangeFrom;
  DecodeTo = record.RangeTo;
  return true;
}

}  // namespace wavecodec
