// The table of contents of a CD: the text that Wave files keep, and the record of a drive.
#include <algorithm>
#include <cstring>

#include "fuzz_target.h"
#include "tags/toc_reader.h"

namespace wavecodec::fuzz {

std::vector<Seed> Seeds() {
  std::string record("r\0\42\1\3", 5);
  for (const char track : std::string_view("\1\2\3\xAA")) {
    record += std::string(2, '\0') + track + std::string(3, '\0') + track + '\7';
  }
  return {{"audio", "t3+96+3B2E+75C6+B05E"},
          {"data track first", "t3+96+3B2E+75C6+B05E+X96"},
          {"many", "tC+96+2E3B+5B9F+8C36+B4F1+E08D+10C3B+13E65+16C47+19B59+1C7C5+1F1A8+22F9E"},
          {"record", record}};
}

namespace {

void ReadText(std::string_view text) {
  TOC toc{};
  clTOCReader::MicrosoftStrTOCToCDExtraLBA(text, toc);
  const std::string once = clTOCReader::CDExtraLBAToMicrosoftStrTOC(toc, true);
  const clTOCReader reader(toc);
  // The two are exact inverses of a disc whose tracks are all audio, but for one in front.
  const auto addresses = std::count(once.begin(), once.end(), '+') - (once.find('X') < once.size());
  if (reader.IsCDExtra() || addresses != reader.AudioTrackCount() + 1 || addresses > 99) return;
  TOC back{};
  clTOCReader::MicrosoftStrTOCToCDExtraLBA(once, back);
  Check(clTOCReader::CDExtraLBAToMicrosoftStrTOC(back, true) == once, once);
}

void ReadRecord(std::string_view bytes) {
  TOC toc{};
  memcpy(&toc, bytes.data(), std::min(bytes.size(), sizeof toc));
  const clTOCReader reader(toc);
  Check(reader.AudioTrackCount() <= 100 && reader.FirstTrack() >= 0);
  uint32_t sum = 0;
  for (int i = -1; i <= 100; ++i) sum += reader.LBAAddress(i) + (reader.IsAudioTrack(i) ? 1 : 0);
  uint32_t m = 0;
  uint32_t s = 0;
  uint32_t f = 0;
  clTOCReader::LBAtoMSF(sum, m, s, f, false);
  Check(clTOCReader::MSFtoLBA(m, s, f, false) == sum);
  for (const bool data : {false, true}) {
    const std::string text = clTOCReader::CDExtraLBAToMicrosoftStrTOC(toc, data);
    Check(text.find_first_not_of("0123456789ABCDEF+X") == std::string::npos, text);
    ReadText(text);
  }
}

}  // namespace
}  // namespace wavecodec::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wavecodec::fuzz;
  std::string_view input = Text(data, size);
  TakeByte(input) == 'r' ? ReadRecord(input) : ReadText(input);
  return 0;
}
