#include "tags/set/tag_set.h"

#include <gtest/gtest.h>

#include "wave_builder.h"

namespace wavecodec {
namespace {

using test::LE;

constexpr uint8_t kThreeBytes[] = {1, 2, 3};

NTag Set(std::initializer_list<std::pair<const wchar_t*, const wchar_t*>> entries) {
  NTag tags;
  for (const auto& [name, value] : entries) tags.AddTag(name, value);
  return tags;
}

// "name=value" of every entry, with "#" and the bytes of a payload.
XStr Text(const NTag& tags) {
  XStr text;
  for (size_t i = 0; i < tags.Count(); ++i) {
    const STInternalTag tag = tags[i];
    text += tag.Name + L"=" + tag.Value;
    if (!tag.Data.IsEmpty()) text += L"#" + std::to_wstring(tag.Data.Size());
    text += L";";
  }
  return text;
}

std::string Block(const NTag& tags) {
  XMem block;
  EXPECT_TRUE(tags.ToRawMemory(block));
  return {reinterpret_cast<const char*>(block.Data()), block.Size()};
}

TEST(TagSet, NamesAreFoundWithoutRegardToCase) {
  NTag tags = Set({{L"Artist", L"A"}, {L"ARTIST", L"B"}, {L"Title", L"T"}});
  EXPECT_EQ(tags.GetTagValue(L"artist"), L"A");
  tags.SetTagValue(L"aRTIST", L"C");
  tags.SetTagValue(L"New", L"N");
  EXPECT_EQ(Text(tags), L"Artist=C;ARTIST=B;Title=T;New=N;");
  EXPECT_EQ(tags.FindElementRemove(L"artist"), L"C");
  EXPECT_EQ(tags.FindElementRemove(L"artist"), L"");
  EXPECT_FALSE(tags.RemoveTag(L"artist"));
  tags.RemoveTag(size_t{0});
  EXPECT_EQ(Text(tags), L"New=N;");
  tags = static_cast<const NTag&>(tags);
  EXPECT_TRUE(tags.RemoveTag(tags.At(0).Name));
  EXPECT_EQ(Text(tags), L"");
}

// Wide texts come back as they were given; what is no UTF-8 is repaired; a zero ends a text.
TEST(TagSet, KeepsCharacters) {
  const XStr odd = {L'\u00E4', L'\U0001F600', 0xD83D, 0xDE00, L'z'};
  NTag tags;
  tags.AddTag(odd, odd + L'\0' + L"hidden");
  tags.AddTag(STInternalTag{L"S", odd, {}});
  tags.AddTag("n", "a\xFFz");
  EXPECT_EQ(Text(tags), odd + L"=" + odd + L";S=" + odd + L";n=a\uFFFDz;");
}

TEST(TagSet, MergingTakesOneEntryOfEachName) {
  const NTag genres = Set({{L"Genre", L"Rock"}, {L"GENRE", L"Pop"}});
  EXPECT_EQ(Text(NTag(genres)), L"Genre=Rock;");
  NTag last;
  last.MergeFrom(genres, true);
  EXPECT_EQ(Text(last), L"GENRE=Pop;");
  NTag kept = Set({{L"genre", L"Jazz"}, {L"Title", L"T"}});
  kept.MergeFrom(Set({{L"Genre", L"Rock"}, {L"Year", L"1999"}}), false);
  EXPECT_EQ(Text(kept), L"genre=Jazz;Title=T;Year=1999;");
}

// With many entries names are found by an index, which removals and replacements must not confuse.
TEST(TagSet, ManyEntriesAreFoundLikeFew) {
  NTag tags;
  for (int i = 0; i < 5000; ++i) tags.AddTag("Name " + std::to_string(i % 2500), std::to_string(i));
  EXPECT_EQ(tags.GetTagValue(L"NAME 2499"), L"2499");
  EXPECT_TRUE(tags.RemoveTag(L"name 7"));
  tags.AddTag(L"Name 7", L"again");
  tags.SetTagValue(L"name 8", L"eight");
  EXPECT_EQ(tags.GetTagValue(L"Name 7"), L"again");
  EXPECT_EQ(tags.GetTagValue(L"Name 8"), L"eight");
  EXPECT_EQ(tags.GetTagValue(L"Name 2500"), L"");
  EXPECT_EQ(NTag(tags).Count(), 2500U);
}

TEST(TagSet, TheBlockHasItsForm) {
  EXPECT_EQ(Block({}), std::string(4, '\0'));
  NTag tags = Set({{L"A", L""}});
  EXPECT_EQ(Block(tags), LE(1, 4) + LE(10, 4) + LE('A', 2) + LE(0, 2) + LE(0, 2));
  tags = Set({{L"B", L"\U0001F600x"}});
  tags.AddTag("_c", kThreeBytes);
  EXPECT_EQ(Block(tags), LE(2, 4) + LE(14, 4) + LE('B', 2) + LE(0, 2) + LE(0xF600, 2) + LE('x', 2) +
                             LE(0, 2) +  //
                             LE(15, 4) + LE('_', 2) + LE('c', 2) + LE(0, 2) + LE(0, 2) + "\1\2\3");
  const std::string block = Block(tags);
  tags.InitFromRawMemory(block.data(), block.size());
  EXPECT_EQ(Text(tags), L"B=\uF600x;_c=#3;");
  EXPECT_EQ(Block(tags), block);

  XMem utf8;
  ASSERT_TRUE(tags.ToRawMemoryUTF8(utf8));
  EXPECT_EQ(utf8.Size(), 4 + tags.GetRawTagItemSizeUTF8(0) + tags.GetRawTagItemSizeUTF8(1));
  NTag again;
  again.InitFromRawMemoryUTF8(utf8.Data(), utf8.Size());
  EXPECT_EQ(Text(again), Text(tags));
}

TEST(TagSet, ADamagedBlockGivesTheEntriesBeforeTheDamage) {
  const std::string one = LE(10, 4) + LE('A', 2) + LE(0, 2) + LE(0, 2);
  const struct {
    std::string block;
    const wchar_t* expected;
  } cases[] = {
      {"", L""},
      {LE(1, 3), L""},
      {LE(9, 4), L""},
      {LE(0xFFFFFFFF, 4) + one, L"A=;"},
      {LE(2, 4) + one + LE(11, 4) + LE('B', 2) + LE(0, 2) + LE(0, 2), L"A=;"},
      {LE(2, 4) + one + LE(0x80000000, 4) + one, L"A=;"},
      {LE(2, 4) + one + LE(3, 4) + one, L"A=;"},
      {LE(2, 4) + LE(6, 4) + LE('B', 2) + one, L"B=;"},             // a name without its end: stop
      {LE(2, 4) + LE(8, 4) + LE('B', 2) + LE(0, 2) + one, L"B=;"},  // and without a value
      {LE(2, 4) + LE(10, 4) + LE('B', 2) + LE(0, 2) + LE('v', 2) + one, L"B=v;A=;"},
      {LE(2, 4) + LE(9, 4) + LE('B', 2) + LE(0, 2) + "!" + one, L"B=#1;A=;"},
      {LE(2, 4) + LE(4, 4) + one, L"=;"},
  };
  NTag tags = Set({{L"old", L"old"}});
  for (const auto& c : cases) {
    tags.InitFromRawMemory(c.block.data(), c.block.size());
    EXPECT_EQ(Text(tags), c.expected) << c.block.size();
  }
}

TEST(TagSet, Filters) {
  NTag all = Set({{L"Title", L"1234567890"},
                  {L"_cdTOC", L""},
                  {L"_Riff_1", L""},
                  {L"_albumart_1_Media", L""},
                  {L"_crc", L""},
                  {L"_other", L""}});
  const auto kept = [&](unsigned flags) {
    NTag tags = all;
    tags.DropTagsBeginUnderScore(flags);
    return Text(tags);
  };
  EXPECT_EQ(kept(1), L"Title=1234567890;");
  EXPECT_EQ(kept(NTagKeepRiff | NTagKeepCRC), L"Title=1234567890;_Riff_1=;_crc=;");
  EXPECT_EQ(kept(NTagKeepCDToc | NTagKeepAlbumArt),
            L"Title=1234567890;_cdTOC=;_albumart_1_Media=;");
  NTag tags = Set({{L"Title", L"1234567890"}});
  tags.AddTag("Raw", kThreeBytes);
  tags.RemoveTagsBiggerThan(30);
  EXPECT_EQ(tags.Count(), 2U);
  tags.RemoveTagsBiggerThan(29);
  EXPECT_EQ(Text(tags), L"Raw=#3;");
  tags.RemoveAllBinaryTags();
  EXPECT_EQ(tags.Count(), 0U);
}

TEST(TagSet, PictureNames) {
  for (unsigned type = 0; type < 25; ++type) {
    const XStr kind = AlbumArtAPICPicTypeToElementDescription(type);
    EXPECT_EQ(kind.empty(), type == 0 || type == 17 || type > 20);
    EXPECT_EQ(AlbumArtDescriptionToAPICPicType(kind.empty() ? kind : kind.substr(1)),
              kind.empty() ? 3 : type);
  }
  EXPECT_EQ(AlbumArtAPICPicTypeToElementDescription(3), L"_Front Album Cover");
  EXPECT_EQ(AlbumArtDescriptionToAPICPicType(L"bACK aLBUM cOVER"), 4U);

  const struct {
    const wchar_t* name;
    const wchar_t* description;
    const wchar_t* sub_description;
  } cases[] = {
      {L"_albumart_1_Back Album Cover<subdesc>booklet", L"Back Album Cover", L"booklet"},
      {L"_AlbumArt_1_Media", L"Media", L""},
      {L"_albumart_1__x", L"_x", L""},
      {L"_albumart_1", L"", L""},
  };
  for (const auto& c : cases) {
    const NTag tags = Set({{L"Title", L""}, {c.name, L""}});
    XStr description = L"?";
    XStr sub_description = L"?";
    EXPECT_FALSE(tags.GetAlbumArt(2, description, sub_description));
    EXPECT_TRUE(tags.GetAlbumArt(1, description, sub_description));
    EXPECT_EQ(description, c.description);
    EXPECT_EQ(sub_description, c.sub_description);
  }
}

TEST(TagSet, TrackNumbers) {
  const struct {
    const wchar_t* text;
    int number;
    int count;
    const wchar_t* padded;
  } cases[] = {
      {L"3/9", 3, 9, L"03/09"},
      {L"12", 12, 0, L"12"},
      {L" 7 / 12 ", 7, 12, L"07/12"},
      {L"A1", 0, 0, L""},
      {L"", 0, 0, L""},
      {L"99999999999", 2147483647, 0, L"2147483647"},
  };
  for (const auto& c : cases) {
    int number = -1;
    int count = -1;
    SplitTrackNumANDCount(c.text, number, count);
    EXPECT_EQ(number, c.number) << c.text;
    EXPECT_EQ(count, c.count) << c.text;
    EXPECT_EQ(Set({{L"Track", c.text}}).PaddedTrackNum(L"TRACK"), c.padded);
  }
  XStr number;
  XStr count;
  SplitTrackNumANDCountStr(L"A 1 / B ", number, count);
  EXPECT_EQ(number + L"|" + count, L"A 1 |B");
}

}  // namespace
}  // namespace wavecodec
