#include "tags/set/tag_set.h"

#include <gtest/gtest.h>

#include "tag_text.h"
#include "wave_builder.h"

namespace wavecodec {
namespace {

using namespace test;

std::string Block(const NTag& tags) {
  XMem block;
  EXPECT_TRUE(tags.ToRawMemory(block));
  return Bytes(block);
}
// In units of 16 bits.
std::string Wide(const std::string& text) {
  std::string units;
  for (const char c : Zeroed(text)) units += std::string{c, '\0'};
  return units;
}

TEST(TagSet, NamesAreFoundWithoutRegardToCase) {
  NTag tags = SetOf("Artist=A; ARTIST=B; Title=T");
  EXPECT_EQ(tags.GetTagValue(L"artist"), L"A");
  tags.SetTagValue(L"aRTIST", L"C");
  tags.SetTagValue(L"New", L"N");
  EXPECT_EQ(Text(tags), "Artist=C; ARTIST=B; Title=T; New=N");
  EXPECT_EQ(tags.FindElementRemove(L"artist"), L"C");
  EXPECT_FALSE(tags.RemoveTag(L"artist"));
  tags.RemoveTag(size_t{0});
  tags = static_cast<const NTag&>(tags);
  EXPECT_TRUE(tags.RemoveTag(tags.At(0).Name));
  EXPECT_EQ(Text(tags), "");
}

// Wide texts come back as they were given; what is no UTF-8 is repaired; a zero ends a text.
TEST(TagSet, KeepsCharacters) {
  const XStr odd = {L'\u00E4', L'\U0001F600', 0xD83D, 0xDE00, L'z'};
  NTag tags;
  tags.AddTag(odd, odd + L'\0' + L"hidden");
  tags.AddTag(STInternalTag{L"S", odd, {}});
  tags.AddTag("n", "a\xFFz");
  EXPECT_EQ(tags[0].Name + tags[0].Value + tags[1].Value, odd + odd + odd);
  EXPECT_EQ(tags[2].Value, L"a\uFFFDz");
}

TEST(TagSet, MergingTakesOneEntryOfEachName) {
  const NTag genres = SetOf("Genre=Rock; GENRE==x");
  EXPECT_EQ(Text(NTag(genres)), "Genre=Rock");
  NTag last;
  last.MergeFrom(genres, true);
  EXPECT_EQ(Text(last), "GENRE==x");
  NTag kept = SetOf("genre=Jazz; Title=T");
  kept.MergeFrom(SetOf("Genre=Rock; Year=1999"), false);
  EXPECT_EQ(Text(kept), "genre=Jazz; Title=T; Year=1999");
}

// With many entries names are found by an index, which removals and replacements must not confuse.
TEST(TagSet, ManyEntriesAreFoundLikeFew) {
  NTag tags;
  for (int i = 0; i < 5000; ++i) tags.AddTag("Name " + std::to_string(i % 2500), std::to_string(i));
  EXPECT_EQ(tags.GetTagValue(L"NAME 2499"), L"2499");
  EXPECT_TRUE(tags.RemoveTag(L"name 7"));
  tags.SetTagValue(L"name 8", L"eight");
  EXPECT_EQ(tags.GetTagValue(L"Name 8"), L"eight");
  EXPECT_EQ(NTag(tags).Count(), 2499U);
}

TEST(TagSet, TheBlockHasItsForm) {
  const std::pair<std::string, std::string> cases[] = {
      {"", LE(0, 4)},
      {"A=", LE(1, 4) + LE(10, 4) + Wide("A~~")},
      {"B=\U0001F600x; _c==\1\2\3", LE(2, 4) + LE(14, 4) + Wide("B~") + LE(0xF600, 2) + Wide("x~") +
                                        LE(15, 4) + Wide("_c~~") + "\1\2\3"}};
  for (const auto& [text, block] : cases) {
    const NTag tags = SetOf(text), read = SetIn(block.data(), block.size());
    EXPECT_EQ(Block(tags), block);
    EXPECT_EQ(Block(read), block);
    XMem utf8;
    ASSERT_TRUE(tags.ToRawMemoryUTF8(utf8));
    NTag again;
    again.InitFromRawMemoryUTF8(utf8.Data(), utf8.Size());
    EXPECT_EQ(Text(again), text);
  }
}

TEST(TagSet, ADamagedBlockGivesTheEntriesBeforeTheDamage) {
  const std::string one = LE(10, 4) + Wide("A~~"), two = LE(2, 4);
  const std::pair<std::string, const char*> cases[] = {
      {LE(0xFFFFFFFF, 4) + one, "A="},
      {two + one + LE(3, 4) + one, "A="},
      {two + LE(4, 4) + one, "="},
      // Without the end of a name or a value it stops.
      {two + LE(6, 4) + Wide("B") + one, "B="},
      {two + LE(10, 4) + Wide("B~v") + one, "B=v; A="},
      {two + LE(9, 4) + Wide("B~") + "!" + one, "B==!; A="}};
  NTag tags = SetOf("old=old");
  for (const auto& [block, expected] : cases) {
    tags.InitFromRawMemory(block.data(), block.size());
    EXPECT_EQ(Text(tags), expected) << block.size();
  }
}

TEST(TagSet, Filters) {
  NTag tags = SetOf("Title=1234567890; _cdTOC=; _Riff_1=; _albumart_1_Media=; _o=; Raw==123");
  tags.DropTagsBeginUnderScore(NTagKeepCDToc | NTagKeepAlbumArt);
  EXPECT_EQ(Text(tags), "Title=1234567890; _cdTOC=; _albumart_1_Media=; Raw==123");
  tags.DropTagsBeginUnderScore(0);
  tags.RemoveTagsBiggerThan(29);
  EXPECT_EQ(Text(tags), "Raw==123");
  tags.RemoveTagsBiggerThan(9);
  EXPECT_EQ(tags.Count(), 1U);
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
  XStr kind, description;
  const NTag tags = SetOf("Title=; _AlbumArt_1_Back Album Cover<subdesc>booklet=");
  EXPECT_FALSE(tags.GetAlbumArt(2, kind, description));
  EXPECT_TRUE(tags.GetAlbumArt(1, kind, description));
  EXPECT_EQ(kind + L"|" + description, L"Back Album Cover|booklet");
}

TEST(TagSet, TrackNumbers) {
  const std::pair<const wchar_t*, XStr> cases[] = {
      {L"3/9", L"03/09"}, {L" 7 / 12 ", L"07/12"}, {L"A1", L""}, {L"99999999999", L"2147483647"}};
  for (const auto& [text, expected] : cases) {
    NTag tags;
    tags.AddTag(L"Track", text);
    EXPECT_EQ(tags.PaddedTrackNum(L"TRACK"), expected);
  }
  XStr number, count;
  SplitTrackNumANDCountStr(L"A 1 / B ", number, count);
  EXPECT_EQ(number + L"|" + count, L"A 1 |B");
}

}  // namespace
}  // namespace wavecodec
