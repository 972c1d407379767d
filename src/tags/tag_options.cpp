#include "tags/tag_options.h"

#include <array>

#include "support/xregistry.h"
#include "support/xregistry_transaction.h"

namespace wavecodec {
namespace {

constexpr wchar_t kMainKey[] = L"HKCU";
constexpr wchar_t kPath[] = L"Software\\Mardel\\Tonvark\\Tagging";

}  // namespace

uint32_t TagOption(const wchar_t* name) { return XRegistry::GetDWORD(name, kMainKey, kPath); }

WaveTagOptions WaveTagOptions::Present() {
  XRegistryTransaction store;  // its gets see one state of the store
  const auto get = [&](const wchar_t* name) { return store.GetDWORD(name, kMainKey, kPath); };
  WaveTagOptions options;
  options.Creation = get(tag_option::kCreation);
  options.ListPosition = get(tag_option::kListPosition);
  options.ListAlbum = get(tag_option::kListAlbum);
  options.ListTrack = get(tag_option::kListTrack);
  options.ListPadding = get(tag_option::kListPadding);
  options.ListPaddingSize = get(tag_option::kListPaddingSize);
  options.ID3v2Version = get(tag_option::kID3v2Version);
  options.ID3v2Unicode = get(tag_option::kID3v2Unicode);
  return options;
}

uint32_t WaveTagOptions::PaddingBytes() const {
  constexpr std::array<uint32_t, 5> kBytes = {0, 1024, 4096, 8192, 16384};
  return ListPaddingSize < kBytes.size() ? kBytes[ListPaddingSize] : 0;
}

}  // namespace wavecodec
