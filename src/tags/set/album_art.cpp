// Names of pictures, and track values.
#include <algorithm>
#include <array>
#include <limits>
#include <string>

#include "support/text_scan.h"
#include "tags/set/tag_set.h"

namespace wavecodec {
namespace {

constexpr std::wstring_view kSubDescription = L"<subdesc>";
constexpr unsigned kFrontCover = 3;

// By APIC picture type (ID3v2.3, 4.15). Types 0 and 17 have no name here.
constexpr std::array<std::wstring_view, 21> kPictureKinds = {L"",
                                                             L"32x32 Icon",
                                                             L"Other Icon",
                                                             L"Front Album Cover",
                                                             L"Back Album Cover",
                                                             L"Leaflet Page",
                                                             L"Media",
                                                             L"Lead Artist",
                                                             L"Artist",
                                                             L"Conductor",
                                                             L"Band",
                                                             L"Composer",
                                                             L"Writer",
                                                             L"Recording Location",
                                                             L"During Recording",
                                                             L"During Performance",
                                                             L"Video Capture",
                                                             L"",
                                                             L"Illustration",
                                                             L"Artist Logo",
                                                             L"Publisher Logo"};

// An integer at the front of a text; a number that is too large stays at the limit.
int LeadingInt(std::wstring_view text) {
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(
      std::clamp<int64_t>(LeadingInt64(ToUtf8(text)), Limits::min() + 1, Limits::max()));
}

XStr TwoDigits(int number) {
  const XStr digits = std::to_wstring(number);
  return number >= 0 && number < 10 ? L"0" + digits : digits;
}

}  // namespace

XStr AlbumArtAPICPicTypeToElementDescription(unsigned type) {
  if (type >= kPictureKinds.size() || kPictureKinds[type].empty()) return {};
  return L"_" + XStr(kPictureKinds[type]);
}

unsigned AlbumArtDescriptionToAPICPicType(std::wstring_view description) {
  for (unsigned type = 1; type < kPictureKinds.size(); ++type) {
    if (!description.empty() && EqualNoCase(description, kPictureKinds[type])) return type;
  }
  return kFrontCover;
}

void SpiltAlbumArtDesctiptionLine(std::wstring_view name, XStr& description,
                                  XStr& sub_description) {
  description.clear();
  sub_description.clear();
  const size_t bar = name.find(L'_', tag_name::kAlbumArt.size() + 1);  // the index has a character
  if (bar == std::wstring_view::npos) return;
  name.remove_prefix(bar + 1);
  const size_t mark = name.find(kSubDescription);
  if (mark != std::wstring_view::npos) sub_description = name.substr(mark + kSubDescription.size());
  description = name.substr(0, mark);
}

std::optional<NTag::Entry> NTag::GetAlbumArt(int index, XStr& description,
                                             XStr& sub_description) const {
  const std::string prefix = std::string(tag_name::kAlbumArt) + std::to_string(index);
  for (size_t i = 0; i < Count(); ++i) {
    const Entry entry = At(i);
    if (!StartsWithName(entry.Name, prefix)) continue;
    SpiltAlbumArtDesctiptionLine(FromUtf8(entry.Name), description, sub_description);
    return entry;
  }
  return std::nullopt;
}

void SplitTrackNumANDCount(std::wstring_view text, int& number, int& count) {
  const size_t slash = text.find(L'/');
  number = LeadingInt(text);
  count = slash == std::wstring_view::npos ? 0 : LeadingInt(text.substr(slash + 1));
}

void SplitTrackNumANDCountStr(std::wstring_view text, XStr& number, XStr& count) {
  const size_t slash = text.find(L'/');
  number = text.substr(0, slash);
  count.clear();
  if (slash != std::wstring_view::npos) {
    count = FromUtf8(Trimmed(ToWholeUtf8(text.substr(slash + 1))));
  }
}

XStr NTag::PaddedTrackNum(std::wstring_view name) const {
  int number = 0;
  int count = 0;
  SplitTrackNumANDCount(GetTagValue(name), number, count);
  if (number == 0) return {};
  return count == 0 ? TwoDigits(number) : TwoDigits(number) + L"/" + TwoDigits(count);
}

}  // namespace wavecodec
