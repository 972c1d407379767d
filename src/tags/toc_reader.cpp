#include "tags/toc_reader.h"

#include <algorithm>
#include <cstdio>

#include "support/byte_order.h"
#include "support/names.h"
#include "support/text_scan.h"

namespace wavecodec {
namespace {

constexpr uint32_t kLeadIn = 150;  // sectors before the first track
constexpr uint32_t kCDExtraGap =
    150;  // between what is written and what is meant on a CD-Extra disc
constexpr uint32_t kSectorsASecond = 75;
constexpr uint32_t kSectorsAMinute = 60 * kSectorsASecond;
constexpr uint8_t kMostTracks = 99;
constexpr uint8_t kEntrySize = sizeof(TOCTrack);

bool IsAudio(const TOCTrack& track) { return (track.Control & clTOCReader::kDataTrack) == 0; }

std::string Hex(uint32_t value) {
  char text[9];
  const int length = std::snprintf(text, sizeof text, "%X", static_cast<unsigned>(value));
  return {text, static_cast<size_t>(length)};
}

// Takes the item at the front of a list off it.
std::string_view TakeItem(std::string_view& list) {
  const size_t end = std::min(list.find('+'), list.size());
  const std::string_view item = list.substr(0, end);
  list.remove_prefix(std::min(end + 1, list.size()));
  return item;
}

}  // namespace

clTOCReader::clTOCReader(const TOC& toc) : Record(toc) {
  Record.LastTrack = std::min(Record.LastTrack, kMostTracks);
  Record.FirstTrack = std::min({Record.FirstTrack, kMostTracks, Record.LastTrack});
}

const TOCTrack& clTOCReader::Track(int index) const {
  return Record.Tracks[static_cast<size_t>(std::clamp(index, 0, 99))];
}

bool clTOCReader::IsAudioTrack(int index) const { return IsAudio(Track(index)); }

uint32_t clTOCReader::LBAAddress(int index) const {
  return LBAAddressToDWORD(Track(index).Address);
}

int clTOCReader::CountAudioEntries() const {
  int count = 0;
  for (const TOCTrack& track : Record.Tracks) {
    if (IsNumbered(track) && IsAudio(track)) ++count;
    if (track.Number == LastTrack()) break;
  }
  return count;
}

int clTOCReader::AudioTrackCount() const { return LastTrack() == 0 ? 0 : CountAudioEntries(); }

bool clTOCReader::IsCDExtra() const {
  if (TrackCount() < 2) return false;
  for (const TOCTrack& track : Record.Tracks) {
    if (track.Number == LastTrack()) return !IsAudio(track);
    if (IsNumbered(track) && !IsAudio(track)) return false;
  }
  return false;
}

uint32_t clTOCReader::MSFtoLBA(uint32_t m, uint32_t s, uint32_t f, bool minus150) {
  const uint32_t sectors = (m * 60 + s) * kSectorsASecond + f;
  if (!minus150) return sectors;
  return sectors > kLeadIn ? sectors - kLeadIn : 0;
}

void clTOCReader::LBAtoMSF(uint32_t lba, uint32_t& m, uint32_t& s, uint32_t& f, bool plus150) {
  if (plus150) lba += kLeadIn;
  m = lba / kSectorsAMinute;
  s = lba % kSectorsAMinute / kSectorsASecond;
  f = lba % kSectorsASecond;
}

uint32_t clTOCReader::LBATomSecTime(uint32_t lba) {
  return static_cast<uint32_t>(uint64_t{lba} * 1000 / kSectorsASecond);
}

uint32_t clTOCReader::MSFTomSecTime(uint32_t m, uint32_t s, uint32_t f) {
  return (m * 60 + s) * 1000 + f * 1000 / kSectorsASecond;
}

void clTOCReader::MSFAddressFromLBADWORD(uint32_t lba, uint8_t (&address)[4], bool plus150) {
  uint32_t m = 0;
  uint32_t s = 0;
  uint32_t f = 0;
  LBAtoMSF(lba, m, s, f, plus150);
  address[0] = 0;
  address[1] = static_cast<uint8_t>(m);
  address[2] = static_cast<uint8_t>(s);
  address[3] = static_cast<uint8_t>(f);
}

uint32_t clTOCReader::LBAAddressToDWORD(const uint8_t (&address)[4]) { return ReadU32BE(address); }

void clTOCReader::LBAAddressFromDWORD(uint32_t lba, uint8_t (&address)[4]) {
  WriteU32BE(address, lba);
}

std::string clTOCReader::CDExtraLBAToMicrosoftStrTOC(const TOC& toc, bool include_data) {
  const clTOCReader reader(toc);
  const bool cd_extra = reader.IsCDExtra();
  std::string text = Hex(static_cast<uint32_t>(reader.CountAudioEntries()));
  std::string tail;
  for (int i = 0; i < kMostTracks; ++i) {
    const int number = reader.Track(i).Number;
    uint32_t address = reader.LBAAddress(i) + kLeadIn;
    if (number == reader.FirstTrack() && !reader.IsAudioTrack(i)) {
      if (include_data) tail += "+X" + Hex(address);
      continue;
    }
    if (!include_data && cd_extra && number == reader.LastTrack()) break;
    if (cd_extra && number == reader.LastTrack() - 1) address += kCDExtraGap;
    text += "+" + Hex(address);
    if (number == reader.LastTrack()) {
      text += "+" + Hex(reader.LBAAddress(i + 1) + kLeadIn);
      break;
    }
  }
  return text + tail;
}

void clTOCReader::MicrosoftStrTOCToCDExtraLBA(std::string_view text, TOC& toc) {
  toc = {};
  if (text.ends_with('+')) text.remove_suffix(1);
  const uint32_t audio_tracks = LeadingHex32(TakeItem(text));
  size_t entry = 0;
  const auto place = [&](uint8_t control, size_t number, uint32_t lba) {
    TOCTrack& track = toc.Tracks[entry++];
    track.Control = control;
    track.Number = static_cast<uint8_t>(number);
    LBAAddressFromDWORD(lba, track.Address);
  };
  const size_t last_item = text.rfind('+') + 1;  // 0 when there is one only
  if (last_item < text.size() && ToLowerASCII(text[last_item]) == 'x') {
    place(kDataTrack, 1, LeadingHex32(text.substr(last_item + 1)) - kLeadIn);
    toc.LastTrack = 1;
    text = text.substr(0, last_item == 0 ? 0 : last_item - 1);
  }
  for (size_t i = 0; !text.empty() && entry < toc.Tracks.size(); ++i) {
    const uint32_t address = LeadingHex32(TakeItem(text));
    const bool last = text.empty();
    const bool audio = last || i < audio_tracks;
    const uint32_t lba = audio ? address - kLeadIn : address - kLeadIn - kCDExtraGap;
    place(audio ? 0 : kDataTrack, last ? kLeadOut : entry + 1, lba);
    if (!last) ++toc.LastTrack;
    toc.FirstTrack = 1;
  }
  const size_t length = 2 + kEntrySize * entry;
  toc.Length[0] = static_cast<uint8_t>(length >> 8);
  toc.Length[1] = static_cast<uint8_t>(length);
}

}  // namespace wavecodec
