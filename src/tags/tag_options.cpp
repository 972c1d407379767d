#include "tags/tag_options.h"

#include <array>

#include "support/xregistry.h"

namespace wavecodec {
namespace {

constexpr wchar_t kMainKey[] = L"HKCU";
constexpr wchar_t kPath[] = L"Software\\Mardel\\Tonvark\\Tagging";

}  // namespace

uint32_t TagOption(const wchar_t* name) { return XRegistry::GetDWORD(name, kMainKey, kPath); }

WaveTagOptions WaveTagOptions::Present() {
  constexpr std::array<const wchar_t*, 8> kNames = {
      tag_option::kCreation,     tag_option::kListPosition, tag_option::kListAlbum,
      tag_option::kListTrack,    tag_option::kListPadding,  tag_option::kListPaddingSize,
      tag_option::kID3v2Version, tag_option::kID3v2Unicode};
  std::array<uint32_t, kNames.size()> chosen{};
  XRegistry::GetDWORDs(kNames, chosen, kMainKey, kPath);
  const auto [creation, position, album, track, padding, padding_size, version, unicode] = chosen;
  return {creation, position, album, track, padding, padding_size, version, unicode};
}

uint32_t WaveTagOptions::PaddingBytes() const {
  constexpr std::array<uint32_t, 5> kBytes = {0, 1024, 4096, 8192, 16384};
  return ListPaddingSize < kBytes.size() ? kBytes[ListPaddingSize] : 0;
}

}  // namespace wavecodec
