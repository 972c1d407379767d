#include <gtest/gtest.h>

#include "support.h"

namespace wavecodec::test {
namespace {

// All answers of an enumerated key, one a line.
std::string Enumerate(const wchar_t* key, int32_t sub_index = 0) {
  const Instance decoder;
  std::wstring text;
  STZuCodecGetSet record{};
  record.SubIndex = sub_index;
  for (; decoder.M.Get(decoder.Self, key, &record) == 1; ++record.Index) {
    for (const wchar_t* part : {record.Text1, record.Text2, record.Text3}) {
      if (part != nullptr) text += std::wstring(part) + L"|";
    }
    text += L"\n";
  }
  return {text.begin(), text.end()};
}

TEST(Queries, AnswerToTheLetter) {
  EXPECT_EQ(Enumerate(L"Decodes"), ".wav|Wave|\n.bwf|Broadcast Wave Format|\n");
  EXPECT_EQ(Enumerate(L"StreamingDecodes"),
            "audio/wav|\napplication/wav|\naudio/x-wav|\napplication/x-wav|\naudio/wave|\n"
            "application/wave|\naudio/x-wave|\napplication/x-wave|\n");
  EXPECT_EQ(Enumerate(L"ID Tag Options"),
            "Tag Creation|Tagging\\WaveTagDefault|(default - LIST & ID3)|\n"
            "LIST Chunk Position|Tagging\\WaveLISTPos|[data]  [LIST]|\n"
            "LIST Album Tag|Tagging\\WaveLISTAlbum|IPRD|\n"
            "LIST Track Tag|Tagging\\WaveLISTTrack|ITRK|\n"
            "LIST Padding Type|Tagging\\WaveLISTPadding|'JUNK' Chunk|\n"
            "LIST Padding Size|Tagging\\WaveLISTPaddingSize|2 KB|\n"
            "ID3v2 Version|Tagging\\WaveID3v2Version|v2.3|\n"
            "ID3v2 Text Encoding|Tagging\\WaveID3v2UnicodeEncode|ANSI|\n");
  EXPECT_EQ(Enumerate(L"decodes"), "");
  EXPECT_EQ(Enumerate(L"IDTags"), "");
}

TEST(Queries, ChoicesOfEachOption) {
  const Instance decoder;
  const std::wstring expected[] = {
      L"(default - LIST & ID3)|LIST|(none)|ID3|",
      L"[data]  [LIST]|[LIST]  [optional padding]  [data]|",
      L"IPRD|ISRC|",
      L"ITRK|TRCK|itrk|",
      L"'JUNK' Chunk|'PAD ' Chunk|(none)|",
      L"2 KB|1 KB|4 KB|8 KB|16 KB|",
      L"v2.3|v2.2|v2.21|",
      L"ANSI|Unicode-16|",
  };
  STZuCodecGetSet record{};
  for (const std::wstring& choices : expected) {
    std::wstring found;
    for (record.SubIndex = 0; decoder.M.Get(decoder.Self, L"ID Tag Options", &record) == 1;
         ++record.SubIndex) {
      found += std::wstring(record.Text3) + L"|";
    }
    EXPECT_EQ(found, choices);
    ++record.Index;
  }
}

TEST(Queries, ConstantsAndRefusals) {
  CapturedReport report;
  const Instance decoder(report.Record);
  STZuCodecGetSet record{};
  const auto get = [&](const wchar_t* key) {
    return decoder.M.Get(decoder.Self, key, &record) == 1 ? std::wstring(record.Text1) : L"(none)";
  };
  EXPECT_EQ(get(L"Decoder Description"), L"Wave Decoder");
  EXPECT_EQ(get(L"Property Elements"),
            L"Audio Quality\rChannel Mapping\rEncoder Settings\rWave Header\rRiff Chunks\r"
            L"Sample Count\rGapless\rID Tag\rContains");
  EXPECT_EQ(get(L"Default Property Elements"), L"Audio Quality\rEncoder Settings\rContains");
  record = {};
  for (const int32_t outside : {-1, 2, 8, INT32_MAX, INT32_MIN}) {
    record.Index = outside;
    EXPECT_EQ(get(L"Decodes"), L"(none)");
  }
  record.Index = 8;
  EXPECT_EQ(get(L"StreamingDecodes"), L"(none)");
  EXPECT_EQ(record.Text1, nullptr);
  EXPECT_EQ(decoder.M.Set(decoder.Self, L"unknown", &record), 0U);
  EXPECT_NE(report.Debug().find("Decoder Description  [Get]\r\n"), std::string::npos);
  EXPECT_TRUE(report.Debug().ends_with("unknown  [Set]\r\n"));
}

}  // namespace
}  // namespace wavecodec::test
