// The user's choices about tags, in the settings store.
#pragma once

#include <cstdint>

namespace wavecodec {

// Value names, all under one key of the current user. A choice is stored as its number; 0, the
// default, when it was never made.
namespace tag_option {
inline constexpr wchar_t kListAlbum[] = L"WaveLISTAlbum";
}  // namespace tag_option

uint32_t TagOption(const wchar_t* name);

}  // namespace wavecodec
