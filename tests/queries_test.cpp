#include <gtest/gtest.h>

#include "support.h"

namespace wavecodec::test {
namespace {

TEST(Queries, AnswerToTheLetter) {
  const CapturedReport report;
  const Instance decoder(report.Record);
  STZuCodecGetSet record{};
  // The texts of one answer, each behind a bar; "" when there is none.
  const auto get = [&](const wchar_t* key, int32_t index = 0, int32_t sub_index = 0) {
    record = {};
    record.Index = index;
    record.SubIndex = sub_index;
    std::wstring text;
    if (decoder.M.Get(decoder.Self, key, &record) != 1) return text;
    for (const wchar_t* part : {record.Text1, record.Text2, record.Text3}) {
      if (part != nullptr) text += L"|" + std::wstring(part);
    }
    return text;
  };
  std::wstring decodes;
  for (int32_t i = -1; i < 20; ++i) decodes += get(L"Decodes", i);
  for (int32_t i = 0; i < 20; ++i) decodes += get(L"StreamingDecodes", i);
  EXPECT_EQ(decodes,
            L"|.wav|Wave|.bwf|Broadcast Wave "
            L"Format|audio/wav|application/wav|audio/x-wav|application/x-wav|audio/wave"
            L"|application/wave|audio/x-wave|application/x-wave");
  const wchar_t* options[] = {
      L"Tag Creation|Tagging\\WaveTagDefault: (default - LIST & ID3), LIST, (none), ID3, ",
      (L"LIST Chunk Position|Tagging\\WaveLISTPos: "
       L"[data]  [LIST], [LIST]  [optional padding]  [data], "),
      L"LIST Album Tag|Tagging\\WaveLISTAlbum: IPRD, ISRC, ",
      L"LIST Track Tag|Tagging\\WaveLISTTrack: ITRK, TRCK, itrk, ",
      L"LIST Padding Type|Tagging\\WaveLISTPadding: 'JUNK' Chunk, 'PAD ' Chunk, (none), ",
      L"LIST Padding Size|Tagging\\WaveLISTPaddingSize: 2 KB, 1 KB, 4 KB, 8 KB, 16 KB, ",
      L"ID3v2 Version|Tagging\\WaveID3v2Version: v2.3, v2.2, v2.21, ",
      L"ID3v2 Text Encoding|Tagging\\WaveID3v2UnicodeEncode: ANSI, Unicode-16, ",
      L""};
  for (int32_t i = 0; const std::wstring option : options) {
    std::wstring found;
    for (int32_t choice = 0; !get(L"ID Tag Options", i, choice).empty(); ++choice) {
      if (choice == 0) found = record.Text1 + std::wstring(L"|") + record.Text2 + L": ";
      found += record.Text3 + std::wstring(L", ");
    }
    EXPECT_EQ(found, option);
    ++i;
  }
  EXPECT_EQ(get(L"Decoder Description"), L"|Wave Decoder");
  EXPECT_EQ(get(L"Property Elements"),
            L"|Audio Quality\rChannel Mapping\rEncoder Settings\rWave Header\rRiff Chunks\r"
            L"Sample Count\rGapless\rID Tag\rContains");
  EXPECT_EQ(get(L"Default Property Elements"), L"|Audio Quality\rEncoder Settings\rContains");
  EXPECT_EQ(get(L"Decodes", INT32_MAX) + get(L"decodes"), L"");
  EXPECT_EQ(record.Text1, nullptr);
  EXPECT_EQ(decoder.M.Set(decoder.Self, L"unknown", &record), 0U);
  EXPECT_NE(report.Debug().find("Decoder Description  [Get]\r\n"), std::string::npos);
  EXPECT_TRUE(report.Debug().ends_with("unknown  [Set]\r\n"));
}

}  // namespace
}  // namespace wavecodec::test
