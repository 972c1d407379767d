#include <gtest/gtest.h>

#include "support.h"

namespace wavecodec::test {
namespace {

TEST(Queries, AnswerToTheLetter) {
  CapturedReport report;
  const Instance decoder(report.Record);
  // All answers of a key, counting up Index until there is none: one a line, its texts between
  // bars.
  const auto answers = [&](const wchar_t* key, int32_t sub_index = 0) {
    std::wstring text;
    STZuCodecGetSet record{};
    record.SubIndex = sub_index;
    for (; record.Index < 20 && decoder.M.Get(decoder.Self, key, &record) == 1; ++record.Index) {
      for (const wchar_t* part : {record.Text1, record.Text2, record.Text3}) {
        if (part != nullptr) text += std::wstring(part) + L"|";
      }
      text += L"\n";
    }
    return text;
  };
  EXPECT_EQ(answers(L"Decodes"), L".wav|Wave|\n.bwf|Broadcast Wave Format|\n");
  EXPECT_EQ(answers(L"StreamingDecodes"),
            L"audio/wav|\napplication/wav|\naudio/x-wav|\napplication/x-wav|\naudio/wave|\n"
            L"application/wave|\naudio/x-wave|\napplication/x-wave|\n");
  EXPECT_EQ(answers(L"ID Tag Options", 1),
            L"Tag Creation|Tagging\\WaveTagDefault|LIST|\n"
            L"LIST Chunk Position|Tagging\\WaveLISTPos|[LIST]  [optional padding]  [data]|\n"
            L"LIST Album Tag|Tagging\\WaveLISTAlbum|ISRC|\n"
            L"LIST Track Tag|Tagging\\WaveLISTTrack|TRCK|\n"
            L"LIST Padding Type|Tagging\\WaveLISTPadding|'PAD ' Chunk|\n"
            L"LIST Padding Size|Tagging\\WaveLISTPaddingSize|1 KB|\n"
            L"ID3v2 Version|Tagging\\WaveID3v2Version|v2.2|\n"
            L"ID3v2 Text Encoding|Tagging\\WaveID3v2UnicodeEncode|Unicode-16|\n");
  const wchar_t* choices[] = {L"(default - LIST & ID3)|LIST|(none)|ID3|",
                              L"[data]  [LIST]|[LIST]  [optional padding]  [data]|",
                              L"IPRD|ISRC|",
                              L"ITRK|TRCK|itrk|",
                              L"'JUNK' Chunk|'PAD ' Chunk|(none)|",
                              L"2 KB|1 KB|4 KB|8 KB|16 KB|",
                              L"v2.3|v2.2|v2.21|",
                              L"ANSI|Unicode-16|"};
  STZuCodecGetSet record{};
  for (const wchar_t* expected : choices) {
    std::wstring found;
    for (record.SubIndex = 0; decoder.M.Get(decoder.Self, L"ID Tag Options", &record) == 1;
         ++record.SubIndex) {
      found += std::wstring(record.Text3) + L"|";
    }
    EXPECT_EQ(found, expected);
    ++record.Index;
  }
  const auto get = [&](const wchar_t* key, int32_t index = 0) {
    record = {};
    record.Index = index;
    const bool answered = decoder.M.Get(decoder.Self, key, &record) == 1;
    return std::wstring(answered ? record.Text1 : L"(none)");
  };
  EXPECT_EQ(get(L"Decoder Description"), L"Wave Decoder");
  EXPECT_EQ(get(L"Property Elements"),
            L"Audio Quality\rChannel Mapping\rEncoder Settings\rWave Header\rRiff Chunks\r"
            L"Sample Count\rGapless\rID Tag\rContains");
  EXPECT_EQ(get(L"Default Property Elements"), L"Audio Quality\rEncoder Settings\rContains");
  for (const int32_t outside : {-1, 2, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(get(L"Decodes", outside), L"(none)");
  }
  EXPECT_EQ(get(L"decodes"), L"(none)");
  EXPECT_EQ(record.Text1, nullptr);
  EXPECT_EQ(decoder.M.Set(decoder.Self, L"unknown", &record), 0U);
  EXPECT_NE(report.Debug().find("Decoder Description  [Get]\r\n"), std::string::npos);
  EXPECT_TRUE(report.Debug().ends_with("unknown  [Set]\r\n"));
}

}  // namespace
}  // namespace wavecodec::test
