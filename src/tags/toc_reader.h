// A CD's table of contents: the record of a drive, and the text that Wave files keep of it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace wavecodec {

// One entry, as a drive gives it.
struct TOCTrack {
  uint8_t Reserved;
  uint8_t Control;  // with ADR in the high half; bit value 4 is set for a data track
  uint8_t Number;   // 170 is the lead-out
  uint8_t Reserved2;
  uint8_t Address[4];  // first sector, big-endian
};

// The answer of a drive to READ TOC (MMC): the record behind the tag "_cdtoc".
struct TOC {
  uint8_t Length[2];  // 2 + 8 for each entry, big-endian
  uint8_t FirstTrack;
  uint8_t LastTrack;
  std::array<TOCTrack, 100> Tracks;
};
static_assert(sizeof(TOCTrack) == 8 && sizeof(TOC) == 804);

// Addresses are in sectors, 75 a second.
class clTOCReader {
 public:
  static constexpr uint8_t kDataTrack = 4;
  static constexpr uint8_t kLeadOut = 170;

  // Works on a copy whose first and last track are brought into range.
  explicit clTOCReader(const TOC& toc);

  [[nodiscard]] int FirstTrack() const { return Record.FirstTrack; }
  [[nodiscard]] int LastTrack() const { return Record.LastTrack; }
  [[nodiscard]] int TrackCount() const { return LastTrack() - FirstTrack() + 1; }
  [[nodiscard]] const TOCTrack& Track(int index) const;  // at an index brought into 0 to 99
  [[nodiscard]] bool IsAudioTrack(int index) const;
  [[nodiscard]] uint32_t LBAAddress(int index) const;
  [[nodiscard]] int AudioTrackCount() const;
  [[nodiscard]] bool HasAudioTracks() const { return AudioTrackCount() != 0; }
  // True when all tracks but the last are audio and the last one is data.
  [[nodiscard]] bool IsCDExtra() const;

  // Addresses as minutes, seconds and frames (sectors), and as milliseconds. The 150 sectors are
  // the two seconds before the first track.
  static uint32_t MSFtoLBA(uint32_t m, uint32_t s, uint32_t f, bool minus150);
  static void LBAtoMSF(uint32_t lba, uint32_t& m, uint32_t& s, uint32_t& f, bool plus150);
  static uint32_t LBATomSecTime(uint32_t lba);
  static uint32_t MSFTomSecTime(uint32_t m, uint32_t s, uint32_t f);
  static void MSFAddressFromLBADWORD(uint32_t lba, uint8_t (&address)[4], bool plus150);
  static uint32_t LBAAddressToDWORD(const uint8_t (&address)[4]);
  static void LBAAddressFromDWORD(uint32_t lba, uint8_t (&address)[4]);

  // The text form: upper-case hexadecimal numbers joined by "+": how many audio tracks, the address
  // of each track and of the lead-out, all 150 sectors on. A data track in front comes last, behind
  // "X". The last audio track of a CD-Extra disc is written another 150 on; the two directions are
  // no exact inverses there.
  static std::string CDExtraLBAToMicrosoftStrTOC(const TOC& toc, bool include_data);
  static void MicrosoftStrTOCToCDExtraLBA(std::string_view text, TOC& toc);

 private:
  [[nodiscard]] bool IsNumbered(const TOCTrack& track) const {
    return track.Number >= FirstTrack() && track.Number <= LastTrack();
  }
  [[nodiscard]] int CountAudioEntries() const;

  TOC Record;
};

}  // namespace wavecodec
