#include "tags/toc_reader.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <vector>

#include "support/byte_order.h"
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

XStr Hex(uint32_t value) {
  wchar_t text[9];
  const int length = std::swprintf(text, std::size(text), L"%X", static_cast<unsigned>(value));
  return {text, static_cast<size_t>(length)};
}

std::vector<std::wstring_view> Split(std::wstring_view text) {
  std::vector<std::wstring_view> items;
  while (!text.empty()) {
    const size_t end = std::min(text.find(L'+'), text.size());
    items.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return items;
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

XStr clTOCReader::CDExtraLBAToMicrosoftStrTOC(const TOC& toc, bool include_data) {
  const clTOCReader reader(toc);
  const bool cd_extra = reader.IsCDExtra();
  XStr text = Hex(static_cast<uint32_t>(reader.CountAudioEntries()));
  XStr tail;
  for (int i = 0; i < kMostTracks; ++i) {
    const int number = reader.Track(i).Number;
    uint32_t address = reader.LBAAddress(i) + kLeadIn;
    if (number == reader.FirstTrack() && !reader.IsAudioTrack(i)) {
      if (include_data) tail += L"+X" + Hex(address);
      continue;
    }
    if (!include_data && cd_extra && number == reader.LastTrack()) break;
    if (cd_extra && number == reader.LastTrack() - 1) address += kCDExtraGap;
    text += L"+" + Hex(address);
    if (number == reader.LastTrack()) {
      text += L"+" + Hex(reader.LBAAddress(i + 1) + kLeadIn);
      break;
    }
  }
  return text + tail;
}

void clTOCReader::MicrosoftStrTOCToCDExtraLBA(std::wstring_view text, TOC& toc) {
  toc = {};
  std::vector<std::wstring_view> items = Split(text);
  uint32_t audio_tracks = 0;
  if (!items.empty()) {
    audio_tracks = LeadingHex32(items.front());
    items.erase(items.begin());
  }
  size_t entry = 0;
  const auto place = [&](uint8_t control, size_t number, uint32_t lba) {
    TOCTrack& track = toc.Tracks[entry++];
    track.Control = control;
    track.Number = static_cast<uint8_t>(number);
    LBAAddressFromDWORD(lba, track.Address);
  };
  if (!items.empty() && !items.back().empty() && FoldCase(items.back().front()) == L'x') {
    place(kDataTrack, 1, LeadingHex32(items.back().substr(1)) - kLeadIn);
    toc.LastTrack = 1;
    items.pop_back();
  }
  for (size_t i = 0; i < items.size() && entry < toc.Tracks.size(); ++i) {
    const uint32_t address = LeadingHex32(items[i]);
    const bool last = i + 1 == items.size();
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
