// The user's choices about tags, in the settings store.
#pragma once

#include <cstdint>

namespace wavecodec {

// Value names, all under one key of the current user. A choice is stored as its number; 0, the
// default, when it was never made.
namespace tag_option {
inline constexpr wchar_t kCreation[] = L"WaveTagDefault";
inline constexpr wchar_t kListPosition[] = L"WaveLISTPos";
inline constexpr wchar_t kListAlbum[] = L"WaveLISTAlbum";
inline constexpr wchar_t kListTrack[] = L"WaveLISTTrack";
inline constexpr wchar_t kListPadding[] = L"WaveLISTPadding";
inline constexpr wchar_t kListPaddingSize[] = L"WaveLISTPaddingSize";
inline constexpr wchar_t kID3v2Version[] = L"WaveID3v2Version";
inline constexpr wchar_t kID3v2Unicode[] = L"WaveID3v2UnicodeEncode";
}  // namespace tag_option

uint32_t TagOption(const wchar_t* name);

// All of them, as they are at one moment.
struct WaveTagOptions {
  uint32_t Creation = 0;  // of a file without tags: 0 `LIST` and ID3, 1 `LIST`, 3 ID3, else none
  uint32_t ListPosition = 0;  // of a new `LIST` chunk: 0 behind the last chunk, else before `data`
  uint32_t ListAlbum = 0;
  uint32_t ListTrack = 0;
  uint32_t ListPadding = 0;  // a RIFFPadding
  uint32_t ListPaddingSize = 0;
  uint32_t ID3v2Version = 0;
  uint32_t ID3v2Unicode = 0;

  static WaveTagOptions Present();
  [[nodiscard]] bool CreatesList() const { return Creation == 0 || Creation == 1; }
  [[nodiscard]] bool CreatesID3() const { return Creation == 0 || Creation == 3; }
  // Bytes of padding behind a `LIST` chunk; 0 for none. That is what the default stands for, though
  // its name promises 2 KB to the user.
  [[nodiscard]] uint32_t PaddingBytes() const;
};

}  // namespace wavecodec
